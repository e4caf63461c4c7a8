// The scenario reader. The connection form's Wine tests write every key;
// here, what they do not meet: blanks around a value and a step name
// misspelt, which would make a carrier-loss test run a whole call.

#include <gtest/gtest.h>

#include "mondo_prova/terminale/scenario.hpp"

namespace j8::prova {
namespace {

TEST(scenario, valore_senza_spazi_ai_lati_e_riga_sbagliata_nominata) {
    EXPECT_EQ(leggi_scenario("# prova\r\npassword =  Segreta 1 \r\n").password, "Segreta 1");
    try {
        leggi_scenario("utente = a\n\nportante_persa = dopo\n");
        ADD_FAILURE();
    } catch (const errore_scenario& e) {
        EXPECT_EQ(std::string(e.what()), "Scenario, riga 3: passo \"dopo\" sconosciuto");
    }
}

}  // namespace
}  // namespace j8::prova
