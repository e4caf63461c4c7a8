#pragma once
// Text helpers every layer needs. Texts are Windows-1252 bytes; case is
// folded for ASCII letters only, as path and key comparisons expect.

#include <string>

namespace j8 {

std::string minuscolo(std::string testo);

// The text without its leading and trailing blanks (spaces only).
std::string senza_spazi(const std::string& testo);

// A directory with and without its one trailing backslash (an empty one
// stays empty: it means the current directory, not the root).
std::string con_barra(const std::string& direttorio);
std::string senza_barra(const std::string& direttorio);

}  // namespace j8
