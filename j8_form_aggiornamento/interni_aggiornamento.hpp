#pragma once
// What the update form's own source files share, and nothing else uses.

#include <exception>
#include <string>

namespace j8 {

inline const std::string titolo_form = "J8_aggiornamento";

// The text of a failure: the problem and its file (and line, for settings).
std::string messaggio_di(const std::exception& e);

}  // namespace j8
