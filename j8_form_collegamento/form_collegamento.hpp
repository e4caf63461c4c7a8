#pragma once
// The connection form: its controls, its start-up, its two buttons and the
// BBS session it runs on the first tick of Timer1. Everything reaches the
// outside world through the platform interface, so the whole session runs
// against the scripted stand-in in tests and against Win32 in j8_bbs.exe.

#include <cstdint>
#include <optional>
#include <string>

#include "comune/testi_comuni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "piattaforma/piattaforma.hpp"

namespace j8 {

// Fixed captions of the form.
namespace didascalie_collegamento {
inline constexpr const char* Frame1 = "Lingua Sistema Operativo";
inline constexpr const char* italiano = "Italiano";
inline constexpr const char* inglese = "Inglese";
inline constexpr const char* Command1 = "Avvia Collegamento";
inline constexpr const char* Command2 = "Aggiornamento";
inline constexpr const char* Label1 = "Utente";
inline constexpr const char* Label2 = "Password";
inline constexpr const char* Label3 = "HyperTerminal";
inline constexpr const char* Label4 = "Telefono BBS";
inline constexpr const char* Label5 = "Direttorio Scarico";
inline constexpr const char* Label6 =
    "IMP!. Prima di avviare il collegamento verificare che le impostazioni siano corrette";
inline constexpr const char* Label7 = "Direttorio Carico";
inline constexpr const char* Label8 = "Direttorio Archivio";
inline constexpr const char* Label9 = "Direttorio Tabelle";
}  // namespace didascalie_collegamento

// Messages shown by the form; texts are Windows-1252 (0xE8 is e grave).
inline constexpr const char* msg_deposito_non_valido = "Il direttorio di deposito non \xE8 valido";
inline constexpr const char* msg_utente_password = "Utente e Password devono essere inizializzati";
inline constexpr const char* msg_manca_portante = "Manca la portante";
inline constexpr const char* titolo_messaggi = "j8_bbs";
inline constexpr const char* msg_terminale_perso =
    "Il programma terminale non risponde o \xE8 stato chiuso: collegamento interrotto.";
inline constexpr const char* msg_password_rifiutata =
    "Il BBS ha rifiutato la password: collegamento interrotto.";
// Followed by the awaited prompt, in double quotes.
inline constexpr const char* msg_nessuna_risposta =
    "Il BBS non ha risposto in tempo: collegamento interrotto. Si attendeva ";
inline constexpr const char* msg_trascrizione = "Trascrizione della sessione: ";
// Transcripts of the sessions, in this folder beside the settings file.
inline constexpr const char* cartella_trascrizioni = "log";
inline constexpr int trascrizioni_tenute = 30;

// What a text shows in place of the password: always the same length, so
// not even the password's length is told.
inline constexpr const char* password_nascosta = "********";

struct timer_form {
    int intervallo;  // milliseconds
    bool abilitato = false;
};

// The form's controls with their design-time defaults.
struct modello_collegamento {
    std::string t_direttorio_tabelle = "c:\\j8\\direttorio_tabelle";
    std::string t_direttorio_archivio = "c:\\j8\\archivio_aggiornamenti";
    std::string direttorio_origine = "c:\\j8\\A_BBS";
    std::string direttorio_deposito = "c:\\j8\\DA_BBS";
    std::string telefono = "0612345678";
    std::string direttorio_hptrm = "c:\\programmi\\accessori\\hyperterminal\\hypertrm.exe";
    std::string utente = "cliente";
    std::string password = "zeta";
    bool italiano = true;  // option buttons of Frame1
    bool inglese = false;
    timer_form Timer1{6000};
    timer_form Timer2{50};

    void scegli_italiano() { italiano = true; inglese = false; }
    void scegli_inglese() { italiano = false; inglese = true; }
};

// What the connection form needs of the update form: loading it hidden at
// start-up, then showing it and starting the update run.
class collegamento_aggiornamento {
public:
    virtual ~collegamento_aggiornamento() = default;
    virtual void carica_nascosto() = 0;
    virtual void mostra() = 0;
    virtual void esegui_aggiornamento() = 0;
};

// `testo` with every occurrence of the password (trimmed; a blank one
// hides nothing) written as password_nascosta.
std::string nascondi_password(std::string testo, const std::string& password);

enum class fine_sessione {
    in_corso,        // Timer1 has not ticked yet
    aggiornamento,   // logged out, update run started
    manca_portante,  // carrier lost or line busy: the program must end
};

class form_collegamento {
public:
    form_collegamento(piattaforma& p, collegamento_aggiornamento& aggiornamento, valori_programma& valori)
        : valori(valori), p_(p), aggiornamento_(aggiornamento) {}

    modello_collegamento modello;
    valori_programma& valori;

    // Form-level values.
    int limite_zmodem = 0;
    int limite_risposta = 0;
    std::uint32_t id_terminale = 0;
    std::string tasti_copia;
    std::string schermo;
    bool zmodem_iniziato = false;
    bool zmodem_finito = false;
    fine_sessione esito = fine_sessione::in_corso;
    bool in_ritardo = false;  // the last prompt wait went past limite_risposta
    // A prompt not seen within this many seconds ends the session (a
    // running transfer window holds the count).
    double limite_prompt = 300;
    std::string percorso_trascrizione;  // this session's transcript, "" if none

    // Events.
    // False: the settings file could not be read, a message said so and
    // the program must end.
    bool Form_Load();
    void Command1_Click();
    void Command2_Click();
    void Timer1_Timer();  // the whole session script
    void Timer2_Timer();  // one look for the transfer window

    // Session pieces.
    void attesa(double quanto);
    static std::string pulisci_finale(std::string stringa_originale);
    int risposta(const std::string& testo, const std::string& atteso,
                 const std::optional<std::string>& alternativo = std::nullopt,
                 std::optional<double> ritardo = std::nullopt, bool trasferimento = false,
                 const std::optional<std::string>& atteso_fine = std::nullopt);
    bool gestione_zmodem();
    // Closes the terminal and shows `motivo` (with the transcript's path).
    void manca_portante(const std::string& motivo = msg_manca_portante);

    // Places one setting of "j8_bbs_config.txt" (key already lower-case).
    void imposta(const std::string& chiave, const std::string& valore);

private:
    void manda(const std::string& tasti);  // into the terminal only
    void annota(const std::string& cosa);  // one transcript line
    void annota_schermo();
    void apri_trascrizione();
    void mostra_fine(const std::string& motivo);
    void attiva_terminale();
    void leggi_schermo();
    void impostazioni_ricezione();
    void modem_e_accesso();
    void posta_e_scarico();
    void uscita_e_aggiornamento();
    double secondi_trascorsi(data_ora inizio);

    piattaforma& p_;
    collegamento_aggiornamento& aggiornamento_;
    std::string trascrizione_;  // the transcript so far
    std::string schermo_annotato_;  // the last screen written to it
};

}  // namespace j8
