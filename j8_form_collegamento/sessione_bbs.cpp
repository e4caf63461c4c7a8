// The BBS session: prompts awaited through the terminal's screen copied to
// the clipboard, transfers awaited through the terminal's "Zmodem" window.

#include "form_collegamento.hpp"

#include <algorithm>

#include "j8_modulo_aggiornamento/finestre.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "piattaforma/tasti.hpp"

namespace j8 {

namespace {

// Ends the script at a step that saw the carrier drop (or a busy line).
struct portante_persa {};

int verifica(int esito) {
    if (esito == 0) throw portante_persa{};
    return esito;
}

bool finisce_con(const std::string& testo, const std::string& fine) {
    return testo.size() >= fine.size() &&
           testo.compare(testo.size() - fine.size(), fine.size(), fine) == 0;
}

// Five backspaces clear the BBS line editor before each menu choice.
const std::string cancella = "{bs}{bs}{bs}{bs}{bs}";

const std::string menu_principale =
    "Immetti la tua scelta (T,I,F,E,L,A,P,D,R,Q,? per help, or X per uscire):";
const std::string menu_email = "E-mail (R,W,M,E,F,S,X per fine, o ? per menu):";
const std::string chiede_file = "Desideri visualizzare o scaricare il file ora (S/N)?";

}  // namespace

double form_collegamento::secondi_trascorsi(data_ora inizio) {
    return (p_.adesso() - inizio) * 24 * 3600;
}

void form_collegamento::attesa(double quanto) {
    const double inizio = p_.secondi_da_mezzanotte();
    for (;;) {
        double trascorsi = p_.secondi_da_mezzanotte() - inizio;
        if (trascorsi < 0) trascorsi += 86400;  // past midnight
        if (trascorsi >= quanto) return;
        p_.pausa(std::max(quanto - trascorsi, 0.01));
    }
}

std::string form_collegamento::pulisci_finale(std::string stringa_originale) {
    while (finisce_con(stringa_originale, "\r\n")) stringa_originale.resize(stringa_originale.size() - 2);
    return stringa_originale;
}

void form_collegamento::attiva_terminale() { p_.attiva_task(id_terminale); }

void form_collegamento::leggi_schermo() {
    attiva_terminale();
    if (modello.italiano) p_.manda_tasti("%ms");
    if (modello.inglese) p_.manda_tasti("%es");
    p_.manda_tasti(tasti_copia);
    schermo = pulisci_finale(p_.leggi_appunti());
}

int form_collegamento::risposta(const std::string& testo, const std::string& atteso,
                                const std::optional<std::string>& alternativo,
                                std::optional<double> ritardo, bool trasferimento,
                                const std::optional<std::string>& atteso_fine) {
    attiva_terminale();
    p_.manda_tasti(testo);
    if (trasferimento) gestione_zmodem();
    if (ritardo) attesa(*ritardo);
    const data_ora inizio = p_.adesso();
    for (;;) {
        attesa(1);
        // Past limite_risposta the answer counts as late, yet only a
        // recognised screen ends the wait: a BBS that is slow is not a
        // reason to hang up.
        in_ritardo = secondi_trascorsi(inizio) > limite_risposta;
        leggi_schermo();
        if (schermo.find("NO CARRIER") != std::string::npos) return 0;
        if (alternativo) {
            const bool visto = *alternativo == "Carico_file"
                                   ? schermo.find(atteso) != std::string::npos
                                   : finisce_con(schermo, *alternativo);
            if (visto) return 2;
        }
        if (atteso_fine && finisce_con(schermo, *atteso_fine)) return 3;
        if (finisce_con(schermo, atteso)) return 1;
    }
}

bool form_collegamento::gestione_zmodem() {
    zmodem_iniziato = false;
    zmodem_finito = false;
    const data_ora inizio = p_.adesso();
    modello.Timer2.abilitato = true;
    for (;;) {
        if (zmodem_finito) return true;
        if (secondi_trascorsi(inizio) > limite_zmodem) break;
        p_.esegui_eventi();
        // Timer2 runs off the same clock as everything else.
        p_.pausa(modello.Timer2.intervallo / 1000.0);
        if (modello.Timer2.abilitato) Timer2_Timer();
    }
    modello.Timer2.abilitato = false;
    return false;
}

void form_collegamento::Timer2_Timer() {
    enumera_finestre(p_);
    for (const voce_finestra& f : elenco_finestre) {
        if (f.titolo.rfind("Zmodem", 0) == 0) {
            // First sight: the transfer has started. Later: still running.
            zmodem_iniziato = true;
            return;
        }
    }
    if (zmodem_iniziato) {
        modello.Timer2.abilitato = false;
        zmodem_finito = true;
    }
}

void form_collegamento::manca_portante() {
    attiva_terminale();
    if (modello.italiano) p_.manda_tasti("%fe");
    if (modello.inglese) p_.manda_tasti("%fx");
    attesa(2);
    attiva_terminale();
    if (modello.italiano) p_.manda_tasti("S");
    if (modello.inglese) p_.manda_tasti("Y");
    p_.messaggio(msg_manca_portante, titolo_messaggi);
}

void form_collegamento::impostazioni_ricezione() {
    attiva_terminale();
    p_.manda_tasti("%tr");
    p_.manda_tasti("+{end}");
    p_.manda_tasti(tasti_letterali(modello.direttorio_deposito) + "{tab}{tab}Z");
    attiva_terminale();
    p_.manda_tasti("%c");
    attesa(2);
}

void form_collegamento::modem_e_accesso() {
    verifica(risposta("at{enter}", "at" + a_capo + "OK"));
    attesa(3);
    verifica(risposta("atx3s7=60{enter}", "atx3s7=60" + a_capo + "OK"));
    attesa(3);
    if (verifica(risposta("atdt" + tasti_letterali(senza_spazi(modello.telefono)) + "{enter}", "Altrimenti batti \"new\":", "BUSY")) == 2)
        throw portante_persa{};
    verifica(risposta(cancella + tasti_letterali(modello.utente) + "{enter}", "Immetti la password:"));
    verifica(risposta(tasti_letterali(modello.password) + "{enter}", menu_principale));
}

void form_collegamento::posta_e_scarico() {
    attiva_terminale();
    int esito = verifica(risposta(cancella + "E{enter}",
                                  "Scegli un'opzione (R,W,M,E,F,S,X per fine, o ? per info):",
                                  "Spiacente non ci sono messaggi nella tua mailbox."));
    if (esito == 2) return;  // empty mailbox
    attiva_terminale();
    esito = verifica(risposta(cancella + "R{enter}", "(Premi ENTER per partire con i nuovi messaggi):",
                              "primo messaggio, L per l'ultimo, o ? per help:", std::nullopt, false,
                              menu_email));
    if (esito == 3) return;  // no new messages
    esito = verifica(risposta(cancella + "F{enter}", chiede_file, "(P)=precedente, o (N)=prossimo? "));
    for (;;) {
        if (esito != 2) {  // a file is offered
            verifica(risposta(cancella + "S{enter}",
                              "Indica un'opzione di scaricamento (o 'X' per uscire):"));
            verifica(risposta(cancella + "Z{enter}", "(P)=precedente, o (N)=prossimo?", std::nullopt,
                              std::nullopt, true));
        }
        esito = verifica(risposta(cancella + "E{enter}", "(N)o-pausa, (S)top, o (C)ontinua?", menu_email));
        attesa(1);
        if (esito != 1) break;
        attiva_terminale();
        esito = verifica(risposta("C", chiede_file, menu_email));
    }
}

void form_collegamento::uscita_e_aggiornamento() {
    attiva_terminale();
    verifica(risposta(cancella + "X{enter}", menu_principale));
    verifica(risposta(cancella + "X{enter}", "Sei sicuro (S/N, o R per re-logon)?"));
    risposta(cancella + "S{enter}", "NO CARRIER");  // the carrier drop is the expected end
    attiva_terminale();
    if (modello.italiano) p_.manda_tasti("%fe");
    if (modello.inglese) p_.manda_tasti("%fx");
    attesa(1);
    attiva_terminale();
    if (modello.italiano) p_.manda_tasti("S");
    if (modello.inglese) p_.manda_tasti("Y");
    attesa(1);
    esito = fine_sessione::aggiornamento;
    Command2_Click();
}

void form_collegamento::Timer1_Timer() {
    modello.Timer1.abilitato = false;
    tasti_copia.clear();
    if (modello.italiano) tasti_copia = "%m{enter}{end}";
    if (modello.inglese) tasti_copia = "%e{enter}{end}";
    try {
        const bool da_inviare = !p_.elenca_file(modello.direttorio_origine, "*.*").empty();
        if (da_inviare) {
            p_.manda_tasti("{esc}");
            attesa(2);
            attiva_terminale();
            modem_e_accesso();
            attiva_terminale();
            verifica(risposta(cancella + "LS MAIN U * Z{enter}", "Inizio caricamento ZMODEM",
                              "Carico_file"));
            attesa(2);
            attiva_terminale();
            verifica(risposta("%tv" + tasti_letterali(modello.direttorio_origine) + "\\*.*{tab}{tab}Z{tab}{enter}",
                              "Immetti scelta, ? per help, o X per fine:", std::nullopt, std::nullopt,
                              true));
            verifica(risposta(cancella + "X{enter}", menu_principale));
            attesa(2);
            impostazioni_ricezione();
        } else {
            attesa(2);
            attiva_terminale();
            p_.manda_tasti("{esc}");
            impostazioni_ricezione();
            modem_e_accesso();
        }
        posta_e_scarico();
    } catch (const portante_persa&) {
        manca_portante();
        esito = fine_sessione::manca_portante;
        return;
    }
    uscita_e_aggiornamento();
}

}  // namespace j8
