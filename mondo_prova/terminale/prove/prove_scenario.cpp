#include <gtest/gtest.h>

#include "mondo_prova/terminale/scenario.hpp"

namespace j8::prova {
namespace {

TEST(scenario, legge_ogni_chiave_e_la_posta_in_ordine) {
    const scenario s = leggi_scenario(
        "# prova\r\n"
        "utente = Rossi\r\n"
        "password =  Segreta 1 \r\n"
        "linea = occupata\n"
        "portante_persa = scarico\n"
        "direttorio_file = c:\\bbs\\file\n"
        "direttorio_carico = c:\\bbs\\carico\n"
        "direttorio_ricezione = c:\\ricevuti\n"
        "secondi_trasferimento = 12\n"
        "lingua = inglese\n"
        "\n"
        "messaggio = nuovo | j8000001.exe | Aggiornamento 1\n");
    EXPECT_EQ(s.utente, "Rossi");
    EXPECT_EQ(s.password, "Segreta 1");
    EXPECT_EQ(s.stato_linea, linea::occupata);
    EXPECT_EQ(s.portante_persa, "scarico");
    EXPECT_EQ(s.direttorio_file, "c:\\bbs\\file");
    EXPECT_EQ(s.direttorio_carico, "c:\\bbs\\carico");
    EXPECT_EQ(s.direttorio_ricezione, "c:\\ricevuti");
    EXPECT_EQ(s.secondi_trasferimento, 12);
    EXPECT_TRUE(s.inglese);
    ASSERT_EQ(s.posta.size(), 1u);
}

TEST(scenario, posta_con_e_senza_file) {
    const scenario s = leggi_scenario(
        "messaggio = nuovo | j8000001.exe | Aggiornamento 1\n"
        "messaggio = letto |  | Avviso\n");
    ASSERT_EQ(s.posta.size(), 2u);
    EXPECT_TRUE(s.posta[0].nuovo);
    EXPECT_EQ(s.posta[0].file, "j8000001.exe");
    EXPECT_EQ(s.posta[0].oggetto, "Aggiornamento 1");
    EXPECT_FALSE(s.posta[1].nuovo);
    EXPECT_EQ(s.posta[1].file, "");
    EXPECT_EQ(s.stato_linea, linea::libera);
    EXPECT_EQ(s.utente, "cliente");
    EXPECT_EQ(s.password, "zeta");
    EXPECT_FALSE(s.inglese);
}

TEST(scenario, errori_indicano_la_riga) {
    const auto messaggio = [](const std::string& testo) {
        try {
            leggi_scenario(testo);
        } catch (const errore_scenario& e) {
            return std::string(e.what());
        }
        return std::string("nessun errore");
    };
    EXPECT_EQ(messaggio("utente = a\ncolore = blu\n"), "Scenario, riga 2: chiave \"colore\" sconosciuta");
    EXPECT_EQ(messaggio("\n\nsolo testo\n"), "Scenario, riga 3: manca \"=\"");
    EXPECT_EQ(messaggio("linea = rotta"),
              "Scenario, riga 1: linea \"rotta\" sconosciuta (libera, occupata o muta)");
    EXPECT_EQ(messaggio("lingua = francese"),
              "Scenario, riga 1: lingua \"francese\" sconosciuta (italiano o inglese)");
    EXPECT_EQ(messaggio("portante_persa = dopo"), "Scenario, riga 1: passo \"dopo\" sconosciuto");
    EXPECT_EQ(messaggio("secondi_trasferimento = -1"),
              "Scenario, riga 1: secondi_trasferimento vuole un numero da 0 a 9999");
    EXPECT_EQ(messaggio("secondi_trasferimento = 99999"),
              "Scenario, riga 1: secondi_trasferimento vuole un numero da 0 a 9999");
    EXPECT_EQ(messaggio("messaggio = vecchio | a.exe | x"),
              "Scenario, riga 1: stato del messaggio \"vecchio\" sconosciuto (nuovo o letto)");
    EXPECT_EQ(messaggio("messaggio = nuovo | c:\\a.exe | x"),
              "Scenario, riga 1: il file allegato va indicato senza direttorio");
    EXPECT_EQ(messaggio("messaggio = nuovo | a.exe | x | y"),
              "Scenario, riga 1: il messaggio vuole stato | file | oggetto");
    EXPECT_EQ(messaggio("password ="), "Scenario: utente e password non possono essere vuoti");
}

TEST(scenario, ogni_passo_nominato_e_accettato) {
    for (const std::string& passo : passi_bbs())
        EXPECT_EQ(leggi_scenario("portante_persa = " + passo).portante_persa, passo);
}

}  // namespace
}  // namespace j8::prova
