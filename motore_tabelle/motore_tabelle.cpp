#include "motore_tabelle/motore_tabelle.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <unordered_map>

#include "motore_tabelle/testi_interni.hpp"

namespace j8 {

// ---------------------------------------------------------------- storage

char* arena_righe::apri(std::size_t massimo) {
    if (libero_ < massimo) {
        // Blocks grow with the table, so the unused tail of the last one
        // stays a small share of it.
        std::size_t dim = std::clamp<std::size_t>(totale_ / 16, std::size_t{1} << 16, std::size_t{1} << 23);
        if (dim < massimo) dim = massimo;
        blocchi_.emplace_back(new char[dim]);
        cima_ = blocchi_.back().get();
        libero_ = dim;
        totale_ += dim;
    }
    return cima_;
}

void arena_righe::svuota() {
    std::vector<std::unique_ptr<char[]>>().swap(blocchi_);
    cima_ = nullptr;
    libero_ = totale_ = 0;
}

namespace {

constexpr std::string_view a_capo = "\r\n";

// Cuts a file's bytes, block by block, into lines: LF ends a line, a CR
// right before it is dropped, a last line without LF counts, a final LF
// adds no empty line. Each line is gathered, cut at `massimo` characters,
// in the room `prendi(massimo + 1)` gives and handed to `riga(p, n)`;
// whatever lies past the cut is skipped without being kept.
template <class Prendi, class Riga>
class divisore_righe {
public:
    divisore_righe(std::size_t massimo, Prendi prendi, Riga riga)
        : massimo_(massimo), prendi_(std::move(prendi)), riga_(std::move(riga)) {}

    void blocco(std::string_view b) {
        const char* p = b.data();
        const char* const fine = p + b.size();
        while (p < fine) {
            if (!aperta_) {
                dest_ = prendi_(massimo_ + 1);
                copiati_ = 0;
                oltre_ = false;
                aperta_ = true;
            }
            const char* lf = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(fine - p)));
            const std::size_t n = static_cast<std::size_t>((lf ? lf : fine) - p);
            const std::size_t spazio = massimo_ + 1 - copiati_;
            const std::size_t presi = n < spazio ? n : spazio;
            if (n > spazio) oltre_ = true;
            std::memcpy(dest_ + copiati_, p, presi);
            copiati_ += presi;
            if (!lf) return;
            chiudi(true);
            p = lf + 1;
        }
    }
    void termina() {
        if (aperta_) chiudi(false);
    }

private:
    void chiudi(bool con_lf) {
        std::size_t k = copiati_;
        if (con_lf && !oltre_ && k > 0 && dest_[k - 1] == '\r') --k;
        aperta_ = false;
        riga_(dest_, k < massimo_ ? k : massimo_);
    }

    std::size_t massimo_;
    Prendi prendi_;
    Riga riga_;
    char* dest_ = nullptr;
    std::size_t copiati_ = 0;
    bool aperta_ = false, oltre_ = false;
};

template <class Prendi, class Riga>
divisore_righe<Prendi, Riga> crea_divisore(std::size_t massimo, Prendi prendi, Riga riga) {
    return divisore_righe<Prendi, Riga>(massimo, std::move(prendi), std::move(riga));
}

// Reads a file straight into the records of `t`, cut at the layout and
// without trailing blanks. Returns the file's size.
template <std::size_t W>
std::uint64_t leggi_righe(file_tabelle& file, const std::string& percorso, tabella_righe<W>& t) {
    std::uint64_t byte = 0;
    auto d = crea_divisore(
        W, [&](std::size_t n) { return t.arena.apri(n); },
        [&](char* p, std::size_t n) {
            while (n > 0 && p[n - 1] == ' ') --n;
            t.arena.chiudi(n);
            t.voci.push_back({p, n});
        });
    file.leggi_a_blocchi(percorso, [&](std::string_view b) {
        byte += b.size();
        d.blocco(b);
    });
    d.termina();
    return byte;
}

template <std::size_t W>
std::uint64_t leggi_se_esiste(file_tabelle& file, const std::string& percorso, tabella_righe<W>& t) {
    t.clear();
    if (!file.esiste_file(percorso)) return 0;
    tabella_righe<W> nuova;
    std::uint64_t byte = leggi_righe(file, percorso, nuova);
    t = std::move(nuova);
    return byte;
}

// Output gathered in blocks for scrivi_a_blocchi.
class uscita_blocchi {
public:
    explicit uscita_blocchi(const file_tabelle::ricevi_blocco& scrivi) : scrivi_(scrivi) { buf_.reserve(capacita); }
    // `dati` blank-padded to `larghezza`, then CR LF.
    void riga(std::string_view dati, std::size_t larghezza) {
        if (buf_.size() + larghezza + 2 > capacita) svuota();
        buf_.append(dati);
        if (dati.size() < larghezza) buf_.append(larghezza - dati.size(), ' ');
        buf_.append(a_capo);
    }
    void testo(std::string_view t) {
        if (buf_.size() + t.size() > capacita) svuota();
        buf_.append(t);
    }
    void svuota() {
        if (!buf_.empty()) scrivi_(buf_);
        buf_.clear();
    }

private:
    static constexpr std::size_t capacita = std::size_t{1} << 18;
    const file_tabelle::ricevi_blocco& scrivi_;
    std::string buf_;
};

// Writes `percorso` from `scrivi(uscita_blocchi&)`.
template <class F>
void scrivi_tabella(file_tabelle& file, const std::string& percorso, F&& scrivi) {
    file.scrivi_a_blocchi(percorso, [&](const file_tabelle::ricevi_blocco& ricevi) {
        uscita_blocchi u(ricevi);
        scrivi(u);
        u.svuota();
    });
}

template <std::size_t W>
std::string testo_tabella(const tabella_righe<W>& tab) {
    std::string s;
    s.reserve(tab.size() * (W + 2));
    for (std::size_t i = 0; i < tab.size(); ++i) {
        std::string_view r = tab.riga(i);
        s.append(r);
        s.append(W - r.size(), ' ');
        s.append(a_capo);
    }
    return s;
}

// `stato` "C0A"/"C00" or "00A"/"000", keeping an "A" in the third place.
void imposta_stato(char* r, bool cancellato) {
    bool a = r[2] == 'A';
    r[0] = cancellato ? 'C' : '0';
    r[1] = '0';
    r[2] = a ? 'A' : '0';
}

std::int32_t numero_data(std::string_view d) {
    std::int32_t n = 0;
    for (char c : d) n = n * 10 + (c - '0');
    return n;
}

char maiuscola(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

std::uint8_t rango(char c) { return rango_byte[static_cast<unsigned char>(c)]; }

// Byte k of a stored record, blank past its end.
char byte_di(const voce_riga& v, std::size_t k) { return k < v.lunghezza ? v.dati[k] : ' '; }

// Field `f` of two stored records compared in the text order, from the
// field's character `da` on.
int confronta_campi(const voce_riga& a, const voce_riga& b, campo f, std::size_t da = 0) {
    for (std::size_t k = f.posizione - 1u + da; k < f.posizione - 1u + f.larghezza; ++k) {
        std::uint8_t x = rango(byte_di(a, k)), y = rango(byte_di(b, k));
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

// The first eight characters of a field as ranked bytes packed big-endian:
// comparing the words compares the texts.
std::uint64_t parola_rango(const voce_riga& v, campo f) {
    std::uint64_t w = 0;
    for (std::size_t i = 0; i < 8; ++i)
        w = (w << 8) | (i < f.larghezza ? rango(byte_di(v, f.posizione - 1u + i)) : 0u);
    return w;
}

// Shell sort of row numbers by a dense rank: the sort's moves depend only
// on the outcome of its comparisons, so ranking the keys first gives the
// permutation the keys themselves would. When every rank differs the order
// is total and any sort gives it: the Shell sort is run only over repeats.
// `ordinati` holds the rows in key order (ties in any order) and `uguale`
// tells whether two rows have equal keys; returns the legacy permutation.
template <class Uguale>
std::vector<std::uint32_t> permutazione_shell(std::vector<std::uint32_t> ordinati, Uguale uguale, avanzamento& av) {
    const std::size_t n = ordinati.size();
    bool ripetuti = false;
    for (std::size_t i = 1; i < n && !ripetuti; ++i) ripetuti = uguale(ordinati[i - 1], ordinati[i]);
    if (!ripetuti) return ordinati;
    std::vector<std::uint64_t> voci(n);
    std::uint32_t r = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i > 0 && !uguale(ordinati[i - 1], ordinati[i])) ++r;
        voci[ordinati[i]] = (std::uint64_t{r} << 32) | ordinati[i];
    }
    std::vector<std::uint32_t>().swap(ordinati);
    ShellSortAny(std::span<std::uint64_t>(voci), false,
                 [](std::uint64_t a, std::uint64_t b) { return (a >> 32) > (b >> 32); }, av);
    std::vector<std::uint32_t> esito(n);
    for (std::size_t i = 0; i < n; ++i) esito[i] = static_cast<std::uint32_t>(voci[i]);
    return esito;
}

// A product code of digits and blanks as one number in base 11, blank
// lowest: the numbers compare as the texts. -1 for any other character.
std::int64_t chiave_codice(std::string_view c) {
    std::int64_t k = 0;
    for (char x : c) {
        int d = x == ' ' ? 0 : (x >= '0' && x <= '9') ? x - '0' + 1 : -1;
        if (d < 0) return -1;
        k = k * 11 + d;
    }
    return k;
}

// The code index of `codici` (9 characters each, in order): entry j has
// position j + 1, sorted by code as the legacy Shell sort leaves it.
std::vector<voce_indice> ordina_indice(const std::vector<std::array<char, 9>>& codici, avanzamento& av) {
    const std::size_t n = codici.size();
    auto testo = [&](std::uint32_t j) { return std::string_view(codici[j].data(), 9); };
    std::vector<std::uint32_t> ordinati(n);
    for (std::size_t j = 0; j < n; ++j) ordinati[j] = static_cast<std::uint32_t>(j);
    std::vector<std::uint32_t> permutazione;
    bool numerici = true;
    for (std::size_t j = 0; j < n && numerici; ++j) numerici = chiave_codice(testo(static_cast<std::uint32_t>(j))) >= 0;
    if (numerici) {
        // 11^9 keys fit 32 bits: the sort runs on 8-byte items.
        std::vector<std::uint64_t> voci(n);
        for (std::size_t j = 0; j < n; ++j)
            voci[j] = (static_cast<std::uint64_t>(chiave_codice(testo(static_cast<std::uint32_t>(j)))) << 32) | j;
        std::sort(voci.begin(), voci.end());
        for (std::size_t j = 0; j < n; ++j) ordinati[j] = static_cast<std::uint32_t>(voci[j]);
        std::vector<std::uint64_t>().swap(voci);
        permutazione = permutazione_shell(
            std::move(ordinati), [&](std::uint32_t a, std::uint32_t b) { return codici[a] == codici[b]; }, av);
    } else {
        auto minore = [&](std::uint32_t a, std::uint32_t b) {
            int c = confronta_testi(testo(a), testo(b));
            return c != 0 ? c < 0 : a < b;
        };
        std::sort(ordinati.begin(), ordinati.end(), minore);
        permutazione = permutazione_shell(
            std::move(ordinati), [&](std::uint32_t a, std::uint32_t b) { return codici[a] == codici[b]; }, av);
    }
    std::vector<voce_indice> indice(n);
    for (std::size_t i = 0; i < n; ++i) {
        indice[i].codice = codici[permutazione[i]];
        indice[i].posizione = static_cast<std::int32_t>(permutazione[i] + 1);
    }
    return indice;
}

std::array<char, 9> codice_farmaco(const voce_riga& v) {
    std::array<char, 9> c;
    for (std::size_t k = 0; k < 9; ++k) c[k] = byte_di(v, 3 + k);
    return c;
}

enum class tipo_ordinata { principi_attivi, atc, ditte };

// Stores `valore` left-justified, blank-padded into field `f` of record i,
// moving a short line to full width only when something changes.
template <std::size_t W>
void imposta_campo(tabella_righe<W>& tab, std::size_t i, campo f, std::string_view valore) {
    char appoggio[W];
    riga_fissa<W> nuovo;
    nuovo.imposta(f, valore);
    if (tab.campo_di(i, f, appoggio) == nuovo[f]) return;
    std::memcpy(tab.modifica(i) + f.posizione - 1, nuovo.dati(f), f.larghezza);
}

// The three ordered merges: bisection to about ten records, then a short
// scan that either replaces a record whose key and second field match or
// finds the insertion place. `variazioni` holds the update lines, the
// table's records without `stato`.
template <std::size_t W, std::size_t V>
conteggio_variazioni fondi_ordinata(tabella_righe<W>& tab, const tabella_righe<V>& variazioni, campo k_campo,
                                    campo s_campo, tipo_ordinata tipo, avanzamento& av) {
    const bool principi = tipo == tipo_ordinata::principi_attivi;
    conteggio_variazioni conta;
    const std::size_t n = variazioni.size();
    char a1[W], a2[W];
    for (std::size_t i = 1; i <= n; ++i) {
        av.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        riga_fissa<W> u;
        std::string_view linea = variazioni.riga(i - 1);
        std::memcpy(u.c.data() + 3, linea.data(), linea.size());
        auto K = [&](std::int64_t k, char* a) { return tab.campo_di(static_cast<std::size_t>(k - 1), k_campo, a); };
        const std::int64_t ultimo = static_cast<std::int64_t>(tab.size());
        std::int64_t basso = 1, alto = ultimo, medio = (basso + alto) / 2;
        while (alto - basso > 10) {
            int c = confronta_testi(u[k_campo], K(medio, a1));
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
                std::string_view km = K(medio, a2);
                for (std::int64_t k = alto; k >= 1; --k) {
                    if (confronta_testi(K(k, a1), km) >= 0) {
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
            const std::size_t t = static_cast<std::size_t>(j - 1);
            int c;
            if (principi) {
                // Both names are stored back without their outer blanks.
                u.imposta(k_campo, std::string(togli_spazi(u[k_campo])));
                imposta_campo(tab, t, k_campo, std::string(togli_spazi(tab.campo_di(t, k_campo, a1))));
                c = confronta_testi(togli_spazi(u[k_campo]), togli_spazi(tab.campo_di(t, k_campo, a1)));
            } else {
                c = confronta_testi(u[k_campo], tab.campo_di(t, k_campo, a1));
            }
            if (c < 0) {
                if (posizione == -1) posizione = j;
                break;
            }
            if (c == 0) {
                if (u[s_campo] == tab.campo_di(t, s_campo, a2)) {
                    char* r = tab.modifica(t);
                    if (!principi) std::memcpy(r, "000", 3);
                    std::memcpy(r + k_campo.posizione - 1, u.dati(k_campo), k_campo.larghezza);
                    std::memcpy(r + s_campo.posizione - 1, u.dati(s_campo), s_campo.larghezza);
                    posizione = 0;
                    break;
                }
                posizione = j;
            }
        }
        if (posizione == -1) posizione = alto + 1;
        if (posizione > 0) {
            std::memcpy(u.c.data(), "000", 3);
            tab.voci.insert(tab.voci.begin() + (posizione - 1), tab.copia(u.riga()));
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

void motore_tabelle::carica_farmaci(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_farmaci); }
void motore_tabelle::carica_notessn(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_notessn); }
void motore_tabelle::carica_principi_attivi(const std::string& percorso) {
    leggi_se_esiste(file_, percorso, tabella_principi_attivi);
}
void motore_tabelle::carica_atc(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_atc); }
void motore_tabelle::carica_ditte(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_ditte); }

void motore_tabelle::costruisci_indice_codici() {
    std::vector<std::array<char, 9>> codici(tabella_farmaci.size());
    for (std::size_t i = 0; i < codici.size(); ++i) codici[i] = codice_farmaco(tabella_farmaci.voci[i]);
    indice_codici = ordina_indice(codici, av_);
}

void motore_tabelle::carica_tabelle(const std::string& direttorio) {
    // Each table is read straight into its records; the bar, which needs
    // the total size, follows once all are in.
    std::uint64_t byte[5];
    byte[0] = leggi_se_esiste(file_, direttorio + "farmaci.tda", tabella_farmaci);
    byte[1] = leggi_se_esiste(file_, direttorio + "principi_attivi.tda", tabella_principi_attivi);
    byte[2] = leggi_se_esiste(file_, direttorio + "notessn.tda", tabella_notessn);
    byte[3] = leggi_se_esiste(file_, direttorio + "atc.tda", tabella_atc);
    byte[4] = leggi_se_esiste(file_, direttorio + "ditte.tda", tabella_ditte);
    costruisci_indice_codici();
    double totale = 0;
    for (auto b : byte) totale += static_cast<double>(b);
    double valore = 0;
    for (auto b : byte) {
        if (totale > 0) {
            valore += 100.0 * static_cast<double>(b) / totale;
            av_.valore_barra(static_cast<float>(valore));
        }
    }
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
    tabella_righe<variazione_farmaco::larghezza> variazioni;
    leggi_righe(file_, direttorio + nome_file, variazioni);
    av_.barra_visibile(true);

    // New drugs: the update line of each new code, the later line winning
    // in the place of the first.
    std::vector<std::uint32_t> nuovi;
    std::unordered_map<std::string, std::size_t> posto_nuovo;
    const std::size_t n = variazioni.size();
    const std::int32_t oggi = n ? oggi_() : 0;
    for (std::size_t i = 1; i <= n; ++i) {
        av_.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        const record_variazione_farmaco v(variazioni.riga(i - 1));
        std::int32_t p = cerca_codice(v[variazione_farmaco::codice]);
        if (p != -1) {
            if (p < 1 || static_cast<std::size_t>(p) > tabella_farmaci.size())
                throw std::out_of_range("indice dei codici non allineato alla tabella farmaci");
            char* r = tabella_farmaci.modifica(static_cast<std::size_t>(p - 1));
            const bool era_cancellato = r[0] == 'C';
            // codice .. data: the update's first 90 characters.
            std::memcpy(r + 3, v.c.data(), 90);
            std::string_view d(r + farmaco::data.posizione - 1, 8);
            bool con_data = data_valida(d) && d != "18991230";
            imposta_stato(r, con_data && numero_data(d) <= oggi);
            // The flag decides in the end, whatever the date said.
            imposta_stato(r, r[farmaco::campo_12.posizione - 1] != ' ');
            std::memcpy(r + farmaco::campo_14.posizione - 1, v.dati(variazione_farmaco::campo_14), 4);
            if (maiuscola(v[variazione_farmaco::tipo_variazione][0]) == 'G') r[2] = 'A';
            ++(r[0] == 'C' && !era_cancellato ? conta.rimosse : conta.sostituite);
        } else {
            auto [it, nuovo] = posto_nuovo.try_emplace(std::string(v[variazione_farmaco::codice]), nuovi.size());
            if (nuovo)
                nuovi.push_back(static_cast<std::uint32_t>(i - 1));
            else
                nuovi[it->second] = static_cast<std::uint32_t>(i - 1);
        }
    }
    decltype(posto_nuovo)().swap(posto_nuovo);

    conta.aggiunte = static_cast<std::int64_t>(nuovi.size());
    tabella_farmaci.voci.reserve(tabella_farmaci.size() + nuovi.size());
    for (std::uint32_t k : nuovi) {
        // "000", then codice .. campo_14 of the update.
        std::string_view u = variazioni.riga(k).substr(0, 94);
        std::size_t m = u.size();
        while (m > 0 && u[m - 1] == ' ') --m;
        char* r = tabella_farmaci.arena.prendi(3 + m);
        std::memcpy(r, "000", 3);
        std::memcpy(r + 3, u.data(), m);
        tabella_farmaci.voci.push_back({r, 3 + m});
    }
    std::vector<std::uint32_t>().swap(nuovi);
    variazioni.clear();

    for (voce_riga& v : tabella_farmaci.voci) {
        // With a non-blank flag the date test could only set what the flag
        // sets right after it. Past a short line's end both are blank.
        if (v.lunghezza > farmaco::campo_12.posizione - 1u && v.dati[farmaco::campo_12.posizione - 1] != ' ')
            imposta_stato(v.dati, true);
        if (v.lunghezza > farmaco::campo_9.posizione - 1u) {
            char& c9 = v.dati[farmaco::campo_9.posizione - 1];
            c9 = maiuscola(c9);
            if (c9 == '0')
                c9 = 'A';
            else if (c9 == '1')
                c9 = 'B';
            else if (c9 == '3')
                c9 = 'C';
        }
    }

    av_.barra_visibile(false);
    av_.valore_barra(0);
    av_.stato_lampeggiante("Ordinamento tabella farmaci. Attendere...");

    const std::size_t righe = tabella_farmaci.size();
    const std::vector<voce_riga>& voci = tabella_farmaci.voci;
    std::vector<std::uint32_t> ordine;
    {
        // Rows in name order (any order among equal names), then the legacy
        // permutation from them.
        struct chiave {
            std::uint64_t inizio;
            std::uint32_t riga;
        };
        std::vector<chiave> chiavi(righe);
        for (std::size_t i = 0; i < righe; ++i)
            chiavi[i] = {parola_rango(voci[i], farmaco::descrizione), static_cast<std::uint32_t>(i)};
        std::sort(chiavi.begin(), chiavi.end(), [&](const chiave& a, const chiave& b) {
            if (a.inizio != b.inizio) return a.inizio < b.inizio;
            return confronta_campi(voci[a.riga], voci[b.riga], farmaco::descrizione, 8) < 0;
        });
        ordine.resize(righe);
        for (std::size_t i = 0; i < righe; ++i) ordine[i] = chiavi[i].riga;
        std::vector<chiave>().swap(chiavi);
        ordine = permutazione_shell(
            std::move(ordine),
            [&](std::uint32_t a, std::uint32_t b) {
                return confronta_campi(voci[a], voci[b], farmaco::descrizione) == 0;
            },
            av_);
    }

    scrivi_tabella(file_, direttorio + "farmaci.tda", [&](uscita_blocchi& u) {
        for (std::uint32_t i : ordine) u.riga(tabella_farmaci.riga(i), farmaco::larghezza);
    });

    // The table itself takes the sorted order.
    std::vector<voce_riga> ordinate(righe);
    for (std::size_t i = 0; i < righe; ++i) ordinate[i] = voci[ordine[i]];
    tabella_farmaci.voci.swap(ordinate);
    return conta;
}

void motore_tabelle::elimina_doppi_farmaci(const std::string& direttorio) {
    const std::string tabella = direttorio + "farmaci.tda";
    const std::string provvisorio = direttorio + "farmaci.$$$";
    // Line by line, as read: only the previous code and name are kept.
    char riga[farmaco::larghezza + 1];
    std::string codice_prec, nome_prec;
    file_.scrivi_a_blocchi(provvisorio, [&](const file_tabelle::ricevi_blocco& ricevi) {
        uscita_blocchi u(ricevi);
        auto pezzo = [](std::string_view r, std::size_t da, std::size_t quanti) {
            return da >= r.size() ? std::string_view() : r.substr(da, quanti);
        };
        // Text past the layout is dropped here too.
        auto d = crea_divisore(
            farmaco::larghezza, [&](std::size_t) { return riga; },
            [&](char* p, std::size_t n) {
                std::string_view r(p, n), codice = pezzo(r, 3, 9), nome = pezzo(r, 12, 30);
                if (!(codice == codice_prec && nome == nome_prec)) {
                    u.testo(r);
                    u.testo(a_capo);
                }
                codice_prec.assign(codice);
                nome_prec.assign(nome);
            });
        file_.leggi_a_blocchi(tabella, [&](std::string_view b) { d.blocco(b); });
        d.termina();
        u.svuota();
    });
    file_.cancella_file(tabella);
    file_.rinomina_file(provvisorio, tabella);
}

void motore_tabelle::crea_secondario(const std::string& direttorio) {
    {
        tabella_righe<farmaco::larghezza> nuova;
        leggi_righe(file_, direttorio + "farmaci.tda", nuova);
        tabella_farmaci = std::move(nuova);
    }
    std::vector<std::array<char, 9>> codici;
    for (const voce_riga& v : tabella_farmaci.voci)
        if (byte_di(v, 0) != 'C') codici.push_back(codice_farmaco(v));
    indice_codici = ordina_indice(codici, av_);
    std::vector<std::array<char, 9>>().swap(codici);

    scrivi_tabella(file_, direttorio + "farmaci_secondario_completo.tda", [&](uscita_blocchi& u) {
        char riga[32];
        for (const auto& v : indice_codici) {
            std::memcpy(riga, "000", 3);
            std::memcpy(riga + 3, v.codice.data(), 9);
            std::snprintf(riga + 12, sizeof riga - 12, "+%010d\r\n", static_cast<int>(v.posizione));
            u.testo(std::string_view(riga, 12 + std::strlen(riga + 12)));
        }
    });
}

// ---------------------------------------------------------------- side tables

conteggio_variazioni motore_tabelle::aggiorna_notessn(const std::string& direttorio, const std::string& nome_file) {
    conteggio_variazioni conta;
    tabella_righe<variazione_nota::larghezza> variazioni;
    leggi_righe(file_, direttorio + nome_file, variazioni);
    av_.barra_visibile(true);
    // The first record of each two-character code: the scan from record 1
    // stops there.
    auto chiave = [](char a, char b) { return static_cast<unsigned char>(a) * 256u + static_cast<unsigned char>(b); };
    std::vector<std::int32_t> primo(65536, -1);
    for (std::size_t k = 0; k < tabella_notessn.size(); ++k) {
        std::int32_t& p = primo[chiave(tabella_notessn.carattere(k, 3), tabella_notessn.carattere(k, 4))];
        if (p < 0) p = static_cast<std::int32_t>(k);
    }
    const std::size_t testo_da = variazione_nota::testo.posizione - 1u;
    std::string nuova;
    const std::size_t n = variazioni.size();
    for (std::size_t i = 1; i <= n; ++i) {
        av_.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        // The update's `testo` without its outer blanks.
        std::string_view u = variazioni.riga(i - 1);
        nuova.assign(u.substr(0, testo_da));
        if (u.size() > testo_da) {
            std::string_view t = togli_spazi(u.substr(testo_da));
            if (!t.empty()) {
                nuova.resize(testo_da, ' ');
                nuova.append(t);
            }
        }
        std::int32_t& p = primo[chiave(u.size() > 0 ? u[0] : ' ', u.size() > 1 ? u[1] : ' ')];
        if (p >= 0) {
            // `stato` stays; the rest is the update's.
            voce_riga& v = tabella_notessn.voci[static_cast<std::size_t>(p)];
            if (v.lunghezza < 3 + nuova.size()) {
                char* d = tabella_notessn.arena.prendi(3 + nuova.size());
                for (std::size_t k = 0; k < 3; ++k) d[k] = byte_di(v, k);
                v.dati = d;
            }
            std::memcpy(v.dati + 3, nuova.data(), nuova.size());
            v.lunghezza = 3 + nuova.size();
            ++conta.sostituite;
        } else {
            p = static_cast<std::int32_t>(tabella_notessn.size());
            tabella_notessn.push_back("   " + nuova);
            ++conta.aggiunte;
        }
    }
    av_.barra_visibile(false);
    av_.valore_barra(0);
    // Every note goes out as "000", whatever its stored status.
    scrivi_tabella(file_, direttorio + "notessn.tda", [&](uscita_blocchi& u) {
        for (std::size_t k = 0; k < tabella_notessn.size(); ++k) {
            std::string_view r = tabella_notessn.riga(k);
            u.testo("000");
            u.riga(r.size() > 3 ? r.substr(3) : std::string_view(), nota::larghezza - 3);
        }
    });
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_principi_attivi(const std::string& direttorio,
                                                              const std::string& nome_file) {
    tabella_righe<variazione_principio_attivo::larghezza> variazioni;
    leggi_righe(file_, direttorio + nome_file, variazioni);
    av_.barra_visibile(true);
    conteggio_variazioni conta =
        fondi_ordinata(tabella_principi_attivi, variazioni, principio_attivo::descrizione, principio_attivo::codice,
                       tipo_ordinata::principi_attivi, av_);
    av_.barra_visibile(false);
    av_.valore_barra(0);
    scrivi_tabella(file_, direttorio + "principi_attivi.tda", [&](uscita_blocchi& u) {
        for (std::size_t k = 0; k < tabella_principi_attivi.size(); ++k)
            u.riga(tabella_principi_attivi.riga(k), principio_attivo::larghezza);
    });
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_atc(const std::string& direttorio, const std::string& nome_file) {
    tabella_righe<variazione_atc::larghezza> variazioni;
    leggi_righe(file_, direttorio + nome_file, variazioni);
    av_.barra_visibile(true);
    conteggio_variazioni conta = fondi_ordinata(tabella_atc, variazioni, classe_atc::descrizione, classe_atc::codice,
                                                tipo_ordinata::atc, av_);
    av_.barra_visibile(false);
    av_.valore_barra(0);
    scrivi_tabella(file_, direttorio + "atc.tda", [&](uscita_blocchi& u) {
        for (std::size_t k = 0; k < tabella_atc.size(); ++k) u.riga(tabella_atc.riga(k), classe_atc::larghezza);
    });
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_ditte(const std::string& direttorio, const std::string& nome_file) {
    tabella_righe<variazione_ditta::larghezza> variazioni;
    leggi_righe(file_, direttorio + nome_file, variazioni);
    av_.barra_visibile(true);
    conteggio_variazioni conta =
        fondi_ordinata(tabella_ditte, variazioni, ditta::codice, ditta::descrizione, tipo_ordinata::ditte, av_);
    av_.barra_visibile(false);
    av_.valore_barra(0);
    // Of a run of records with the same code only the first is written.
    scrivi_tabella(file_, direttorio + "ditte.tda", [&](uscita_blocchi& u) {
        for (std::size_t k = 0; k < tabella_ditte.size(); ++k) {
            if (k > 0 && confronta_campi(tabella_ditte.voci[k], tabella_ditte.voci[k - 1], ditta::codice) == 0) {
                ++conta.rimosse;
                continue;
            }
            u.riga(tabella_ditte.riga(k), ditta::larghezza);
        }
    });
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
    std::unordered_map<std::string, std::size_t> primo;
    char a[principio_attivo::larghezza];
    for (std::size_t k = 0; k < tabella_principi_attivi.size(); ++k)
        primo.try_emplace(std::string(tabella_principi_attivi.campo_di(k, principio_attivo::codice, a)), k);
    for (std::size_t i = 0; i < tabella_farmaci.size(); ++i) {
        if (tabella_farmaci.carattere(i, 2) != 'A') continue;
        auto it = primo.find(std::string(tabella_farmaci.campo_di(i, farmaco::campo_8, a)));
        if (it != primo.end()) tabella_principi_attivi.modifica(it->second)[2] = 'A';
    }
}

void motore_tabelle::riduci_atc() {
    // Each scan from record 1 strips every code it passes and stores it
    // back; `visti` records how far that has reached, and `primo` the first
    // record of each stripped code within it.
    std::unordered_map<std::string, std::size_t> primo;
    std::size_t visti = 0;
    char a[classe_atc::larghezza];
    auto segna = [&](const std::string& codice) {
        auto it = primo.find(codice);
        if (it != primo.end()) {
            tabella_atc.modifica(it->second)[2] = 'A';
            return;
        }
        while (visti < tabella_atc.size()) {
            std::string pulito(togli_spazi(tabella_atc.campo_di(visti, classe_atc::codice, a)));
            imposta_campo(tabella_atc, visti, classe_atc::codice, pulito);
            primo.try_emplace(pulito, visti);
            ++visti;
            if (pulito == codice) {
                tabella_atc.modifica(visti - 1)[2] = 'A';
                return;
            }
        }
    };
    for (std::size_t i = 0; i < tabella_farmaci.size(); ++i) {
        if (tabella_farmaci.carattere(i, 2) != 'A') continue;
        // The field is taken whole, blanks included: always 7 characters,
        // level digit "4".
        std::string codice(1, '4');
        codice.append(tabella_farmaci.campo_di(i, farmaco::campo_4, a));
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
