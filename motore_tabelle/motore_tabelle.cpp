#include "motore_tabelle/motore_tabelle.hpp"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <unordered_map>

#include "motore_tabelle/testi_interni.hpp"

namespace j8 {

// ---------------------------------------------------------------- storage

char* arena_righe::apri(std::size_t massimo) {
    if (libero_ < massimo || !cima_) {
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
    // Rows grown by doubling may hold up to twice the room they need:
    // kept to a sixteenth over, for the rows an update adds.
    const std::size_t tenute = t.voci.size() + t.voci.size() / 16;
    if (t.voci.capacity() > tenute + 1024) {
        std::vector<voce_riga> strette;
        strette.reserve(tenute);
        strette.assign(t.voci.begin(), t.voci.end());
        t.voci.swap(strette);
    }
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
    explicit uscita_blocchi(const file_tabelle::ricevi_blocco& scrivi) : scrivi_(scrivi), buf_(capacita) {}
    // `dati` blank-padded to `larghezza`, then CR LF.
    void riga(std::string_view dati, std::size_t larghezza) {
        if (usati_ + larghezza + 2 > capacita) svuota();
        char* d = buf_.data() + usati_;
        if (!dati.empty()) std::memcpy(d, dati.data(), dati.size());
        if (dati.size() < larghezza) std::memset(d + dati.size(), ' ', larghezza - dati.size());
        d[larghezza] = '\r';
        d[larghezza + 1] = '\n';
        usati_ += larghezza + 2;
    }
    void testo(std::string_view t) {
        if (usati_ + t.size() > capacita) svuota();
        if (t.size() > capacita) {
            scrivi_(t);
            return;
        }
        if (!t.empty()) std::memcpy(buf_.data() + usati_, t.data(), t.size());
        usati_ += t.size();
    }
    void svuota() {
        if (usati_) scrivi_(std::string_view(buf_.data(), usati_));
        usati_ = 0;
    }

private:
    // Larger than any line: a whole line always fits.
    static constexpr std::size_t capacita = std::size_t{1} << 18;
    const file_tabelle::ricevi_blocco& scrivi_;
    std::vector<char> buf_;
    std::size_t usati_ = 0;
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
    const std::size_t inizio = f.posizione - 1u + da, fine = f.posizione - 1u + f.larghezza;
    if (a.lunghezza >= fine && b.lunghezza >= fine) {
        // Both stored whole: ranks only where the bytes first differ.
        const char *x = a.dati + inizio, *y = b.dati + inizio;
        for (std::size_t k = 0; k < fine - inizio; ++k)
            if (x[k] != y[k]) return rango(x[k]) < rango(y[k]) ? -1 : 1;
        return 0;
    }
    for (std::size_t k = inizio; k < fine; ++k) {
        std::uint8_t x = rango(byte_di(a, k)), y = rango(byte_di(b, k));
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

// Eight characters of a field from its character `da` as ranked bytes
// packed big-endian, 0 past the field: comparing the words compares the
// texts.
std::uint64_t parola_rango(const voce_riga& v, campo f, std::size_t da = 0) {
    const std::size_t inizio = f.posizione - 1u + da;
    if (da + 8 <= f.larghezza && v.lunghezza >= inizio + 8) {
        // ASCII bytes are their own rank: eight of them are the word as
        // they stand, read big-endian.
        std::uint64_t x;
        std::memcpy(&x, v.dati + inizio, 8);
        if ((x & 0x8080808080808080ull) == 0) {
            if constexpr (std::endian::native == std::endian::little) x = __builtin_bswap64(x);
            return x;
        }
    }
    std::uint64_t w = 0;
    for (std::size_t i = da; i < da + 8; ++i)
        w = (w << 8) | (i < f.larghezza ? rango(byte_di(v, f.posizione - 1u + i)) : 0u);
    return w;
}

// The run [i, f) of `chiavi` shares the field's first `da` characters:
// sorted by the next eight as words, each run that still shares them by
// those after, and rows whose whole field is equal to the previous one's
// marked in `uguale`.
template <class Chiave>
void ordina_per_parole(std::vector<Chiave>& chiavi, std::size_t i, std::size_t f, const std::vector<voce_riga>& voci,
                       campo c, std::size_t da, std::vector<std::uint8_t>& uguale) {
    if (da >= c.larghezza) {
        for (std::size_t k = i + 1; k < f; ++k) uguale[k] = 1;
        return;
    }
    bool in_ordine = true;
    for (std::size_t k = i; k < f; ++k) {
        chiavi[k].inizio = parola_rango(voci[chiavi[k].riga], c, da);
        if (k > i && chiavi[k].inizio < chiavi[k - 1].inizio) in_ordine = false;
    }
    // A table written by the last update comes in name order: most runs
    // need no sort.
    if (!in_ordine)
        std::sort(chiavi.begin() + static_cast<std::ptrdiff_t>(i), chiavi.begin() + static_cast<std::ptrdiff_t>(f),
                  [](const Chiave& a, const Chiave& b) { return a.inizio < b.inizio; });
    for (std::size_t a = i; a < f;) {
        std::size_t b = a + 1;
        while (b < f && chiavi[b].inizio == chiavi[a].inizio) ++b;
        if (b - a > 1) ordina_per_parole(chiavi, a, b, voci, c, da + 8, uguale);
        a = b;
    }
}

// Shell sort of row numbers by a dense rank: the sort's moves depend only
// on the outcome of its comparisons, so ranking the keys first gives the
// permutation the keys themselves would. When every rank differs the order
// is total and any sort gives it: the Shell sort is run only over repeats.
// `ordinati` holds the rows in key order (ties in any order) and
// `uguale_al_precedente(i)` tells whether its rows i - 1 and i have equal
// keys; it is turned into the legacy permutation.
template <class Uguale>
void permutazione_shell(std::vector<std::uint32_t>& ordinati, Uguale uguale_al_precedente, avanzamento& av) {
    const std::size_t n = ordinati.size();
    bool ripetuti = false;
    for (std::size_t i = 1; i < n && !ripetuti; ++i) ripetuti = uguale_al_precedente(i);
    if (!ripetuti) return;
    std::vector<std::uint64_t> voci(n);
    std::uint32_t r = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i > 0 && !uguale_al_precedente(i)) ++r;
        voci[ordinati[i]] = (std::uint64_t{r} << 32) | ordinati[i];
    }
    // ShellSortAny's ascending passes, with the rank in the high half and
    // the interface let run at the same rows.
    const std::int64_t m = static_cast<std::int64_t>(n);
    std::uint64_t* const v = voci.data();  // row r at v[r - 1]
    std::int64_t g = 0;
    while (g <= m) g = 3 * g + 1;
    do {
        g /= 3;
        std::int64_t i = g + 1;
        while (i <= m) {
            if (i % 1000 == 0) av.lascia_girare();
            const std::int64_t tappa = std::min(m, (i / 1000 + 1) * 1000 - 1);
            for (; i <= tappa; ++i) {
                const std::uint64_t lavoro = v[i - 1];
                // A greater rank is a greater item than any of this rank.
                const std::uint64_t soglia = lavoro | 0xFFFFFFFFu;
                std::int64_t j = i;
                while (v[j - g - 1] > soglia) {
                    v[j - 1] = v[j - g - 1];
                    j -= g;
                    if (j <= g) break;
                }
                v[j - 1] = lavoro;
            }
        }
    } while (g != 1);
    for (std::size_t i = 0; i < n; ++i) ordinati[i] = static_cast<std::uint32_t>(voci[i]);
}

// Sorts `v` by `chiave(x)` (an unsigned number of `byte` bytes), least
// significant byte first, skipping the bytes that all items share: a few
// linear passes instead of a comparison sort. Equal keys end in any order.
template <class T, class Chiave>
void ordina_radice(std::vector<T>& v, unsigned byte, Chiave chiave) {
    // The counts of every byte are taken in one pass: the passes only
    // move items, so they do not change them.
    std::vector<std::array<std::size_t, 257>> conte(byte);
    for (auto& c : conte) c.fill(0);
    for (const T& x : v) {
        const std::uint64_t k = chiave(x);
        for (unsigned b = 0; b < byte; ++b) ++conte[b][((k >> (8 * b)) & 0xFF) + 1];
    }
    std::vector<T> altro(v.size());
    for (unsigned b = 0; b < byte; ++b) {
        std::array<std::size_t, 257>& conta = conte[b];
        bool inutile = false;
        for (int c = 1; c <= 256; ++c)
            if (conta[c] == v.size()) inutile = true;
        if (inutile) continue;
        for (int c = 1; c <= 256; ++c) conta[c] += conta[c - 1];
        for (const T& x : v) altro[conta[(chiave(x) >> (8 * b)) & 0xFF]++] = x;
        v.swap(altro);
    }
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
    // 11^9 keys fit 32 bits: the sort runs on 8-byte items.
    std::vector<std::uint64_t> voci(n);
    bool numerici = true;
    for (std::size_t j = 0; j < n && numerici; ++j) {
        const std::int64_t k = chiave_codice(testo(static_cast<std::uint32_t>(j)));
        numerici = k >= 0;
        voci[j] = (static_cast<std::uint64_t>(k) << 32) | j;
    }
    if (numerici) {
        ordina_radice(voci, 4, [](std::uint64_t x) { return x >> 32; });
        for (std::size_t j = 0; j < n; ++j) ordinati[j] = static_cast<std::uint32_t>(voci[j]);
    } else {
        std::vector<std::uint64_t>().swap(voci);
        auto minore = [&](std::uint32_t a, std::uint32_t b) {
            int c = confronta_testi(testo(a), testo(b));
            return c != 0 ? c < 0 : a < b;
        };
        std::sort(ordinati.begin(), ordinati.end(), minore);
    }
    permutazione_shell(
        ordinati,
        [&](std::size_t i) {
            return numerici ? (voci[i - 1] >> 32) == (voci[i] >> 32) : codici[ordinati[i - 1]] == codici[ordinati[i]];
        },
        av);
    std::vector<std::uint64_t>().swap(voci);
    const std::vector<std::uint32_t>& permutazione = ordinati;
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

// Stores `valore` left-justified, blank-padded into field `f` of a record,
// moving a short line to full width only when something changes.
template <std::size_t W>
void imposta_campo(tabella_righe<W>& tab, voce_riga& v, campo f, std::string_view valore) {
    char appoggio[W];
    riga_fissa<W> nuovo;
    nuovo.imposta(f, valore);
    if (tabella_righe<W>::campo_di(v, f, appoggio) == nuovo[f]) return;
    std::memcpy(tab.modifica(v) + f.posizione - 1, nuovo.dati(f), f.larghezza);
}

// The rows of a side table while a merge inserts into it: blocks of a few
// thousand rows, so an insertion moves one block, not the whole table. Each
// block knows its least and greatest key and the first row of each
// second-field value, so the scans of the merge cross a block that cannot
// stop them (a long run of equal keys, or keys all below the update's) at
// once and still stop where a row-by-row scan would.
class righe_a_blocchi {
public:
    static constexpr std::size_t dimensione = 2048;

    righe_a_blocchi(std::vector<voce_riga>& voci, campo chiave, campo seconda)
        : chiave_(chiave), seconda_(seconda) {
        for (std::size_t i = 0; i < voci.size(); i += dimensione) {
            blocchi_.emplace_back();
            blocchi_.back().righe.assign(voci.begin() + static_cast<std::ptrdiff_t>(i),
                                         voci.begin() + static_cast<std::ptrdiff_t>(std::min(voci.size(), i + dimensione)));
        }
        totale_ = voci.size();
        std::vector<voce_riga>().swap(voci);
        rifai_inizi();
    }
    void riversa(std::vector<voce_riga>& voci) {
        voci.clear();
        voci.reserve(totale_);
        for (auto& b : blocchi_) voci.insert(voci.end(), b.righe.begin(), b.righe.end());
        blocchi_.clear();
        totale_ = 0;
    }
    std::size_t size() const { return totale_; }
    // Block of the 0-based row i.
    std::size_t blocco_di(std::size_t i) const {
        return static_cast<std::size_t>(std::upper_bound(inizi_.begin(), inizi_.end(), i) - inizi_.begin()) - 1;
    }
    std::size_t inizio(std::size_t b) const { return inizi_[b]; }
    std::size_t righe_in(std::size_t b) const { return blocchi_[b].righe.size(); }
    voce_riga& operator[](std::size_t i) {
        std::size_t b = blocco_di(i);
        return blocchi_[b].righe[i - inizi_[b]];
    }
    void inserisci(std::size_t i, voce_riga v) {
        if (blocchi_.empty()) {
            blocchi_.emplace_back();
            inizi_.assign(1, 0);
        }
        std::size_t b = i == totale_ ? blocchi_.size() - 1 : blocco_di(i);
        blocco& bl = blocchi_[b];
        const std::size_t o = i - inizi_[b];
        bl.righe.insert(bl.righe.begin() + static_cast<std::ptrdiff_t>(o), v);
        if (bl.estremi_pronti) allarga(bl, v);
        if (bl.mappa_pronta) {
            // The new row is the first of its second field if it comes
            // before the one the map holds.
            auto [it, nuovo] = bl.prima_seconda.try_emplace(impronta(v), v.dati);
            if (!nuovo && offset_di(bl, it->second) > o) it->second = v.dati;
        }
        ++totale_;
        for (std::size_t c = b + 1; c < inizi_.size(); ++c) ++inizi_[c];
        if (bl.righe.size() >= 2 * dimensione) {
            blocco nuovo;
            nuovo.righe.assign(bl.righe.begin() + dimensione, bl.righe.end());
            bl.righe.resize(dimensione);
            bl.dimentica();
            blocchi_.insert(blocchi_.begin() + static_cast<std::ptrdiff_t>(b + 1), std::move(nuovo));
            rifai_inizi();
        }
    }
    // Whether every row of block b has a key equal to, less than, or at
    // least `k`.
    bool tutto_chiave(std::size_t b, std::string_view k) {
        blocco& bl = estremi(b);
        return !bl.righe.empty() && bl.minimo == k && bl.massimo == k;
    }
    bool tutto_minore(std::size_t b, std::string_view k) {
        blocco& bl = estremi(b);
        return !bl.righe.empty() && confronta_testi(bl.massimo, k) < 0;
    }
    bool tutto_almeno(std::size_t b, std::string_view k) {
        blocco& bl = estremi(b);
        return !bl.righe.empty() && confronta_testi(bl.minimo, k) >= 0;
    }
    // Offset in block b of its first row whose second field is `s` (with
    // `h` its impronta), or -1.
    std::int64_t primo_con_seconda(std::size_t b, std::string_view s, std::uint64_t h) {
        blocco& bl = blocchi_[b];
        if (!bl.mappa_pronta) {
            for (const voce_riga& v : bl.righe) bl.prima_seconda.try_emplace(impronta(v), v.dati);
            bl.mappa_pronta = true;
        }
        auto it = bl.prima_seconda.find(h);
        if (it == bl.prima_seconda.end()) return -1;
        char a[256];
        std::size_t o = offset_di(bl, it->second);
        if (o < bl.righe.size() && tabella_righe<256>::campo_di(bl.righe[o], seconda_, a) == s)
            return static_cast<std::int64_t>(o);
        // Two values with one impronta: the row-by-row answer.
        for (std::size_t k = 0; k < bl.righe.size(); ++k)
            if (tabella_righe<256>::campo_di(bl.righe[k], seconda_, a) == s) return static_cast<std::int64_t>(k);
        return -1;
    }
    // Row i was moved in memory from `prima` (a short line widened).
    void spostata(std::size_t i, const char* prima) {
        blocco& bl = blocchi_[blocco_di(i)];
        if (!bl.mappa_pronta) return;
        auto it = bl.prima_seconda.find(impronta((*this)[i]));
        if (it != bl.prima_seconda.end() && it->second == prima) it->second = (*this)[i].dati;
    }
    // A hash of the padded second field of a record.
    std::uint64_t impronta(const voce_riga& v) const {
        std::uint64_t h = 1469598103934665603ull;
        for (std::size_t k = seconda_.posizione - 1u; k < seconda_.posizione - 1u + seconda_.larghezza; ++k)
            h = (h ^ static_cast<unsigned char>(byte_di(v, k))) * 1099511628211ull;
        return h;
    }

private:
    struct blocco {
        std::vector<voce_riga> righe;
        // The least and greatest key of the rows.
        bool estremi_pronti = false;
        std::string minimo, massimo;
        bool mappa_pronta = false;
        // Impronta of the second field -> the first row with it.
        std::unordered_map<std::uint64_t, const char*> prima_seconda;
        void dimentica() {
            estremi_pronti = false;
            mappa_pronta = false;
            prima_seconda.clear();
        }
    };
    void allarga(blocco& bl, const voce_riga& v) const {
        char a[256];
        std::string_view k = tabella_righe<256>::campo_di(v, chiave_, a);
        if (bl.minimo.empty() || confronta_testi(k, bl.minimo) < 0) bl.minimo.assign(k);
        if (bl.massimo.empty() || confronta_testi(k, bl.massimo) > 0) bl.massimo.assign(k);
    }
    blocco& estremi(std::size_t b) {
        blocco& bl = blocchi_[b];
        if (!bl.estremi_pronti) {
            bl.minimo.clear();
            bl.massimo.clear();
            for (const voce_riga& v : bl.righe) allarga(bl, v);
            bl.estremi_pronti = true;
        }
        return bl;
    }
    // Rows never move in memory: a row is found in its block by its data.
    static std::size_t offset_di(const blocco& bl, const char* dati) {
        for (std::size_t k = 0; k < bl.righe.size(); ++k)
            if (bl.righe[k].dati == dati) return k;
        return bl.righe.size();
    }
    void rifai_inizi() {
        inizi_.resize(blocchi_.size());
        std::size_t n = 0;
        for (std::size_t b = 0; b < blocchi_.size(); ++b) {
            inizi_[b] = n;
            n += blocchi_[b].righe.size();
        }
    }
    campo chiave_, seconda_;
    std::vector<blocco> blocchi_;
    std::vector<std::size_t> inizi_;
    std::size_t totale_ = 0;
};

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
    righe_a_blocchi R(tab.voci, k_campo, s_campo);
    char a1[W], a2[W];
    auto K = [&](std::int64_t k, char* a) {
        return tabella_righe<W>::campo_di(R[static_cast<std::size_t>(k - 1)], k_campo, a);
    };
    for (std::size_t i = 1; i <= n; ++i) {
        av.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        riga_fissa<W> u;
        std::string_view linea = variazioni.riga(i - 1);
        std::memcpy(u.c.data() + 3, linea.data(), linea.size());
        const std::int64_t ultimo = static_cast<std::int64_t>(R.size());
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
                // Back to the first record of the run of equal keys (the key
                // at `medio` is u's); a block with no key below it passes
                // whole.
                alto = medio;
                const std::string_view km = u[k_campo];
                std::int64_t k = alto;
                while (k >= 1) {
                    const std::size_t b = R.blocco_di(static_cast<std::size_t>(k - 1));
                    if (R.tutto_almeno(b, km)) {
                        basso = alto = static_cast<std::int64_t>(R.inizio(b)) + 1;
                        k = static_cast<std::int64_t>(R.inizio(b));
                        continue;
                    }
                    if (confronta_testi(K(k, a1), km) < 0) break;
                    basso = alto = k;
                    --k;
                }
            }
        }
        std::int64_t posizione = -1;
        const std::int64_t fine = principi ? alto : ultimo;
        std::uint64_t impronta_u = 0;
        bool impronta_pronta = false;
        for (std::int64_t j = basso; j <= fine; ++j) {
            if (!principi) {
                // A block of u's key from its first row: its first row with
                // u's second field, else all passed with `posizione` on its
                // last row.
                const std::size_t b = R.blocco_di(static_cast<std::size_t>(j - 1));
                if (R.inizio(b) == static_cast<std::size_t>(j - 1) && R.tutto_minore(b, u[k_campo])) {
                    // No equal key, none greater: the scan passes it.
                    j = static_cast<std::int64_t>(R.inizio(b) + R.righe_in(b));
                    continue;
                }
                if (R.inizio(b) == static_cast<std::size_t>(j - 1) && R.tutto_chiave(b, u[k_campo])) {
                    if (!impronta_pronta) {
                        voce_riga vu{u.c.data(), W};
                        impronta_u = R.impronta(vu);
                        impronta_pronta = true;
                    }
                    std::int64_t o = R.primo_con_seconda(b, u[s_campo], impronta_u);
                    if (o < 0) {
                        posizione = static_cast<std::int64_t>(R.inizio(b) + R.righe_in(b));
                        j = posizione;
                        continue;
                    }
                    j += o;
                }
            }
            voce_riga& t = R[static_cast<std::size_t>(j - 1)];
            int c;
            if (principi) {
                // Both names are stored back without their outer blanks.
                u.imposta(k_campo, std::string(togli_spazi(u[k_campo])));
                imposta_campo(tab, t, k_campo, std::string(togli_spazi(tabella_righe<W>::campo_di(t, k_campo, a1))));
                c = confronta_testi(togli_spazi(u[k_campo]), togli_spazi(tabella_righe<W>::campo_di(t, k_campo, a1)));
            } else {
                c = confronta_testi(u[k_campo], tabella_righe<W>::campo_di(t, k_campo, a1));
            }
            if (c < 0) {
                if (posizione == -1) posizione = j;
                break;
            }
            if (c == 0) {
                if (u[s_campo] == tabella_righe<W>::campo_di(t, s_campo, a2)) {
                    const char* prima = t.dati;
                    char* r = tab.modifica(t);
                    if (r != prima) R.spostata(static_cast<std::size_t>(j - 1), prima);
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
            R.inserisci(static_cast<std::size_t>(posizione - 1), tab.copia(u.riga()));
            ++conta.aggiunte;
        } else {
            ++conta.sostituite;
        }
    }
    R.riversa(tab.voci);
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
    // The rows the updates touch lie all over the table: each is looked up
    // a few lines ahead and its row entry and bytes fetched while the
    // lines before it are applied.
    constexpr std::size_t avanti = 16;
    std::int32_t posti[avanti];
    const std::vector<voce_riga>& righe_farmaci = tabella_farmaci.voci;
    auto cerca_avanti = [&](std::size_t k) {
        char a[variazione_farmaco::larghezza];
        const std::int32_t q = cerca_codice(variazioni.campo_di(k, variazione_farmaco::codice, a));
        posti[k % avanti] = q;
        if (q >= 1 && static_cast<std::size_t>(q) <= righe_farmaci.size()) __builtin_prefetch(&righe_farmaci[q - 1]);
    };
    for (std::size_t k = 0; k < n && k < avanti; ++k) cerca_avanti(k);
    for (std::size_t i = 1; i <= n; ++i) {
        av_.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        const record_variazione_farmaco v(variazioni.riga(i - 1));
        const std::int32_t p = posti[(i - 1) % avanti];
        if (i - 1 + avanti < n) cerca_avanti(i - 1 + avanti);
        if (i - 1 + avanti / 2 < n) {
            const std::int32_t q = posti[(i - 1 + avanti / 2) % avanti];
            if (q >= 1 && static_cast<std::size_t>(q) <= righe_farmaci.size()) {
                const char* d = righe_farmaci[q - 1].dati;
                __builtin_prefetch(d);
                __builtin_prefetch(d + 64);
            }
        }
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
        for (std::size_t i = 0; i < righe; ++i) {
            voce_riga& v = tabella_farmaci.voci[i];
            // With a non-blank flag the date test could only set what the
            // flag sets right after it. Past a short line's end both are
            // blank.
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
            chiavi[i] = {parola_rango(v, farmaco::descrizione), static_cast<std::uint32_t>(i)};
        }
        // By the first eight characters, then each run that shares them by
        // the next eight and so on; rows with equal names are marked on the
        // way.
        ordina_radice(chiavi, 8, [](const chiave& c) { return c.inizio; });
        std::vector<std::uint8_t> uguale(righe, 0);
        for (std::size_t i = 0; i < righe;) {
            std::size_t f = i + 1;
            while (f < righe && chiavi[f].inizio == chiavi[i].inizio) ++f;
            if (f - i > 1) ordina_per_parole(chiavi, i, f, voci, farmaco::descrizione, 8, uguale);
            i = f;
        }
        ordine.resize(righe);
        for (std::size_t i = 0; i < righe; ++i) ordine[i] = chiavi[i].riga;
        std::vector<chiave>().swap(chiavi);
        permutazione_shell(ordine, [&](std::size_t i) { return uguale[i] != 0; }, av_);
    }

    scrivi_tabella(file_, direttorio + "farmaci.tda", [&](uscita_blocchi& u) {
        for (std::size_t k = 0; k < righe; ++k) {
            // The rows are read in name order, all over the table.
            if (k + 8 < righe) __builtin_prefetch(voci[ordine[k + 8]].dati);
            u.riga(tabella_farmaci.riga(ordine[k]), farmaco::larghezza);
        }
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
            imposta_campo(tabella_atc, tabella_atc.voci[visti], classe_atc::codice, pulito);
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
