// Fuzz target: the modem and BBS stand-in. The input is a scenario text,
// the separator, then the keys typed; bytes 1 to 5 among the keys stand for
// what the terminal does besides typing (take a download, start an upload,
// end a transfer well or badly, hang up). A scenario that does not parse is
// replaced by a fixed one with mail, so the keys are always exercised.

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/file_memoria.hpp"
#include "mondo_prova/terminale/simulazione_bbs.hpp"

namespace {

j8::prova::scenario scenario_fisso() {
    j8::prova::scenario s;
    s.posta.push_back({true, "j8000001.exe", "Aggiornamento"});
    s.posta.push_back({false, "", "Avviso"});
    s.posta.push_back({true, "", "Nuovo avviso"});
    s.posta.push_back({true, "j8000002.exe", "Aggiornamento"});
    return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dati, std::size_t dimensione) {
    auto parti = j8::fuzz::dividi_parti(std::string_view(reinterpret_cast<const char*>(dati), dimensione), 2);
    j8::prova::scenario s;
    try {
        s = j8::prova::leggi_scenario(parti[0]);
    } catch (const j8::prova::errore_scenario&) {
        s = scenario_fisso();
    }
    j8::prova::simulazione_bbs bbs(std::move(s));
    std::size_t file = 0;
    for (char c : parti[1]) {
        switch (c) {
            case 1: (void)bbs.prendi_scarico(); break;
            case 2: bbs.caricamento_avviato(); break;
            case 3: bbs.trasferimento_concluso(true, ++file); break;
            case 4: bbs.trasferimento_concluso(false, 0); break;
            case 5: bbs.riaggancia(); break;
            default: bbs.tasto(c);
        }
        if (bbs.schermo().size() > 400000) j8::fuzz::violazione("schermo oltre la sua memoria");
    }
    return 0;
}
