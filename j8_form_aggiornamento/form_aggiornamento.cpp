#include "j8_form_aggiornamento/form_aggiornamento.hpp"

#include <algorithm>
#include <exception>
#include <optional>

#include "comune/testi_comuni.hpp"
#include "j8_form_aggiornamento/interni_aggiornamento.hpp"
#include "j8_form_aggiornamento/manda_tasto.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"

namespace j8 {

const std::vector<std::string> tabelle_obbligatorie = {
    "farmaci.tda", "farmaci_secondario_completo.tda", "principi_attivi.tda",
    "notessn.tda", "atc.tda",   "ditte.tda"};
const std::vector<std::string> tabelle_facoltative = {
    "generici.tda", "rimborsi.tda", "farmaci_variati.tda", "presidi.tda"};

modello_aggiornamento::modello_aggiornamento() {
    Label1.grassetto = true;
    Label2.grassetto = true;
    Label2.visible = false;
    Label1.top = 16;
    Label1.height = 36;
    Label2.top = 60;
    Label2.height = 24;
    Label3.left = 24;
    Label3.top = 128;
    Label3.width = 432;
    Label3.height = 150;
    Label3.caption = "";
    Text1.left = 24;
    Text1.top = 336;
    Text1.width = 432;
    Text1.height = 160;
}

form_aggiornamento::form_aggiornamento(piattaforma& p, vista_aggiornamento& vista, valori_programma& valori)
    : valori(valori), p_(p), vista_(vista) {}

// The window keeps painting (and blinking) through every wait, so it
// never shows as not responding; clicks meanwhile are ignored by the run.
void form_aggiornamento::attendi(double secondi) {
    constexpr double passo = 0.1;
    for (double resto = secondi; resto > 0; resto -= passo) {
        p_.esegui_eventi();
        attendi_secondi(p_, std::min(passo, resto));
    }
}

void form_aggiornamento::svuota_e_rimuovi(const std::string& direttorio) {
    const std::string d = senza_barra(direttorio);
    try {
        if (!p_.esiste_direttorio(d)) return;
        for (const std::string& nome : p_.elenca_file(d, "*.*")) {
            try {
                p_.cancella_file(d + "\\" + nome);
            } catch (const errore_file&) {
                // A read-only leftover (a table copied with its attributes).
                try {
                    p_.imposta_solo_archivio(d + "\\" + nome);
                    p_.cancella_file(d + "\\" + nome);
                } catch (const errore_file&) {
                }
            }
        }
        p_.rimuovi_direttorio(d);
    } catch (const errore_file&) {
    }
}

// ---------------------------------------------------------------- load

esito_caricamento form_aggiornamento::Form_Load() {
    modello.Label1.caption = "L'esecuzione dell'aggiornamento potr\xE0" " richiedere alcuni minuti";
    modello.Label1.width = modello.Label2.width = modello.Label3.width;
    modello.Label1.left = modello.Label2.left = modello.Label3.left;

    // A run killed half-way left its journal: put the tables back before
    // anything else, whatever the rest of the load finds. A journal held
    // open belongs to a run still going in another start of the program:
    // its working folder and tables are not ours to touch.
    if (controlla_aggiornamento_interrotto(p_, valori) == esito_avvio::in_corso) {
        p_.messaggio("j8_bbs \xE8 gi\xE0 in esecuzione.", titolo_form);
        return esito_caricamento::fine_programma;
    }

    // The main application's settings first: a missing or damaged file ends
    // the program before anything on disk has changed.
    std::optional<std::string> tabelle_lette;
    const apertura_impostazioni configurazione =
        carica_impostazioni(p_, file_configurazione, {}, [&](const riga_impostazione& r) {
            if (r.chiave != chiave_direttorio_tabelle) return true;
            tabelle_lette = r.valore;
            return false;
        });
    if (configurazione.esito == apertura_impostazioni::stato::mancanti) {
        p_.messaggio("file configurazione (j8_config.txt)non trovato in " + p_.direttorio_corrente(),
                     titolo_form);
        return esito_caricamento::fine_programma;
    }
    if (!configurazione.messaggio.empty()) {
        p_.messaggio(configurazione.messaggio, titolo_form);
        return esito_caricamento::fine_programma;
    }

    try {
        prepara_cartelle();
    } catch (const std::exception& e) {
        p_.messaggio("Impossibile preparare la cartella di lavoro dell'aggiornamento." + a_capo +
                         messaggio_di(e) + a_capo +
                         "Controllare in j8_bbs_config.txt il direttorio archivio aggiornamenti (" +
                         valori.direttorio_archivio + "): la sua unit\xE0" " deve esistere ed essere scrivibile." +
                         a_capo + "Il programma viene chiuso senza modificare le tabelle.",
                     titolo_form);
        return esito_caricamento::fine_programma;
    }

    if (tabelle_lette) {
        valori.direttorio_tabelle = *tabelle_lette;
        if (su_direttorio_tabelle) su_direttorio_tabelle(*tabelle_lette);
    }
    ridisegna();
    return esito_caricamento::pronto;
}

// The working folder emptied and made again, the archive kept to the
// newest twenty packages.
void form_aggiornamento::prepara_cartelle() {
    const std::string unita = valori.direttorio_archivio.substr(0, 3);
    const std::string lavoro = unita + "j8\\lavoro_aggiornamento";
    svuota_e_rimuovi(lavoro);
    if (!p_.esiste_direttorio(unita + "j8")) p_.crea_direttorio(unita + "j8");
    if (!p_.esiste_direttorio(lavoro)) p_.crea_direttorio(lavoro);
    valori.direttorio_lavoro = lavoro + "\\";

    const std::string archivio = senza_barra(valori.direttorio_archivio);
    if (!p_.esiste_direttorio(archivio)) p_.crea_direttorio(archivio);

    const std::vector<std::string> archiviati = p_.elenca_file(archivio, "*.exe");
    long piu_alto = 0;
    for (const std::string& nome : archiviati) piu_alto = std::max(piu_alto, pacchetti::numero_pacchetto(nome));
    if (archiviati.size() > 20) {
        for (const std::string& nome : archiviati) {
            if (pacchetti::numero_pacchetto(nome) <= piu_alto - 20) {
                try {
                    p_.cancella_file(archivio + "\\" + nome);
                } catch (const errore_file&) {
                }
            }
        }
    }
}

void form_aggiornamento::Timer1_Timer() {
    auto& l = modello.Label1;
    l.caption = l.caption.empty() ? l.tag : std::string();
    ridisegna();
}

void form_aggiornamento::Command1_Click() { aggiorna_tabelle(); }

void form_aggiornamento::esegui_aggiornamento() { Command1_Click(); }

void sblocca_tabelle(piattaforma& p, const std::string& tabelle, const std::string& direttorio) {
    for (const std::string* base : {&tabelle, &direttorio}) {
        for (const auto* elenco : {&tabelle_obbligatorie, &tabelle_facoltative}) {
            for (const std::string& nome : *elenco) {
                try {
                    p.imposta_solo_archivio(*base + nome);
                } catch (const errore_file&) {
                }
            }
        }
    }
}

}  // namespace j8
