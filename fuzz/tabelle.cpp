// Fuzz target: one table and one update file through the merge of that
// table. First byte: which merge (farmaci, notessn, principi_attivi, atc,
// ditte); then the table text, the separator, the update text.

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "fuzz/file_memoria.hpp"
#include "motore_tabelle/motore_tabelle.hpp"

namespace {

struct tipo_tabella {
    const char* tabella;
    const char* aggiornamento;
    std::size_t larghezza;
};

constexpr tipo_tabella tipi[5] = {
    {"farmaci.tda", "farmaci.faf", j8::farmaco::larghezza},
    {"notessn.tda", "notessn.faf", j8::nota::larghezza},
    {"principi_attivi.tda", "principi_attivi.faf", j8::principio_attivo::larghezza},
    {"atc.tda", "atc.faf", j8::classe_atc::larghezza},
    {"ditte.tda", "ditte.faf", j8::ditta::larghezza},
};

// Every written line has the table's width and ends with CR LF.
void controlla_scritta(const std::string& testo, std::size_t larghezza) {
    if (testo.size() % (larghezza + 2) != 0) j8::fuzz::violazione("tabella scritta con righe di lunghezza sbagliata");
    for (std::size_t i = larghezza; i < testo.size(); i += larghezza + 2)
        if (testo[i] != '\r' || testo[i + 1] != '\n') j8::fuzz::violazione("riga scritta senza CR LF");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dati, std::size_t dimensione) {
    if (dimensione < 1) return 0;
    const tipo_tabella& tipo = tipi[dati[0] % 5];
    auto parti = j8::fuzz::dividi_parti(
        std::string_view(reinterpret_cast<const char*>(dati) + 1, dimensione - 1), 2);
    j8::fuzz::file_memoria file;
    const std::string dir = "t/";
    file.file[dir + tipo.tabella] = parti[0];
    file.file[dir + tipo.aggiornamento] = parti[1];
    j8::avanzamento muto;
    j8::motore_tabelle motore(file, muto, [] { return 20240615; });
    try {
        motore.carica_tabelle(dir);
        motore.applica_aggiornamento(dir, tipo.aggiornamento);
    } catch (const j8::errore_file&) {
        // Both files exist in memory: any content must be taken.
        j8::fuzz::violazione("file rifiutato");
    }
    controlla_scritta(file.file[dir + tipo.tabella], tipo.larghezza);
    return 0;
}
