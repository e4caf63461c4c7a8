#pragma once
// The table update engine: fixed-width layouts of the drug table and the four
// side tables, their update files, the merges, the sort, duplicate removal,
// the secondary drug table and the two reductions. It shows nothing itself:
// progress reaches the update form through `avanzamento`, and every file step
// goes through the `file_tabelle` it is given.
//
// Directory arguments end with the path separator; the engine just puts the
// file name after them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "comune/file_tabelle.hpp"

namespace j8 {

// ---------------------------------------------------------------- layouts

// A field of a fixed-width line: 1-based position and width.
struct campo {
    std::uint16_t posizione;
    std::uint16_t larghezza;
};

// One record kept as its whole blank-padded line; fields are views into it.
template <std::size_t W>
struct riga_fissa {
    static constexpr std::size_t larghezza = W;
    std::array<char, W> c;

    riga_fissa() { c.fill(' '); }
    // Cut at the layout: a longer line loses its tail, a shorter one leaves
    // blanks.
    explicit riga_fissa(std::string_view riga) {
        c.fill(' ');
        std::size_t n = riga.size() < W ? riga.size() : W;
        for (std::size_t i = 0; i < n; ++i) c[i] = riga[i];
    }
    std::string_view riga() const { return {c.data(), W}; }
    std::string_view operator[](campo f) const { return {c.data() + f.posizione - 1, f.larghezza}; }
    // Stores left-justified, blank-padded, cut to the field's width.
    void imposta(campo f, std::string_view valore) {
        char* d = c.data() + f.posizione - 1;
        std::size_t n = valore.size() < f.larghezza ? valore.size() : f.larghezza;
        for (std::size_t i = 0; i < n; ++i) d[i] = valore[i];
        for (std::size_t i = n; i < f.larghezza; ++i) d[i] = ' ';
    }
    char* dati(campo f) { return c.data() + f.posizione - 1; }
    const char* dati(campo f) const { return c.data() + f.posizione - 1; }
};

// farmaci.tda, 97 characters.
namespace farmaco {
inline constexpr std::size_t larghezza = 97;
inline constexpr campo stato{1, 3}, codice{4, 9}, descrizione{13, 30}, campo_4{43, 7},
    campo_5{50, 11}, campo_6{61, 11}, campo_7{72, 3}, campo_8{75, 6}, campo_9{81, 1},
    campo_10{82, 2}, campo_11{84, 1}, campo_12{85, 1}, data{86, 8}, campo_14{94, 4};
}  // namespace farmaco

// farmaci.faf, 95 characters: the table's fields 2 to 14 moved left by three,
// then the change mark.
namespace variazione_farmaco {
inline constexpr std::size_t larghezza = 95;
inline constexpr campo codice{1, 9}, descrizione{10, 30}, campo_4{40, 7}, campo_5{47, 11},
    campo_6{58, 11}, campo_7{69, 3}, campo_8{72, 6}, campo_9{78, 1}, campo_10{79, 2},
    campo_11{81, 1}, campo_12{82, 1}, data{83, 8}, campo_14{91, 4}, tipo_variazione{95, 1};
}  // namespace variazione_farmaco

// notessn.tda, 4058 characters; notessn.faf is the same without `stato`.
namespace nota {
inline constexpr std::size_t larghezza = 4058;
inline constexpr campo stato{1, 3}, codice{4, 2}, campo_3{6, 1}, campo_4{7, 2}, campo_5{9, 50},
    testo{59, 4000};
}  // namespace nota
namespace variazione_nota {
inline constexpr std::size_t larghezza = 4055;
inline constexpr campo codice{1, 2}, campo_3{3, 1}, campo_4{4, 2}, campo_5{6, 50}, testo{56, 4000};
}  // namespace variazione_nota

// principi_attivi.tda, 206 characters.
namespace principio_attivo {
inline constexpr std::size_t larghezza = 206;
inline constexpr campo stato{1, 3}, codice{4, 6}, descrizione{10, 197};
}  // namespace principio_attivo
namespace variazione_principio_attivo {
inline constexpr std::size_t larghezza = 203;
inline constexpr campo codice{1, 6}, descrizione{7, 197};
}  // namespace variazione_principio_attivo

// atc.tda, 105 characters.
namespace classe_atc {
inline constexpr std::size_t larghezza = 105;
inline constexpr campo stato{1, 3}, codice{4, 8}, descrizione{12, 94};
}  // namespace classe_atc
namespace variazione_atc {
inline constexpr std::size_t larghezza = 102;
inline constexpr campo codice{1, 8}, descrizione{9, 94};
}  // namespace variazione_atc

// ditte.tda, 25 characters.
namespace ditta {
inline constexpr std::size_t larghezza = 25;
inline constexpr campo stato{1, 3}, codice{4, 4}, descrizione{8, 18};
}  // namespace ditta
namespace variazione_ditta {
inline constexpr std::size_t larghezza = 22;
inline constexpr campo codice{1, 4}, descrizione{5, 18};
}  // namespace variazione_ditta

using record_farmaco = riga_fissa<farmaco::larghezza>;
using record_variazione_farmaco = riga_fissa<variazione_farmaco::larghezza>;
using record_nota = riga_fissa<nota::larghezza>;
using record_variazione_nota = riga_fissa<variazione_nota::larghezza>;
using record_principio_attivo = riga_fissa<principio_attivo::larghezza>;
using record_variazione_principio_attivo = riga_fissa<variazione_principio_attivo::larghezza>;
using record_atc = riga_fissa<classe_atc::larghezza>;
using record_variazione_atc = riga_fissa<variazione_atc::larghezza>;
using record_ditta = riga_fissa<ditta::larghezza>;
using record_variazione_ditta = riga_fissa<variazione_ditta::larghezza>;

// ---------------------------------------------------------------- storage

// Large blocks the records of a table are cut from; a record never moves
// once placed, so rows can point into it.
class arena_righe {
public:
    // Room for `n` bytes.
    char* prendi(std::size_t n);
    void svuota();

private:
    std::vector<std::unique_ptr<char[]>> blocchi_;
    char* cima_ = nullptr;
    std::size_t libero_ = 0, totale_ = 0;
};

// A record as stored: its line cut at the layout, trailing blanks left
// out; what is not stored reads as blanks.
struct voce_riga {
    char* dati;
    std::size_t lunghezza;
};

// A table of fixed-width records held as their stored bytes in a few large
// blocks plus one small row entry per record, so a table of short or empty
// lines takes little more than its file. Row 1 is at index 0.
template <std::size_t W>
class tabella_righe {
public:
    static constexpr std::size_t larghezza = W;
    std::vector<voce_riga> voci;
    arena_righe arena;
    // Files as they were read: rows point into them while unchanged, and
    // are copied into the blocks before they change.
    std::vector<std::unique_ptr<const testo_intero>> testi;

    tabella_righe() = default;
    tabella_righe(const tabella_righe&) = delete;
    tabella_righe& operator=(const tabella_righe&) = delete;
    tabella_righe(tabella_righe&&) = default;
    tabella_righe& operator=(tabella_righe&&) = default;
    tabella_righe& operator=(std::initializer_list<riga_fissa<W>> righe) {
        clear();
        for (const auto& r : righe) push_back(r);
        return *this;
    }

    std::size_t size() const { return voci.size(); }
    bool empty() const { return voci.empty(); }
    void clear() {
        std::vector<voce_riga>().swap(voci);
        arena.svuota();
        testi.clear();
    }
    // The stored bytes of record i (at most W).
    std::string_view riga(std::size_t i) const { return {voci[i].dati, voci[i].lunghezza}; }
    // Record i padded to the layout, as a copy.
    riga_fissa<W> operator[](std::size_t i) const { return riga_fissa<W>(riga(i)); }
    // Character k (0-based) of record i.
    char carattere(std::size_t i, std::size_t k) const { return k < voci[i].lunghezza ? voci[i].dati[k] : ' '; }
    // Field f of record i, blank-padded; `appoggio` (f.larghezza bytes)
    // holds it when the line stops inside the field.
    std::string_view campo_di(std::size_t i, campo f, char* appoggio) const { return campo_di(voci[i], f, appoggio); }
    static std::string_view campo_di(const voce_riga& v, campo f, char* appoggio) {
        const std::size_t da = f.posizione - 1u;
        if (v.lunghezza >= da + f.larghezza) return {v.dati + da, f.larghezza};
        for (std::size_t k = 0; k < f.larghezza; ++k) appoggio[k] = da + k < v.lunghezza ? v.dati[da + k] : ' ';
        return {appoggio, f.larghezza};
    }
    // Whether a row still lies in a file as read.
    bool letta(const voce_riga& v) const {
        const std::less<const char*> prima;
        for (const auto& t : testi)
            if (!prima(v.dati, t->byte.data()) && prima(v.dati, t->byte.data() + t->byte.size())) return true;
        return false;
    }
    // Record i at full width and writable: a shorter line, or one still in
    // its file, is first copied, padded, into the blocks.
    char* modifica(std::size_t i) { return modifica(voci[i]); }
    char* modifica(voce_riga& v) {
        if (v.lunghezza < W || letta(v)) {
            char* p = arena.prendi(W);
            if (v.lunghezza) std::memcpy(p, v.dati, v.lunghezza);
            std::memset(p + v.lunghezza, ' ', W - v.lunghezza);
            v = {p, W};
        }
        return v.dati;
    }
    // A copy of `riga` cut at the layout, without trailing blanks.
    voce_riga copia(std::string_view riga) {
        std::size_t n = riga.size() < W ? riga.size() : W;
        while (n > 0 && riga[n - 1] == ' ') --n;
        char* p = arena.prendi(n);
        if (n) std::memcpy(p, riga.data(), n);
        return {p, n};
    }
    void push_back(std::string_view riga) { voci.push_back(copia(riga)); }
    void push_back(const riga_fissa<W>& r) { push_back(r.riga()); }
};

// One entry of `indice_codici`: a product code and the 1-based position of
// its record in `tabella_farmaci`.
struct voce_indice {
    std::array<char, 9> codice;
    std::int32_t posizione;
    std::string_view codice_testo() const { return {codice.data(), codice.size()}; }
};

// ---------------------------------------------------------------- text rules

// The legacy "binary" comparison: characters in the order of the Unicode code
// point of their Windows-1252 meaning. Returns <0, 0, >0.
int confronta_testi(std::string_view a, std::string_view b);
// Blanks (code 32) only.
std::string_view togli_spazi(std::string_view s);
// The file's lines: LF ends a line, a CR right before it is dropped, a last
// line without LF counts, a final LF adds no empty line.
std::vector<std::string_view> dividi_righe(std::string_view dati);
// True when `data` is eight digits forming a valid calendar date (year 1 to
// 9999).
bool data_valida(std::string_view data);
// Today's local date as yyyymmdd.
std::int32_t oggi_di_sistema();

// ---------------------------------------------------------------- progress

// What the update form shows while the engine works. Defaults do nothing.
class avanzamento {
public:
    virtual ~avanzamento() = default;
    // ProgressBar1 shown or hidden.
    virtual void barra_visibile(bool /*visibile*/) {}
    // ProgressBar1's value, 0 to 100.
    virtual void valore_barra(float /*percento*/) {}
    // Label1 caption set and redrawn, copied into its tag, Timer1 enabled:
    // the blinking status line.
    virtual void stato_lampeggiante(const std::string& /*testo*/) {}
    // The sort lets the interface run every 1000 rows.
    virtual void lascia_girare() {}
};

// ---------------------------------------------------------------- sort

// Shell sort with gaps 1, 4, 13, 40, ... on whole rows (`righe` holds row 1
// at index 0). `maggiore(a, b)` is "key of a greater than key of b". Equal
// keys are not kept in order: the outcome is the legacy one, row for row.
// Zero rows: returns at once.
template <class T, class Maggiore>
void ShellSortAny(std::span<T> righe, bool discendente, Maggiore maggiore, avanzamento& av) {
    const std::int64_t n = static_cast<std::int64_t>(righe.size());
    if (n == 0) return;
    std::int64_t g = 0;
    while (g <= n) g = 3 * g + 1;
    do {
        g /= 3;
        for (std::int64_t i = g + 1; i <= n; ++i) {
            if (i % 1000 == 0) av.lascia_girare();
            T lavoro = std::move(righe[i - 1]);
            std::int64_t j = i;
            while (maggiore(righe[j - g - 1], lavoro) != discendente) {
                righe[j - 1] = std::move(righe[j - g - 1]);
                j -= g;
                if (j <= g) break;
            }
            righe[j - 1] = std::move(lavoro);
        }
    } while (g != 1);
}

// ---------------------------------------------------------------- engine

// What one merge did to its table's lines. "sostituite" counts update lines
// applied to an existing record (a code twice in the file counts twice);
// "rimosse" counts records taken out of use: a drug the update marks
// cancelled (its status turns to "C"; the line stays in the file) and a
// company line dropped at writing as a repeat of the code before it.
struct conteggio_variazioni {
    std::int64_t aggiunte = 0, sostituite = 0, rimosse = 0;
};

class motore_tabelle {
public:
    // Today's date as yyyymmdd.
    using fornitore_oggi = std::function<std::int32_t()>;

    motore_tabelle(file_tabelle& file, avanzamento& av, fornitore_oggi oggi = oggi_di_sistema);

    // The in-memory tables. Vectors hold record 1 at index 0; positions in
    // `indice_codici` and the result of `cerca_codice` are 1-based.
    tabella_righe<farmaco::larghezza> tabella_farmaci;
    std::vector<voce_indice> indice_codici;
    tabella_righe<nota::larghezza> tabella_notessn;
    tabella_righe<principio_attivo::larghezza> tabella_principi_attivi;
    tabella_righe<classe_atc::larghezza> tabella_atc;
    tabella_righe<ditta::larghezza> tabella_ditte;

    // Reads farmaci, principi_attivi, notessn, atc, ditte (".tda") from
    // `direttorio` in that order (a missing table is empty), builds
    // `indice_codici`, then raises the progress bar table by table, in
    // that order, by 100 x its size / total size (the total is known only
    // once all are read). Visibility of the bar is the caller's.
    void carica_tabelle(const std::string& direttorio);
    // Single tables, from a full path; a missing file gives an empty table.
    // Every reader (tables and update files alike) cuts a longer line at its
    // layout and pads a shorter or empty one with blanks.
    void carica_farmaci(const std::string& percorso);
    void carica_notessn(const std::string& percorso);
    void carica_principi_attivi(const std::string& percorso);
    void carica_atc(const std::string& percorso);
    void carica_ditte(const std::string& percorso);
    // One entry per drug record, sorted by code.
    void costruisci_indice_codici();

    // The merges: read `direttorio` + `nome_file`, change the table in
    // memory, write the table file into `direttorio`. The drug merge finds
    // each code as `cerca_codice` would on an index of the table as it then
    // stands, and leaves the table in name order.
    conteggio_variazioni aggiorna_farmaci(const std::string& direttorio, const std::string& nome_file);
    conteggio_variazioni aggiorna_notessn(const std::string& direttorio, const std::string& nome_file);
    conteggio_variazioni aggiorna_principi_attivi(const std::string& direttorio, const std::string& nome_file);
    conteggio_variazioni aggiorna_atc(const std::string& direttorio, const std::string& nome_file);
    conteggio_variazioni aggiorna_ditte(const std::string& direttorio, const std::string& nome_file);
    // Calls the merge that `nome_file` (lower-cased) names; false when it is
    // not one of the five update files. Fills `conteggio` when given.
    bool applica_aggiornamento(const std::string& direttorio, const std::string& nome_file,
                               conteggio_variazioni* conteggio = nullptr);
    // True for "farmaci.faf", "notessn.faf", ... in any letter case.
    static bool e_file_aggiornamento(std::string_view nome_file);

    // Drops consecutive repeated drugs from `direttorio` + "farmaci.tda"
    // through "farmaci.$$$".
    void elimina_doppi_farmaci(const std::string& direttorio);
    // Re-reads `direttorio` + "farmaci.tda" into `tabella_farmaci`, rebuilds
    // `indice_codici` from the drugs not marked "C" (numbered 1, 2, 3, ...),
    // writes `direttorio` + "farmaci_secondario_completo.tda".
    void crea_secondario(const std::string& direttorio);

    void riduci_principi_attivi();
    void riduci_atc();
    // 1-based position in `tabella_farmaci` of the record with `codice`, or
    // -1. An index of one entry is never searched.
    std::int32_t cerca_codice(std::string_view codice) const;

    // A table's file content, one CR LF line per record, as the merges write
    // it.
    std::string testo_principi_attivi() const;
    std::string testo_atc() const;

private:
    file_tabelle& file_;
    avanzamento& av_;
    fornitore_oggi oggi_;
};

}  // namespace j8
