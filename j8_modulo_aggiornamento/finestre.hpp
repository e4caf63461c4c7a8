#pragma once
// Lists of the desktop's top-level windows and of one window's children,
// rebuilt from scratch by each enumeration. Record k of the old 1-based
// listing is element k-1 here; the counts equal the sizes.

#include <string>
#include <vector>

#include "piattaforma/piattaforma.hpp"

namespace j8 {

// Titles and classes are cut as a 256-character buffer cuts them.
constexpr std::size_t lunghezza_massima_titolo = 255;

struct voce_finestra {
    maniglia handle = 0;
    std::string titolo;
    std::string classe;
    std::string testo_1;  // not read by any caller
    std::string testo_2;  // not read by any caller
};

extern std::vector<voce_finestra> elenco_finestre;
extern int conteggio_finestre;
extern std::vector<voce_finestra> elenco_figli;
extern int conteggio_figli;

void enumera_finestre(piattaforma& p);
void enumera_figli(piattaforma& p, maniglia finestra);

}  // namespace j8
