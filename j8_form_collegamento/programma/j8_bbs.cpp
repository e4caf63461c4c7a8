// j8_bbs.exe: starts on the connection form; the update form is loaded
// hidden beside it. Closing either form ends the program.
//
//   j8_bbs.exe          the pharmacist's way: press "Avvia Collegamento"
//   j8_bbs.exe /avvia   presses "Avvia Collegamento" once the form is up
//                       (used by the end-to-end tests and the demonstration)

#include <windows.h>

#include <cwchar>

#include "j8_form_aggiornamento/win32/finestra_aggiornamento.hpp"
#include "j8_form_collegamento/win32/finestra_collegamento.hpp"
#include "j8_form_collegamento/win32/ponte_aggiornamento.hpp"
#include "j8_form_collegamento/win32/piattaforma_j8_bbs.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

int WINAPI wWinMain(HINSTANCE istanza, HINSTANCE, PWSTR riga_comando, int mostra) {
    // A second start would find the running update's journal and put the
    // tables back under it: it stops here, before any file is touched.
    if (!j8::prima_istanza()) {
        MessageBoxW(nullptr, L"j8_bbs \u00e8 gi\u00e0 in esecuzione.", L"j8_bbs", MB_OK | MB_ICONINFORMATION);
        return 0;
    }
    j8::piattaforma_j8_bbs piattaforma;
    j8::finestra_aggiornamento aggiornamento(piattaforma);
    j8::ponte_aggiornamento ponte(aggiornamento);
    j8::form_collegamento form(piattaforma, ponte);
    j8::finestra_collegamento finestra(form);

    aggiornamento.termina = [](int codice) { j8::termina_programma(codice); };
    aggiornamento.form.su_direttorio_tabelle = [&form](const std::string& direttorio) {
        form.modello.t_direttorio_tabelle = direttorio;
    };

    finestra.crea(istanza, mostra);
    if (riga_comando && std::wcsstr(riga_comando, L"/avvia")) finestra.premi_avvia();

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (IsDialogMessageW(finestra.handle(), &msg)) continue;
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    return 0;
}
