// j8_bbs.exe: starts on the connection form; the update form is loaded
// hidden beside it. Closing either form ends the program.
//
//   j8_bbs.exe          the pharmacist's way: press "Avvia Collegamento"
//   j8_bbs.exe /avvia   presses "Avvia Collegamento" once the form is up,
//                       and ends by itself once the update is over: exit
//                       status 0 only when session and update both succeeded
//                       (for the Task Scheduler and the end-to-end tests)

#include <windows.h>

#include <cwchar>

#include "j8_form_aggiornamento/win32/finestra_aggiornamento.hpp"
#include "j8_form_collegamento/win32/finestra_collegamento.hpp"
#include "j8_form_collegamento/win32/ponte_aggiornamento.hpp"
#include "j8_form_collegamento/win32/piattaforma_j8_bbs.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace {

// Unattended: the update's end is the job's end. The result stays on the
// screen a little, and closing the update form meanwhile ends it the same.
class ponte_avvia : public j8::ponte_aggiornamento {
public:
    ponte_avvia(j8::finestra_aggiornamento& a, j8::piattaforma& p, bool avvia)
        : ponte_aggiornamento(a), aggiornamento_(a), p_(p), avvia_(avvia) {}
    bool riuscito() const {
        return aggiornamento_.form.modello.Label1.caption == "AGGIORNAMENTO COMPLETATO";
    }
    void esegui_aggiornamento() override {
        ponte_aggiornamento::esegui_aggiornamento();
        if (!avvia_) return;
        p_.pausa(20);
        j8::termina_programma(riuscito() ? 0 : 1);
    }

private:
    j8::finestra_aggiornamento& aggiornamento_;
    j8::piattaforma& p_;
    bool avvia_;
};

}  // namespace

int WINAPI wWinMain(HINSTANCE istanza, HINSTANCE, PWSTR riga_comando, int mostra) {
    const bool avvia = riga_comando && std::wcsstr(riga_comando, L"/avvia");
    // A second start would find the running update's journal and put the
    // tables back under it: it stops here, before any file is touched.
    if (!j8::prima_istanza()) {
        MessageBoxW(nullptr, L"j8_bbs \u00e8 gi\u00e0 in esecuzione.", L"j8_bbs", MB_OK | MB_ICONINFORMATION);
        return 3;
    }
    j8::piattaforma_j8_bbs piattaforma;
    j8::valori_programma valori;
    j8::finestra_aggiornamento aggiornamento(piattaforma, valori);
    ponte_avvia ponte(aggiornamento, piattaforma, avvia);
    j8::form_collegamento form(piattaforma, ponte, valori);
    j8::finestra_collegamento finestra(form);

    aggiornamento.termina = [&ponte, avvia](int codice) {
        j8::termina_programma(codice == 0 && avvia && !ponte.riuscito() ? 1 : codice);
    };
    aggiornamento.form.su_direttorio_tabelle = [&form](const std::string& direttorio) {
        form.modello.t_direttorio_tabelle = direttorio;
    };

    finestra.crea(istanza, mostra);
    if (avvia) finestra.premi_avvia();

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (IsDialogMessageW(finestra.handle(), &msg)) continue;
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    return 0;
}
