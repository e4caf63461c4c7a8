// Comparison order, trimming, line splitting, dates and the Shell sort.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "motore_tabelle/motore_tabelle.hpp"

using namespace j8;

TEST(testi, ordine_windows_1252_per_punto_di_codice) {
    // 0x80 is the euro sign (U+20AC): above every Latin-1 letter.
    EXPECT_GT(confronta_testi("\x80", "\xff"), 0);
    EXPECT_LT(confronta_testi("\x7f", "\x80"), 0);
    // 0x9F (U+0178) sorts after 0x8A (U+0160) and before 0x80 (U+20AC).
    EXPECT_GT(confronta_testi("\x9f", "\x8a"), 0);
    EXPECT_LT(confronta_testi("\x9f", "\x80"), 0);
    // Undefined bytes keep their own value: 0x81 < 0xA0 < 0x83 (U+0192).
    EXPECT_LT(confronta_testi("\x81", "\xa0"), 0);
    EXPECT_LT(confronta_testi("\xa0", "\x83"), 0);
    EXPECT_LT(confronta_testi("\x8d", "\x8f"), 0);
    // Case matters; a prefix comes first; blanks count.
    EXPECT_LT(confronta_testi("Z", "a"), 0);
    EXPECT_LT(confronta_testi("AB", "AB "), 0);
    EXPECT_GT(confronta_testi("AB ", "AB\x01"), 0);
    EXPECT_EQ(confronta_testi("ab\x80", "ab\x80"), 0);
}

TEST(testi, togli_spazi_solo_blank) {
    EXPECT_EQ(togli_spazi("  a b  "), "a b");
    EXPECT_EQ(togli_spazi("\ta\t"), "\ta\t");
    EXPECT_EQ(togli_spazi("    "), "");
}

TEST(testi, righe_lf_crlf_e_ultima_senza_a_capo) {
    using v = std::vector<std::string_view>;
    EXPECT_EQ(dividi_righe(""), v{});
    EXPECT_EQ(dividi_righe("a\r\nb\nc"), (v{"a", "b", "c"}));
    EXPECT_EQ(dividi_righe("a\r\n"), (v{"a"}));
    EXPECT_EQ(dividi_righe("\r\n\r\n"), (v{"", ""}));
    // A CR not right before LF is data.
    EXPECT_EQ(dividi_righe("a\rb\r\r\nc\r"), (v{"a\rb\r", "c\r"}));
}

TEST(testi, righe_tagliate_o_completate_al_tracciato) {
    record_ditta corta("000AB");
    EXPECT_EQ(corta.riga(), "000AB" + std::string(20, ' '));
    record_ditta lunga(std::string(30, 'x'));
    EXPECT_EQ(lunga.riga().size(), 25u);
    corta.imposta(ditta::descrizione, std::string(40, 'y'));
    EXPECT_EQ(corta[ditta::descrizione], std::string(18, 'y'));
}

TEST(testi, date_valide) {
    EXPECT_TRUE(data_valida("20240229"));
    EXPECT_FALSE(data_valida("20230229"));
    EXPECT_TRUE(data_valida("20000229"));
    EXPECT_FALSE(data_valida("19000229"));
    EXPECT_TRUE(data_valida("18991230"));
    EXPECT_FALSE(data_valida("20241301"));
    EXPECT_FALSE(data_valida("20240100"));
    EXPECT_FALSE(data_valida("00000101"));
    EXPECT_FALSE(data_valida("2024 101"));
    EXPECT_FALSE(data_valida("        "));
    EXPECT_FALSE(data_valida("2024010"));
}

namespace {

using riga = std::pair<std::string, int>;

std::vector<riga> ordina(std::vector<riga> v, bool discendente, avanzamento& av) {
    ShellSortAny(std::span<riga>(v), discendente,
                 [](const riga& a, const riga& b) { return confronta_testi(a.first, b.first) > 0; }, av);
    return v;
}

}  // namespace

TEST(ShellSortAny, zero_e_una_riga) {
    avanzamento av;
    EXPECT_TRUE(ordina({}, false, av).empty());
    EXPECT_EQ(ordina({{"B", 1}}, false, av), (std::vector<riga>{{"B", 1}}));
}

TEST(ShellSortAny, righe_uguali_nell_ordine_dell_algoritmo_originale) {
    avanzamento av;
    // Five rows: a pass with gap 4 moves A4 in front of A1..A3.
    auto r = ordina({{"B", 1}, {"A", 1}, {"A", 2}, {"A", 3}, {"A", 4}}, false, av);
    EXPECT_EQ(r, (std::vector<riga>{{"A", 4}, {"A", 1}, {"A", 2}, {"A", 3}, {"B", 1}}));
    // Descending moves equal keys too: with gap 1 each equal row goes in
    // front of the ones before it.
    auto d = ordina({{"A", 1}, {"A", 2}, {"A", 3}}, true, av);
    EXPECT_EQ(d, (std::vector<riga>{{"A", 3}, {"A", 2}, {"A", 1}}));
    auto d2 = ordina({{"A", 1}, {"C", 2}, {"B", 3}, {"\x80", 4}}, true, av);
    EXPECT_EQ(d2, (std::vector<riga>{{"\x80", 4}, {"C", 2}, {"B", 3}, {"A", 1}}));
}

TEST(ShellSortAny, ordina_e_lascia_girare_ogni_mille_righe) {
    struct conta : avanzamento {
        int giri = 0;
        void lascia_girare() override { ++giri; }
    } av;
    std::vector<riga> v;
    for (int i = 0; i < 2500; ++i) v.push_back({std::to_string((i * 7919) % 2500 + 10000), i});
    auto r = ordina(v, false, av);
    for (std::size_t i = 1; i < r.size(); ++i) ASSERT_LE(r[i - 1].first, r[i].first);
    // Gaps 1093, 364, 121, 40, 13, 4, 1: the first pass starts at 1094 and
    // meets only i = 2000, the other six meet 1000 and 2000.
    EXPECT_EQ(av.giri, 13);
}
