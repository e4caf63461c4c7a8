#include "j8_form_aggiornamento/form_aggiornamento.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <exception>
#include <optional>

#include "comune/testi_comuni.hpp"
#include "j8_form_aggiornamento/manda_tasto.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "motore_tabelle/motore_tabelle.hpp"
#include "piattaforma/tasti.hpp"

namespace j8 {

const std::vector<std::string> tabelle_obbligatorie = {
    "farmaci.tda", "farmaci_secondario_completo.tda", "principi_attivi.tda",
    "notessn.tda", "atc.tda",   "ditte.tda"};
const std::vector<std::string> tabelle_facoltative = {
    "generici.tda", "rimborsi.tda", "farmaci_variati.tda", "presidi.tda"};

namespace {

const std::vector<std::string> tabelle_ricopiate = {
    "farmaci.tda", "principi_attivi.tda", "notessn.tda", "atc.tda", "ditte.tda"};

const std::string pacchetto_base = "j8000000.exe";
const std::string titolo_form = "J8_aggiornamento";

// The package name inside a full path: the first 8 of its last 12 characters.
std::string nome_da_percorso(const std::string& percorso) {
    const std::string coda = percorso.size() > 12 ? percorso.substr(percorso.size() - 12) : percorso;
    return coda.substr(0, 8);
}

std::string messaggio_di(const std::exception& e) {
    if (auto f = dynamic_cast<const errore_file*>(&e)) {
        return f->problema() + ": " + f->percorso();
    }
    if (auto i = dynamic_cast<const errore_impostazioni*>(&e)) {
        return i->problema() + ": " + i->percorso() + " (riga " + std::to_string(i->riga()) + ")";
    }
    return e.what();
}

}  // namespace

namespace pacchetti {

long cifre_iniziali(const std::string& testo) {
    std::size_t i = 0;
    while (i < testo.size() && (testo[i] == ' ' || testo[i] == '\t')) ++i;
    long valore = 0;
    for (; i < testo.size() && std::isdigit(static_cast<unsigned char>(testo[i])); ++i) {
        if (valore > 100000000L) break;  // names carry six digits; stay clear of overflow
        valore = valore * 10 + (testo[i] - '0');
    }
    return valore;
}

long numero(const std::string& nome) {
    return nome.size() > 2 ? cifre_iniziali(nome.substr(2, 6)) : 0;
}

std::string successivo(const std::string& nome) {
    const std::string cifre = std::to_string(cifre_iniziali(nome.size() > 2 ? nome.substr(2) : "") + 1);
    const std::size_t tenuti = cifre.size() < 8 ? 8 - cifre.size() : 0;
    return nome.substr(0, std::min(tenuti, nome.size())) + cifre;
}

}  // namespace pacchetti

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
        const std::string unita = valori.direttorio_archivio.substr(0, 3);
        const std::string lavoro = unita + "j8\\lavoro_aggiornamento";
        svuota_e_rimuovi(lavoro);
        if (!p_.esiste_direttorio(unita + "j8")) p_.crea_direttorio(unita + "j8");
        if (!p_.esiste_direttorio(lavoro)) p_.crea_direttorio(lavoro);
        valori.direttorio_lavoro = lavoro + "\\";

        const std::string archivio = senza_barra(valori.direttorio_archivio);
        if (!p_.esiste_direttorio(archivio)) p_.crea_direttorio(archivio);

        // Keep the newest twenty packages of the archive.
        const std::vector<std::string> archiviati = p_.elenca_file(archivio, "*.exe");
        long piu_alto = 0;
        for (const std::string& nome : archiviati) piu_alto = std::max(piu_alto, pacchetti::numero(nome));
        if (archiviati.size() > 20) {
            for (const std::string& nome : archiviati) {
                if (pacchetti::numero(nome) <= piu_alto - 20) {
                    try {
                        p_.cancella_file(archivio + "\\" + nome);
                    } catch (const errore_file&) {
                    }
                }
            }
        }
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

void form_aggiornamento::Timer1_Timer() {
    auto& l = modello.Label1;
    l.caption = l.caption.empty() ? l.tag : std::string();
    ridisegna();
}

void form_aggiornamento::Command1_Click() { aggiorna_tabelle(); }

void form_aggiornamento::esegui_aggiornamento() { Command1_Click(); }

// ---------------------------------------------------------------- run backup

void form_aggiornamento::inizia_ripristino() {
    giornale_ = {};
    giornale_attivo_ = false;
    const std::string d = direttorio_ripristino();
    // A journal left by a restore that could not finish holds the only
    // good copy of the tables: never overwrite it with a new run.
    if (p_.esiste_file(d + nome_giornale) && leggi_giornale(p_.leggi_file(d + nome_giornale))) {
        throw errore_file(d + nome_giornale,
                          "un aggiornamento precedente interrotto non \xE8" " ancora stato ripristinato "
                          "(riavviare il programma)");
    }
    svuota_e_rimuovi(d);
    const std::string j8 = valori.direttorio_archivio.substr(0, 3) + "j8";
    if (!p_.esiste_direttorio(j8)) p_.crea_direttorio(j8);
    if (!p_.esiste_direttorio(senza_barra(d))) p_.crea_direttorio(senza_barra(d));

    giornale_.tabelle = valori.direttorio_tabelle;
    giornale_.impostazioni = valori.direttorio_configurazione + std::string(file_configurazione_bbs);
    giornale_.vecchio = valore_impostazione(leggi_impostazioni(p_, giornale_.impostazioni,
                                                               p_.secondi_da_mezzanotte()),
                                            "aggiornamento")
                            .value_or("");
    for (const auto* elenco : {&tabelle_obbligatorie, &tabelle_facoltative}) {
        for (const std::string& nome : *elenco) {
            if (!p_.esiste_file(valori.direttorio_tabelle + nome)) continue;
            try {
                giornale_.attributi.emplace_back(nome, p_.attributi_file(valori.direttorio_tabelle + nome));
            } catch (const errore_file&) {
                // Attributes unknown: left as the run leaves them.
            }
        }
    }
    scrivi_giornale();
    giornale_attivo_ = true;
}

// Between writes the journal is held open, so nothing else (another start
// of the program above all) can delete it or restore from it mid-run.
void form_aggiornamento::scrivi_giornale() {
    const std::string percorso = direttorio_ripristino() + nome_giornale;
    p_.rilascia(percorso);
    p_.scrivi_file(percorso, componi_giornale(giornale_));
    p_.tieni_aperto(percorso);
}

// Saves a file of the tables directory the first time the run is about to
// change it; the journal says which files existed, so a restore also
// removes files the run created. The copy is made before the journal
// names it, and the journal is on disk before the file is changed.
void form_aggiornamento::proteggi(const std::string& nome) {
    const std::string chiave = minuscolo(nome);
    for (const auto& [n, c_era] : giornale_.file)
        if (n == chiave) return;
    const std::string d = direttorio_ripristino();
    const bool c_era = p_.esiste_file(valori.direttorio_tabelle + nome);
    if (c_era) {
        p_.copia_file(valori.direttorio_tabelle + nome, d + chiave);
        // A read-only copy could not be replaced or deleted later.
        try {
            p_.imposta_solo_archivio(d + chiave);
        } catch (const errore_file&) {
        }
    }
    giornale_.file.emplace_back(chiave, c_era);
    scrivi_giornale();
}

void form_aggiornamento::copia_in_tabelle(const std::string& da, const std::string& nome) {
    proteggi(nome);
    copia_intera(da, valori.direttorio_tabelle + nome);
}

// A copy cut short straight onto a table would leave it half-written: the
// copy is made beside it and takes its name in one step.
void form_aggiornamento::copia_intera(const std::string& da, const std::string& a) {
    const std::string provvisorio = a + suffisso_scrittura;
    p_.esegui_eventi();
    try {
        p_.copia_file(da, provvisorio);
        p_.sostituisci_file(provvisorio, a);
    } catch (const std::exception&) {
        try {
            if (p_.esiste_file(provvisorio)) p_.cancella_file(provvisorio);
        } catch (const errore_file&) {
        }
        throw;
    }
}

void form_aggiornamento::chiudi_ripristino() {
    p_.rilascia(direttorio_ripristino() + nome_giornale);
    elimina_ripristino(p_, direttorio_ripristino());
    giornale_attivo_ = false;
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
                                                              : minuscolo(nome_da_percorso(pacchetto_corrente_)) + ".exe";
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
            testo += ". Il pacchetto " + minuscolo(nome_da_percorso(pacchetto_corrente_)) +
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

namespace {

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

// ---------------------------------------------------------------- report

namespace {

std::string due_cifre(int n) { return (n < 10 ? "0" : "") + std::to_string(n); }

std::string righe(std::int64_t n, const char* una, const char* molte) {
    return std::to_string(n) + " " + (n == 1 ? una : molte);
}

}  // namespace

void form_aggiornamento::conta_variazioni(const std::string& tabella, const conteggio_variazioni& c) {
    for (auto& [nome, totale] : resoconto_.variate) {
        if (nome != tabella) continue;
        totale.aggiunte += c.aggiunte;
        totale.sostituite += c.sostituite;
        totale.rimosse += c.rimosse;
        return;
    }
    resoconto_.variate.emplace_back(tabella, c);
}

void form_aggiornamento::sostituita(const std::string& tabella) {
    const std::string nome = minuscolo(tabella);
    if (std::find(resoconto_.sostituite.begin(), resoconto_.sostituite.end(), nome) == resoconto_.sostituite.end())
        resoconto_.sostituite.push_back(nome);
}

// The downloads the run leaves unapplied, and why: already applied before,
// or cut off by a gap in the series.
void form_aggiornamento::elenca_non_applicati(const std::string& ultimo_applicato) {
    try {
        for (const std::string& nome : p_.elenca_file(senza_barra(valori.direttorio_da_bbs), "*.exe")) {
            const std::string n = minuscolo(nome);
            if (std::find(resoconto_.applicati.begin(), resoconto_.applicati.end(), n) != resoconto_.applicati.end())
                continue;
            if (n.size() != 12 || n.compare(0, 2, "j8") != 0) {
                resoconto_.non_applicati.push_back(n + ": non \xE8" " un pacchetto di aggiornamento");
            } else if (pacchetti::numero(n) <= pacchetti::numero(ultimo_applicato)) {
                resoconto_.non_applicati.push_back(n + ": gi\xE0" " applicato in precedenza");
            } else {
                resoconto_.non_applicati.push_back(n + ": non segue " + ultimo_applicato + ", manca " +
                                                   pacchetti::successivo(ultimo_applicato) + ".exe");
            }
        }
    } catch (const errore_file&) {
        // The list is for the report only.
    }
}

void form_aggiornamento::chiudi_resoconto(const std::string& esito) {
    const data_civile d = scomponi_data_ora(p_.adesso());
    const std::string& a = a_capo;
    std::string t = "Resoconto dell'aggiornamento del " + due_cifre(d.giorno) + "/" + due_cifre(d.mese) + "/" +
                    std::to_string(d.anno) + " ore " + due_cifre(d.ore) + ":" + due_cifre(d.minuti) + a;
    if (resoconto_.applicati.empty()) {
        t += "Nessun pacchetto applicato." + a;
    } else {
        t += "Pacchetti applicati:";
        for (const std::string& n : resoconto_.applicati) t += " " + n;
        t += a;
    }
    for (const std::string& n : resoconto_.non_applicati) t += "Non applicato " + n + a;
    for (const auto& [tabella, c] : resoconto_.variate) {
        t += tabella + ": " + righe(c.aggiunte, "riga aggiunta", "righe aggiunte") + ", " +
             righe(c.sostituite, "sostituita", "sostituite") + ", " + righe(c.rimosse, "rimossa", "rimosse") + a;
    }
    for (const std::string& tabella : resoconto_.sostituite) t += tabella + ": sostituita per intero" + a;
    t += esito + a;
    modello.Text1.text = t;
    modello.Text1.visible = true;
    ridisegna();

    // Saved beside the packages, the newest kept; any failure only costs
    // the file, never the run.
    const std::string archivio = senza_barra(valori.direttorio_archivio);
    const std::string nome = "resoconto_" + std::to_string(d.anno) + due_cifre(d.mese) + due_cifre(d.giorno) +
                             "_" + due_cifre(d.ore) + due_cifre(d.minuti) + due_cifre(d.secondi) + ".txt";
    try {
        p_.scrivi_file(archivio + "\\" + nome, t);
        std::vector<std::string> vecchi = p_.elenca_file(archivio, "resoconto_*.txt");
        std::sort(vecchi.begin(), vecchi.end(), [](const std::string& x, const std::string& y) {
            return minuscolo(x) < minuscolo(y);
        });
        for (std::size_t i = 0; i + resoconti_tenuti < vecchi.size(); ++i) {
            try {
                p_.cancella_file(archivio + "\\" + vecchi[i]);
            } catch (const errore_file&) {
            }
        }
    } catch (const errore_file&) {
    }
}

// ---------------------------------------------------------------- the run

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
        avanzamento_form av(p_, m, vista_);
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
    m.Label3.caption += a_capo + "2) Esecuzione dell'aggiornamento";
    ridisegna();
    return true;
}

// ---------------------------------------------------------------- packages

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

        m.Label1.caption = "Copia delle tabelle aggiornate.";
        ridisegna();
        for (const std::string& nome : tabelle_ricopiate) {
            copia_in_tabelle(valori.direttorio_lavoro + nome, nome);
        }
        for (const std::string& nome : tabelle_facoltative) {
            if (p_.esiste_file(valori.direttorio_lavoro + nome)) copia_in_tabelle(valori.direttorio_lavoro + nome, nome);
        }

        resoconto_.applicati.push_back(minuscolo(prossimo));
        prossimo = pacchetti::successivo(nome_da_percorso(pacchetto_corrente_)) + ".exe";
        if (!p_.esiste_file(valori.direttorio_da_bbs + prossimo)) prossimo.clear();
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
    giornale_.nuovo = nome_da_percorso(pacchetto_corrente_);
    scrivi_giornale();
    const bool registrato = riscrivi_impostazioni();

    elenca_non_applicati(resoconto_.applicati.empty() ? minuscolo(valori.ultimo_aggiornamento)
                                                      : nome_da_percorso(pacchetto_corrente_));

    // The journal goes last: a kill during the clean-up leaves it for the
    // next start, which finishes the clean-up.
    svuota_e_rimuovi(valori.direttorio_lavoro);
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
                                                                   : nome_da_percorso(pacchetto_corrente_)) + "."
                                : std::string("Aggiornamento completato, ma l'ultimo pacchetto non \xE8"
                                              " stato registrato."));
    // The tables are updated, but nothing says so: the next run would not
    // know where to start. The pharmacist must hear of it now.
    if (!registrato) {
        p_.messaggio("Le tabelle sono state aggiornate fino al pacchetto " +
                         nome_da_percorso(pacchetto_corrente_) + ", ma il file " + valori.direttorio_configurazione +
                         std::string(file_configurazione_bbs) +
                         " non contiene la riga \"aggiornamento\": l'ultimo pacchetto applicato non \xE8 "
                         "stato registrato." + a_capo +
                         "Chiedere al fornitore del programma una copia aggiornata del file prima del "
                         "prossimo aggiornamento.",
                     titolo_form);
    }
}

bool form_aggiornamento::riscrivi_impostazioni() {
    return riscrivi_impostazione(p_, valori.direttorio_configurazione + std::string(file_configurazione_bbs),
                          "aggiornamento", nome_da_percorso(pacchetto_corrente_),
                          p_.secondi_da_mezzanotte()) > 0;
}

}  // namespace j8
