#include "piattaforma_j8_bbs.hpp"

#include <windows.h>

#include <algorithm>

namespace j8 {

namespace {

// Everything but timer ticks: a form's timer runs only where the program
// lets events through on purpose (esegui_eventi), not inside a wait.
void smaltisci_messaggi() {
    MSG m;
    for (;;) {
        if (!PeekMessageW(&m, nullptr, 0, WM_TIMER - 1, PM_REMOVE) &&
            !PeekMessageW(&m, nullptr, WM_TIMER + 1, 0xFFFFFFFF, PM_REMOVE))
            return;
        if (m.message == WM_QUIT) {
            PostQuitMessage(int(m.wParam));
            return;
        }
        TranslateMessage(&m);
        DispatchMessageW(&m);
    }
}

}  // namespace

void piattaforma_j8_bbs::pausa(double secondi) {
    const ULONGLONG fine = GetTickCount64() + ULONGLONG(std::clamp(secondi * 1000.0, 1.0, 60000.0));
    for (;;) {
        smaltisci_messaggi();
        const ULONGLONG ora = GetTickCount64();
        if (ora >= fine) return;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, DWORD(fine - ora), QS_ALLINPUT);
    }
}

}  // namespace j8
