#include "j8_form_aggiornamento/form_aggiornamento.hpp"

#include <algorithm>
#include <cmath>

#include "comune/testi_comuni.hpp"
#include "j8_form_aggiornamento/interni_aggiornamento.hpp"
#include "j8_form_aggiornamento/manda_tasto.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "piattaforma/tasti.hpp"

namespace j8 {

namespace {

const std::vector<std::string> tabelle_ricopiate = {
    "farmaci.tda", "principi_attivi.tda", "notessn.tda", "atc.tda", "ditte.tda"};

const std::string pacchetto_base = "j8000000.exe";

// The engine's progress shown on the form.
class avanzamento_form : public avanzamento {
public:
    avanzamento_form(piattaforma& p, modello_aggiornamento& m, vista_aggiornamento& v)
        : p_(p), m_(m), v_(v) {}
    void barra_visibile(bool visibile) override {
        m_.ProgressBar1.visible = visibile;
        v_.ridisegna(m_);
    }
    void valore_barra(float percento) override {
        const int valore = static_cast<int>(std::lround(percento));
        m_.ProgressBar1.value = std::clamp(valore, 0, 100);
        v_.ridisegna(m_);
    }
    void stato_lampeggiante(const std::string& testo) override {
        m_.Label1.caption = testo;
        m_.Label1.tag = testo;
        m_.Label1.visible = true;
        m_.Timer1.interval = 700;
        m_.Timer1.enabled = true;
        v_.ridisegna(m_);
    }
    void lascia_girare() override { p_.esegui_eventi(); }

private:
    piattaforma& p_;
    modello_aggiornamento& m_;
    vista_aggiornamento& v_;
};

const char* stato_di(const std::string& nome_minuscolo) {
    if (nome_minuscolo == "farmaci.faf") return "Aggiornamento Farmaci. Attendere...";
    if (nome_minuscolo == "notessn.faf") return "Aggiornamento Note SSN. Attendere...";
    if (nome_minuscolo == "principi_attivi.faf") return "Aggiornamento Principi Attivi. Attendere...";
    if (nome_minuscolo == "atc.faf") return "Aggiornamento ATC. Attendere...";
    if (nome_minuscolo == "ditte.faf") return "Aggiornamento Ditte. Attendere...";
    return nullptr;
}

bool e_facoltativa(const std::string& nome_minuscolo) {
    return std::find(tabelle_facoltative.begin(), tabelle_facoltative.end(), nome_minuscolo) !=
           tabelle_facoltative.end();
}

}  // namespace

void form_aggiornamento::aggiorna_tabelle() {
    if (in_corso_) return;  // a click while the run lets events through
    in_corso_ = true;
    struct fine_corsa {
        bool& b;
        ~fine_corsa() { b = false; }
    } fine{in_corso_};
    giornale_attivo_ = false;
    resoconto_ = {};
    modello.Text1.visible = false;
    try {
        std::string prossimo;
        int totale = 0;
        if (!verifica_e_prepara(prossimo, totale)) {
            elenca_non_applicati(valori.ultimo_aggiornamento);
            chiudi_resoconto("Aggiornamento rifiutato: le tabelle non sono state modificate.");
            return;
        }
        applica_pacchetti(prossimo, totale);
        completa();
    } catch (const std::exception& e) {
        consiglio c;
        const std::string problema = descrivi(e, c);
        interrompi(problema, c);
    }
}

bool form_aggiornamento::verifica_e_prepara(std::string& prossimo, int& totale) {
    auto& m = modello;
    m.Label3.caption = "1) Verifica compatibilit\xE0" " aggiornamento";
    ridisegna();
    m.Label1.caption = "Attendere...";
    m.Label1.visible = true;
    ridisegna();

    const std::string da_bbs = senza_barra(valori.direttorio_da_bbs);
    const std::string ultimo = minuscolo(valori.ultimo_aggiornamento);
    totale = 0;
    for (const std::string& nome : p_.elenca_file(da_bbs, "*.exe")) {
        const std::string inizio = minuscolo(nome.substr(0, 8));
        if (inizio > ultimo || inizio == "j8000000") ++totale;
    }

    const long ultimo_numero = pacchetti::cifre_iniziali(
        valori.ultimo_aggiornamento.size() > 2 ? valori.ultimo_aggiornamento.substr(2) : "");
    const bool base_presente = p_.esiste_file(valori.direttorio_da_bbs + pacchetto_base);
    prossimo = pacchetti::successivo(valori.ultimo_aggiornamento) + ".exe";
    if (!p_.esiste_file(valori.direttorio_da_bbs + prossimo)) {
        if (!base_presente) {
            m.Label1.back_color = colore_verde;
            m.Label1.caption = "Chiudere il programma";
            m.Label3.caption += a_capo +
                                "Impossibile eseguire l'aggiornamento. Mancante o non compatibile con "
                                "quello precedente." +
                                "\r\n" + "Contattare il fornitore del programma per informazioni.";
            m.Label1.visible = true;
            ridisegna();
            return false;
        }
        prossimo = ultimo_numero == 0 ? pacchetto_base : std::string();
    }
    if (ultimo_numero == 0 && base_presente) prossimo = pacchetto_base;

    prepara_copie();
    m.Label3.caption += a_capo + "2) Esecuzione dell'aggiornamento";
    ridisegna();
    return true;
}

// The copies a run starts from: the tables as they were in "ultime_tabelle",
// the run's own backup, and the working copies the engine rewrites.
void form_aggiornamento::prepara_copie() {
    // "ultime_tabelle" beside the tables directory.
    if (valori.direttorio_tabelle.size() >= 2) {
        const std::size_t barra = valori.direttorio_tabelle.rfind('\\', valori.direttorio_tabelle.size() - 2);
        if (barra != std::string::npos) {
            valori.direttorio_ultime_tabelle = valori.direttorio_tabelle.substr(0, barra + 1) + "ultime_tabelle";
        }
    }
    const std::string ultime = senza_barra(valori.direttorio_ultime_tabelle);
    if (!ultime.empty() && !p_.esiste_direttorio(ultime)) p_.crea_direttorio(ultime);
    valori.direttorio_ultime_tabelle = con_barra(valori.direttorio_ultime_tabelle);

    inizia_ripristino();
    sblocca_tabelle(p_, valori.direttorio_tabelle, valori.direttorio_ultime_tabelle);
    proteggi("farmaci.tda");
    proteggi("farmaci.$$$");
    {
        avanzamento_form av(p_, modello, vista_);
        motore_tabelle(p_, av).elimina_doppi_farmaci(valori.direttorio_tabelle);
    }

    for (const std::string& nome : tabelle_obbligatorie) {
        p_.copia_file(valori.direttorio_tabelle + nome, valori.direttorio_ultime_tabelle + nome);
    }
    for (const std::string& nome : tabelle_facoltative) {
        if (p_.esiste_file(valori.direttorio_tabelle + nome)) {
            p_.copia_file(valori.direttorio_tabelle + nome, valori.direttorio_ultime_tabelle + nome);
        }
    }
    for (const std::string& nome : tabelle_obbligatorie) {
        p_.copia_file(valori.direttorio_tabelle + nome, valori.direttorio_lavoro + nome);
        // A table left read-only (its attributes could not be changed) is
        // copied read-only; the working copy must be rewritable all the same.
        try {
            p_.imposta_solo_archivio(valori.direttorio_lavoro + nome);
        } catch (const errore_file&) {
        }
    }
}

void form_aggiornamento::applica_pacchetti(std::string prossimo, int totale) {
    auto& m = modello;
    avanzamento_form av(p_, m, vista_);
    int contatore = 0;
    while (!prossimo.empty()) {
        pacchetto_corrente_ = valori.direttorio_da_bbs + prossimo;
        p_.copia_file(valori.direttorio_da_bbs + prossimo, valori.direttorio_archivio + prossimo);

        m.Label1.caption = "Caricamento tabelle in corso. Attendere...";
        m.Label1.width = m.Label2.width = m.Label3.width;
        ++contatore;
        m.Label2.visible = true;
        m.Label2.caption = "E' in corso l'aggiornamento N. " + std::to_string(contatore) + " di " +
                           std::to_string(totale);
        ridisegna();

        pacchetto_corrente_ = valori.direttorio_da_bbs + prossimo;
        attendi(2);

        // Load the working tables with the status line blinking.
        m.ProgressBar1.visible = true;
        av.stato_lampeggiante(m.Label1.caption);
        motore_tabelle motore(p_, av);
        motore.carica_tabelle(valori.direttorio_lavoro);
        m.ProgressBar1.visible = false;
        m.ProgressBar1.value = 0;
        m.Timer1.enabled = false;
        m.Label1.caption = "Caricamento Finito.";
        m.Label1.visible = true;
        ridisegna();
        attendi(2);

        estrai_pacchetto();
        applica_estratti(motore);
        ricopia_tabelle();

        resoconto_.applicati.push_back(minuscolo(prossimo));
        prossimo = pacchetti::successivo(pacchetti::nome_da_percorso(pacchetto_corrente_)) + ".exe";
        if (!p_.esiste_file(valori.direttorio_da_bbs + prossimo)) prossimo.clear();
    }
}

void form_aggiornamento::estrai_pacchetto() {
    auto& m = modello;
    // The package's self-extractor unpacks into the working directory.
    m.Label1.caption = "Estrazione dei files di aggiornamento";
    m.Label1.visible = true;
    ridisegna();
    attendi(2);
    const std::uint32_t task = p_.avvia_programma(pacchetto_corrente_);
    attendi(1);
    p_.attiva_task(task);
    attendi(1);
    // Keys only into the extractor's windows: a window of another
    // program in front, or the extractor gone, stops the run instead.
    p_.attiva_task(task);
    p_.manda_tasti_a(task, tasti_letterali(senza_barra(valori.direttorio_lavoro)));
    attendi(1);
    manda_tasto(p_, "{enter}", "WinZip Self-Extractor", 0, "unzipped successfully", task);
    attendi(1);
    p_.manda_tasti_a(task, "{enter}");
    attendi(1);
    p_.attiva_task(task);
    p_.manda_tasti_a(task, "{enter}");
    attendi(1);
}

// Each file the package unpacked: a change list applied by the engine, an
// optional table or a ".new" table put in place whole.
void form_aggiornamento::applica_estratti(motore_tabelle& motore) {
    auto& m = modello;
    const std::vector<std::string> trovati = p_.elenca_file(senza_barra(valori.direttorio_lavoro), "*.*");
    m.Label1.back_color = colore_rosso;
    for (const std::string& nome : trovati) {
        const std::string minuscolo_nome = minuscolo(nome);
        if (const char* stato = stato_di(minuscolo_nome)) {
            m.Label1.caption = stato;
            ridisegna();
            attendi(1);
            conteggio_variazioni c;
            motore.applica_aggiornamento(valori.direttorio_lavoro, nome, &c);
            conta_variazioni(minuscolo_nome.substr(0, minuscolo_nome.size() - 3) + "tda", c);
        } else if (e_facoltativa(minuscolo_nome)) {
            copia_in_tabelle(valori.direttorio_lavoro + nome, minuscolo_nome);
            sostituita(minuscolo_nome);
        } else if (minuscolo_nome.size() >= 3 &&
                   minuscolo_nome.compare(minuscolo_nome.size() - 3, 3, "new") == 0) {
            const std::string bersaglio = nome.substr(0, nome.size() - 3) + "tda";
            if (p_.esiste_file(valori.direttorio_tabelle + bersaglio)) {
                p_.copia_file(valori.direttorio_tabelle + bersaglio, valori.direttorio_ultime_tabelle + bersaglio);
            }
            proteggi(bersaglio);
            try {
                copia_intera(valori.direttorio_lavoro + nome, valori.direttorio_tabelle + bersaglio);
                sostituita(bersaglio);
            } catch (const errore_file&) {
                // Ignored: the old table stays, whole.
            }
        }
    }
}

void form_aggiornamento::ricopia_tabelle() {
    modello.Label1.caption = "Copia delle tabelle aggiornate.";
    ridisegna();
    for (const std::string& nome : tabelle_ricopiate) {
        copia_in_tabelle(valori.direttorio_lavoro + nome, nome);
    }
    for (const std::string& nome : tabelle_facoltative) {
        if (p_.esiste_file(valori.direttorio_lavoro + nome)) copia_in_tabelle(valori.direttorio_lavoro + nome, nome);
    }
}

void form_aggiornamento::completa() {
    auto& m = modello;
    avanzamento_form av(p_, m, vista_);
    av.stato_lampeggiante("Creazione File Farmaci Secondario");
    motore_tabelle motore(p_, av);
    motore.crea_secondario(valori.direttorio_lavoro);
    copia_in_tabelle(valori.direttorio_lavoro + "farmaci_secondario_completo.tda",
                     "farmaci_secondario_completo.tda");
    m.Timer1.enabled = false;
    m.Label1.visible = true;

    // The commit: the journal first says which package the settings are
    // about to name, then the settings name it. From then on the run is
    // complete and only clean-up is left, also after a kill.
    giornale_.nuovo = pacchetti::nome_da_percorso(pacchetto_corrente_);
    scrivi_giornale();
    const bool registrato = riscrivi_impostazioni();

    elenca_non_applicati(resoconto_.applicati.empty() ? minuscolo(valori.ultimo_aggiornamento)
                                                      : pacchetti::nome_da_percorso(pacchetto_corrente_));

    // The journal goes last: a kill during the clean-up leaves it for the
    // next start, which finishes the clean-up.
    svuota_e_rimuovi(valori.direttorio_lavoro);
    pulisci_scaricati();
    chiudi_ripristino();

    m.Label2.caption = "Chiudere il programma di aggiornamento";
    ridisegna();
    m.Label1.back_color = colore_verde;
    m.Label1.caption = "AGGIORNAMENTO COMPLETATO";
    ridisegna();
    m.Label3.caption += a_capo + a_capo + "  ------- Aggiornamento Completato -------";
    ridisegna();
    chiudi_resoconto(registrato ? "Aggiornamento completato: j8_bbs_config.txt indica " +
                                      (pacchetto_corrente_.empty() ? std::string("nessun pacchetto")
                                                                   : pacchetti::nome_da_percorso(pacchetto_corrente_)) + "."
                                : std::string("Aggiornamento completato, ma l'ultimo pacchetto non \xE8"
                                              " stato registrato."));
    // The tables are updated, but nothing says so: the next run would not
    // know where to start. The pharmacist must hear of it now.
    if (!registrato) avvisa_non_registrato();
}

bool form_aggiornamento::riscrivi_impostazioni() {
    return riscrivi_impostazione(p_, valori.direttorio_configurazione + std::string(file_configurazione_bbs),
                          "aggiornamento", pacchetti::nome_da_percorso(pacchetto_corrente_),
                          p_.secondi_da_mezzanotte()) > 0;
}

// The downloads the run applied, gone once it is complete.
void form_aggiornamento::pulisci_scaricati() {
    const std::string da_bbs = senza_barra(valori.direttorio_da_bbs);
    try {
        for (const std::string& nome : p_.elenca_file(da_bbs, "*.exe")) {
            if (minuscolo(nome) == "perinst.txt") continue;
            try {
                p_.cancella_file(da_bbs + "\\" + nome);
            } catch (const errore_file&) {
            }
        }
    } catch (const errore_file&) {
    }
}

void form_aggiornamento::avvisa_non_registrato() {
    p_.messaggio("Le tabelle sono state aggiornate fino al pacchetto " +
                     pacchetti::nome_da_percorso(pacchetto_corrente_) + ", ma il file " + valori.direttorio_configurazione +
                     std::string(file_configurazione_bbs) +
                     " non contiene la riga \"aggiornamento\": l'ultimo pacchetto applicato non \xE8 "
                     "stato registrato." + a_capo +
                     "Chiedere al fornitore del programma una copia aggiornata del file prima del "
                     "prossimo aggiornamento.",
                 titolo_form);
}

}  // namespace j8
