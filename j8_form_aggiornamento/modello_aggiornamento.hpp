#pragma once
// The update form's controls as plain data. The update run writes them and
// asks the view to redraw; the Win32 window shows them, tests read them.

#include <cstdint>
#include <string>

namespace j8 {

// Colour values as the platform gives them (0x00BBGGRR).
constexpr std::uint32_t colore_verde = 65280;
constexpr std::uint32_t colore_rosso = 255;
constexpr std::uint32_t colore_sfondo = 0x00C0C0C0;  // the form's own grey

struct etichetta {
    std::string caption;
    std::string tag;
    bool visible = true;
    std::uint32_t back_color = colore_sfondo;
    bool grassetto = false;
    std::string carattere = "MS Sans Serif";
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
};

struct barra_avanzamento {
    bool visible = false;
    int value = 0;  // percent, 0 to 100
};

struct timer_aggiornamento {
    int interval = 0;  // ms; 0 means inactive
    bool enabled = false;
};

// A read-only text box of several lines, scrolled when longer.
struct casella_testo {
    std::string text;
    bool visible = false;
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
};

struct pulsante {
    std::string caption;
    bool enabled = true;
};

struct modello_aggiornamento {
    std::string caption = "J8_aggiornamento";
    etichetta Label1;
    etichetta Label2;
    etichetta Label3;
    barra_avanzamento ProgressBar1;
    timer_aggiornamento Timer1;
    pulsante Command1{"Avvia Aggiornamento"};
    // The report of the last run (packages, tables), shown below the rest
    // once a run ends.
    casella_testo Text1;

    modello_aggiornamento();
};

// Where the procedures send their explicit redraws. The window repaints
// the model; tests keep a copy of each redraw.
class vista_aggiornamento {
public:
    virtual ~vista_aggiornamento() = default;
    virtual void ridisegna(const modello_aggiornamento& modello) = 0;
};

}  // namespace j8
