// The text and date helpers, the legacy Shell sort, and the drug table:
// loading with the code index, code search, the merge and duplicate removal.

#include <gtest/gtest.h>

#include <array>
#include <tuple>

#include "comune/data_ora.hpp"
#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;

TEST(testi, ordine_spazi_righe_tracciato_e_date) {
    // Windows-1252 bytes in the order of their code point: 0x80 is the euro
    // sign (U+20AC), 0x9F U+0178, 0x8A U+0160, 0x83 U+0192; undefined bytes
    // keep their own value. Case matters, a prefix comes first.
    const std::tuple<const char*, const char*, int> confronti[] = {
        {"\x80", "\xff", 1}, {"\x7f", "\x80", -1}, {"\x9f", "\x8a", 1}, {"\x9f", "\x80", -1},
        {"\x81", "\xa0", -1}, {"\xa0", "\x83", -1}, {"\x8d", "\x8f", -1}, {"Z", "a", -1},
        {"AB", "AB ", -1}, {"AB ", "AB\x01", 1}, {"ab\x80", "ab\x80", 0}};
    for (auto [a, b, segno] : confronti) {
        const int c = confronta_testi(a, b);
        EXPECT_EQ((c > 0) - (c < 0), segno) << a << " " << b;
    }
    EXPECT_EQ(togli_spazi("  a b  "), "a b");
    EXPECT_EQ(togli_spazi("\ta\t"), "\ta\t");
    EXPECT_EQ(togli_spazi("    "), "");
    using v = std::vector<std::string_view>;
    EXPECT_EQ(dividi_righe(""), v{});
    EXPECT_EQ(dividi_righe("a\r\nb\nc"), (v{"a", "b", "c"}));
    EXPECT_EQ(dividi_righe("\r\n\r\n"), (v{"", ""}));
    EXPECT_EQ(dividi_righe("a\rb\r\r\nc\r"), (v{"a\rb\r", "c\r"}));  // a CR not before LF is data
    record_ditta corta("000AB");
    EXPECT_EQ(corta.riga(), "000AB" + std::string(20, ' '));
    EXPECT_EQ(record_ditta(std::string(30, 'x')).riga(), std::string(25, 'x'));
    corta.imposta(ditta::descrizione, std::string(40, 'y'));
    EXPECT_EQ(corta[ditta::descrizione], std::string(18, 'y'));
    for (auto d : {"20240229", "20000229", "19960229", "18991230"}) EXPECT_TRUE(data_valida(d)) << d;
    for (auto d : {"20230229", "19000229", "20241301", "20240100", "00000101", "2024 101", "        ", "2024010"})
        EXPECT_FALSE(data_valida(d)) << d;
    // Every month's last day, and the day after it.
    const int fine_mese[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int m = 1; m <= 12; ++m) {
        EXPECT_TRUE(data_valida(std::to_string(20260000 + m * 100 + fine_mese[m - 1]))) << m;
        EXPECT_FALSE(data_valida(std::to_string(20260001 + m * 100 + fine_mese[m - 1]))) << m;
    }
}

// The legacy runtime's day numbers, and back to the calendar.
TEST(date, giorni_dal_1899_e_ritorno) {
    EXPECT_EQ(componi_data_ora(1899, 12, 30), 0);
    EXPECT_EQ(componi_data_ora(1900, 3, 1), 61);
    EXPECT_EQ(componi_data_ora(2026, 11, 24, 18), 46350.75);
    data_ora giorno = componi_data_ora(2023, 12, 31);
    for (int i = 0; i < 800; ++i, giorno += 1) {  // through a leap year
        const data_civile c = scomponi_data_ora(giorno + 0.5);
        ASSERT_EQ(componi_data_ora(c.anno, c.mese, c.giorno), giorno) << i;
        ASSERT_TRUE(c.giorno >= 1 && c.giorno <= 31 && c.mese >= 1 && c.mese <= 12 && c.ore == 12) << i;
    }
    const data_civile c = scomponi_data_ora(componi_data_ora(2024, 2, 29, 23, 59, 58));
    EXPECT_EQ((std::array<int, 6>{c.anno, c.mese, c.giorno, c.ore, c.minuti, c.secondi}),
              (std::array<int, 6>{2024, 2, 29, 23, 59, 58}));
    // Today from the system's local time: a real date, not an empty one.
    EXPECT_TRUE(data_valida(std::to_string(oggi_di_sistema())));
    EXPECT_GE(oggi_di_sistema(), 20260101);
}

TEST(ShellSortAny, righe_uguali_nell_ordine_dell_algoritmo_originale) {
    // Five rows: a pass with gap 4 moves A4 in front of A1..A3.
    EXPECT_EQ(ordine_legacy({{"B", 1}, {"A", 1}, {"A", 2}, {"A", 3}, {"A", 4}}),
              (std::vector<chiave_e_riga>{{"A", 4}, {"A", 1}, {"A", 2}, {"A", 3}, {"B", 1}}));
    // Descending moves equal keys too: with gap 1 each equal row goes in
    // front of the ones before it.
    EXPECT_EQ(ordine_legacy({{"A", 1}, {"A", 2}, {"A", 3}}, true),
              (std::vector<chiave_e_riga>{{"A", 3}, {"A", 2}, {"A", 1}}));
    EXPECT_EQ(ordine_legacy({{"A", 1}, {"C", 2}, {"B", 3}, {"\x80", 4}}, true),
              (std::vector<chiave_e_riga>{{"\x80", 4}, {"C", 2}, {"B", 3}, {"A", 1}}));
}

TEST(ShellSortAny, tabella_farmaci_e_indice_dei_codici_nel_suo_ordine) {
    // Five drugs with repeated names at both ends; 2500 drugs, few
    // repeated names and repeated codes: in no order, then in name order but
    // for a few rows and with a code with a letter (the index takes its text
    // path). The written table and the secondary table, of the drugs whose
    // status does not start with "C", follow the legacy sort row for row.
    for (int prova : {0, 1, 2}) {
        const int n = prova ? 2500 : 5;
        banco b;
        righe_testo tabella;
        std::vector<chiave_e_riga> nomi, codici;
        for (int i = 0; i < n; ++i) {
            // Seven names repeated and single names between them, sharing
            // sixteen characters with them: every word of the sort counts.
            const int k = (i * 7919) % 11;
            std::string nome =
                std::string(1, static_cast<char>('A' + k % 7)) + "ARACETAMOLO 500" + (k >= 7 ? std::to_string(i) : "");
            if (n == 5) nome = std::string(1, "BACCA"[i]);
            const std::string codice = std::to_string((i * 31) % 1700);
            tabella.push_back(farmaco_prova{i % 3 ? "0C0" : "C00", codice, nome}.riga());
            nomi.push_back({nome, i});
        }
        if (prova == 2) {
            // As the last update wrote it, and this one renamed every 40th row.
            std::sort(nomi.begin(), nomi.end());
            for (std::size_t j = 39; j < nomi.size(); j += 40) std::swap(nomi[j], nomi[nomi.size() - 1 - j]);
            righe_testo in_ordine;
            for (auto& [nome, i] : nomi) {
                in_ordine.push_back(tabella[static_cast<std::size_t>(i)]);
                i = static_cast<int>(in_ordine.size()) - 1;
            }
            tabella.swap(in_ordine);
            tabella[5] = farmaco_prova{"000", "12X", nomi[5].first}.riga();
        }
        b.file.file[dir + "farmaci.tda"] = righe(tabella);
        b.file.file[dir + "farmaci.faf"] = "";
        b.motore.carica_tabelle(dir);
        // The code index in text order, whichever way it was sorted.
        EXPECT_TRUE(std::is_sorted(b.motore.indice_codici.begin(), b.motore.indice_codici.end(),
                                   [](const voce_indice& x, const voce_indice& y) {
                                       return confronta_testi(x.codice_testo(), y.codice_testo()) < 0;
                                   }));
        b.av.giri = 0;
        b.motore.aggiorna_farmaci(dir, "farmaci.faf");
        // Gaps 1093, 364, 121, 40, 13, 4, 1: the first pass starts at 1094
        // and meets only i = 2000, the other six meet 1000 and 2000.
        EXPECT_EQ(b.av.giri, n == 5 ? 0 : 13);
        righe_testo attesa;
        for (const auto& [nome, i] : ordine_legacy(nomi)) attesa.push_back(tabella[static_cast<std::size_t>(i)]);
        if (n == 5) {
            EXPECT_EQ(attesa[0], tabella[4]);  // the later A first, the two C's at the end
        }
        ASSERT_EQ(b.scritto("farmaci.tda"), attesa);
        for (const std::string& r : attesa)
            if (r[0] != 'C') codici.push_back({r.substr(3, 9), static_cast<int>(codici.size()) + 1});  // its code
        b.motore.crea_secondario(dir);
        righe_testo secondario;
        for (const auto& [codice, i] : ordine_legacy(codici))
            secondario.push_back("000" + codice + "+" + std::string(10 - std::to_string(i).size(), '0') +
                                 std::to_string(i));
        EXPECT_EQ(b.scritto("farmaci_secondario_completo.tda"), secondario);
    }
}

TEST(carica_tabelle, tabelle_mancanti_vuote_barra_per_dimensione_e_indice_dei_codici) {
    banco b;
    std::string f = righe({farmaco_prova{"000", "000000030", "B"}.riga(), farmaco_prova{"000", "000000010", "A"}.riga(),
                           farmaco_prova{"000", "000000020", "C"}.riga()});
    b.file.file[dir + "farmaci.tda"] = f;
    // As many bytes as farmaci: eleven lines of 25 characters and CR LF.
    std::string d;
    for (int i = 0; i < 11; ++i) d += "000" + std::string(22, static_cast<char>('a' + i)) + "\r\n";
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
        // A flag set in a line no update has finished yet: the drug the
        // update keeps flagged was in use, so it counts as cancelled.
        {{f{"000", "000000100", "ALFA", "S"}.riga(), f{"000", "000000200", "BETA"}.riga()},
         {f{"", "000000100", "ALFA", "S"}.variazione()},
         {f{"C00", "000000100", "ALFA", "S"}.riga(), f{"000", "000000200", "BETA"}.riga()},
         {0, 0, 1}},
        // A one-drug table is never searched: its code comes in as new. A
        // code the table holds twice updates the row the code index's
        // search meets, here the first.
        {{f{"000", "000000100", "ALFA"}.riga()},
         {f{"", "000000100", "BETA"}.variazione()},
         {f{"000", "000000100", "ALFA"}.riga(), f{"000", "000000100", "BETA"}.riga()},
         {1, 0, 0}},
        {{f{"000", "000000100", "A1"}.riga(), f{"000", "000000100", "A2"}.riga(), f{"000", "000000200", "B"}.riga()},
         {f{"", "000000100", "A3"}.variazione()},
         {f{"000", "000000100", "A2"}.riga(), f{"000", "000000100", "A3"}.riga(), f{"000", "000000200", "B"}.riga()},
         {0, 1, 0}},
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
