#pragma once
// The update form as a Win32 window: static labels, a common-controls
// progress bar and the button, all redrawn from the form's model. Label1
// blinks through Timer1. Closing the window ends the program.

#include <windows.h>

#include <functional>
#include <string>

#include "j8_form_aggiornamento/form_aggiornamento.hpp"

namespace j8 {

class finestra_aggiornamento : public vista_aggiornamento {
public:
    finestra_aggiornamento(piattaforma& p, valori_programma& valori);
    ~finestra_aggiornamento() override;
    finestra_aggiornamento(const finestra_aggiornamento&) = delete;
    finestra_aggiornamento& operator=(const finestra_aggiornamento&) = delete;

    form_aggiornamento form;

    // Called when the form ends the program (its window closed, or
    // "j8_config.txt" missing at load). The default ends the process.
    std::function<void(int)> termina;

    // Creates the window hidden and runs the form's load. Set
    // `form.su_direttorio_tabelle` first to receive the tables directory.
    void carica_nascosto();
    void mostra();
    // Runs the update as the button does; returns when the run is over.
    void esegui_aggiornamento();
    HWND handle() const { return hwnd_; }

    void ridisegna(const modello_aggiornamento& modello) override;

private:
    static LRESULT CALLBACK procedura(HWND, UINT, WPARAM, LPARAM);
    LRESULT messaggio(UINT msg, WPARAM wp, LPARAM lp);
    void crea();
    void applica_timer();

    HWND hwnd_ = nullptr;
    HWND label1_ = nullptr, label2_ = nullptr, label3_ = nullptr;
    HWND barra_ = nullptr, pulsante_ = nullptr, text1_ = nullptr;
    HFONT grassetto_ = nullptr, normale_ = nullptr;
    HBRUSH pennello_label1_ = nullptr;
    COLORREF colore_label1_ = 0;
    bool timer_attivo_ = false;
    bool in_esecuzione_ = false;
    int intervallo_ = 0;
};

}  // namespace j8
