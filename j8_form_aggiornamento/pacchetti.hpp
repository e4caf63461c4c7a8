#pragma once
// Names of the update packages and their sequence.

#include <string>

namespace j8::pacchetti {

// The whole number a text starts with, as the legacy runtime's Val reads
// a package number: leading blanks skipped, then the digits (0 if none).
long cifre_iniziali(const std::string& testo);
// Package number of a name like "j8000012.exe": the value of its
// characters 3 to 8.
long numero_pacchetto(const std::string& nome);
// The name following `nome` (8 characters, no extension): j8000012 gives
// j8000013, j8000099 gives j8000100.
std::string successivo(const std::string& nome);
// The package name inside a full path: the first 8 of its last 12 characters.
std::string nome_da_percorso(const std::string& percorso);

}  // namespace j8::pacchetti
