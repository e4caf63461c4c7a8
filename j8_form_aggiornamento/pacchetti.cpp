#include "j8_form_aggiornamento/pacchetti.hpp"

#include <algorithm>
#include <cctype>

namespace j8::pacchetti {

long cifre_iniziali(const std::string& testo) {
    std::size_t i = 0;
    while (i < testo.size() && (testo[i] == ' ' || testo[i] == '\t')) ++i;
    long valore = 0;
    for (; i < testo.size() && std::isdigit(static_cast<unsigned char>(testo[i])); ++i) {
        if (valore > 100000000L) break;  // names carry six digits; stay clear of overflow
        valore = valore * 10 + (testo[i] - '0');
    }
    return valore;
}

long numero_pacchetto(const std::string& nome) {
    return nome.size() > 2 ? cifre_iniziali(nome.substr(2, 6)) : 0;
}

std::string successivo(const std::string& nome) {
    const std::string cifre = std::to_string(cifre_iniziali(nome.size() > 2 ? nome.substr(2) : "") + 1);
    const std::size_t tenuti = cifre.size() < 8 ? 8 - cifre.size() : 0;
    return nome.substr(0, std::min(tenuti, nome.size())) + cifre;
}

std::string nome_da_percorso(const std::string& percorso) {
    const std::string coda = percorso.size() > 12 ? percorso.substr(percorso.size() - 12) : percorso;
    return coda.substr(0, 8);
}

}  // namespace j8::pacchetti
