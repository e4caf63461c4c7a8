// Fuzz target: a whole settings file through the reader (leggi_impostazioni,
// hence decifra_riga on every data line) and the rewrite of its
// "aggiornamento" line.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/file_memoria.hpp"
#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dati, std::size_t dimensione) {
    const std::string testo(reinterpret_cast<const char*>(dati), dimensione);
    j8::fuzz::file_memoria file;
    const std::string percorso = "c:\\j8\\j8_bbs_config.txt";
    file.file[percorso] = testo;
    try {
        std::int64_t numero = 0;
        j8::leggi_impostazioni(file, percorso, 1234.5f, [&](const j8::riga_impostazione& r) {
            ++numero;
            // Deciphering loses nothing outside the control characters:
            // enciphering gives the line back.
            bool senza_controlli = true;
            for (char c : r.testo)
                if (static_cast<unsigned char>(c) < 32) senza_controlli = false;
            if (senza_controlli) {
                std::string cifrato = j8::cifra_riga(r.testo, numero);
                if (j8::decifra_riga(cifrato, numero) != r.testo) j8::fuzz::violazione("cifra/decifra non inversi");
            }
            return true;
        });
    } catch (const j8::errore_impostazioni&) {
        return 0;
    }
    try {
        j8::riscrivi_impostazione(file, percorso, "aggiornamento", "j8000123", 99.0f, true);
    } catch (const j8::errore_impostazioni&) {
        if (file.file[percorso] != testo) j8::fuzz::violazione("file cambiato da una riscrittura fallita");
        return 0;
    }
    auto righe = j8::leggi_impostazioni(file, percorso, 5.0f);
    auto valore = j8::valore_impostazione(righe, "aggiornamento");
    if (!valore || *valore != "j8000123") j8::fuzz::violazione("valore riscritto non riletto");
    return 0;
}
