#pragma once
// Small, valid tables and update files for the update-run tests.

#include <map>
#include <string>
#include <vector>

#include "motore_tabelle/motore_tabelle.hpp"

namespace j8::prova {

inline std::string righe(const std::vector<std::string>& elenco) {
    std::string testo;
    for (const std::string& r : elenco) testo += r + "\r\n";
    return testo;
}

inline std::string farmaco_tda(const std::string& codice, const std::string& descrizione,
                               const std::string& data = "20300101") {
    record_farmaco r;
    r.imposta(farmaco::stato, "000");
    r.imposta(farmaco::codice, codice);
    r.imposta(farmaco::descrizione, descrizione);
    r.imposta(farmaco::campo_4, "A01AA01");
    r.imposta(farmaco::campo_8, "000001");
    r.imposta(farmaco::campo_9, "A");
    r.imposta(farmaco::data, data);
    return std::string(r.riga());
}

inline std::string farmaco_faf(const std::string& codice, const std::string& descrizione,
                               const std::string& tipo = "M") {
    record_variazione_farmaco r;
    r.imposta(variazione_farmaco::codice, codice);
    r.imposta(variazione_farmaco::descrizione, descrizione);
    r.imposta(variazione_farmaco::campo_4, "A01AA01");
    r.imposta(variazione_farmaco::campo_8, "000001");
    r.imposta(variazione_farmaco::campo_9, "0");
    r.imposta(variazione_farmaco::data, "20300101");
    r.imposta(variazione_farmaco::tipo_variazione, tipo);
    return std::string(r.riga());
}

template <class R>
std::string riga_due(campo c1, const std::string& v1, campo c2, const std::string& v2,
                     const std::string& stato = "") {
    R r;
    if (!stato.empty()) r.imposta(campo{1, 3}, stato);
    r.imposta(c1, v1);
    r.imposta(c2, v2);
    return std::string(r.riga());
}

#define J8_RIGA_DUE(nome, record, campi, stato)                                              \
    inline std::string nome(const std::string& codice, const std::string& d) {             \
        return riga_due<record>(campi::codice, codice, campi::descrizione, d, stato);       \
    }
J8_RIGA_DUE(atc_tda, record_atc, classe_atc, "000")
J8_RIGA_DUE(atc_faf, record_variazione_atc, variazione_atc, "")
J8_RIGA_DUE(ditta_tda, record_ditta, ditta, "000")
J8_RIGA_DUE(ditta_faf, record_variazione_ditta, variazione_ditta, "")
J8_RIGA_DUE(principio_tda, record_principio_attivo, principio_attivo, "000")
J8_RIGA_DUE(principio_faf, record_variazione_principio_attivo, variazione_principio_attivo, "")
#undef J8_RIGA_DUE
inline std::string nota_tda(const std::string& codice, const std::string& testo) {
    return riga_due<record_nota>(nota::codice, codice, nota::testo, testo, "000");
}
inline std::string nota_faf(const std::string& codice, const std::string& testo) {
    return riga_due<record_variazione_nota>(variazione_nota::codice, codice, variazione_nota::testo, testo);
}

// The files of package number n: drugs (one new, one changed), ATC, companies.
inline std::map<std::string, std::string> pacchetto_completo(int n) {
    return {{"farmaci.faf", righe({farmaco_faf("000000011", "NUOVO " + std::to_string(n), "G"),
                                   farmaco_faf("000000002", "CAMBIATO " + std::to_string(n))})},
            {"atc.faf", righe({atc_faf("4A01AA0" + std::to_string(n), "ATC " + std::to_string(n))})},
            {"ditte.faf", righe({ditta_faf("000" + std::to_string(n), "DITTA " + std::to_string(n))})}};
}

}  // namespace j8::prova
