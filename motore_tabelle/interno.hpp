#pragma once
// What the engine's sources share: reading and writing tables block by
// block, small record helpers and the sorts. Not part of the public
// interface.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "motore_tabelle/motore_tabelle.hpp"
#include "motore_tabelle/testi_interni.hpp"

namespace j8::interno {

inline constexpr std::string_view a_capo = "\r\n";

// ---------------------------------------------------------------- reading

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

// Rows grown by doubling may hold up to twice the room they need: kept to
// a sixteenth over, for the rows an update adds.
void stringi_voci(std::vector<voce_riga>& voci);

// Reads a file's lines as records of `t`, cut at the layout and without
// trailing blanks; the records stay in the file's bytes as read. LF ends a
// line, a CR right before it is dropped, a last line without LF counts, a
// final LF adds no empty line. Returns the file's size.
template <std::size_t W>
std::uint64_t leggi_righe(file_tabelle& file, const std::string& percorso, tabella_righe<W>& t) {
    std::unique_ptr<const testo_intero> testo = file.leggi_intero(percorso);
    const std::string_view b = testo->byte;
    // Room for the rows of full-width lines and a sixteenth more for those
    // an update adds; shorter lines grow the list as usual.
    if (const std::size_t prevista = b.size() / (W + 2))
        t.voci.reserve(t.voci.size() + prevista + prevista / 16 + 16);
    const char* p = b.data();
    const char* const fine = p + b.size();
    while (p < fine) {
        const char* lf = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(fine - p)));
        std::size_t n = static_cast<std::size_t>((lf ? lf : fine) - p);
        if (lf && n > 0 && p[n - 1] == '\r') --n;
        if (n > W) n = W;
        while (n > 0 && p[n - 1] == ' ') --n;
        // Never written through: modifica copies a row before it changes.
        t.voci.push_back({const_cast<char*>(p), n});
        p = lf ? lf + 1 : fine;
    }
    stringi_voci(t.voci);
    t.testi.push_back(std::move(testo));
    return b.size();
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

// ---------------------------------------------------------------- writing

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
    void testo(std::string_view t);
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

// Writes `percorso` from `scrivi(uscita_blocchi&)`, `previsti` bytes when
// known in advance (0 if not).
template <class F>
void scrivi_tabella(file_tabelle& file, const std::string& percorso, F&& scrivi, std::uint64_t previsti = 0) {
    file.scrivi_a_blocchi(
        percorso,
        [&](const file_tabelle::ricevi_blocco& ricevi) {
            uscita_blocchi u(ricevi);
            scrivi(u);
            u.svuota();
        },
        previsti);
}

// Every record of `tab` in its order, padded to the layout.
template <std::size_t W>
void scrivi_righe(file_tabelle& file, const std::string& percorso, const tabella_righe<W>& tab) {
    scrivi_tabella(
        file, percorso, [&](uscita_blocchi& u) {
            for (std::size_t k = 0; k < tab.size(); ++k) u.riga(tab.riga(k), W);
        },
        std::uint64_t{tab.size()} * (W + 2));
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

// ---------------------------------------------------------------- records

// `stato` "C0A"/"C00" or "00A"/"000", keeping an "A" in the third place.
inline void imposta_stato(char* r, bool cancellato) {
    bool a = r[2] == 'A';
    r[0] = cancellato ? 'C' : '0';
    r[1] = '0';
    r[2] = a ? 'A' : '0';
}

inline char maiuscola(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

inline std::uint8_t rango(char c) { return rango_byte[static_cast<unsigned char>(c)]; }

// Byte k of a stored record, blank past its end.
inline char byte_di(const voce_riga& v, std::size_t k) { return k < v.lunghezza ? v.dati[k] : ' '; }

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

// ---------------------------------------------------------------- sorting

// Field `f` of two stored records compared in the text order, from the
// field's character `da` on.
int confronta_campi(const voce_riga& a, const voce_riga& b, campo f, std::size_t da = 0);

// Eight characters of a field from its character `da` as ranked bytes
// packed big-endian, 0 past the field: comparing the words compares the
// texts. Inline: the drug sort takes one per row.
inline std::uint64_t parola_rango(const voce_riga& v, campo f, std::size_t da = 0) {
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

// A row and the eight characters of its sort field being compared.
struct chiave_riga {
    std::uint64_t inizio;
    std::uint32_t riga;
};

// Sorts `chiavi` by `inizio`, equal words in any order.
void ordina_per_inizio(std::vector<chiave_riga>& chiavi);

// The run [i, f) of `chiavi` shares the field's first `da` characters:
// sorted by the next eight as words, each run that still shares them by
// those after, and rows whose whole field is equal to the previous one's
// marked in `uguale`. `seconde` holds each row's word from character 8.
void ordina_per_parole(std::vector<chiave_riga>& chiavi, std::size_t i, std::size_t f,
                       const std::vector<voce_riga>& voci, campo c, std::size_t da, std::vector<std::uint8_t>& uguale,
                       const std::vector<std::uint64_t>& seconde);

// Shell sort of row numbers: the sort's moves depend only on the outcome
// of its comparisons, and only rows with equal keys can end in an order
// other sorts would not give. `ordinati` holds the rows in key order (ties
// in any order), `uguale[i]` tells whether its rows i - 1 and i have equal
// keys; it is turned into the legacy ascending permutation.
void permutazione_shell(std::vector<std::uint32_t>& ordinati, const std::vector<std::uint8_t>& uguale,
                        avanzamento& av);

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

// The code index of `codici` (9 characters each, in order): entry j has
// position j + 1, sorted by code as the legacy Shell sort leaves it.
std::vector<voce_indice> ordina_indice(const std::vector<std::array<char, 9>>& codici, avanzamento& av);

// `codice` of a stored drug record.
inline std::array<char, 9> codice_farmaco(const voce_riga& v) {
    std::array<char, 9> c;
    if (v.lunghezza >= 12) {
        std::memcpy(c.data(), v.dati + 3, 9);
    } else {
        for (std::size_t k = 0; k < 9; ++k) c[k] = byte_di(v, 3 + k);
    }
    return c;
}

}  // namespace j8::interno
