// The scenario reader: people write these files by hand, so every key is
// read and a mistake is named with its line.

#include <gtest/gtest.h>

#include <tuple>

#include "mondo_prova/terminale/scenario.hpp"

namespace j8::prova {
namespace {

using namespace std::string_literals;

TEST(scenario, legge_ogni_chiave_e_nomina_la_riga_sbagliata) {
    const scenario s = leggi_scenario(
        "# prova\r\nutente = Rossi\r\npassword =  Segreta 1 \r\nlinea = occupata\n"
        "portante_persa = scarico\ndirettorio_file = c:\\bbs\\file\ndirettorio_carico = c:\\bbs\\carico\n"
        "direttorio_ricezione = c:\\ricevuti\nsecondi_trasferimento = 12\nlingua = inglese\n\n"
        "messaggio = nuovo | j8000001.exe | Aggiornamento 1\nmessaggio = letto |  | Avviso\n");
    EXPECT_EQ(std::tie(s.utente, s.password, s.portante_persa, s.direttorio_file, s.direttorio_carico,
                       s.direttorio_ricezione),
              std::make_tuple("Rossi"s, "Segreta 1"s, "scarico"s, "c:\\bbs\\file"s, "c:\\bbs\\carico"s, "c:\\ricevuti"s));
    EXPECT_EQ(std::tie(s.stato_linea, s.secondi_trasferimento, s.inglese), std::make_tuple(linea::occupata, 12, true));
    ASSERT_EQ(s.posta.size(), 2u);
    EXPECT_EQ(std::tie(s.posta[0].nuovo, s.posta[0].file, s.posta[0].oggetto, s.posta[1].nuovo, s.posta[1].file),
              std::make_tuple(true, "j8000001.exe"s, "Aggiornamento 1"s, false, ""s));
    // A step name misspelt would make a carrier-loss test run a whole call.
    try {
        leggi_scenario("utente = a\n\nportante_persa = dopo\n");
        ADD_FAILURE();
    } catch (const errore_scenario& e) {
        EXPECT_EQ(std::string(e.what()), "Scenario, riga 3: passo \"dopo\" sconosciuto");
    }
}

}  // namespace
}  // namespace j8::prova
