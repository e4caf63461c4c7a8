// Fuzz target: the keystroke-notation parser.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/file_memoria.hpp"
#include "piattaforma/tasti.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dati, std::size_t dimensione) {
    const std::string testo(reinterpret_cast<const char*>(dati), dimensione);
    try {
        auto eventi = j8::analizza_tasti(testo);
        for (const auto& e : eventi)
            if (e.virtuale != 0 && e.carattere != 0) j8::fuzz::violazione("tasto con nome e carattere");
    } catch (const j8::errore_tasti& e) {
        if (std::string(e.what()).empty()) j8::fuzz::violazione("errore senza testo");
    }
    return 0;
}
