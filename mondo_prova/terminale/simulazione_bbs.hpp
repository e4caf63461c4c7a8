#pragma once
// The terminal's far side as a pure state machine: a Hayes-style modem
// and, once connected, the supplier's BBS. Typed characters go in, the
// screen text (lines joined by CR LF) comes out, and a ZMODEM download the
// BBS starts is handed to the terminal as a request to carry out.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mondo_prova/terminale/scenario.hpp"

namespace j8::prova {

// The terminal's screen: the whole scrollback as text.
class schermo_terminale {
public:
    // Output from the line: CR LF ends a line, backspace erases the
    // character before the cursor on the same line, other controls are
    // not shown.
    void scrivi(std::string_view dati);
    const std::string& testo() const { return testo_; }

private:
    std::string testo_;
};

struct richiesta_scarico {
    std::string file;  // name inside the scenario's direttorio_file
};

class simulazione_bbs {
public:
    explicit simulazione_bbs(scenario s);

    // One key typed on the terminal: Enter is '\r', Backspace '\b'.
    void tasto(char c);
    void tasti(std::string_view testo);

    const std::string& schermo() const { return schermo_.testo(); }
    bool connesso() const;
    const scenario& dati() const { return scenario_; }

    // A download the BBS has started; taken once.
    std::optional<richiesta_scarico> prendi_scarico();
    // Whether the BBS waits for the terminal to send files.
    bool attende_caricamento() const;
    void caricamento_avviato();
    // The terminal ends the running transfer: how many files went across.
    void trasferimento_concluso(bool riuscito, std::size_t numero_file);
    // The terminal hangs up (quitting while connected).
    void riaggancia();

private:
    enum class stato {
        comandi, utente, password, menu, area_file, attesa_carico, carico, posta, lettura,
        chiede_file, opzione_scarico, scarico, messaggio, pausa, conferma_uscita,
    };

    void scrivi(std::string_view testo) { schermo_.scrivi(testo); }
    void tasto_riga(char c);
    void esegui_riga(const std::string& riga);
    void riga_utente(const std::string& scelta);
    void riga_password(const std::string& riga);
    void riga_menu(const std::string& scelta);
    void riga_area_file(const std::string& scelta);
    void riga_conferma_uscita(const std::string& scelta);
    void riga_posta(const std::string& scelta);
    void riga_lettura(const std::string& scelta);
    void riga_chiede_file(const std::string& scelta);
    void riga_opzione_scarico(const std::string& scelta);
    void riga_messaggio(const std::string& scelta);
    void comando_modem(const std::string& riga);
    // False (and the carrier gone) when the scenario drops it at `passo`.
    bool passo(const char* nome);
    void cade_portante();
    void richiesta_accesso();
    void menu_principale(const std::string& prima = "");
    void prompt_email();
    void apri_posta();
    void leggi_nuovi();
    void mostra(std::size_t indice);
    void testo_messaggio(std::size_t indice);
    void prompt_messaggio(bool con_spazio);
    void continua(bool senza_pausa);
    void fine_messaggi();
    void avvia_carico();

    scenario scenario_;
    schermo_terminale schermo_;
    stato stato_ = stato::comandi;
    std::string riga_;
    bool portante_usata_ = false;
    int tentativi_ = 0;
    bool prima_volta_posta_ = true;
    std::vector<std::size_t> da_leggere_;  // new messages at the time of "R"
    std::size_t posizione_ = 0;            // index into da_leggere_
    std::size_t corrente_ = 0;             // index into the mailbox
    std::optional<richiesta_scarico> scarico_;
};

}  // namespace j8::prova
