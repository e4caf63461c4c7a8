#include "j8_form_aggiornamento/manda_tasto.hpp"

#include <algorithm>

#include "j8_modulo_aggiornamento/finestre.hpp"

namespace j8 {

namespace {

// Between scans the processor is given up this long; short enough that a
// window is seen almost as soon as it appears.
constexpr double passo_attesa = 0.05;

}  // namespace

bool manda_tasto(piattaforma& p, const std::string& testo, const std::string& ritorno_atteso,
                 double ritardo_massimo, const std::string& ritorno_figlio, std::uint32_t id_task) {
    const data_ora inizio = p.adesso();
    for (int passo = 0; passo < 20; ++passo) {
        p.esegui_eventi();
        attendi_secondi(p, 0.1);
    }
    if (id_task)
        p.manda_tasti_a(id_task, testo);
    else
        p.manda_tasti(testo);
    const bool solo_titolo = ritorno_figlio.empty() || ritorno_figlio == "X";
    for (;;) {
        enumera_finestre(p);
        for (const voce_finestra& f : elenco_finestre) {
            if (f.titolo.find(ritorno_atteso) == std::string::npos) continue;
            if (solo_titolo) return true;
            enumera_figli(p, f.handle);
            for (const voce_finestra& figlio : elenco_figli)
                if (figlio.titolo.find(ritorno_figlio) != std::string::npos) return true;
        }
        if (ritardo_massimo > 0 && (p.adesso() - inizio) * 3600 * 24 > ritardo_massimo) return false;
        if (ritorno_figlio == "X") return false;
        p.esegui_eventi();  // the waiting form keeps painting
        p.pausa(passo_attesa);
    }
}

void manda_tasto_aumento_finestre(piattaforma& p, const std::string& testo) {
    enumera_finestre(p);
    const int conteggio_iniziale = conteggio_finestre;
    p.manda_tasti(testo);
    // The second count starts empty, which equals only a count of zero.
    int secondo_conteggio = 0;
    while (conteggio_iniziale == secondo_conteggio) {
        enumera_finestre(p);
        secondo_conteggio = conteggio_finestre;
        if (conteggio_iniziale == secondo_conteggio) p.pausa(passo_attesa);
    }
}

void attendi_secondi(piattaforma& p, double secondi) {
    // Elapsed time is summed step by step, each step taken across midnight
    // when the time of day goes back, so no wait can outlast its length.
    constexpr double giorno = 86400.0;
    double precedente = p.secondi_da_mezzanotte();
    double trascorsi = 0;
    while (trascorsi < secondi) {
        p.pausa(std::min(passo_attesa / 5, secondi - trascorsi));
        const double ora = p.secondi_da_mezzanotte();
        double passo = ora - precedente;
        if (passo < 0) passo += giorno;
        trascorsi += passo;
        precedente = ora;
    }
}

}  // namespace j8
