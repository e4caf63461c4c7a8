#pragma once
// The terminal program as the session meets it, for native tests: the
// keystrokes the session types (menus, dialogs, lines for the modem) are
// played on the BBS simulation; "copy" puts its screen on the clipboard;
// ZMODEM transfers show a "Zmodem" window for a while on the virtual clock
// and move the files on the in-memory disk.

#include <string>
#include <vector>

#include "mondo_prova/terminale/simulazione_bbs.hpp"
#include "piattaforma/piattaforma.hpp"
#include "piattaforma/tasti.hpp"

namespace j8::prova {

class terminale_finto {
public:
    terminale_finto(scenario s, bool inglese, piattaforma& disco)
        : bbs(std::move(s)), inglese_(inglese), disco_(disco) {}

    simulazione_bbs bbs;
    std::string appunti;
    std::string cartella_ricezione;  // as set in the receive dialog
    bool chiuso = false;

    // Called with every keystroke string the session types.
    void tasti(const std::string& notazione);
    // Moves a running transfer on by `secondi` of the clock.
    void avanza(double secondi);
    bool trasferimento_in_corso() const { return restante_ > 0; }
    // Title of the transfer window while one runs.
    std::string titolo_trasferimento() const;

private:
    enum class stato { terminale, menu_modifica, menu_trasferimento, menu_file, ricezione, invio, conferma };
    void tasto(const evento_tasto& e);
    void inizia_trasferimento(bool invio, std::string file);
    void concludi_trasferimento();

    bool inglese_;
    piattaforma& disco_;
    stato stato_ = stato::terminale;
    bool selezione_ = false;
    int campo_ = 0;            // field of the dialog that has the focus
    bool campo_selezionato_ = false;
    std::string campo_testo_;  // text typed in the dialog's first field
    double restante_ = 0;
    bool invio_ = false;
    std::string file_trasferito_;
    std::vector<std::string> da_inviare_;
    std::string direttorio_invio_;
};

}  // namespace j8::prova
