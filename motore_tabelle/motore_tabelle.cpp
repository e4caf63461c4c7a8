#include "motore_tabelle/motore_tabelle.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <unordered_map>

#include "motore_tabelle/testi_interni.hpp"

namespace j8 {

namespace {

constexpr std::string_view a_capo = "\r\n";

// The record of an update file laid out as its table record with a blank
// `stato`: the side-table update files are the table lines without it.
template <std::size_t W>
std::vector<riga_fissa<W>> leggi_variazioni(std::string_view dati, const std::string& /*percorso*/) {
    std::vector<riga_fissa<W>> v;
    v.reserve(conta_righe(dati));
    per_ogni_riga(dati, [&](std::string_view r) {
        riga_fissa<W>& rec = v.emplace_back();
        std::size_t n = std::min(r.size(), W - 3);
        std::memcpy(rec.c.data() + 3, r.data(), n);
    });
    return v;
}

// Room kept at the end of the drug table for the new drugs of an update, so
// appending them does not move the whole table.
std::size_t riserva_farmaci(std::size_t righe) { return righe + righe / 32 + 64; }

template <std::size_t W>
std::vector<riga_fissa<W>> leggi_tabella(std::string_view dati, const std::string& /*percorso*/,
                                         std::size_t (*capacita)(std::size_t) = nullptr) {
    std::vector<riga_fissa<W>> v;
    std::size_t righe = conta_righe(dati);
    v.reserve(capacita ? capacita(righe) : righe);
    per_ogni_riga(dati, [&](std::string_view r) { v.emplace_back(r); });
    return v;
}

template <std::size_t W>
std::string testo_tabella(const std::vector<riga_fissa<W>>& tab) {
    std::string s;
    s.reserve(tab.size() * (W + 2));
    for (const auto& r : tab) {
        s.append(r.riga());
        s.append(a_capo);
    }
    return s;
}

bool uguali(std::string_view a, std::string_view b) { return a == b; }

// `stato` "C0A"/"C00" or "00A"/"000", keeping an "A" in the third place.
template <std::size_t W>
void imposta_stato(riga_fissa<W>& r, bool cancellato) {
    bool a = r.c[2] == 'A';
    r.c[0] = cancellato ? 'C' : '0';
    r.c[1] = '0';
    r.c[2] = a ? 'A' : '0';
}

std::int32_t numero_data(std::string_view d) {
    std::int32_t n = 0;
    for (char c : d) n = n * 10 + (c - '0');
    return n;
}

char maiuscola(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

// Ranked bytes packed big-endian: comparing the words compares the texts.
std::uint64_t parola_rango(const char* p, std::size_t n) {
    std::uint64_t w = 0;
    for (std::size_t i = 0; i < 8; ++i)
        w = (w << 8) | (i < n ? rango_byte[static_cast<unsigned char>(p[i])] : 0);
    return w;
}

struct chiave_nome {
    std::uint64_t p[4];
};

bool maggiore_nome(const chiave_nome& a, const chiave_nome& b) {
    for (int i = 0; i < 4; ++i)
        if (a.p[i] != b.p[i]) return a.p[i] > b.p[i];
    return false;
}

// A row of the code index while it is sorted, with its key packed.
struct riga_indice {
    std::uint64_t alta;
    std::uint8_t bassa;
    voce_indice voce;
};

riga_indice crea_riga_indice(std::string_view codice, std::int32_t posizione) {
    riga_indice r{};
    r.alta = parola_rango(codice.data(), 8);
    r.bassa = rango_byte[static_cast<unsigned char>(codice[8])];
    std::memcpy(r.voce.codice.data(), codice.data(), 9);
    r.voce.posizione = posizione;
    return r;
}

std::vector<voce_indice> ordina_indice(std::vector<riga_indice>& righe, avanzamento& av) {
    ShellSortAny(std::span<riga_indice>(righe), false,
                 [](const riga_indice& a, const riga_indice& b) {
                     return a.alta != b.alta ? a.alta > b.alta : a.bassa > b.bassa;
                 },
                 av);
    std::vector<voce_indice> indice;
    indice.reserve(righe.size());
    for (const auto& r : righe) indice.push_back(r.voce);
    return indice;
}

std::string leggi_se_esiste(file_tabelle& file, const std::string& percorso) {
    if (!file.esiste_file(percorso)) return {};
    return file.leggi_file(percorso);
}

enum class tipo_ordinata { principi_attivi, atc, ditte };

// The three ordered merges: bisection to about ten records, then a short
// scan that either replaces a record whose key and second field match or
// finds the insertion place.
template <std::size_t W>
conteggio_variazioni fondi_ordinata(std::vector<riga_fissa<W>>& tab, std::vector<riga_fissa<W>>& variazioni, campo k_campo,
                    campo s_campo, tipo_ordinata tipo, avanzamento& av) {
    const bool principi = tipo == tipo_ordinata::principi_attivi;
    conteggio_variazioni conta;
    const std::size_t n = variazioni.size();
    for (std::size_t i = 1; i <= n; ++i) {
        av.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        riga_fissa<W>& u = variazioni[i - 1];
        auto T = [&](std::int64_t k) -> riga_fissa<W>& { return tab[static_cast<std::size_t>(k - 1)]; };
        const std::int64_t ultimo = static_cast<std::int64_t>(tab.size());
        std::int64_t basso = 1, alto = ultimo, medio = (basso + alto) / 2;
        while (alto - basso > 10) {
            int c = confronta_testi(u[k_campo], T(medio)[k_campo]);
            if (c > 0) {
                basso = medio;
                medio = (basso + alto) / 2;
            } else if (c < 0) {
                alto = medio;
                medio = (basso + alto) / 2;
            } else if (principi) {
                alto = medio;
                basso = medio;
            } else {
                // Back to the first record of the run of equal keys.
                alto = medio;
                for (std::int64_t k = alto; k >= 1; --k) {
                    if (confronta_testi(T(k)[k_campo], T(medio)[k_campo]) >= 0) {
                        basso = k;
                        alto = k;
                    } else {
                        break;
                    }
                }
            }
        }
        std::int64_t posizione = -1;
        const std::int64_t fine = principi ? alto : ultimo;
        for (std::int64_t j = basso; j <= fine; ++j) {
            riga_fissa<W>& t = T(j);
            int c;
            if (principi) {
                // Both names are stored back without their outer blanks.
                std::string_view su = togli_spazi(u[k_campo]);
                u.imposta(k_campo, std::string(su));
                std::string_view st = togli_spazi(t[k_campo]);
                t.imposta(k_campo, std::string(st));
                c = confronta_testi(togli_spazi(u[k_campo]), togli_spazi(t[k_campo]));
            } else {
                c = confronta_testi(u[k_campo], t[k_campo]);
            }
            if (c < 0) {
                if (posizione == -1) posizione = j;
                break;
            }
            if (c == 0) {
                if (uguali(u[s_campo], t[s_campo])) {
                    if (!principi) t.imposta(campo{1, 3}, "000");
                    t.imposta(k_campo, u[k_campo]);
                    t.imposta(s_campo, u[s_campo]);
                    posizione = 0;
                    break;
                }
                posizione = j;
            }
        }
        if (posizione == -1) posizione = alto + 1;
        if (posizione > 0) {
            riga_fissa<W> nuovo = u;
            nuovo.imposta(campo{1, 3}, "000");
            tab.insert(tab.begin() + (posizione - 1), nuovo);
            ++conta.aggiunte;
        } else {
            ++conta.sostituite;
        }
    }
    return conta;
}

}  // namespace

motore_tabelle::motore_tabelle(file_tabelle& file, avanzamento& av, fornitore_oggi oggi)
    : file_(file), av_(av), oggi_(std::move(oggi)) {}

// ---------------------------------------------------------------- loading

void motore_tabelle::carica_farmaci(const std::string& percorso) {
    tabella_farmaci = leggi_tabella<farmaco::larghezza>(leggi_se_esiste(file_, percorso), percorso, riserva_farmaci);
}
void motore_tabelle::carica_notessn(const std::string& percorso) {
    tabella_notessn = leggi_tabella<nota::larghezza>(leggi_se_esiste(file_, percorso), percorso);
}
void motore_tabelle::carica_principi_attivi(const std::string& percorso) {
    tabella_principi_attivi = leggi_tabella<principio_attivo::larghezza>(leggi_se_esiste(file_, percorso), percorso);
}
void motore_tabelle::carica_atc(const std::string& percorso) {
    tabella_atc = leggi_tabella<classe_atc::larghezza>(leggi_se_esiste(file_, percorso), percorso);
}
void motore_tabelle::carica_ditte(const std::string& percorso) {
    tabella_ditte = leggi_tabella<ditta::larghezza>(leggi_se_esiste(file_, percorso), percorso);
}

void motore_tabelle::costruisci_indice_codici() {
    std::vector<riga_indice> righe;
    righe.reserve(tabella_farmaci.size());
    for (std::size_t i = 0; i < tabella_farmaci.size(); ++i)
        righe.push_back(crea_riga_indice(tabella_farmaci[i][farmaco::codice], static_cast<std::int32_t>(i + 1)));
    indice_codici = ordina_indice(righe, av_);
}

void motore_tabelle::carica_tabelle(const std::string& direttorio) {
    // Every file is read first: the bar needs the total size.
    static const char* const nomi[5] = {"farmaci.tda", "principi_attivi.tda", "notessn.tda", "atc.tda",
                                        "ditte.tda"};
    std::string dati[5];
    double totale = 0;
    for (int i = 0; i < 5; ++i) {
        dati[i] = leggi_se_esiste(file_, direttorio + nomi[i]);
        totale += static_cast<double>(dati[i].size());
    }
    double valore = 0;
    auto avanza = [&](std::string& d) {
        if (totale > 0) {
            valore += 100.0 * static_cast<double>(d.size()) / totale;
            av_.valore_barra(static_cast<float>(valore));
        }
        std::string().swap(d);
    };
    tabella_farmaci = leggi_tabella<farmaco::larghezza>(dati[0], direttorio + nomi[0], riserva_farmaci);
    costruisci_indice_codici();
    avanza(dati[0]);
    tabella_principi_attivi = leggi_tabella<principio_attivo::larghezza>(dati[1], direttorio + nomi[1]);
    avanza(dati[1]);
    tabella_notessn = leggi_tabella<nota::larghezza>(dati[2], direttorio + nomi[2]);
    avanza(dati[2]);
    tabella_atc = leggi_tabella<classe_atc::larghezza>(dati[3], direttorio + nomi[3]);
    avanza(dati[3]);
    tabella_ditte = leggi_tabella<ditta::larghezza>(dati[4], direttorio + nomi[4]);
    avanza(dati[4]);
}

// ---------------------------------------------------------------- drugs

std::int32_t motore_tabelle::cerca_codice(std::string_view codice) const {
    std::int64_t basso = 1, alto = static_cast<std::int64_t>(indice_codici.size());
    auto voce = [&](std::int64_t k) -> const voce_indice& { return indice_codici[static_cast<std::size_t>(k - 1)]; };
    while (basso != alto) {
        if (alto - basso < 5) {
            for (std::int64_t k = basso; k <= alto; ++k)
                if (voce(k).codice_testo() == codice) return voce(k).posizione;
            return -1;
        }
        std::int64_t medio = basso + (alto - basso) / 2;
        int c = confronta_testi(voce(medio).codice_testo(), codice);
        if (c < 0)
            basso = medio;
        else if (c > 0)
            alto = medio;
        else
            return voce(medio).posizione;
    }
    return -1;
}

conteggio_variazioni motore_tabelle::aggiorna_farmaci(const std::string& direttorio, const std::string& nome_file) {
    conteggio_variazioni conta;
    std::vector<record_variazione_farmaco> variazioni;
    {
        std::string dati = file_.leggi_file(direttorio + nome_file);
        variazioni = leggi_tabella<variazione_farmaco::larghezza>(dati, direttorio + nome_file);
    }
    av_.barra_visibile(true);

    std::vector<record_variazione_farmaco> nuovi;
    std::unordered_map<std::string, std::size_t> posto_nuovo;
    const std::size_t n = variazioni.size();
    const std::int32_t oggi = n ? oggi_() : 0;
    for (std::size_t i = 1; i <= n; ++i) {
        av_.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        const record_variazione_farmaco& v = variazioni[i - 1];
        std::int32_t p = cerca_codice(v[variazione_farmaco::codice]);
        if (p != -1) {
            if (p < 1 || static_cast<std::size_t>(p) > tabella_farmaci.size())
                throw std::out_of_range("indice dei codici non allineato alla tabella farmaci");
            record_farmaco& r = tabella_farmaci[static_cast<std::size_t>(p - 1)];
            const bool era_cancellato = r.c[0] == 'C';
            // codice .. data: the update's first 90 characters.
            std::memcpy(r.dati(farmaco::codice), v.c.data(), 90);
            std::string_view d = r[farmaco::data];
            bool con_data = data_valida(d) && d != "18991230";
            imposta_stato(r, con_data && numero_data(d) <= oggi);
            // The flag decides in the end, whatever the date said.
            imposta_stato(r, !togli_spazi(r[farmaco::campo_12]).empty());
            r.imposta(farmaco::campo_14, v[variazione_farmaco::campo_14]);
            if (maiuscola(v[variazione_farmaco::tipo_variazione][0]) == 'G') r.c[2] = 'A';
            ++(r.c[0] == 'C' && !era_cancellato ? conta.rimosse : conta.sostituite);
        } else {
            std::string codice(v[variazione_farmaco::codice]);
            auto [it, nuovo] = posto_nuovo.try_emplace(codice, nuovi.size());
            if (nuovo)
                nuovi.push_back(v);
            else
                nuovi[it->second] = v;
        }
    }
    std::vector<record_variazione_farmaco>().swap(variazioni);

    conta.aggiunte = static_cast<std::int64_t>(nuovi.size());
    tabella_farmaci.reserve(tabella_farmaci.size() + nuovi.size());
    for (const auto& v : nuovi) {
        record_farmaco& r = tabella_farmaci.emplace_back();
        r.imposta(farmaco::stato, "000");
        std::memcpy(r.dati(farmaco::codice), v.c.data(), 94);
    }

    for (record_farmaco& r : tabella_farmaci) {
        // With a non-blank flag the date test could only set what the flag
        // sets right after it.
        if (r[farmaco::campo_12][0] != ' ') imposta_stato(r, true);
        char& c9 = r.c[farmaco::campo_9.posizione - 1];
        c9 = maiuscola(c9);
        if (c9 == '0')
            c9 = 'A';
        else if (c9 == '1')
            c9 = 'B';
        else if (c9 == '3')
            c9 = 'C';
    }

    av_.barra_visibile(false);
    av_.valore_barra(0);
    av_.stato_lampeggiante("Ordinamento tabella farmaci. Attendere...");

    const std::size_t righe = tabella_farmaci.size();
    std::vector<std::uint32_t> ordine(righe);
    {
        std::vector<chiave_nome> chiavi(righe);
        for (std::size_t i = 0; i < righe; ++i) {
            const char* p = tabella_farmaci[i].dati(farmaco::descrizione);
            for (int w = 0; w < 4; ++w) chiavi[i].p[w] = parola_rango(p + 8 * w, w < 3 ? 8 : 6);
            ordine[i] = static_cast<std::uint32_t>(i);
        }
        ShellSortAny(std::span<std::uint32_t>(ordine), false,
                     [&](std::uint32_t a, std::uint32_t b) { return maggiore_nome(chiavi[a], chiavi[b]); }, av_);
    }

    {
        std::string testo;
        testo.reserve(righe * (farmaco::larghezza + 2));
        for (std::uint32_t i : ordine) {
            testo.append(tabella_farmaci[i].riga());
            testo.append(a_capo);
        }
        file_.scrivi_file(direttorio + "farmaci.tda", testo);
    }

    // The table itself takes the sorted order, cycle by cycle in place.
    std::vector<bool> fatto(righe, false);
    for (std::size_t inizio = 0; inizio < righe; ++inizio) {
        if (fatto[inizio]) continue;
        record_farmaco tmp = tabella_farmaci[inizio];
        std::size_t k = inizio;
        for (;;) {
            fatto[k] = true;
            std::size_t da = ordine[k];
            if (da == inizio) {
                tabella_farmaci[k] = tmp;
                break;
            }
            tabella_farmaci[k] = tabella_farmaci[da];
            k = da;
        }
    }
    return conta;
}

void motore_tabelle::elimina_doppi_farmaci(const std::string& direttorio) {
    const std::string tabella = direttorio + "farmaci.tda";
    const std::string provvisorio = direttorio + "farmaci.$$$";
    std::string dati = file_.leggi_file(tabella);
    std::string uscita;
    uscita.reserve(dati.size() + dati.size() / 40);
    std::string_view codice_prec, nome_prec;
    auto pezzo = [](std::string_view r, std::size_t da, std::size_t quanti) {
        return da >= r.size() ? std::string_view() : r.substr(da, quanti);
    };
    per_ogni_riga(dati, [&](std::string_view r) {
        // Text past the layout is dropped here too.
        r = r.substr(0, std::min(r.size(), farmaco::larghezza));
        std::string_view codice = pezzo(r, 3, 9), nome = pezzo(r, 12, 30);
        if (!(codice == codice_prec && nome == nome_prec)) {
            uscita.append(r);
            uscita.append(a_capo);
        }
        codice_prec = codice;
        nome_prec = nome;
    });
    file_.scrivi_file(provvisorio, uscita);
    file_.cancella_file(tabella);
    file_.rinomina_file(provvisorio, tabella);
}

void motore_tabelle::crea_secondario(const std::string& direttorio) {
    {
        std::string dati = file_.leggi_file(direttorio + "farmaci.tda");
        tabella_farmaci = leggi_tabella<farmaco::larghezza>(dati, direttorio + "farmaci.tda");
    }
    std::vector<riga_indice> righe;
    std::int32_t numero = 0;
    for (const auto& r : tabella_farmaci)
        if (r.c[0] != 'C') righe.push_back(crea_riga_indice(r[farmaco::codice], ++numero));
    indice_codici = ordina_indice(righe, av_);
    std::vector<riga_indice>().swap(righe);

    std::string testo;
    testo.reserve(indice_codici.size() * 25);
    char numero_testo[16];
    for (const auto& v : indice_codici) {
        testo.append("000");
        testo.append(v.codice_testo());
        std::snprintf(numero_testo, sizeof numero_testo, "+%010d", static_cast<int>(v.posizione));
        testo.append(numero_testo);
        testo.append(a_capo);
    }
    file_.scrivi_file(direttorio + "farmaci_secondario_completo.tda", testo);
}

// ---------------------------------------------------------------- side tables

conteggio_variazioni motore_tabelle::aggiorna_notessn(const std::string& direttorio, const std::string& nome_file) {
    conteggio_variazioni conta;
    std::vector<record_nota> variazioni =
        leggi_variazioni<nota::larghezza>(file_.leggi_file(direttorio + nome_file), direttorio + nome_file);
    for (auto& u : variazioni) u.imposta(nota::testo, std::string(togli_spazi(u[nota::testo])));
    av_.barra_visibile(true);
    const std::size_t n = variazioni.size();
    for (std::size_t i = 1; i <= n; ++i) {
        av_.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        const record_nota& u = variazioni[i - 1];
        auto trovato = std::find_if(tabella_notessn.begin(), tabella_notessn.end(),
                                    [&](const record_nota& t) { return t[nota::codice] == u[nota::codice]; });
        if (trovato != tabella_notessn.end()) {
            std::memcpy(trovato->dati(nota::codice), u.dati(nota::codice), nota::larghezza - 3);
            ++conta.sostituite;
        } else {
            tabella_notessn.push_back(u);
            ++conta.aggiunte;
        }
    }
    av_.barra_visibile(false);
    av_.valore_barra(0);
    // Every note goes out as "000", whatever its stored status.
    std::string testo;
    testo.reserve(tabella_notessn.size() * (nota::larghezza + 2));
    for (const auto& r : tabella_notessn) {
        testo.append("000");
        testo.append(r.riga().substr(3));
        testo.append(a_capo);
    }
    file_.scrivi_file(direttorio + "notessn.tda", testo);
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_principi_attivi(const std::string& direttorio, const std::string& nome_file) {
    auto variazioni = leggi_variazioni<principio_attivo::larghezza>(file_.leggi_file(direttorio + nome_file), direttorio + nome_file);
    av_.barra_visibile(true);
    conteggio_variazioni conta = fondi_ordinata(tabella_principi_attivi, variazioni, principio_attivo::descrizione, principio_attivo::codice,
                   tipo_ordinata::principi_attivi, av_);
    av_.barra_visibile(false);
    av_.valore_barra(0);
    file_.scrivi_file(direttorio + "principi_attivi.tda", testo_principi_attivi());
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_atc(const std::string& direttorio, const std::string& nome_file) {
    auto variazioni = leggi_variazioni<classe_atc::larghezza>(file_.leggi_file(direttorio + nome_file), direttorio + nome_file);
    av_.barra_visibile(true);
    conteggio_variazioni conta = fondi_ordinata(tabella_atc, variazioni, classe_atc::descrizione, classe_atc::codice, tipo_ordinata::atc, av_);
    av_.barra_visibile(false);
    av_.valore_barra(0);
    file_.scrivi_file(direttorio + "atc.tda", testo_atc());
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_ditte(const std::string& direttorio, const std::string& nome_file) {
    auto variazioni = leggi_variazioni<ditta::larghezza>(file_.leggi_file(direttorio + nome_file), direttorio + nome_file);
    av_.barra_visibile(true);
    conteggio_variazioni conta = fondi_ordinata(tabella_ditte, variazioni, ditta::codice, ditta::descrizione, tipo_ordinata::ditte, av_);
    av_.barra_visibile(false);
    av_.valore_barra(0);
    // Of a run of records with the same code only the first is written.
    std::string testo;
    testo.reserve(tabella_ditte.size() * (ditta::larghezza + 2));
    for (std::size_t k = 0; k < tabella_ditte.size(); ++k) {
        if (k > 0 && tabella_ditte[k][ditta::codice] == tabella_ditte[k - 1][ditta::codice]) {
            ++conta.rimosse;
            continue;
        }
        testo.append(tabella_ditte[k].riga());
        testo.append(a_capo);
    }
    file_.scrivi_file(direttorio + "ditte.tda", testo);
    return conta;
}

bool motore_tabelle::e_file_aggiornamento(std::string_view nome_file) {
    std::string n(nome_file);
    for (char& c : n)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return n == "farmaci.faf" || n == "notessn.faf" || n == "principi_attivi.faf" || n == "atc.faf" ||
           n == "ditte.faf";
}

bool motore_tabelle::applica_aggiornamento(const std::string& direttorio, const std::string& nome_file,
                                           conteggio_variazioni* conteggio) {
    std::string n(nome_file);
    for (char& c : n)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    conteggio_variazioni conta;
    if (n == "farmaci.faf")
        conta = aggiorna_farmaci(direttorio, nome_file);
    else if (n == "notessn.faf")
        conta = aggiorna_notessn(direttorio, nome_file);
    else if (n == "principi_attivi.faf")
        conta = aggiorna_principi_attivi(direttorio, nome_file);
    else if (n == "atc.faf")
        conta = aggiorna_atc(direttorio, nome_file);
    else if (n == "ditte.faf")
        conta = aggiorna_ditte(direttorio, nome_file);
    else
        return false;
    if (conteggio) *conteggio = conta;
    return true;
}

std::string motore_tabelle::testo_principi_attivi() const { return testo_tabella(tabella_principi_attivi); }
std::string motore_tabelle::testo_atc() const { return testo_tabella(tabella_atc); }

// ---------------------------------------------------------------- reductions

void motore_tabelle::riduci_principi_attivi() {
    // First record of each code, found once instead of a scan per drug.
    std::unordered_map<std::string_view, std::size_t> primo;
    for (std::size_t k = 0; k < tabella_principi_attivi.size(); ++k)
        primo.try_emplace(tabella_principi_attivi[k][principio_attivo::codice], k);
    for (const auto& r : tabella_farmaci) {
        if (r.c[2] != 'A') continue;
        auto it = primo.find(r[farmaco::campo_8]);
        if (it != primo.end()) tabella_principi_attivi[it->second].c[2] = 'A';
    }
}

void motore_tabelle::riduci_atc() {
    // Each scan from record 1 strips every code it passes and stores it
    // back; `visti` records how far that has reached, and `primo` the first
    // record of each stripped code within it.
    std::unordered_map<std::string, std::size_t> primo;
    std::size_t visti = 0;
    auto segna = [&](const std::string& codice) {
        auto it = primo.find(codice);
        if (it != primo.end()) {
            tabella_atc[it->second].c[2] = 'A';
            return;
        }
        while (visti < tabella_atc.size()) {
            record_atc& t = tabella_atc[visti];
            std::string pulito(togli_spazi(t[classe_atc::codice]));
            t.imposta(classe_atc::codice, pulito);
            primo.try_emplace(pulito, visti);
            ++visti;
            if (pulito == codice) {
                t.c[2] = 'A';
                return;
            }
        }
    };
    for (const auto& r : tabella_farmaci) {
        if (r.c[2] != 'A') continue;
        // The field is taken whole, blanks included: always 7 characters,
        // level digit "4".
        std::string codice(1, '4');
        codice.append(r[farmaco::campo_4]);
        segna(codice);
        for (;;) {
            // Up one level: new digit, then the leading characters kept.
            char cifra;
            std::size_t tenuti;
            switch (codice.size()) {
                case 8: cifra = '3', tenuti = 5; break;
                case 6: cifra = '2', tenuti = 4; break;
                case 5: cifra = '1', tenuti = 3; break;
                case 4: cifra = '0', tenuti = 1; break;
                default: cifra = 0, tenuti = 0; break;  // 2, or a length the walk does not know
            }
            if (cifra == 0) break;
            codice = std::string(1, cifra).append(codice, 1, tenuti);
            segna(codice);
        }
    }
}

}  // namespace j8
