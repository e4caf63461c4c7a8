// The BBS simulation alone, for what the session tests driving whole
// sessions through it (j8_form_collegamento/prove) never reach: a human's
// wrong turns, the carrier dropping exactly at each step, any key sequence.

#include <gtest/gtest.h>

#include <random>

#include "mondo_prova/terminale/simulazione_bbs.hpp"

namespace j8::prova {
namespace {

// The terminal's acts besides typing, coded as in the fuzz target.
const std::string prendi = "\x01", avvia = "\x02", riuscito = "\x03", fallito = "\x04";
const std::string menu = "Immetti la tua scelta (T,I,F,E,L,A,P,D,R,Q,? per help, or X per uscire):";
const std::string email = "E-mail (R,W,M,E,F,S,X per fine, o ? per menu):";
const std::string utente = "Immetti il tuo nome utente se sei gia' registrato.\r\nAltrimenti batti \"new\":";
const std::string dentro = "atdt1\rcliente\rzeta\r";

// Plays `tasti` and returns the screen without its trailing line ends.
std::string gioca(simulazione_bbs& bbs, std::string_view tasti) {
    for (char c : tasti) {
        if (c == 1 && bbs.prendi_scarico()) EXPECT_FALSE(bbs.prendi_scarico().has_value()) << "taken once";
        else if (c == 2) bbs.caricamento_avviato();
        else if (c == 3 || c == 4) bbs.trasferimento_concluso(c == 3, 1);
        else if (c == 5) bbs.riaggancia();
        else if (c != 1) bbs.tasto(c);
    }
    std::string s = bbs.schermo();
    return s.erase(s.find_last_not_of("\r\n") + 1);
}

TEST(simulazione_bbs, strade_che_la_sessione_non_prende) {
    struct caso {
        linea stato_linea;
        std::string tasti, fine;
        bool connesso;
    };
    const caso casi[] = {
        {linea::occupata, "atdt1\r", "atdt1\r\nBUSY", false},
        {linea::muta, "atdt1\r", "atdt1\r\nNO CARRIER", false},
        {linea::libera, "atdt1\rrossi\r", "Utente sconosciuto.\r\n\r\n" + utente, true},
        {linea::libera, "atdt1\rCLIENTE\rZETA\r", "Password errata.\r\nImmetti la password:", true},
        {linea::libera, "atdt1\rcliente\rx\ry\rz\r", "Troppi tentativi errati.\r\n\r\nNO CARRIER", false},
        {linea::libera, "atdt1\rcliente\rzetx\ba\r", "password:****\r\n\r\nBenvenuto, CLIENTE!\r\n\r\n" + menu, true},
        {linea::libera, dentro + "X\rN\r", "re-logon)?N\r\n\r\n" + menu, true},
        {linea::libera, dentro + "X\rR\r", "re-logon)?R\r\n\r\n" + utente, true},
        {linea::libera, dentro + "X\rS\rat\r", "arrivederci.\r\n\r\nNO CARRIER\r\nat\r\nOK", false},
        {linea::libera, dentro + "E\rR\r", "Hai 2 nuovi messaggi.\r\n(Premi ENTER per partire con i nuovi messaggi):",
         true},
        {linea::libera, dentro + "E\rR\r\rN\rE\rx\rS", "(C)ontinua?S\r\n\r\nFine dei messaggi.\r\n\r\n" + email, true},
        {linea::libera, dentro + "E\rR\r\rN\rE\rNR\r", "Non ci sono nuovi messaggi.\r\n\r\n" + email, true},
        {linea::libera, dentro + "LS MAIN U * Z\r" + avvia + fallito,
         "Caricamento non riuscito.\r\nImmetti scelta, ? per help, o X per fine:", true},
    };
    for (const caso& c : casi) {
        scenario s;
        s.stato_linea = c.stato_linea;
        s.posta = {{false, "", "Avviso"}, {true, "a.exe", "Aggiornamento"}, {true, "", "Avviso nuovo"}};
        simulazione_bbs bbs{s};
        const std::string schermo = gioca(bbs, c.tasti);
        EXPECT_TRUE(schermo.ends_with(c.fine)) << c.tasti << "\nscreen:\n" << schermo;
        EXPECT_EQ(bbs.connesso(), c.connesso) << c.tasti;
    }
}

// One call through every step, the carrier dropped at each in turn: the
// call ends there, each step later than the one before it in passi_bbs().
TEST(simulazione_bbs, portante_persa_proprio_al_passo_indicato) {
    const std::string percorso = dentro + "LS MAIN U * Z\r" + avvia + riuscito + "X\rE\rR\rF\rS\rZ\r" + prendi +
                                 riuscito + "X\rX\rX\rS\r";
    const auto caduta = [&](const std::string& passo) {
        scenario s;
        s.posta = {{true, "a.exe", "Aggiornamento"}};  // all new: the number prompt
        s.portante_persa = passo;
        simulazione_bbs bbs{s};
        for (std::size_t i = 0; i < percorso.size(); ++i) {
            const std::string schermo = gioca(bbs, percorso.substr(i, 1));
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

TEST(simulazione_bbs, qualsiasi_sequenza_di_tasti_e_trasferimenti) {
    std::mt19937 caso(1234);
    const std::string alfabeto = "atdATD0123456789\r\b\x1b xXsSnNcCeErRfFzZLS MAIN U*?clientezeta\x7f\xe8";
    for (int prova = 0; prova < 200; ++prova) {
        scenario s;
        s.posta = {{true, "a.exe", "A"}, {false, "", "B"}, {true, "b.exe", "C"}, {true, "", "D"}};
        if (prova % 3 == 1) s.portante_persa = passi_bbs()[prova % passi_bbs().size()];
        simulazione_bbs bbs{s};
        std::string tasti = dentro;
        for (int i = 0; i < 3000; ++i) {
            const unsigned scelta = caso() % 100;
            tasti += static_cast<char>(scelta < 5 ? scelta + 1 : scelta < 12 ? caso() % 256
                                                                 : alfabeto[caso() % alfabeto.size()]);
        }
        gioca(bbs, tasti);
        ASSERT_LE(bbs.schermo().size(), 200000u);
    }
}

}  // namespace
}  // namespace j8::prova
