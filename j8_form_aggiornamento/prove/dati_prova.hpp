#pragma once
// Small, valid tables and update files for the update-run tests.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "motore_tabelle/motore_tabelle.hpp"

namespace j8::prova {

inline std::string righe(const std::vector<std::string>& elenco) {
    std::string testo;
    for (const std::string& r : elenco) testo += r + "\r\n";
    return testo;
}

// A fixed-width line of record type R with the given fields set.
template <class R>
std::string riga_di(const std::vector<std::pair<campo, std::string>>& campi) {
    R r;
    for (const auto& [c, valore] : campi) r.imposta(c, valore);
    return std::string(r.riga());
}

inline std::string farmaco_tda(const std::string& codice, const std::string& descrizione,
                               const std::string& data = "20300101") {
    return riga_di<record_farmaco>({{farmaco::stato, "000"}, {farmaco::codice, codice},
                                    {farmaco::descrizione, descrizione}, {farmaco::campo_4, "A01AA01"},
                                    {farmaco::campo_8, "000001"}, {farmaco::campo_9, "A"}, {farmaco::data, data}});
}

inline std::string farmaco_faf(const std::string& codice, const std::string& descrizione,
                               const std::string& tipo = "M") {
    namespace v = variazione_farmaco;
    return riga_di<record_variazione_farmaco>({{v::codice, codice}, {v::descrizione, descrizione},
                                               {v::campo_4, "A01AA01"}, {v::campo_8, "000001"}, {v::campo_9, "0"},
                                               {v::data, "20300101"}, {v::tipo_variazione, tipo}});
}

// Other tables: code and text; a table's line adds the status "000".
inline std::string atc_faf(const std::string& codice, const std::string& d) {
    return riga_di<record_variazione_atc>({{variazione_atc::codice, codice}, {variazione_atc::descrizione, d}});
}
inline std::string ditta_faf(const std::string& codice, const std::string& d) {
    return riga_di<record_variazione_ditta>({{variazione_ditta::codice, codice}, {variazione_ditta::descrizione, d}});
}
inline std::string principio_faf(const std::string& codice, const std::string& d) {
    namespace v = variazione_principio_attivo;
    return riga_di<record_variazione_principio_attivo>({{v::codice, codice}, {v::descrizione, d}});
}
inline std::string nota_faf(const std::string& codice, const std::string& testo) {
    return riga_di<record_variazione_nota>({{variazione_nota::codice, codice}, {variazione_nota::testo, testo}});
}
inline std::string atc_tda(const std::string& c, const std::string& d) { return "000" + atc_faf(c, d); }
inline std::string ditta_tda(const std::string& c, const std::string& d) { return "000" + ditta_faf(c, d); }
inline std::string principio_tda(const std::string& c, const std::string& d) { return "000" + principio_faf(c, d); }
inline std::string nota_tda(const std::string& c, const std::string& t) { return "000" + nota_faf(c, t); }

// A small database around the given drug lines: every table the run needs.
inline std::map<std::string, std::string> tabelle_iniziali(const std::vector<std::string>& farmaci) {
    return {{"farmaci.tda", righe(farmaci)},
            {"farmaci_secondario_completo.tda", "000000000001+0000000001\r\n"},
            {"principi_attivi.tda", righe({principio_tda("000001", "ACIDO ACETILSALICILICO")})},
            {"notessn.tda", righe({nota_tda("01", "NOTA")})},
            {"atc.tda", righe({atc_tda("4A01AA01", "FLUORURO")})},
            {"ditte.tda", righe({ditta_tda("0001", "DITTA")})},
            {"generici.tda", "generici vecchi\r\n"}};
}

// The files of package number n: drugs (one new, one changed), ATC, companies.
inline std::map<std::string, std::string> pacchetto_completo(int n) {
    const std::string s = std::to_string(n);
    return {{"farmaci.faf", righe({farmaco_faf("000000011", "NUOVO " + s, "G"), farmaco_faf("000000002", "CAMBIATO " + s)})},
            {"atc.faf", righe({atc_faf("4A01AA0" + s, "ATC " + s)})},
            {"ditte.faf", righe({ditta_faf("000" + s, "DITTA " + s)})}};
}

}  // namespace j8::prova
