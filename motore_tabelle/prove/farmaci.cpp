// Drug table: loading with the code index, code search, the merge and
// duplicate removal.

#include <gtest/gtest.h>

#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;

TEST(carica_tabelle, tabelle_mancanti_vuote_barra_per_dimensione_e_indice_dei_codici) {
    banco b;
    std::string f = righe({farmaco_prova{"000", "000000030", "B"}.riga(), farmaco_prova{"000", "000000010", "A"}.riga(),
                           farmaco_prova{"000", "000000020", "C"}.riga()});
    b.file.file[dir + "farmaci.tda"] = f;
    // As many bytes as farmaci: eleven lines of 25 characters and CR LF.
    std::string d;
    for (int i = 0; i < 11; ++i) d += "000" + std::string(22, static_cast<char>('a' + i)) + "\r\n";
    ASSERT_EQ(d.size(), f.size());
    b.file.file[dir + "ditte.tda"] = d;
    b.motore.carica_tabelle(dir);
    EXPECT_EQ(b.motore.tabella_farmaci.size(), 3u);
    EXPECT_TRUE(b.motore.tabella_principi_attivi.empty());
    EXPECT_EQ(b.motore.tabella_ditte.size(), 11u);
    // Half the bytes in farmaci, half in ditte: 50 after the first table,
    // then unchanged for the empty ones, 100 at the end.
    EXPECT_EQ(b.av.valori, (std::vector<float>{50, 50, 50, 50, 100}));
    EXPECT_EQ(b.motore.cerca_codice("000000010"), 2);
    EXPECT_EQ(b.motore.cerca_codice("000000020"), 3);
    EXPECT_EQ(b.motore.cerca_codice("000000030"), 1);
    // An index of one code is never searched; one of many is bisected.
    b.motore.tabella_farmaci = {record_farmaco(f.substr(0, farmaco::larghezza))};
    b.motore.costruisci_indice_codici();
    EXPECT_EQ(b.motore.cerca_codice("000000030"), -1);
    auto codice = [](int i) { return std::to_string(1000000000 + i).substr(1); };
    b.motore.tabella_farmaci.clear();
    for (int i = 0; i < 200; ++i)
        b.motore.tabella_farmaci.push_back(
            record_farmaco(farmaco_prova{"000", codice((i * 37) % 200 * 3), "N"}.riga()));
    b.motore.costruisci_indice_codici();
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(b.motore.cerca_codice(codice((i * 37) % 200 * 3)), i + 1) << i;
        ASSERT_EQ(b.motore.cerca_codice(codice(i * 3 + 1)), -1) << i;
    }
}

TEST(aggiorna_farmaci, tabella_scritta_e_conteggi) {
    struct caso {
        righe_testo tabella, variazioni, attesa;
        conteggio_variazioni conta;
    };
    using f = farmaco_prova;
    std::vector<caso> casi = {
        // Past date but blank flag: the flag rule decides ("00A" keeps its
        // A); campo_9 "1" becomes "B"; a set flag cancels; "g" counts as
        // "G"; the new name moves the first drug to the end.
        {{f{"00A", "000000100", "ALFA", " ", "20200101", " ", "OLD1"}.riga(), f{"000", "000000200", "BETA"}.riga(),
          f{"000", "000000300", "GAMMA"}.riga()},
         {f{"", "000000100", "ZETA", " ", "20200101", "1", "NEW1"}.variazione(' '),
          f{"", "000000200", "BETA", "S"}.variazione(' '), f{"", "000000300", "GAMMA"}.variazione('g')},
         {f{"C00", "000000200", "BETA", "S"}.riga(), f{"00A", "000000300", "GAMMA"}.riga(),
          f{"00A", "000000100", "ZETA", " ", "20200101", "B", "NEW1"}.riga()},
         {0, 2, 1}},
        // New drugs go last, the later line of a code winning in the place
        // of the first; they start "000", a "G" is not kept.
        {{},
         {f{"", "000000009", "PRIMA", "S", "", "0", "AAAA"}.variazione('G'),
          f{"", "000000008", "ALTRO", " ", "", "x", ""}.variazione(),
          f{"", "000000009", "SECONDA", " ", "", "3", "BBBB"}.variazione('G')},
         {f{"000", "000000008", "ALTRO", " ", "", "X", ""}.riga(),
          f{"000", "000000009", "SECONDA", " ", "", "C", "BBBB"}.riga()},
         {2, 0, 0}},
        // No update: still normalised and sorted; the short line sorts first
        // (blank name), the euro sign after "Z". Control bytes pass
        // unchanged; a CR not before LF is data, cut with the long line.
        {{f{"00A", "000000002", "\x80URO", "S", "", "0"}.riga(),
          f{"C0A", "000000001", "ZZZ", " ", "", "a"}.riga() + "\r" + f{"000", "000000003", "D"}.riga() + "\r",
          "000000000003", f{"000", "000000004", std::string("A\0\t\x1a\rB", 6)}.riga()},
         {},
         {"000000000003" + std::string(85, ' '), f{"000", "000000004", std::string("A\0\t\x1a\rB", 6)}.riga(),
          f{"C0A", "000000001", "ZZZ", " ", "", "A"}.riga(), f{"C0A", "000000002", "\x80URO", "S", "", "A"}.riga()},
         {0, 0, 0}},
    };
    // Whatever the date (future, past, invalid, the zero date), the flag
    // decides the first character.
    for (std::string data : {"20300101", "20200101", "18991230", "20231301", "abcdefgh", ""})
        casi.push_back({{f{"C0A", "000000001", "A"}.riga(), f{"000", "000000002", "B"}.riga()},
                        {f{"", "000000001", "A", " ", data}.variazione()},
                        {f{"00A", "000000001", "A", " ", data}.riga(), f{"000", "000000002", "B"}.riga()},
                        {0, 1, 0}});
    for (const caso& c : casi) {
        SCOPED_TRACE(c.variazioni.empty() ? "" : c.variazioni[0]);
        banco b;
        b.file.file[dir + "farmaci.tda"] = righe(c.tabella);
        b.file.file[dir + "farmaci.faf"] = righe(c.variazioni);
        b.motore.carica_tabelle(dir);
        const conteggio_variazioni conta = b.motore.aggiorna_farmaci(dir, "farmaci.faf");
        EXPECT_EQ(b.scritto("farmaci.tda"), c.attesa);
        EXPECT_EQ(b.motore.tabella_farmaci.size(), c.attesa.size());
        EXPECT_EQ(std::string(b.motore.tabella_farmaci[0].riga()), c.attesa[0]);  // memory in the new order
        EXPECT_EQ(numeri(conta), numeri(c.conta));
        EXPECT_EQ(b.av.eventi, (righe_testo{"mostra", "nascondi", "stato Ordinamento tabella farmaci. Attendere..."}));
    }
    banco b;  // no update file: nothing written
    b.motore.carica_tabelle(dir);
    EXPECT_THROW(b.motore.aggiorna_farmaci(dir, "farmaci.faf"), errore_file);
    EXPECT_TRUE(b.file.operazioni.empty());
}

TEST(elimina_doppi_farmaci, solo_ripetizioni_adiacenti_di_codice_e_nome) {
    banco b;
    std::string a = farmaco_prova{"000", "000000001", "A", " ", "", " ", "1111"}.riga();
    std::string a2 = farmaco_prova{"C00", "000000001", "A", " ", "", " ", "2222"}.riga();
    std::string c = farmaco_prova{"000", "000000001", "C"}.riga();
    b.file.file[dir + "farmaci.tda"] = "ab\n" + righe({a, a2, a, c, a, "000", "000   ", "000   "}) + "000   ";
    b.motore.elimina_doppi_farmaci(dir);
    // The first line, shorter than 4, repeats the empty start; "000" and
    // "000   " differ; the last line had no line end.
    EXPECT_EQ(b.file.file.at(dir + "farmaci.tda"), righe({a, c, a, "000", "000   "}));
    EXPECT_EQ(b.file.operazioni, (righe_testo{"scrivi lav/farmaci.$$$", "cancella lav/farmaci.tda",
                                              "rinomina lav/farmaci.$$$ lav/farmaci.tda"}));
}
