#pragma once
// Typing into a foreign program and waiting for the window it should show.

#include <cstdint>
#include <string>

#include "piattaforma/piattaforma.hpp"

namespace j8 {

// With ritardo_massimo 0 (the default) the wait has no limit. ritorno_figlio
// "" looks at titles only, "X" makes the wait a single look, any other text
// must be in the text of a child of the window whose title matched.
// With `id_task` the keys go only into that task's windows (manda_tasti_a).
bool manda_tasto(piattaforma& p, const std::string& testo, const std::string& ritorno_atteso,
                 double ritardo_massimo = 0, const std::string& ritorno_figlio = "",
                 std::uint32_t id_task = 0);

// Types and returns: the count of windows is taken but never waited on.
void manda_tasto_aumento_finestre(piattaforma& p, const std::string& testo);

// Busy wait on the time of day; a wait across midnight ends on time too.
void attendi_secondi(piattaforma& p, double secondi);

}  // namespace j8
