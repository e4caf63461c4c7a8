// Sorting: rank words, the legacy Shell-sort permutation, the code index
// and its search.
#include <algorithm>
#include <bit>

#include "motore_tabelle/interno.hpp"

namespace j8 {
namespace interno {

int confronta_campi(const voce_riga& a, const voce_riga& b, campo f, std::size_t da) {
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

void ordina_per_parole(std::vector<chiave_riga>& chiavi, std::size_t i, std::size_t f,
                       const std::vector<voce_riga>& voci, campo c, std::size_t da, std::vector<std::uint8_t>& uguale,
                       const std::vector<std::uint64_t>& seconde) {
    if (da >= c.larghezza) {
        for (std::size_t k = i + 1; k < f; ++k) uguale[k] = 1;
        return;
    }
    bool in_ordine = true;
    for (std::size_t k = i; k < f; ++k) {
        const std::uint32_t r = chiavi[k].riga;
        chiavi[k].inizio = da == 8 ? seconde[r] : parola_rango(voci[r], c, da);
        if (k > i && chiavi[k].inizio < chiavi[k - 1].inizio) in_ordine = false;
    }
    // A table written by the last update comes in name order: most runs
    // need no sort.
    if (!in_ordine)
        std::sort(chiavi.begin() + static_cast<std::ptrdiff_t>(i), chiavi.begin() + static_cast<std::ptrdiff_t>(f),
                  [](const chiave_riga& a, const chiave_riga& b) { return a.inizio < b.inizio; });
    for (std::size_t a = i; a < f;) {
        std::size_t b = a + 1;
        while (b < f && chiavi[b].inizio == chiavi[a].inizio) ++b;
        if (b - a > 1) ordina_per_parole(chiavi, a, b, voci, c, da + 8, uguale, seconde);
        a = b;
    }
}

void ordina_per_inizio(std::vector<chiave_riga>& chiavi) {
    // A table the last update wrote is in name order but for the rows this
    // one renamed or added: those are set aside, sorted and merged back, a
    // pass over the rest instead of a radix sort of all. A row below the
    // rows kept so far either sends the last few of them aside (they were
    // renamed upwards) or goes aside itself.
    constexpr std::size_t indietro = 8;
    const std::size_t n = chiavi.size();
    std::vector<chiave_riga> fuori;
    std::size_t tenute = 0;
    for (std::size_t i = 0; i < n && fuori.size() <= n / 8; ++i) {
        const chiave_riga c = chiavi[i];
        std::size_t sopra = 0;
        while (sopra < indietro && sopra < tenute && chiavi[tenute - 1 - sopra].inizio > c.inizio) ++sopra;
        if (sopra < tenute && chiavi[tenute - 1 - sopra].inizio > c.inizio) {
            fuori.push_back(c);
            continue;
        }
        for (; sopra > 0; --sopra) fuori.push_back(chiavi[--tenute]);
        chiavi[tenute++] = c;
    }
    auto minore = [](const chiave_riga& a, const chiave_riga& b) { return a.inizio < b.inizio; };
    if (fuori.size() > n / 8) {
        // Not such a table: every row by radix.
        std::copy(fuori.begin(), fuori.end(), chiavi.begin() + static_cast<std::ptrdiff_t>(tenute));
        ordina_radice(chiavi, 8, [](const chiave_riga& c) { return c.inizio; });
        return;
    }
    std::sort(fuori.begin(), fuori.end(), minore);
    // Merged from the back, into the room the rows set aside left.
    std::size_t k = n, t = tenute, f = fuori.size();
    while (f > 0) {
        if (t > 0 && chiavi[t - 1].inizio > fuori[f - 1].inizio)
            chiavi[--k] = chiavi[--t];
        else
            chiavi[--k] = fuori[--f];
    }
}

namespace {

// ShellSortAny's ascending passes on items whose bits above the lowest
// `bit_membro` are the key, with the interface let run at the same rows.
template <class T>
void shell_su_classi(std::vector<T>& voci, unsigned bit_membro, avanzamento& av) {
    const std::int64_t m = static_cast<std::int64_t>(voci.size());
    T* const v = voci.data();
    const T membro = static_cast<T>((T{1} << bit_membro) - 1u);
    std::int64_t g = 0;
    while (g <= m) g = 3 * g + 1;
    do {
        g /= 3;
        std::int64_t i = g + 1;
        while (i <= m) {
            if (i % 1000 == 0) av.lascia_girare();
            const std::int64_t tappa = std::min(m, (i / 1000 + 1) * 1000 - 1);
            for (; i <= tappa; ++i) {
                const T lavoro = v[i - 1];
                // A greater key is a greater item than any with this key.
                const T soglia = lavoro | membro;
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
}

// Whether the row at place i of the key order has an equal key beside it.
bool in_gruppo(const std::vector<std::uint8_t>& uguale, std::size_t i) {
    return uguale[i] || (i + 1 < uguale.size() && uguale[i + 1]);
}

// Whether the row at place i > 0 starts a new class: the first of a run of
// equal keys, or the first single key after such a run.
bool nuova_classe(const std::vector<std::uint8_t>& uguale, std::size_t i) {
    return in_gruppo(uguale, i) ? !uguale[i] : in_gruppo(uguale, i - 1);
}

// The rows in key order as classes: each run of equal keys is one class,
// each stretch of single keys between runs another, numbered in key order,
// and within a run each row its place in it. A pass of the sort leaves each
// of its chains sorted with equal items in the order they had, so sorting
// classes puts every class on the positions the keys would and the rows of
// a run in the order the keys would: only those rows need telling apart.
template <class T>
void shell_per_classi(std::vector<std::uint32_t>& ordinati, const std::vector<std::uint8_t>& uguale,
                      unsigned bit_membro, avanzamento& av) {
    const std::size_t n = ordinati.size();
    std::vector<T> voci(n);
    T classe = 0, membro = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i > 0 && nuova_classe(uguale, i)) ++classe;
        membro = uguale[i] ? static_cast<T>(membro + 1u) : T{0};
        voci[ordinati[i]] = static_cast<T>((classe << bit_membro) | membro);
    }
    shell_su_classi(voci, bit_membro, av);
    // Every class is back on its places: a run's rows are told by place.
    const std::vector<std::uint32_t> prima(ordinati);
    const T maschera = static_cast<T>((T{1} << bit_membro) - 1u);
    std::size_t inizio = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!uguale[i]) inizio = i;
        ordinati[i] = prima[inizio + (voci[i] & maschera)];
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

// Codes of digits and blanks as numbers, sorted by radix with the keys left
// in `voci` for the ties; false (and `voci` empty) for any other code.
bool ordina_numerici(const std::vector<std::array<char, 9>>& codici, std::vector<std::uint32_t>& ordinati,
                     std::vector<std::uint64_t>& voci) {
    const std::size_t n = codici.size();
    // 11^9 keys fit 32 bits: the sort runs on 8-byte items.
    voci.resize(n);
    for (std::size_t j = 0; j < n; ++j) {
        const std::int64_t k = chiave_codice(std::string_view(codici[j].data(), 9));
        if (k < 0) {
            std::vector<std::uint64_t>().swap(voci);
            return false;
        }
        voci[j] = (static_cast<std::uint64_t>(k) << 32) | j;
    }
    ordina_radice(voci, 4, [](std::uint64_t x) { return x >> 32; });
    for (std::size_t j = 0; j < n; ++j) ordinati[j] = static_cast<std::uint32_t>(voci[j]);
    return true;
}

}  // namespace

void permutazione_shell(std::vector<std::uint32_t>& ordinati, const std::vector<std::uint8_t>& uguale,
                        avanzamento& av) {
    const std::size_t n = ordinati.size();
    std::size_t classi = 1, gruppo = 1, massimo = 1;
    for (std::size_t i = 1; i < n; ++i) {
        classi += nuova_classe(uguale, i);
        gruppo = uguale[i] ? gruppo + 1 : 1;
        massimo = std::max(massimo, gruppo);
    }
    // Every key differs: the order is total and any sort gives it.
    if (massimo == 1) return;
    // The narrowest items that hold class and place: fewer bytes to move.
    const unsigned bit_membro = static_cast<unsigned>(std::bit_width(massimo - 1));
    const unsigned bit = bit_membro + static_cast<unsigned>(std::bit_width(classi - 1));
    if (bit <= 16)
        shell_per_classi<std::uint16_t>(ordinati, uguale, bit_membro, av);
    else if (bit <= 32)
        shell_per_classi<std::uint32_t>(ordinati, uguale, bit_membro, av);
    else
        shell_per_classi<std::uint64_t>(ordinati, uguale, bit_membro, av);
}

std::vector<voce_indice> ordina_indice(const std::vector<std::array<char, 9>>& codici, avanzamento& av) {
    const std::size_t n = codici.size();
    std::vector<std::uint32_t> ordinati(n);
    for (std::size_t j = 0; j < n; ++j) ordinati[j] = static_cast<std::uint32_t>(j);
    std::vector<std::uint64_t> voci;
    const bool numerici = ordina_numerici(codici, ordinati, voci);
    if (!numerici) {
        auto minore = [&](std::uint32_t a, std::uint32_t b) {
            int c = confronta_testi(std::string_view(codici[a].data(), 9), std::string_view(codici[b].data(), 9));
            return c != 0 ? c < 0 : a < b;
        };
        std::sort(ordinati.begin(), ordinati.end(), minore);
    }
    std::vector<std::uint8_t> uguale(n, 0);
    for (std::size_t i = 1; i < n; ++i)
        uguale[i] = numerici ? (voci[i - 1] >> 32) == (voci[i] >> 32) : codici[ordinati[i - 1]] == codici[ordinati[i]];
    permutazione_shell(ordinati, uguale, av);
    std::vector<std::uint64_t>().swap(voci);
    std::vector<voce_indice> indice(n);
    for (std::size_t i = 0; i < n; ++i) {
        indice[i].codice = codici[ordinati[i]];
        indice[i].posizione = static_cast<std::int32_t>(ordinati[i] + 1);
    }
    return indice;
}

}  // namespace interno

void motore_tabelle::costruisci_indice_codici() {
    std::vector<std::array<char, 9>> codici(tabella_farmaci.size());
    for (std::size_t i = 0; i < codici.size(); ++i) codici[i] = interno::codice_farmaco(tabella_farmaci.voci[i]);
    indice_codici = interno::ordina_indice(codici, av_);
}

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

}  // namespace j8
