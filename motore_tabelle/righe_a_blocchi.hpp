#pragma once
// The rows of a side table while an ordered merge inserts into them.

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "motore_tabelle/interno.hpp"

namespace j8::interno {

// Blocks of a few thousand rows, so an insertion moves one block, not the
// whole table. Each block knows its least and greatest key and the first
// row of each second-field value, so the scans of the merge cross a block
// that cannot stop them (a long run of equal keys, or keys all below the
// update's) at once and still stop where a row-by-row scan would.
class righe_a_blocchi {
public:
    static constexpr std::size_t dimensione = 2048;

    // Takes the rows of `voci`, which is left empty.
    righe_a_blocchi(std::vector<voce_riga>& voci, campo chiave, campo seconda);
    // Gives the rows back to `voci`.
    void riversa(std::vector<voce_riga>& voci);
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
    void inserisci(std::size_t i, voce_riga v);
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
    std::int64_t primo_con_seconda(std::size_t b, std::string_view s, std::uint64_t h);
    // Row i was moved in memory from `prima` (a short line widened).
    void spostata(std::size_t i, const char* prima);
    // A hash of the padded second field of a record.
    std::uint64_t impronta(const voce_riga& v) const;

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
    void allarga(blocco& bl, const voce_riga& v) const;
    blocco& estremi(std::size_t b);
    // Rows never move in memory: a row is found in its block by its data.
    static std::size_t offset_di(const blocco& bl, const char* dati);
    void rifai_inizi();
    campo chiave_, seconda_;
    std::vector<blocco> blocchi_;
    std::vector<std::size_t> inizi_;
    std::size_t totale_ = 0;
};

}  // namespace j8::interno
