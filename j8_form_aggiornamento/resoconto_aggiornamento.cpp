#include "j8_form_aggiornamento/form_aggiornamento.hpp"

#include <algorithm>

#include "comune/testi_comuni.hpp"

// The report of a run: shown below the progress, saved in the archive.

namespace j8 {

namespace {

std::string due_cifre(int n) {
    std::string s = std::to_string(n);
    if (n < 10) s.insert(s.begin(), '0');
    return s;
}

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
            } else if (pacchetti::numero_pacchetto(n) <= pacchetti::numero_pacchetto(ultimo_applicato)) {
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

}  // namespace j8
