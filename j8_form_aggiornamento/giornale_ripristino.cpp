#include "j8_form_aggiornamento/giornale_ripristino.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <exception>
#include <functional>

#include "comune/testi_comuni.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"

namespace j8 {

namespace {

const std::string prima_riga = "j8 giornale di ripristino";
const std::string ultima_riga = "fine";
const std::string titolo = "J8_aggiornamento";

bool inizia(const std::string& riga, const std::string& chiave, std::string& resto) {
    if (riga.compare(0, chiave.size(), chiave) != 0) return false;
    resto = riga.substr(chiave.size());
    return true;
}

void ignora_errori(const std::function<void()>& passo) {
    try {
        passo();
    } catch (const errore_file&) {
    }
}

// An earlier restore that stopped half-way may have set read-only back.
void sblocca(piattaforma& p, const std::string& percorso) {
    ignora_errori([&] {
        if (p.esiste_file(percorso)) p.imposta_solo_archivio(percorso);
    });
}

long numero_pacchetto(const std::string& nome) {
    long n = 0;
    for (std::size_t i = 2; i < nome.size() && i < 8 && std::isdigit(static_cast<unsigned char>(nome[i])); ++i)
        n = n * 10 + (nome[i] - '0');
    return n;
}

// What a committed run had left to do when it was killed: its working
// folder and the downloads of the packages it applied, each only once its
// archived copy is whole. Left there, they would send the next run down
// the "no package" way, which blanks the last package recorded.
void completa_pulizia(piattaforma& p, const valori_programma& v, const std::string& nuovo) {
    const std::string lavoro = v.direttorio_archivio.substr(0, 3) + "j8\\lavoro_aggiornamento";
    ignora_errori([&] {
        if (!p.esiste_direttorio(lavoro)) return;
        for (const std::string& nome : p.elenca_file(lavoro, "*.*"))
            ignora_errori([&] { p.cancella_file(lavoro + "\\" + nome); });
        p.rimuovi_direttorio(lavoro);
    });
    const std::string da_bbs = senza_barra(v.direttorio_da_bbs);
    ignora_errori([&] {
        for (const std::string& nome : p.elenca_file(da_bbs, "*.exe")) {
            if (numero_pacchetto(nome) > numero_pacchetto(nuovo)) continue;
            ignora_errori([&] {
                const std::string archiviato = v.direttorio_archivio + nome;
                const std::string scaricato = da_bbs + "\\" + nome;
                if (p.esiste_file(archiviato) && p.lunghezza_file(archiviato) == p.lunghezza_file(scaricato))
                    p.cancella_file(scaricato);
            });
        }
    });
}

}  // namespace

std::string componi_giornale(const giornale_ripristino& g) {
    std::string t = prima_riga + "\r\n";
    t += "tabelle=" + g.tabelle + "\r\n";
    t += "impostazioni=" + g.impostazioni + "\r\n";
    t += "vecchio=" + g.vecchio + "\r\n";
    for (const auto& [nome, a] : g.attributi) {
        char esadecimale[16];
        std::snprintf(esadecimale, sizeof esadecimale, "%08X", static_cast<unsigned>(a));
        t += "attributi=" + std::string(esadecimale) + " " + nome + "\r\n";
    }
    for (const auto& [nome, esisteva] : g.file) t += std::string("file=") + (esisteva ? "1 " : "0 ") + nome + "\r\n";
    if (g.nuovo) t += "nuovo=" + *g.nuovo + "\r\n";
    return t + ultima_riga + "\r\n";
}

std::optional<giornale_ripristino> leggi_giornale(const std::string& testo) {
    std::vector<std::string> righe;
    for (std::size_t inizio = 0; inizio < testo.size();) {
        std::size_t fine = testo.find("\r\n", inizio);
        if (fine == std::string::npos) return std::nullopt;  // every line ends: a cut one does not
        righe.push_back(testo.substr(inizio, fine - inizio));
        inizio = fine + 2;
    }
    if (righe.size() < 5 || righe.front() != prima_riga || righe.back() != ultima_riga) return std::nullopt;
    giornale_ripristino g;
    bool tabelle = false, impostazioni = false, vecchio = false;
    for (std::size_t i = 1; i + 1 < righe.size(); ++i) {
        const std::string& r = righe[i];
        std::string resto;
        if (inizia(r, "tabelle=", g.tabelle)) {
            tabelle = true;
        } else if (inizia(r, "impostazioni=", g.impostazioni)) {
            impostazioni = true;
        } else if (inizia(r, "vecchio=", g.vecchio)) {
            vecchio = true;
        } else if (inizia(r, "nuovo=", resto)) {
            g.nuovo = resto;
        } else if (inizia(r, "attributi=", resto)) {
            std::uint32_t a = 0;
            const char* fine_numero = resto.data() + std::min<std::size_t>(resto.size(), 8);
            const auto [dopo, esito] = std::from_chars(resto.data(), fine_numero, a, 16);
            if (esito != std::errc{} || dopo != resto.data() + 8 || resto.size() < 10 || resto[8] != ' ')
                return std::nullopt;
            g.attributi.emplace_back(resto.substr(9), a);
        } else if (inizia(r, "file=", resto)) {
            if (resto.size() < 3 || (resto[0] != '0' && resto[0] != '1') || resto[1] != ' ') return std::nullopt;
            g.file.emplace_back(resto.substr(2), resto[0] == '1');
        } else {
            return std::nullopt;
        }
    }
    // An empty tables directory is the current one, as the run used it.
    if (!tabelle || !impostazioni || !vecchio) return std::nullopt;
    return g;
}

std::string direttorio_ripristino(const valori_programma& v) {
    return v.direttorio_archivio.substr(0, 3) + "j8\\ripristino_aggiornamento\\";
}

bool riporta_tabelle(piattaforma& p, const std::string& copie, const giornale_ripristino& g,
                     std::string& errore) {
    bool riuscito = true;
    auto fallito = [&](const errore_file& e) {
        if (riuscito) errore = e.problema() + ": " + e.percorso();
        riuscito = false;
    };
    for (const auto& [nome, esisteva] : g.file) {
        const std::string tabella = g.tabelle + nome;
        try {
            if (esisteva) {
                const std::string copia = copie + nome;
                // A file the run never got to change is left alone, so a
                // tables directory that refuses writes still counts as restored.
                const bool uguale = p.esiste_file(tabella) && p.leggi_file(tabella) == p.leggi_file(copia);
                if (!uguale) {
                    sblocca(p, tabella);
                    p.copia_file(copia, tabella);
                }
            } else if (p.esiste_file(tabella)) {
                sblocca(p, tabella);
                p.cancella_file(tabella);
            }
        } catch (const errore_file& e) {
            fallito(e);
        }
        // What a write cut short left beside the table.
        const std::string avanzo = tabella + suffisso_scrittura;
        try {
            if (p.esiste_file(avanzo)) p.cancella_file(avanzo);
        } catch (const errore_file& e) {
            fallito(e);
        }
    }
    // The run made the tables writable; put read-only (and the rest) back.
    // A platform that cannot tell the attributes leaves them as they are.
    for (const auto& [nome, attributi] : g.attributi) {
        ignora_errori([&, &nome = nome, attributi = attributi] {
            const std::string tabella = g.tabelle + nome;
            if (p.esiste_file(tabella) && p.attributi_file(tabella) != attributi)
                p.imposta_attributi_file(tabella, attributi);
        });
    }
    return riuscito;
}

void elimina_ripristino(piattaforma& p, const std::string& copie) {
    const std::string d = senza_barra(copie);
    const std::string giornale = d + "\\" + nome_giornale;
    ignora_errori([&] {
        if (p.esiste_file(giornale)) p.cancella_file(giornale);
    });
    // A journal that would not go still names the copies: without them the
    // next start could not restore, and would refuse every run for good.
    bool resta = true;
    ignora_errori([&] { resta = p.esiste_file(giornale); });
    if (resta) return;
    ignora_errori([&] {
        if (!p.esiste_direttorio(d)) return;
        for (const std::string& nome : p.elenca_file(d, "*.*"))
            ignora_errori([&] { p.cancella_file(d + "\\" + nome); });
        p.rimuovi_direttorio(d);
    });
}

esito_avvio controlla_aggiornamento_interrotto(piattaforma& p, const valori_programma& v) {
    const std::string copie = direttorio_ripristino(v);
    const std::string percorso = copie + nome_giornale;
    if (!p.esiste_file(percorso)) return esito_avvio::nessun_giornale;
    // A run still going holds its journal: its tables are not ours to touch.
    if (!p.tieni_aperto(percorso)) return esito_avvio::in_corso;
    p.rilascia(percorso);
    std::optional<giornale_ripristino> g;
    std::string errore;
    try {
        g = leggi_giornale(p.leggi_file(percorso));
    } catch (const errore_file& e) {
        errore = e.problema() + ": " + e.percorso();
    }
    // Not a whole journal: the run never got past its first write of it,
    // so the tables were not touched. Left for the next run to clear.
    if (!g && errore.empty()) return esito_avvio::nessun_giornale;

    if (g && g->nuovo && *g->nuovo != g->vecchio) {
        try {
            const auto letto = valore_impostazione(
                leggi_impostazioni(p, g->impostazioni, p.secondi_da_mezzanotte()), "aggiornamento");
            if (letto == g->nuovo) {
                completa_pulizia(p, v, *g->nuovo);
                elimina_ripristino(p, copie);
                return esito_avvio::gia_completato;
            }
        } catch (const std::exception&) {
            // Unreadable settings cannot name the new package: restore.
        }
    }

    if (g && riporta_tabelle(p, copie, *g, errore)) {
        // Told before the clean-up, so a kill during it cannot hide the news.
        p.messaggio("L'aggiornamento precedente si \xE8 interrotto: le tabelle sono state riportate come "
                    "erano prima." + a_capo +
                        "Per applicare i pacchetti scaricati ripetere l'aggiornamento.",
                    titolo);
        elimina_ripristino(p, copie);
        return esito_avvio::tabelle_ripristinate;
    }
    p.messaggio("L'aggiornamento precedente si \xE8 interrotto e non \xE8 stato possibile riportare le "
                "tabelle come erano prima (" + errore + ")." + a_capo +
                    "La copia delle tabelle di prima dell'aggiornamento \xE8 in " + copie +
                    ": non cancellarla. Chiudere il programma della farmacia e riavviare j8_bbs, "
                    "che ritenter\xE0 il ripristino; se il problema resta contattare l'assistenza.",
                titolo);
    return esito_avvio::non_ripristinate;
}

}  // namespace j8
