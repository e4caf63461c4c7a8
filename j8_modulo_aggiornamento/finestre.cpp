#include "j8_modulo_aggiornamento/finestre.hpp"

namespace j8 {

std::vector<voce_finestra> elenco_finestre;
int conteggio_finestre = 0;
std::vector<voce_finestra> elenco_figli;
int conteggio_figli = 0;

namespace {

std::string taglia(const std::string& s) { return s.substr(0, lunghezza_massima_titolo); }

void riempi(const std::vector<finestra>& trovate, std::vector<voce_finestra>& elenco, int& conteggio) {
    elenco.clear();
    conteggio = 0;
    for (const finestra& f : trovate) {
        elenco.push_back({f.handle, taglia(f.titolo), taglia(f.classe), "", ""});
        ++conteggio;
    }
}

}  // namespace

void enumera_finestre(piattaforma& p) { riempi(p.finestre(), elenco_finestre, conteggio_finestre); }

void enumera_figli(piattaforma& p, maniglia finestra) {
    riempi(p.figli(finestra), elenco_figli, conteggio_figli);
}

}  // namespace j8
