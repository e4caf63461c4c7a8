#pragma once
// A small zip archive reader and writer, enough for the test world's update
// packages: plain file names (no folders), stored or deflated, CRC-32 checked.
// The archive may follow other bytes (the extractor program it is appended
// to); the reader finds it from its end record.

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace j8::pacchetto {

// A damaged or foreign archive, a bad name inside it, a file that cannot be
// read or written. Italian text (Windows-1252 bytes).
class errore_zip : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct voce_zip {
    std::string nome;  // plain file name
    std::string dati;  // raw bytes
};

// True for a name that can safely become a file in the destination folder:
// not empty, no folder part, no drive, not "." or "..".
bool nome_ammesso(std::string_view nome);

// The archive bytes for `voci`: each file deflated, or stored when
// deflating does not make it smaller. Throws errore_zip on a refused name
// or a duplicated one (names compare without regard to case).
std::string scrivi_zip(const std::vector<voce_zip>& voci);

// The files of the zip archive that ends `dati` (other bytes may precede
// it). Every entry is checked (sizes, method, CRC-32, name) before any is
// returned. Throws errore_zip.
std::vector<voce_zip> leggi_zip(std::string_view dati);

// Writes every entry into `cartella` (created if missing), overwriting
// files with the same name. Returns how many were written.
std::size_t estrai_voci(const std::vector<voce_zip>& voci, const std::filesystem::path& cartella);

// Whole-file helpers with Italian errors naming the file.
std::string leggi_tutto(const std::filesystem::path& percorso);
void scrivi_tutto(const std::filesystem::path& percorso, std::string_view dati);

// A package: the extractor program's bytes followed by a zip of the named
// files, stored under their plain file names.
std::string componi_pacchetto(std::string_view estrattore,
                              const std::vector<std::filesystem::path>& file);

}  // namespace j8::pacchetto
