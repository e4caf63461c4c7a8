#include "piattaforma/tasti.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace j8 {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

// A character (or, with `virtuale`, a named key) and its modifiers: "+"
// Shift, "^" Ctrl, "%" Alt.
evento_tasto car(char c, std::string_view mod = "", std::uint16_t virtuale = 0) {
    evento_tasto e;
    e.carattere = c;
    e.virtuale = virtuale;
    e.maiuscolo = mod.find('+') != mod.npos;
    e.controllo = mod.find('^') != mod.npos;
    e.alt = mod.find('%') != mod.npos;
    return e;
}

evento_tasto chiave(std::uint16_t v, std::string_view mod = "") { return car(0, mod, v); }

using lista = std::vector<evento_tasto>;

TEST(analizza_tasti, caratteri_tasti_con_nome_modificatori_e_ripetizioni) {
    const std::pair<std::string, lista> casi[] = {
        {"a@#[]\xe8\\", {car('a'), car('@'), car('#'), car('['), car(']'), car('\xe8'), car('\\')}},
        // Names in any case.
        {"{enter}{TAB}{Bs}{backspace}{bksp}{esc}{end}{home}{del}{left}{f1}{F12}~",
         {chiave(vk::enter), chiave(vk::tab), chiave(vk::bs), chiave(vk::bs), chiave(vk::bs), chiave(vk::esc),
          chiave(vk::end), chiave(vk::home), chiave(vk::del), chiave(vk::left), chiave(vk::f1), chiave(0x7B),
          chiave(vk::enter)}},
        // A modifier holds for one key, or for a group, nested too.
        {"%ms+{end}x", {car('m', "%"), car('s'), chiave(vk::end, "+"), car('x')}},
        {"^+%{f4}%~", {chiave(vk::f1 + 3, "+^%"), chiave(vk::enter, "%")}},
        {"+(ab)c(xy)", {car('a', "+"), car('b', "+"), car('c'), car('x'), car('y')}},
        {"^(a%(b)c)d", {car('a', "^"), car('b', "^%"), car('c', "^"), car('d')}},
        {"{bs 3}Z+{LEFT 2}",
         {chiave(vk::bs), chiave(vk::bs), chiave(vk::bs), car('Z'), chiave(vk::left, "+"), chiave(vk::left, "+")}},
        {"{x 2}{} 2}{enter 0}", {car('x'), car('x'), car('}'), car('}')}},
        // Special characters between braces are literal.
        {"{+}{%}{^}{~}{(}{)}{{}{}}", {car('+'), car('%'), car('^'), car('~'), car('('), car(')'), car('{'), car('}')}},
    };
    for (const auto& [tasti, attesi] : casi) EXPECT_EQ(analizza_tasti(tasti), attesi) << tasti;
    // A user's text comes back character for character, whatever it holds.
    for (const std::string testo : {"K+p%9(x)~^{a}", "}{)(", "a[b]c", "c:\\x y\xe8", ""}) {
        lista attesi;
        for (char c : testo) attesi.push_back(car(c));
        EXPECT_EQ(analizza_tasti(tasti_letterali(testo)), attesi) << testo;
    }
}

TEST(analizza_tasti, errori_chiari_e_nulla_di_parziale) {
    const char* cattive[] = {"ab{entr}", "{enter", "a}b", "{}", "+", "x%", "(ab", "ab)",
                             "%(a+)", "{bs x}", "{bs 99999}", "{", "{bs -1}", "{enter }"};
    for (const char* s : cattive)
        EXPECT_THAT([&] { analizza_tasti(s); }, ThrowsMessage<errore_tasti>(HasSubstr(s)));
    // Limits that keep a hostile string from exhausting stack or memory.
    EXPECT_EQ(analizza_tasti(std::string(32, '(') + "a" + std::string(32, ')')), lista{car('a')});
    EXPECT_THROW(analizza_tasti(std::string(33, '(') + "a" + std::string(33, ')')), errore_tasti);
    EXPECT_THROW(analizza_tasti(std::string(100000, '(')), errore_tasti);
    EXPECT_EQ(analizza_tasti("{a 10000}{b 10000}{c 10000}{d 10000}{e 10000}").size(), 50000u);
    EXPECT_THROW(analizza_tasti("{a 10000}{b 10000}{c 10000}{d 10000}{e 10000}f"), errore_tasti);
    EXPECT_THAT([] { analizza_tasti("{pippo}"); }, ThrowsMessage<errore_tasti>(HasSubstr("tasto sconosciuto {pippo}")));
}

}  // namespace
}  // namespace j8
