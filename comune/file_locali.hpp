#pragma once
// The local disk: the atomic write every real file_tabelle uses, and
// file_tabelle on it for the command-line tools and tests.

#include "comune/file_tabelle.hpp"

namespace j8 {

// Writes what `produci` hands its sink to "<percorso>" + suffisso_scrittura,
// puts it on disk and only then renames it over `percorso`: after a failure
// or a power cut the file is the old one or the whole new one, never a name
// over empty blocks. A failure removes the temporary file and throws
// errore_file naming `percorso`.
void scrivi_atomicamente(const std::string& percorso,
                         const std::function<void(const file_tabelle::ricevi_blocco&)>& produci,
                         std::uint64_t previsti = 0);

#ifdef _WIN32
// The Italian name of a Win32 file error, as errore_file carries it.
std::string problema_file(unsigned long codice);

// Renames `da` over `a`. A virus scanner, a backup or an editor that has
// `a` open for a moment makes the rename fail with access denied or a
// sharing violation: it is tried again for up to two seconds. 0 on
// success, otherwise the Win32 error.
unsigned long sostituisci_con_attesa(const std::string& da, const std::string& a);
#endif

class file_locali : public file_tabelle {
public:
    bool esiste_file(const std::string& percorso) override;
    std::string leggi_file(const std::string& percorso) override;
    void scrivi_file(const std::string& percorso, const std::string& contenuto) override;
    void leggi_a_blocchi(const std::string& percorso, const ricevi_blocco& ricevi) override;
    void scrivi_a_blocchi(const std::string& percorso, const std::function<void(const ricevi_blocco&)>& produci,
                          std::uint64_t previsti = 0) override;
    void cancella_file(const std::string& percorso) override;
    void rinomina_file(const std::string& da, const std::string& a) override;
    std::uint64_t dimensione_file(const std::string& percorso) override;
#ifndef _WIN32
    std::unique_ptr<const testo_intero> leggi_intero(const std::string& percorso) override;
#endif
};

}  // namespace j8
