#include "j8_form_aggiornamento/form_aggiornamento.hpp"

#include <algorithm>

#include "comune/testi_comuni.hpp"
#include "j8_form_aggiornamento/interni_aggiornamento.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"

// What the pharmacist reads when a run stops, and the tables put back first.

namespace j8 {

std::string messaggio_di(const std::exception& e) {
    if (auto f = dynamic_cast<const errore_file*>(&e)) {
        return f->problema() + ": " + f->percorso();
    }
    if (auto i = dynamic_cast<const errore_impostazioni*>(&e)) {
        return i->problema() + ": " + i->percorso() + " (riga " + std::to_string(i->riga()) + ")";
    }
    return e.what();
}

namespace {

bool sotto(const std::string& percorso, const std::string& direttorio) {
    return !direttorio.empty() && percorso.size() > direttorio.size() &&
           minuscolo(percorso.substr(0, direttorio.size())) == minuscolo(direttorio);
}

// Problems that go away by themselves or once the user has seen to them:
// a full disk, a file another program holds, a drive not ready.
bool passeggero(const std::string& problema) {
    return problema == "disco pieno" || problema == "accesso negato" || problema.rfind("file in uso", 0) == 0 ||
           problema.rfind("unit\xE0 non pronta", 0) == 0;
}

}  // namespace

// A failure as the pharmacist knows its file: the package, the file inside
// it or the table, never the working copy the run made of it.
std::string form_aggiornamento::descrivi(const std::exception& e, consiglio& c) const {
    const std::string pacchetto = pacchetto_corrente_.empty() ? std::string()
                                                              : minuscolo(pacchetti::nome_da_percorso(pacchetto_corrente_)) + ".exe";
    c = consiglio::correggere;
    if (dynamic_cast<const errore_avvio*>(&e)) {
        c = consiglio::fornitore;
        return std::string("il pacchetto ") + pacchetto + " non si avvia (" + e.what() + ")";
    }
    const auto* f = dynamic_cast<const errore_file*>(&e);
    if (!f) return messaggio_di(e);
    std::string percorso = f->percorso();
    const std::string suffisso = suffisso_scrittura;
    if (percorso.size() > suffisso.size() &&
        minuscolo(percorso.substr(percorso.size() - suffisso.size())) == suffisso)
        percorso.resize(percorso.size() - suffisso.size());
    const std::string nome = percorso.substr(percorso.rfind('\\') + 1);
    const bool tabella = std::find(tabelle_obbligatorie.begin(), tabelle_obbligatorie.end(), minuscolo(nome)) !=
                         tabelle_obbligatorie.end();
    bool del_pacchetto = false;
    std::string cosa = percorso;
    if (minuscolo(percorso) == minuscolo(senza_barra(valori.direttorio_lavoro))) {
        cosa = "la cartella di lavoro dell'aggiornamento";
    } else if (sotto(percorso, valori.direttorio_lavoro) && tabella) {
        cosa = "la tabella " + valori.direttorio_tabelle + nome;
    } else if (sotto(percorso, valori.direttorio_lavoro)) {
        cosa = "il file " + nome + " del pacchetto " + pacchetto;
        del_pacchetto = true;
    } else if (sotto(percorso, valori.direttorio_tabelle)) {
        const bool tda = minuscolo(nome).size() > 4 && minuscolo(nome).substr(nome.size() - 4) == ".tda";
        cosa = (tda ? "la tabella " : "il file ") + valori.direttorio_tabelle + nome;
    } else if (sotto(percorso, valori.direttorio_da_bbs)) {
        cosa = "il pacchetto " + nome + " (in " + valori.direttorio_da_bbs + ")";
        del_pacchetto = true;
    }
    if (passeggero(f->problema())) c = consiglio::ripetere;
    else if (del_pacchetto) c = consiglio::fornitore;
    return f->problema() + ": " + cosa;
}

void form_aggiornamento::interrompi(const std::string& problema, consiglio c) {
    std::string errore_ripristino;
    const bool toccate = giornale_attivo_;
    const bool ripristinate =
        !toccate || riporta_tabelle(p_, direttorio_ripristino(), giornale_, errore_ripristino);
    std::string testo = "Aggiornamento interrotto." + a_capo + problema + a_capo + a_capo;
    if (!toccate) {
        testo += "Le tabelle non sono state modificate.";
    } else if (ripristinate) {
        testo += "Le tabelle sono state ripristinate come erano prima dell'aggiornamento.";
    } else {
        testo += "Attenzione: non \xE8" " stato possibile ripristinare le tabelle (" + errore_ripristino +
                 "). La copia delle tabelle di prima dell'aggiornamento \xE8" " in " +
                 direttorio_ripristino() + ": il ripristino verr\xE0" " ritentato al prossimo avvio del programma.";
    }
    if (ripristinate) {
        testo += a_capo + "Il file j8_bbs_config.txt non \xE8" " stato modificato";
        if (c == consiglio::ripetere) {
            testo += ": l'aggiornamento si pu\xF2" " ripetere.";
        } else if (c == consiglio::fornitore) {
            testo += ". Il pacchetto " + minuscolo(pacchetti::nome_da_percorso(pacchetto_corrente_)) +
                     ".exe non si pu\xF2" " applicare: chiedere al fornitore del programma una nuova copia del "
                     "pacchetto.";
        } else {
            testo += ". Correggere il problema indicato prima di ripetere l'aggiornamento.";
        }
    }
    modello.Timer1.enabled = false;
    modello.ProgressBar1.visible = false;
    modello.ProgressBar1.value = 0;
    modello.Label1.back_color = colore_rosso;
    modello.Label1.caption = "Chiudere il programma";
    modello.Label1.visible = true;
    modello.Label2.visible = true;
    modello.Label2.caption = "Chiudere il programma di aggiornamento";
    modello.Label3.caption += a_capo + a_capo + (ripristinate
                                                     ? "  ------- Aggiornamento interrotto: tabelle ripristinate -------"
                                                     : "  ------- Aggiornamento interrotto: tabelle NON ripristinate -------");
    ridisegna();
    p_.rilascia(direttorio_ripristino() + nome_giornale);
    // Nothing the run did stays: the report says only why.
    resoconto_ = {};
    chiudi_resoconto("Aggiornamento interrotto (" + problema + "): " +
                     (ripristinate ? std::string("le tabelle sono come prima dell'aggiornamento.")
                                   : std::string("le tabelle NON sono state ripristinate.")));
    p_.messaggio(testo, titolo_form);
    if (ripristinate && toccate) chiudi_ripristino();
    svuota_e_rimuovi(valori.direttorio_lavoro);
}

}  // namespace j8
