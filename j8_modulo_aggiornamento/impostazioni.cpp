#include "j8_modulo_aggiornamento/impostazioni.hpp"

#include <cmath>

#include "comune/testi_comuni.hpp"
#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "piattaforma/piattaforma.hpp"

namespace j8 {

namespace {

// Walks the lines of a file. A line ends at CR LF, CR or LF; a last line
// without an ending still counts.
class scorri_righe {
public:
    explicit scorri_righe(const std::string& testo) : testo_(testo) {}

    bool prossima(std::string_view& riga) {
        if (inizio_ >= testo_.size()) return false;
        std::size_t fine = testo_.find_first_of("\r\n", inizio_);
        if (fine == std::string::npos) {
            riga = std::string_view(testo_).substr(inizio_);
            inizio_ = testo_.size();
            terminata_ = false;
        } else {
            riga = std::string_view(testo_).substr(inizio_, fine - inizio_);
            inizio_ = fine + 1;
            if (testo_[fine] == '\r' && inizio_ < testo_.size() && testo_[inizio_] == '\n') ++inizio_;
            terminata_ = true;
        }
        ++numero_;
        return true;
    }
    std::size_t posizione() const { return inizio_; }  // just past the last line read
    bool terminata() const { return terminata_; }      // did the last line read have an ending?
    std::int64_t numero() const { return numero_; }     // lines read so far

private:
    const std::string& testo_;
    std::size_t inizio_ = 0;
    bool terminata_ = true;
    std::int64_t numero_ = 0;
};

// Key preparation and the 30 header lines: the seeds are taken from lines
// 1..n at their positions, then the rows are built.
void leggi_intestazione(scorri_righe& righe, const std::string& percorso, float secondi) {
    prepara_chiave(secondi);
    std::string_view riga;
    for (int i = 1; i <= righe_intestazione; ++i) {
        if (!righe.prossima(riga))
            throw errore_impostazioni(percorso, i,
                                      i == 1 ? std::string("il file \xE8 vuoto")
                                             : "il file finisce dopo " + std::to_string(i - 1) +
                                                   (i == 2 ? " riga" : " righe") +
                                                   ", l'intestazione ne richiede " +
                                                   std::to_string(righe_intestazione));
        if (i <= lunghezza_chiave) {
            auto posizione = static_cast<std::size_t>(posizioni[i]);
            if (riga.size() < posizione)
                throw errore_impostazioni(
                    percorso, i,
                    "riga di intestazione di " + std::to_string(riga.size()) +
                        " caratteri, troppo corta: la chiave richiede il carattere in posizione " +
                        std::to_string(posizione));
            semi[i] = static_cast<unsigned char>(riga[posizione - 1]);
            // A seed of 0 does not reseed the generator: the row would then
            // depend on the clock and the file read differently each time.
            if (semi[i] == 0)
                throw errore_impostazioni(
                    percorso, i,
                    "intestazione danneggiata: il carattere in posizione " + std::to_string(posizione) +
                        " \xE8 nullo (codice 0)");
        }
    }
    prepara_tabelle();
}

riga_impostazione dividi(std::string testo, const std::string& percorso, std::int64_t riga_file) {
    std::size_t uguale = testo.find('=');
    if (uguale == std::string::npos) {
        const std::string dati = " (riga " + std::to_string(riga_file - righe_intestazione) + " dei dati)";
        throw errore_impostazioni(percorso, riga_file,
                                  testo.empty()
                                      ? "riga vuota" + dati +
                                            ": ogni riga dopo l'intestazione deve contenere "
                                            "un'impostazione \"chiave=valore\""
                                      : "la riga, decifrata, non contiene il segno \"=\"" + dati);
    }
    riga_impostazione r;
    r.chiave = minuscolo(testo.substr(0, uguale));
    r.valore = testo.substr(uguale + 1);
    r.testo = std::move(testo);
    return r;
}

std::string cifra(const std::string& testo, std::int64_t numero, const std::string& percorso) {
    try {
        return cifra_riga(testo, numero);
    } catch (const errore_cifratura& e) {
        throw errore_impostazioni(percorso, righe_intestazione + numero, e.what());
    }
}

std::string direttorio_di(const std::string& percorso) {
    std::size_t barra = percorso.find_last_of("\\/");
    return barra == std::string::npos ? std::string() : percorso.substr(0, barra + 1);
}

}  // namespace

errore_impostazioni::errore_impostazioni(std::string percorso, std::int64_t riga,
                                         std::string problema)
    : std::runtime_error(percorso + ", riga " + std::to_string(riga) + ": " + problema),
      percorso_(std::move(percorso)), riga_(riga), problema_(std::move(problema)) {}

errore_impostazioni_estranee::errore_impostazioni_estranee(std::string percorso,
                                                           std::int64_t righe_dati)
    : errore_impostazioni(std::move(percorso), 0,
                          righe_dati == 1 ? std::string("l'unica riga di dati non contiene "
                                                        "un'impostazione nota")
                                          : "nessuna delle " + std::to_string(righe_dati) +
                                                " righe di dati contiene un'impostazione nota"),
      righe_dati_(righe_dati) {}

void leggi_impostazioni(file_tabelle& file, const std::string& percorso, float secondi,
                        const std::function<bool(const riga_impostazione&)>& ogni_riga) {
    const std::string contenuto = file.leggi_file(percorso);
    scorri_righe righe(contenuto);
    leggi_intestazione(righe, percorso, secondi);
    std::string_view riga;
    for (std::int64_t numero = 1; righe.prossima(riga); ++numero) {
        riga_impostazione r =
            dividi(decifra_riga(std::string(riga), numero), percorso, righe.numero());
        if (!ogni_riga(r)) return;
    }
}

void leggi_impostazioni(file_tabelle& file, const std::string& percorso, float secondi,
                        const std::vector<std::string_view>& chiavi_note,
                        const std::function<bool(const riga_impostazione&)>& ogni_riga) {
    std::int64_t righe_dati = 0;
    bool nota = false;
    leggi_impostazioni(file, percorso, secondi, [&](const riga_impostazione& r) {
        ++righe_dati;
        for (std::string_view chiave : chiavi_note) nota = nota || r.chiave == chiave;
        return ogni_riga(r);
    });
    if (!chiavi_note.empty() && righe_dati > 0 && !nota)
        throw errore_impostazioni_estranee(percorso, righe_dati);
}

std::vector<riga_impostazione> leggi_impostazioni(file_tabelle& file, const std::string& percorso,
                                                  float secondi) {
    std::vector<riga_impostazione> tutte;
    leggi_impostazioni(file, percorso, secondi, [&](const riga_impostazione& r) {
        tutte.push_back(r);
        return true;
    });
    return tutte;
}

std::optional<std::string> valore_impostazione(const std::vector<riga_impostazione>& righe,
                                               std::string_view chiave) {
    std::optional<std::string> valore;
    for (const auto& r : righe)
        if (r.chiave == chiave) valore = r.valore;
    return valore;
}

int riscrivi_impostazione(file_tabelle& file, const std::string& percorso,
                          const std::string& chiave, const std::string& valore, float secondi,
                          bool aggiungi_se_manca) {
    const std::string provvisorio =
        direttorio_di(percorso) + std::string(file_configurazione_provvisorio);
    const std::string chiave_minuscola = minuscolo(chiave);

    auto cancella_provvisorio = [&] {
        try {
            file.cancella_file(provvisorio);
        } catch (const errore_file&) {
            // A leftover copy does no harm: the next rewrite replaces it.
        }
    };

    file.scrivi_file(provvisorio, file.leggi_file(percorso));
    int cambiate = 0;
    try {
        const std::string copia = file.leggi_file(provvisorio);
        scorri_righe righe(copia);
        leggi_intestazione(righe, percorso, secondi);
        // Header bytes exactly as they were, endings included.
        std::string nuovo = copia.substr(0, righe.posizione());
        bool serve_a_capo = !righe.terminata();
        std::int64_t numero = 0;
        auto aggiungi = [&](const std::string& cifrata) {
            if (serve_a_capo) nuovo += "\r\n";
            nuovo += cifrata;
            serve_a_capo = true;
        };
        std::string_view riga;
        while (righe.prossima(riga)) {
            ++numero;
            riga_impostazione r =
                dividi(decifra_riga(std::string(riga), numero), percorso, righe.numero());
            if (r.chiave == chiave_minuscola) {
                r.testo.resize(r.testo.size() - r.valore.size());
                r.testo += valore;
                ++cambiate;
                aggiungi(cifra(r.testo, numero, percorso));
            } else {
                // As it was: a control character elsewhere in the file
                // (deciphered to code 31, which the cipher cannot take back)
                // must not stop the change of this one line.
                aggiungi(std::string(riga));
            }
        }
        if (cambiate == 0 && aggiungi_se_manca) {
            ++numero;
            aggiungi(cifra(chiave + "=" + valore, numero, percorso));
            ++cambiate;
        }
        if (serve_a_capo && numero > 0) nuovo += "\r\n";
        // Nothing to change (a file without the key, a foreign file): the
        // file stays exactly as it is, line endings included.
        if (cambiate > 0) file.scrivi_file(percorso, nuovo);
    } catch (...) {
        cancella_provvisorio();
        throw;
    }
    cancella_provvisorio();
    return cambiate;
}

std::string componi_impostazioni(const std::string& percorso,
                                 const std::vector<std::string>& righe_chiare, float secondi) {
    auto estrai = [](float scala, float base) {
        float prodotto = numero_casuale() * scala;
        float somma = prodotto + base;
        return static_cast<int>(std::floor(somma));
    };
    prepara_chiave(secondi);
    std::string contenuto;
    for (int i = 1; i <= righe_intestazione; ++i) {
        // Printable filler; lines carrying a seed reach past position 1000.
        int lunghezza = i <= lunghezza_chiave ? 1000 + estrai(24.0f, 0.0f) : 20 + estrai(60.0f, 0.0f);
        std::string riga;
        for (int k = 0; k < lunghezza; ++k) riga += static_cast<char>(estrai(95.0f, 32.0f));
        if (i <= lunghezza_chiave) riga[posizioni[i] - 1] = static_cast<char>(semi[i]);
        contenuto += riga + "\r\n";
    }
    prepara_tabelle();
    std::int64_t numero = 0;
    for (const auto& testo : righe_chiare) {
        ++numero;
        if (testo.find('=') == std::string::npos)
            throw errore_impostazioni(percorso, righe_intestazione + numero,
                                      "manca il segno \"=\" (riga " + std::to_string(numero) +
                                          " dei dati)");
        contenuto += cifra(testo, numero, percorso) + "\r\n";
    }
    return contenuto;
}

posizione_impostazioni cerca_impostazioni(piattaforma& p, std::string_view nome) {
    return cerca_impostazioni(p, p.direttorio_corrente(), nome);
}

posizione_impostazioni cerca_impostazioni(file_tabelle& file, std::string corrente,
                                          std::string_view nome) {
    if (corrente.empty() || corrente.back() != '\\') corrente += '\\';
    posizione_impostazioni trovato;
    trovato.percorso = corrente + std::string(nome);
    if (file.esiste_file(trovato.percorso)) {
        trovato.direttorio = corrente;
        trovato.esiste = true;
        return trovato;
    }
    trovato.direttorio = std::string(direttorio_riserva);
    trovato.percorso = trovato.direttorio + std::string(nome);
    trovato.esiste = file.esiste_file(trovato.percorso);
    return trovato;
}

namespace {

const std::string consiglio_copia =
    "Chiedere al fornitore del programma una nuova copia del file e metterla al posto di questa.";

}  // namespace

std::string spiega_errore_impostazioni(const std::exception& e) {
    if (auto f = dynamic_cast<const errore_impostazioni_estranee*>(&e)) {
        return "Il file " + f->percorso() + " non contiene impostazioni leggibili: " + f->problema() +
               ". Forse \xE8 cifrato con un'altra chiave o non \xE8 un file di impostazioni di j8_bbs.\r\n" +
               consiglio_copia;
    }
    if (auto i = dynamic_cast<const errore_impostazioni*>(&e)) {
        return "Il file delle impostazioni " + i->percorso() + " \xE8 danneggiato alla riga " +
               std::to_string(i->riga()) + ": " + i->problema() + ".\r\n" + consiglio_copia;
    }
    if (auto f = dynamic_cast<const errore_file*>(&e)) {
        return "Impossibile leggere il file delle impostazioni " + f->percorso() + " (" + f->problema() +
               ").\r\nVerificare che il file esista, che la sua cartella sia accessibile e che "
               "nessun altro programma lo tenga aperto.";
    }
    return std::string("Impossibile usare il file delle impostazioni: ") + e.what();
}

std::string spiega_impostazioni_mancanti(std::string_view nome, std::string corrente) {
    if (corrente.empty() || corrente.back() != '\\') corrente += '\\';
    return "Il file delle impostazioni " + std::string(nome) + " non \xE8 stato trovato n\xE9 nella cartella " +
           corrente + " n\xE9 in " + std::string(direttorio_riserva) +
           ".\r\nCopiare il file in una delle due cartelle (chiedere al fornitore del programma una "
           "nuova copia se non c'\xE8 pi\xF9).";
}

apertura_impostazioni carica_impostazioni(piattaforma& p, std::string_view nome,
                                          const std::vector<std::string_view>& chiavi_note,
                                          const std::function<bool(const riga_impostazione&)>& ogni_riga) {
    const std::string chiusura = "\r\n\r\n" + std::string(avviso_chiusura);
    apertura_impostazioni a;
    const std::string corrente = p.direttorio_corrente();
    a.posizione = cerca_impostazioni(p, corrente, nome);
    if (!a.posizione.esiste) {
        a.esito = apertura_impostazioni::stato::mancanti;
        a.messaggio = spiega_impostazioni_mancanti(nome, corrente) + chiusura;
        return a;
    }
    try {
        leggi_impostazioni(p, a.posizione.percorso, p.secondi_da_mezzanotte(), chiavi_note, ogni_riga);
    } catch (const std::exception& e) {
        a.esito = apertura_impostazioni::stato::illeggibili;
        a.messaggio = spiega_errore_impostazioni(e) + chiusura;
    }
    return a;
}

}  // namespace j8
