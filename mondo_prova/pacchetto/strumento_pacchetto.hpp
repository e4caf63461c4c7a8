#pragma once
// The command `j8_pacchetto OUT.exe FILE...`, kept apart from main() so the
// tests can run it with their own folders and streams.

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace j8::pacchetto {

inline constexpr const char* nome_estrattore = "estrattore_pacchetto.exe";

// Where the extractor program is looked for when no --estrattore is given:
// beside the tool, then in the Windows build beside a native build.
std::vector<std::filesystem::path> posti_estrattore(const std::filesystem::path& direttorio_programma);

// Runs the command with its arguments (without the program name); returns
// the exit status, 0 when the package was written.
int esegui_j8_pacchetto(const std::vector<std::string>& argomenti,
                        const std::filesystem::path& direttorio_programma,
                        std::ostream& uscita, std::ostream& errori);

}  // namespace j8::pacchetto
