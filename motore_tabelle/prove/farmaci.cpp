// Drug table: loading with the code index, code search, the merge,
// duplicate removal and the secondary table.

#include <gtest/gtest.h>

#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;

namespace {

const std::string dir = "lav/";

struct banco {
    file_memoria file;
    avanzamento_registrato av;
    std::int32_t oggi = 20240615;
    motore_tabelle motore{file, av, [this] { return oggi; }};

    std::vector<std::string> tabella() { return dividi(file.file.at(dir + "farmaci.tda")); }
    std::string riga_di(const std::string& codice) {
        for (const auto& r : tabella())
            if (campo_di(r, farmaco::codice) == codice) return r;
        return "";
    }
};

}  // namespace

TEST(carica_tabelle, tabelle_mancanti_vuote_indice_e_barra_per_dimensione) {
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
    ASSERT_EQ(b.motore.indice_codici.size(), 3u);
    EXPECT_EQ(b.motore.indice_codici[0].codice_testo(), "000000010");
    EXPECT_EQ(b.motore.indice_codici[0].posizione, 2);
    EXPECT_EQ(b.motore.indice_codici[1].posizione, 3);
    EXPECT_EQ(b.motore.indice_codici[2].posizione, 1);
    // Half the bytes in farmaci, half in ditte: 50 after the first table,
    // then unchanged for the empty ones, 100 at the end.
    EXPECT_EQ(b.av.valori, (std::vector<float>{50, 50, 50, 50, 100}));
}

TEST(cerca_codice, indice_di_uno_due_e_molti) {
    banco b;
    b.motore.tabella_farmaci = {record_farmaco(farmaco_prova{"000", "030668014", "X"}.riga())};
    b.motore.costruisci_indice_codici();
    EXPECT_EQ(b.motore.cerca_codice("030668014"), -1);  // never searched
    b.motore.tabella_farmaci.push_back(record_farmaco(farmaco_prova{"000", "030668015", "Y"}.riga()));
    b.motore.costruisci_indice_codici();
    EXPECT_EQ(b.motore.cerca_codice("030668015"), 2);
    EXPECT_EQ(b.motore.cerca_codice("030668014"), 1);

    b.motore.tabella_farmaci.clear();
    for (int i = 0; i < 200; ++i) {
        char c[16];
        std::snprintf(c, sizeof c, "%09d", (i * 37) % 200 * 3);
        b.motore.tabella_farmaci.push_back(record_farmaco(farmaco_prova{"000", c, "N"}.riga()));
    }
    b.motore.costruisci_indice_codici();
    for (int i = 0; i < 200; ++i) {
        char c[16];
        std::snprintf(c, sizeof c, "%09d", (i * 37) % 200 * 3);
        ASSERT_EQ(b.motore.cerca_codice(c), i + 1) << c;
        std::snprintf(c, sizeof c, "%09d", i * 3 + 1);
        ASSERT_EQ(b.motore.cerca_codice(c), -1) << c;
    }
}

TEST(aggiorna_farmaci, variazione_di_un_farmaco_esistente) {
    banco b;
    farmaco_prova vecchio{"00A", "000000100", "ALFA", " ", "20200101", " ", "OLD1"};
    farmaco_prova altro{"C00", "000000200", "BETA"};
    farmaco_prova terzo{"000", "000000300", "GAMMA"};
    b.file.file[dir + "farmaci.tda"] = righe({vecchio.riga(), altro.riga(), terzo.riga()});
    farmaco_prova nuovo_100{"", "000000100", "ZETA", " ", "20200101", "1", "NEW1"};
    farmaco_prova nuovo_200{"", "000000200", "BETA", "S", "", " ", ""};
    farmaco_prova nuovo_300{"", "000000300", "GAMMA", " ", "", " ", ""};
    b.file.file[dir + "farmaci.faf"] =
        righe({nuovo_100.variazione(' '), nuovo_200.variazione(' '), nuovo_300.variazione('g')});
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_farmaci(dir, "farmaci.faf");

    auto t = b.tabella();
    ASSERT_EQ(t.size(), 3u);
    for (const auto& r : t) EXPECT_EQ(r.size(), 97u);
    // Past date but blank flag: the flag rule decides ("00A" keeps its A);
    // campo_9 "1" becomes "B"; the name moved it to the end.
    EXPECT_EQ(campo_di(t[2], farmaco::codice), "000000100");
    EXPECT_EQ(campo_di(t[2], farmaco::stato), "00A");
    EXPECT_EQ(campo_di(t[2], farmaco::campo_9), "B");
    EXPECT_EQ(campo_di(t[2], farmaco::campo_14), "NEW1");
    // Non-blank flag: "C00".
    EXPECT_EQ(campo_di(b.riga_di("000000200"), farmaco::stato), "C00");
    EXPECT_EQ(campo_di(b.riga_di("000000300"), farmaco::stato), "00A");  // "g" counts as "G"
    EXPECT_EQ(campo_di(t[0], farmaco::descrizione).substr(0, 4), "BETA");
    EXPECT_EQ(b.motore.tabella_farmaci[2][farmaco::codice], "000000100");
}

TEST(aggiorna_farmaci, date_non_cambiano_l_esito_della_regola_del_flag) {
    // Whatever the date (future, past, invalid, the zero date), the flag
    // decides the first character.
    for (std::string data : {"20300101", "20200101", "18991230", "20231301", "abcdefgh", ""}) {
        banco b;
        b.file.file[dir + "farmaci.tda"] = righe({farmaco_prova{"C0A", "000000001", "A"}.riga()});
        b.file.file[dir + "farmaci.faf"] = righe({farmaco_prova{"", "000000001", "A", " ", data}.variazione()});
        b.motore.carica_tabelle(dir);
        b.motore.tabella_farmaci.push_back(record_farmaco(farmaco_prova{"000", "000000002", "B"}.riga()));
        b.motore.costruisci_indice_codici();
        b.motore.aggiorna_farmaci(dir, "farmaci.faf");
        EXPECT_EQ(campo_di(b.riga_di("000000001"), farmaco::stato), "00A") << data;
    }
}

TEST(aggiorna_farmaci, nuovi_farmaci_in_coda_la_riga_dopo_vince) {
    banco b;
    b.file.file[dir + "farmaci.tda"] = "";
    farmaco_prova p1{"", "000000009", "PRIMA", "S", "", "0", "AAAA"};
    farmaco_prova p2{"", "000000009", "SECONDA", " ", "", "3", "BBBB"};
    farmaco_prova p3{"", "000000008", "ALTRO", " ", "", "x", ""};
    b.file.file[dir + "farmaci.faf"] = righe({p1.variazione('G'), p3.variazione(), p2.variazione('G')});
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_farmaci(dir, "farmaci.faf");
    auto t = b.tabella();
    ASSERT_EQ(t.size(), 2u);
    // New drugs start "000"; "G" is not kept for them.
    EXPECT_EQ(t[0], farmaco_prova({"000", "000000008", "ALTRO", " ", "", "X", ""}).riga());
    EXPECT_EQ(t[1], farmaco_prova({"000", "000000009", "SECONDA", " ", "", "C", "BBBB"}).riga());
}

TEST(aggiorna_farmaci, file_vuoto_normalizza_ordina_e_riscrive) {
    banco b;
    b.file.file[dir + "farmaci.tda"] =
        righe({farmaco_prova{"00A", "000000002", "\x80URO", "S", "", "0"}.riga(),
               farmaco_prova{"C0A", "000000001", "ZZZ", " ", "", "a"}.riga(), "000000000003"});
    b.file.file[dir + "farmaci.faf"] = "";
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_farmaci(dir, "farmaci.faf");
    auto t = b.tabella();
    ASSERT_EQ(t.size(), 3u);
    // The short line sorts first (blank name), the euro sign after "Z".
    EXPECT_EQ(t[0], "000000000003" + std::string(85, ' '));
    EXPECT_EQ(t[1], farmaco_prova({"C0A", "000000001", "ZZZ", " ", "", "A"}).riga());
    EXPECT_EQ(t[2], farmaco_prova({"C0A", "000000002", "\x80URO", "S", "", "A"}).riga());
    EXPECT_EQ(b.av.eventi, (std::vector<std::string>{"mostra", "nascondi",
                                                      "stato Ordinamento tabella farmaci. Attendere..."}));
}

TEST(aggiorna_farmaci, manca_il_file_di_aggiornamento) {
    banco b;
    b.file.file[dir + "farmaci.tda"] = righe({farmaco_prova{"000", "000000001", "A"}.riga()});
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
    EXPECT_EQ(b.file.operazioni,
              (std::vector<std::string>{"scrivi lav/farmaci.$$$", "cancella lav/farmaci.tda",
                                        "rinomina lav/farmaci.$$$ lav/farmaci.tda"}));
    b.file.file[dir + "farmaci.tda"] = "";
    b.motore.elimina_doppi_farmaci(dir);
    EXPECT_EQ(b.file.file.at(dir + "farmaci.tda"), "");
}

TEST(crea_secondario, solo_farmaci_non_cancellati_numerati_in_ordine_di_lista) {
    banco b;
    b.file.file[dir + "farmaci.tda"] =
        righe({farmaco_prova{"000", "000000300", "A"}.riga(), farmaco_prova{"C00", "000000100", "B"}.riga(),
               farmaco_prova{"00A", "000000200", "C"}.riga(), farmaco_prova{"C0A", "000000050", "D"}.riga(),
               farmaco_prova{"0C0", "000000010", "E"}.riga()});
    b.motore.crea_secondario(dir);
    EXPECT_EQ(b.file.file.at(dir + "farmaci_secondario_completo.tda"),
              righe({"000000000010+0000000003", "000000000200+0000000002", "000000000300+0000000001"}));
    EXPECT_EQ(b.motore.tabella_farmaci.size(), 5u);
    EXPECT_THROW(b.motore.crea_secondario("altro/"), errore_file);
}
