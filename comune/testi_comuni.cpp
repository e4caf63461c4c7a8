#include "comune/testi_comuni.hpp"

#include <cctype>

namespace j8 {

std::string minuscolo(std::string testo) {
    for (char& c : testo) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return testo;
}

std::string senza_spazi(const std::string& testo) {
    const auto inizio = testo.find_first_not_of(' ');
    if (inizio == std::string::npos) return "";
    return testo.substr(inizio, testo.find_last_not_of(' ') - inizio + 1);
}

std::string con_barra(const std::string& direttorio) {
    if (direttorio.empty() || direttorio.back() == '\\') return direttorio;
    return direttorio + "\\";
}

std::string senza_barra(const std::string& direttorio) {
    if (!direttorio.empty() && direttorio.back() == '\\') return direttorio.substr(0, direttorio.size() - 1);
    return direttorio;
}

}  // namespace j8
