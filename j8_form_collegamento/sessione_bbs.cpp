// The BBS session: prompts awaited through the terminal's screen copied to
// the clipboard, transfers awaited through the terminal's "Zmodem" window.

#include "form_collegamento.hpp"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "comune/testi_comuni.hpp"
#include "j8_modulo_aggiornamento/finestre.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "piattaforma/tasti.hpp"

namespace j8 {

namespace {

// Ends the script at a step that saw the carrier drop (or a busy line).
struct portante_persa {};
// Ends it when the BBS showed the password prompt again.
struct password_rifiutata {};
// Ends it when a prompt did not show within limite_prompt.
struct prompt_mancato {
    std::string atteso;
};

std::string sostituisci(std::string testo, const std::string& cosa, const std::string& con) {
    if (cosa.empty()) return testo;
    for (std::size_t i = testo.find(cosa); i != std::string::npos; i = testo.find(cosa, i + con.size()))
        testo.replace(i, cosa.size(), con);
    return testo;
}

// The BBS echoes the password as asterisks: every run of them (but the
// "*.*" of a file pattern) is written at the fixed length, so that no
// transcript tells how long the password is.
std::string asterischi_fissi(const std::string& testo) {
    std::string r;
    for (std::size_t i = 0; i < testo.size();) {
        if (testo[i] != '*') {
            r += testo[i++];
            continue;
        }
        std::size_t fine = i;
        while (fine < testo.size() && testo[fine] == '*') ++fine;
        const bool modello = (i > 0 && testo[i - 1] == '.') || (fine < testo.size() && testo[fine] == '.');
        r += modello ? testo.substr(i, fine - i) : std::string(password_nascosta);
        i = fine;
    }
    return r;
}

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

// --- transcript -------------------------------------------------------------

void form_collegamento::apri_trascrizione() {
    trascrizione_.clear();
    schermo_annotato_.clear();
    percorso_trascrizione.clear();
    try {
        std::string cartella = valori.direttorio_configurazione.empty() ? p_.direttorio_programma()
                                                                  : valori.direttorio_configurazione;
        cartella = con_barra(cartella);
        cartella += cartella_trascrizioni;
        if (!p_.esiste_direttorio(cartella)) p_.crea_direttorio(cartella);
        const data_civile d = scomponi_data_ora(p_.adesso());
        char nome[48];
        std::snprintf(nome, sizeof nome, "sessione_%04d%02d%02d_%02d%02d%02d.txt", d.anno, d.mese,
                      d.giorno, d.ore, d.minuti, d.secondi);
        percorso_trascrizione = cartella + "\\" + nome;
        // The oldest go, so that with this one there are trascrizioni_tenute.
        std::vector<std::string> vecchie = p_.elenca_file(cartella, "sessione_*.txt");
        std::sort(vecchie.begin(), vecchie.end());
        vecchie.erase(std::remove(vecchie.begin(), vecchie.end(), std::string(nome)), vecchie.end());
        for (std::size_t i = 0; i + trascrizioni_tenute <= vecchie.size(); ++i) {
            try {
                p_.cancella_file(cartella + "\\" + vecchie[i]);
            } catch (const errore_file&) {
            }
        }
    } catch (const errore_file&) {
        percorso_trascrizione.clear();  // no transcript, the session still runs
    }
}

void form_collegamento::annota(const std::string& cosa) {
    if (percorso_trascrizione.empty()) return;
    const data_civile d = scomponi_data_ora(p_.adesso());
    char ora[16];
    std::snprintf(ora, sizeof ora, "%02d:%02d:%02d ", d.ore, d.minuti, d.secondi);
    std::string riga = cosa;
    // The password never reaches the disk, nor its length.
    riga = sostituisci(riga, tasti_letterali(modello.password), password_nascosta);
    riga = nascondi_password(riga, modello.password);
    riga = asterischi_fissi(riga);
    // A screen's lines stay apart but inside the entry.
    riga = sostituisci(sostituisci(riga, "\r\n", "\n"), "\n", "\r\n    | ");
    trascrizione_ += ora + riga + "\r\n";
    try {
        p_.scrivi_file(percorso_trascrizione, trascrizione_);
    } catch (const errore_file&) {
        percorso_trascrizione.clear();
    }
}

// Only what changed since the last screen noted, from the start of the
// first line that differs: the terminal's buffer is copied whole each time.
void form_collegamento::annota_schermo() {
    if (schermo == schermo_annotato_) return;
    std::size_t uguali = 0;
    while (uguali < schermo.size() && uguali < schermo_annotato_.size() &&
           schermo[uguali] == schermo_annotato_[uguali])
        ++uguali;
    const std::size_t riga = schermo.rfind('\n', uguali == 0 ? 0 : uguali - 1);
    const std::size_t da = uguali == 0 || riga == std::string::npos ? 0 : riga + 1;
    annota((da == 0 ? "schermo:\n" : "schermo (seguito):\n") + schermo.substr(da));
    schermo_annotato_ = schermo;
}

// --- keys and screen ----------------------------------------------------------

void form_collegamento::manda(const std::string& tasti) {
    annota("tasti: " + tasti);
    p_.manda_tasti_a(id_terminale, tasti);
}

void form_collegamento::attiva_terminale() { p_.attiva_task(id_terminale); }

void form_collegamento::leggi_schermo() {
    attiva_terminale();
    if (modello.italiano) p_.manda_tasti_a(id_terminale, "%ms");
    if (modello.inglese) p_.manda_tasti_a(id_terminale, "%es");
    p_.manda_tasti_a(id_terminale, tasti_copia);
    schermo = pulisci_finale(p_.leggi_appunti());
}

int form_collegamento::risposta(const std::string& testo, const std::string& atteso,
                                const std::optional<std::string>& alternativo,
                                std::optional<double> ritardo, bool trasferimento,
                                const std::optional<std::string>& atteso_fine) {
    attiva_terminale();
    manda(testo);
    if (trasferimento) {
        annota("attesa del trasferimento ZMODEM");
        const bool finito = gestione_zmodem();
        annota(finito ? "trasferimento concluso" : "trasferimento non concluso entro il limite");
    }
    if (ritardo) attesa(*ritardo);
    annota("attesa di \"" + atteso + "\"");
    data_ora inizio = p_.adesso();
    for (;;) {
        attesa(1);
        // Past limite_risposta the answer counts as late; only past
        // limite_prompt does the session give up.
        in_ritardo = secondi_trascorsi(inizio) > limite_risposta;
        if (secondi_trascorsi(inizio) > limite_prompt) {
            // A transfer still under way is not cut short.
            bool in_corso = false;
            if (trasferimento) {
                enumera_finestre(p_);
                for (const voce_finestra& f : elenco_finestre) in_corso |= f.titolo.rfind("Zmodem", 0) == 0;
            }
            if (!in_corso) {
                annota("nessuna risposta entro " + std::to_string(int(limite_prompt)) + " secondi");
                throw prompt_mancato{atteso};
            }
            inizio = p_.adesso();
        }
        leggi_schermo();
        annota_schermo();
        auto esito = [&](int r) {
            annota("fine attesa: " + std::to_string(r));
            return r;
        };
        if (schermo.find("NO CARRIER") != std::string::npos) return esito(0);
        if (alternativo) {
            const bool visto = *alternativo == "Carico_file"
                                   ? schermo.find(atteso) != std::string::npos
                                   : finisce_con(schermo, *alternativo);
            if (visto) return esito(2);
        }
        if (atteso_fine && finisce_con(schermo, *atteso_fine)) return esito(3);
        if (finisce_con(schermo, atteso)) return esito(1);
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
            if (!zmodem_iniziato) annota("finestra di trasferimento: " + f.titolo);
            zmodem_iniziato = true;
            return;
        }
    }
    if (zmodem_iniziato) {
        modello.Timer2.abilitato = false;
        zmodem_finito = true;
    }
}

void form_collegamento::mostra_fine(const std::string& motivo) {
    annota("sessione interrotta: " + motivo);
    std::string testo = motivo;
    if (!percorso_trascrizione.empty()) testo += "\r\n\r\n" + std::string(msg_trascrizione) + percorso_trascrizione;
    p_.messaggio(testo, titolo_messaggi);
}

void form_collegamento::manca_portante(const std::string& motivo) {
    try {
        attiva_terminale();
        if (modello.italiano) manda("%fe");
        if (modello.inglese) manda("%fx");
        attesa(2);
        attiva_terminale();
        if (modello.italiano) manda("S");
        if (modello.inglese) manda("Y");
    } catch (const errore_destinazione&) {
        // The terminal went by itself: nothing is left to close.
    }
    mostra_fine(motivo);
}

void form_collegamento::impostazioni_ricezione() {
    attiva_terminale();
    manda("%tr");
    manda("+{end}");
    manda(tasti_letterali(modello.direttorio_deposito) + "{tab}{tab}Z");
    attiva_terminale();
    manda("%c");
    attesa(2);
}

void form_collegamento::modem_e_accesso() {
    verifica(risposta("at{enter}", "at" + a_capo + "OK"));
    attesa(3);
    verifica(risposta("atx3s7=60{enter}", "atx3s7=60" + a_capo + "OK"));
    attesa(3);
    if (verifica(risposta("atdt" + tasti_letterali(senza_spazi(modello.telefono)) + "{enter}",
                          "Altrimenti batti \"new\":", "BUSY")) == 2)
        throw portante_persa{};
    verifica(risposta(cancella + tasti_letterali(modello.utente) + "{enter}", "Immetti la password:"));
    // The password prompt again: the BBS refused it.
    if (verifica(risposta(tasti_letterali(modello.password) + "{enter}", menu_principale,
                          "Immetti la password:")) == 2)
        throw password_rifiutata{};
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
            const auto prima = p_.elenca_file(modello.direttorio_deposito, "*.*");
            verifica(risposta(cancella + "Z{enter}", "(P)=precedente, o (N)=prossimo?", std::nullopt,
                              std::nullopt, true));
            for (const std::string& f : p_.elenca_file(modello.direttorio_deposito, "*.*"))
                if (std::find(prima.begin(), prima.end(), f) == prima.end()) annota("file ricevuto: " + f);
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
    if (modello.italiano) manda("%fe");
    if (modello.inglese) manda("%fx");
    attesa(1);
    try {
        attiva_terminale();
        if (modello.italiano) manda("S");
        if (modello.inglese) manda("Y");
    } catch (const errore_destinazione&) {
        // Off line the terminal quits without asking: nothing to confirm.
        annota("il terminale si \xE8 chiuso senza chiedere conferma");
    }
    attesa(1);
}

void form_collegamento::Timer1_Timer() {
    modello.Timer1.abilitato = false;
    tasti_copia.clear();
    if (modello.italiano) tasti_copia = "%m{enter}{end}";
    if (modello.inglese) tasti_copia = "%e{enter}{end}";
    apri_trascrizione();
    annota("inizio della sessione; utente " + modello.utente + ", telefono " + senza_spazi(modello.telefono));
    try {
        const std::vector<std::string> da_inviare = p_.elenca_file(modello.direttorio_origine, "*.*");
        if (!da_inviare.empty()) {
            for (const std::string& f : da_inviare) annota("file da inviare: " + f);
            manda("{esc}");
            attesa(2);
            attiva_terminale();
            modem_e_accesso();
            attiva_terminale();
            verifica(risposta(cancella + "LS MAIN U * Z{enter}", "Inizio caricamento ZMODEM",
                              "Carico_file"));
            attesa(2);
            attiva_terminale();
            verifica(risposta("%tv" + tasti_letterali(modello.direttorio_origine) +
                                  "\\*.*{tab}{tab}Z{tab}{enter}",
                              "Immetti scelta, ? per help, o X per fine:", std::nullopt, std::nullopt,
                              true));
            annota("file inviati: " + std::to_string(da_inviare.size()));
            verifica(risposta(cancella + "X{enter}", menu_principale));
            attesa(2);
            impostazioni_ricezione();
        } else {
            attesa(2);
            attiva_terminale();
            manda("{esc}");
            impostazioni_ricezione();
            modem_e_accesso();
        }
        posta_e_scarico();
        uscita_e_aggiornamento();
    } catch (const portante_persa&) {
        annota("portante persa");
        manca_portante();
        esito = fine_sessione::manca_portante;
        return;
    } catch (const password_rifiutata&) {
        manca_portante(msg_password_rifiutata);
        esito = fine_sessione::manca_portante;
        return;
    } catch (const prompt_mancato& m) {
        manca_portante(msg_nessuna_risposta + ("\"" + m.atteso + "\"."));
        esito = fine_sessione::manca_portante;
        return;
    } catch (const errore_destinazione& e) {
        // Nothing more is typed: the keys could land anywhere.
        annota(std::string("finestra del terminale persa: ") + e.what());
        mostra_fine(msg_terminale_perso);
        esito = fine_sessione::manca_portante;
        return;
    }
    annota("sessione conclusa, avvio dell'aggiornamento");
    esito = fine_sessione::aggiornamento;
    Command2_Click();
}

}  // namespace j8
