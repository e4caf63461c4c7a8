// regia_bbs J8_BBS_EXE CARTELLA_FOTO [SECONDI]
// Runs j8_bbs.exe with "/avvia", saves pictures of its forms, answers its
// message box and closes it at the end; prints what it saw.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "regia.hpp"

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) {
        std::fputs("uso: regia_bbs J8_BBS_EXE CARTELLA_FOTO [SECONDI]\n", stderr);
        return 2;
    }
    const int secondi = argc > 3 ? _wtoi(argv[3]) : 900;
    const auto esito = j8::regia::segui_j8_bbs(argv[1], L"/avvia", argv[2], secondi);
    for (const auto& m : esito.messaggi) std::printf("messaggio: %s\n", m.c_str());
    if (!esito.stato_finale.empty()) std::printf("stato finale: %s\n", esito.stato_finale.c_str());
    for (const auto& f : esito.foto) std::printf("foto: %s\n", f.c_str());
    std::printf("j8_bbs %s\n", esito.terminato ? "terminato" : "NON terminato nel tempo concesso");
    return esito.terminato ? 0 : 1;
}
