// The scenario reader: people write these files by hand, so every key is
// read and every mistake is named with its line.

#include <gtest/gtest.h>

#include <tuple>

#include "mondo_prova/terminale/scenario.hpp"

namespace j8::prova {
namespace {

using namespace std::string_literals;

TEST(scenario, legge_ogni_chiave_e_la_posta_in_ordine) {
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
}

TEST(scenario, errori_indicano_la_riga) {
    const std::pair<std::string, std::string> casi[] = {
        {"utente = a\ncolore = blu\n", "Scenario, riga 2: chiave \"colore\" sconosciuta"},
        {"\n\nsolo testo\n", "Scenario, riga 3: manca \"=\""},
        {"linea = rotta", "Scenario, riga 1: linea \"rotta\" sconosciuta (libera, occupata o muta)"},
        {"lingua = francese", "Scenario, riga 1: lingua \"francese\" sconosciuta (italiano o inglese)"},
        {"portante_persa = dopo", "Scenario, riga 1: passo \"dopo\" sconosciuto"},
        {"secondi_trasferimento = -1", "Scenario, riga 1: secondi_trasferimento vuole un numero da 0 a 9999"},
        {"secondi_trasferimento = 99999", "Scenario, riga 1: secondi_trasferimento vuole un numero da 0 a 9999"},
        {"messaggio = vecchio | a.exe | x",
         "Scenario, riga 1: stato del messaggio \"vecchio\" sconosciuto (nuovo o letto)"},
        {"messaggio = nuovo | c:\\a.exe | x", "Scenario, riga 1: il file allegato va indicato senza direttorio"},
        {"messaggio = nuovo | a.exe | x | y", "Scenario, riga 1: il messaggio vuole stato | file | oggetto"},
        {"password =", "Scenario: utente e password non possono essere vuoti"},
    };
    for (const auto& [testo, atteso] : casi) {
        try {
            leggi_scenario(testo);
            ADD_FAILURE() << "accepted: " << testo;
        } catch (const errore_scenario& e) {
            EXPECT_EQ(std::string(e.what()), atteso);
        }
    }
}

}  // namespace
}  // namespace j8::prova
