#include "motore_tabelle/righe_a_blocchi.hpp"

namespace j8::interno {

righe_a_blocchi::righe_a_blocchi(std::vector<voce_riga>& voci, campo chiave, campo seconda)
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

void righe_a_blocchi::riversa(std::vector<voce_riga>& voci) {
    voci.clear();
    voci.reserve(totale_);
    for (auto& b : blocchi_) voci.insert(voci.end(), b.righe.begin(), b.righe.end());
    blocchi_.clear();
    totale_ = 0;
}

void righe_a_blocchi::inserisci(std::size_t i, voce_riga v) {
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
        // The new row is the first of its second field if it comes before
        // the one the map holds.
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

std::int64_t righe_a_blocchi::primo_con_seconda(std::size_t b, std::string_view s, std::uint64_t h) {
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

void righe_a_blocchi::spostata(std::size_t i, const char* prima) {
    blocco& bl = blocchi_[blocco_di(i)];
    if (!bl.mappa_pronta) return;
    auto it = bl.prima_seconda.find(impronta((*this)[i]));
    if (it != bl.prima_seconda.end() && it->second == prima) it->second = (*this)[i].dati;
}

std::uint64_t righe_a_blocchi::impronta(const voce_riga& v) const {
    std::uint64_t h = 1469598103934665603ull;
    for (std::size_t k = seconda_.posizione - 1u; k < seconda_.posizione - 1u + seconda_.larghezza; ++k)
        h = (h ^ static_cast<unsigned char>(byte_di(v, k))) * 1099511628211ull;
    return h;
}

void righe_a_blocchi::allarga(blocco& bl, const voce_riga& v) const {
    char a[256];
    std::string_view k = tabella_righe<256>::campo_di(v, chiave_, a);
    if (bl.minimo.empty() || confronta_testi(k, bl.minimo) < 0) bl.minimo.assign(k);
    if (bl.massimo.empty() || confronta_testi(k, bl.massimo) > 0) bl.massimo.assign(k);
}

righe_a_blocchi::blocco& righe_a_blocchi::estremi(std::size_t b) {
    blocco& bl = blocchi_[b];
    if (!bl.estremi_pronti) {
        bl.minimo.clear();
        bl.massimo.clear();
        for (const voce_riga& v : bl.righe) allarga(bl, v);
        bl.estremi_pronti = true;
    }
    return bl;
}

std::size_t righe_a_blocchi::offset_di(const blocco& bl, const char* dati) {
    for (std::size_t k = 0; k < bl.righe.size(); ++k)
        if (bl.righe[k].dati == dati) return k;
    return bl.righe.size();
}

void righe_a_blocchi::rifai_inizi() {
    inizi_.resize(blocchi_.size());
    std::size_t n = 0;
    for (std::size_t b = 0; b < blocchi_.size(); ++b) {
        inizi_[b] = n;
        n += blocchi_[b].righe.size();
    }
}

}  // namespace j8::interno
