#include "piattaforma/tasti.hpp"

#include <gtest/gtest.h>

namespace j8 {
namespace {

evento_tasto car(char c, bool sh = false, bool ctrl = false, bool alt = false) {
    evento_tasto e;
    e.carattere = c;
    e.maiuscolo = sh;
    e.controllo = ctrl;
    e.alt = alt;
    return e;
}

evento_tasto chiave(std::uint16_t v, bool sh = false, bool ctrl = false, bool alt = false) {
    evento_tasto e;
    e.virtuale = v;
    e.maiuscolo = sh;
    e.controllo = ctrl;
    e.alt = alt;
    return e;
}

using lista = std::vector<evento_tasto>;

TEST(analizza_tasti, caratteri_semplici_anche_speciali_della_tastiera_italiana) {
    EXPECT_EQ(analizza_tasti("a@#[]\xe8"),
              (lista{car('a'), car('@'), car('#'), car('['), car(']'), car('\xe8')}));
    EXPECT_EQ(analizza_tasti("c:\\j8\\*.*"),
              (lista{car('c'), car(':'), car('\\'), car('j'), car('8'), car('\\'), car('*'),
                     car('.'), car('*')}));
    EXPECT_TRUE(analizza_tasti("").empty());
}

TEST(analizza_tasti, tasti_con_nome_senza_riguardo_alle_maiuscole) {
    EXPECT_EQ(analizza_tasti("{enter}{TAB}{Bs}{backspace}{bksp}{esc}{end}{home}{del}{left}{f1}{F12}"),
              (lista{chiave(vk::enter), chiave(vk::tab), chiave(vk::bs), chiave(vk::bs),
                     chiave(vk::bs), chiave(vk::esc), chiave(vk::end), chiave(vk::home),
                     chiave(vk::del), chiave(vk::left), chiave(vk::f1), chiave(0x7B)}));
    EXPECT_EQ(analizza_tasti("~"), lista{chiave(vk::enter)});
}

TEST(analizza_tasti, modificatori_per_un_tasto_solo) {
    EXPECT_EQ(analizza_tasti("%ms"), (lista{car('m', false, false, true), car('s')}));
    EXPECT_EQ(analizza_tasti("+{end}x"), (lista{chiave(vk::end, true), car('x')}));
    EXPECT_EQ(analizza_tasti("^+%{f4}"), lista{chiave(vk::f1 + 3, true, true, true)});
    EXPECT_EQ(analizza_tasti("%~"), lista{chiave(vk::enter, false, false, true)});
}

TEST(analizza_tasti, modificatori_su_un_gruppo_anche_annidato) {
    EXPECT_EQ(analizza_tasti("+(ab)c"),
              (lista{car('a', true), car('b', true), car('c')}));
    EXPECT_EQ(analizza_tasti("^(a%(b)c)d"),
              (lista{car('a', false, true), car('b', false, true, true),
                     car('c', false, true), car('d')}));
    EXPECT_EQ(analizza_tasti("(xy)"), (lista{car('x'), car('y')}));
}

TEST(analizza_tasti, ripetizioni) {
    EXPECT_EQ(analizza_tasti("{bs 3}Z"),
              (lista{chiave(vk::bs), chiave(vk::bs), chiave(vk::bs), car('Z')}));
    EXPECT_EQ(analizza_tasti("+{LEFT 2}"), (lista{chiave(vk::left, true), chiave(vk::left, true)}));
    EXPECT_EQ(analizza_tasti("{x 2}{} 2}"), (lista{car('x'), car('x'), car('}'), car('}')}));
    EXPECT_TRUE(analizza_tasti("{enter 0}").empty());
}

TEST(analizza_tasti, caratteri_speciali_tra_graffe_sono_letterali) {
    EXPECT_EQ(analizza_tasti("{+}{%}{^}{~}{(}{)}{{}{}}"),
              (lista{car('+'), car('%'), car('^'), car('~'), car('('), car(')'), car('{'),
                     car('}')}));
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
    for (const char* s : cattive) {
        try {
            analizza_tasti(s);
            ADD_FAILURE() << "accettata: " << s;
        } catch (const errore_tasti& e) {
            EXPECT_NE(std::string(e.what()).find(s), std::string::npos) << e.what();
        }
    }
    // Limits that keep a hostile string from exhausting stack or memory.
    EXPECT_EQ(analizza_tasti(std::string(32, '(') + "a" + std::string(32, ')')), lista{car('a')});
    EXPECT_THROW(analizza_tasti(std::string(33, '(') + "a" + std::string(33, ')')), errore_tasti);
    EXPECT_THROW(analizza_tasti(std::string(100000, '(')), errore_tasti);
    EXPECT_EQ(analizza_tasti("{a 10000}{b 10000}{c 10000}{d 10000}{e 10000}").size(), 50000u);
    EXPECT_THROW(analizza_tasti("{a 10000}{b 10000}{c 10000}{d 10000}{e 10000}f"), errore_tasti);
    try {
        analizza_tasti("{pippo}");
        FAIL();
    } catch (const errore_tasti& e) {
        EXPECT_NE(std::string(e.what()).find("tasto sconosciuto {pippo}"), std::string::npos);
    }
}

}  // namespace
}  // namespace j8
