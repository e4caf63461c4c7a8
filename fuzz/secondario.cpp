// Fuzz target: the operations that read farmaci.tda on their own. First
// byte: 0 crea_secondario, 1 elimina_doppi_farmaci, 2 the two reductions
// (farmaci, separator, principi_attivi, separator, atc).

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/file_memoria.hpp"
#include "motore_tabelle/motore_tabelle.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dati, std::size_t dimensione) {
    if (dimensione < 1) return 0;
    const int scelta = dati[0] % 3;
    auto parti = j8::fuzz::dividi_parti(
        std::string_view(reinterpret_cast<const char*>(dati) + 1, dimensione - 1), 3);
    j8::fuzz::file_memoria file;
    const std::string dir = "t/";
    file.file[dir + "farmaci.tda"] = parti[0];
    j8::avanzamento muto;
    j8::motore_tabelle motore(file, muto, [] { return 20240615; });
    try {
        if (scelta == 0) {
            motore.crea_secondario(dir);
            const std::string& s = file.file[dir + "farmaci_secondario_completo.tda"];
            if (s.size() % 25 != 0) j8::fuzz::violazione("tabella secondaria con righe di lunghezza sbagliata");
        } else if (scelta == 1) {
            motore.elimina_doppi_farmaci(dir);
            if (file.esiste_file(dir + "farmaci.$$$")) j8::fuzz::violazione("farmaci.$$$ lasciato indietro");
            if (file.file[dir + "farmaci.tda"].size() > 2 * parti[0].size() + 2)
                j8::fuzz::violazione("farmaci.tda cresciuto togliendo i doppi");
        } else {
            file.file[dir + "principi_attivi.tda"] = parti[1];
            file.file[dir + "atc.tda"] = parti[2];
            motore.carica_farmaci(dir + "farmaci.tda");
            motore.carica_principi_attivi(dir + "principi_attivi.tda");
            motore.carica_atc(dir + "atc.tda");
            motore.riduci_principi_attivi();
            motore.riduci_atc();
            (void)motore.testo_principi_attivi();
            (void)motore.testo_atc();
        }
    } catch (const j8::errore_file&) {
        // The files exist in memory: any content must be taken.
        j8::fuzz::violazione("file rifiutato");
    }
    return 0;
}
