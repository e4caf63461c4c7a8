// The two reductions: the active principles and ATC classes the drugs in
// use point to are marked "A".
#include <unordered_map>

#include "motore_tabelle/interno.hpp"

namespace j8 {

using namespace interno;

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

namespace {

// The ATC code one level up: new level digit, then the leading characters
// kept; empty from level 0 or a length the walk does not know.
std::string livello_sopra(const std::string& codice) {
    char cifra;
    std::size_t tenuti;
    switch (codice.size()) {
        case 8: cifra = '3', tenuti = 5; break;
        case 6: cifra = '2', tenuti = 4; break;
        case 5: cifra = '1', tenuti = 3; break;
        case 4: cifra = '0', tenuti = 1; break;
        default: return {};
    }
    return std::string(1, cifra).append(codice, 1, tenuti);
}

}  // namespace

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
        for (; !codice.empty(); codice = livello_sopra(codice)) segna(codice);
    }
}

}  // namespace j8
