// The BBS simulation alone. Whole sessions run through it in the connection
// form's tests; if the carrier did not drop exactly at the step asked for,
// their carrier-loss cases would test some other step without noticing.

#include <gtest/gtest.h>

#include "mondo_prova/terminale/simulazione_bbs.hpp"

namespace j8::prova {
namespace {

// The terminal's acts besides typing, coded as in the fuzz target.
const std::string prendi = "\x01", avvia = "\x02", riuscito = "\x03";

// Plays `c` and returns the screen without its trailing line ends.
std::string gioca(simulazione_bbs& bbs, char c) {
    if (c == 1 && bbs.prendi_scarico()) EXPECT_FALSE(bbs.prendi_scarico().has_value()) << "taken once";
    else if (c == 2) bbs.caricamento_avviato();
    else if (c == 3) bbs.trasferimento_concluso(true, 1);
    else if (c != 1) bbs.tasto(c);
    std::string s = bbs.schermo();
    return s.erase(s.find_last_not_of("\r\n") + 1);
}

// One call through every step, the carrier dropped at each in turn: the
// call ends there, each step later than the one before it in passi_bbs().
TEST(simulazione_bbs, portante_persa_proprio_al_passo_indicato) {
    const std::string percorso = "atdt1\rcliente\rzeta\rLS MAIN U * Z\r" + avvia + riuscito +
                                 "X\rE\rR\rF\rS\rZ\r" + prendi + riuscito + "X\rX\rX\rS\r";
    const auto caduta = [&](const std::string& passo) {
        scenario s;
        s.posta = {{true, "a.exe", "Aggiornamento"}};  // all new: the number prompt
        s.portante_persa = passo;
        simulazione_bbs bbs{s};
        for (std::size_t i = 0; i < percorso.size(); ++i) {
            const std::string schermo = gioca(bbs, percorso[i]);
            if (schermo.find("NO CARRIER") == std::string::npos) continue;
            EXPECT_TRUE(schermo.ends_with("\r\n\r\nNO CARRIER") && !bbs.connesso()) << passo << ":\n" << schermo;
            const bool fino_in_fondo = schermo.find("Immetti il numero del messaggio, F per") != std::string::npos &&
                                       schermo.find("arrivederci") != std::string::npos;
            EXPECT_EQ(fino_in_fondo, passo.empty()) << passo << ":\n" << schermo;
            return i;
        }
        return percorso.size();
    };
    std::size_t precedente = 0;
    for (const std::string& passo : passi_bbs()) {
        const std::size_t qui = caduta(passo);
        EXPECT_GT(qui, precedente) << passo;
        precedente = qui;
    }
    EXPECT_EQ(caduta(""), percorso.size() - 1);
}

}  // namespace
}  // namespace j8::prova
