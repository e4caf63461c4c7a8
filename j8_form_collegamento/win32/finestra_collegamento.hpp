#pragma once
// The connection form as a Win32 window: plain controls bound to the
// form's model, the two buttons and Timer1. Closing it ends the program.

#include <windows.h>

#include <string>

#include "j8_form_collegamento/form_collegamento.hpp"

namespace j8 {

class finestra_collegamento {
public:
    explicit finestra_collegamento(form_collegamento& form);

    // Creates the window, shows it and runs the form's load.
    void crea(HINSTANCE istanza, int mostra);
    HWND handle() const { return hwnd_; }
    // Presses "Avvia Collegamento" once the message loop runs.
    void premi_avvia() const;

    void leggi_controlli();
    void scrivi_controlli();

private:
    static LRESULT CALLBACK procedura(HWND, UINT, WPARAM, LPARAM);
    LRESULT messaggio(UINT msg, WPARAM wp, LPARAM lp);
    HWND controllo(int id) const { return GetDlgItem(hwnd_, id); }
    void crea_controlli();
    // Runs one event of the form with the controls and timers kept in step.
    template <class F>
    void evento(F&& f);
    void applica_timer();

    form_collegamento& form_;
    HWND hwnd_ = nullptr;
    HFONT carattere_ = nullptr;
    HFONT grassetto_ = nullptr;
    bool occupato_ = false;  // an event is running: clicks wait for it
};

// Ends the whole program at once, as closing either form does.
[[noreturn]] void termina_programma(int codice = 0);

}  // namespace j8
