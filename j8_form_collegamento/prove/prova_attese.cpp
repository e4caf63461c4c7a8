// Waiting for a prompt on the copied screen and for a ZMODEM transfer
// window, on the stand-in's virtual clock.

#include <optional>
#include <tuple>

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

class attese : public banco_sessione {
protected:
    void SetUp() override {
        prepara(scenario_base());
        form->limite_risposta = 100;
        form->limite_zmodem = 180;
        form->id_terminale = id_hyperterminal;
        form->tasti_copia = "%m{enter}{end}";
    }
    // The screen reads `prima` until `quando` seconds from now, then `dopo`.
    void schermo(std::string prima, double quando = 1e9, std::string dopo = "") {
        const double da = p->trascorsi();
        p->schermo_copione = [=](double t) { return t - da < quando ? prima : dopo; };
    }
    // A window with this title is open between `da` and `a` seconds from now.
    void finestre(std::vector<std::tuple<std::string, double, double>> elenco) {
        const double ora = p->trascorsi();
        p->altre_finestre = [=](double t) {
            std::vector<std::string> v;
            for (const auto& [titolo, da, a] : elenco)
                if (t - ora >= da && t - ora < a) v.push_back(titolo);
            return v;
        };
    }
};

const std::string password = "Immetti la password:";
const std::string email = "E-mail (R,W,M,E,F,S,X per fine, o ? per menu):";

// The result of a wait (1 the prompt, 2 the alternative, 3 the end text,
// 0 the carrier lost) and how long it took.
TEST_F(attese, risposta_per_ogni_schermo) {
    struct caso {
        std::string prima;
        double quando;
        std::string dopo, atteso;
        std::optional<std::string> alternativo;
        int risultato;
        double da, a;  // seconds it takes
        std::optional<double> ritardo = std::nullopt;
    };
    const std::string zmodem = "Inizio caricamento ZMODEM";
    const std::vector<caso> casi = {
        {"Benvenuto\r\n" + password + "\r\n\r\n\r\n", 1e9, "", password, {}, 1, 0, 2},
        // Anything after the prompt but CR LF pairs makes it not yet there.
        {password + " ", 30, password, password, {}, 1, 30, 32},
        {password + "\r\n ", 30, password, password, {}, 1, 30, 32},
        {password + "\n", 30, password, password, {}, 1, 30, 32},
        {"immetti la password:", 12, password, password, {}, 1, 12, 14},  // case counts
        // NO CARRIER anywhere wins, even over the prompt; split, it is not the text.
        {"CONNECT\r\nNO CARRIER\r\n" + password, 1e9, "", password, "BUSY", 0, 0, 2},
        {"xNO CARRIERx", 1e9, "", password, {}, 0, 0, 2},
        {"NO\r\nCARRIER", 5, password, password, {}, 1, 5, 7},
        {"atdt0612345678\r\nBUSY\r\n", 1e9, "", "Altrimenti batti \"new\":", "BUSY", 2, 0, 2},
        {"BUSY\r\nOK", 1e9, "", "OK", "BUSY", 1, 0, 2},  // an alternative only at the end...
        {zmodem + "\r\nxx", 7, zmodem, zmodem, "Altro", 1, 7, 9},
        {"LS MAIN U * Z\r\n" + zmodem + "\r\n**B0100000023be50\r\n", 1e9, "", zmodem, "Carico_file", 2, 0, 2},
        {zmodem, 1e9, "", zmodem, "Carico_file", 2, 0, 2},  // ...but this one anywhere
        {"...", 150, password, password, {}, 1, 150, 153},  // late, still waited for
        {password, 1e9, "", password, {}, 1, 11, 12, 10.0},  // the delay comes first
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.prima + " -> " + c.atteso);
        schermo(c.prima, c.quando, c.dopo);
        const double inizio = p->trascorsi();
        EXPECT_EQ(form->risposta("x", c.atteso, c.alternativo, c.ritardo), c.risultato);
        EXPECT_GE(p->trascorsi() - inizio, c.da);
        EXPECT_LT(p->trascorsi() - inizio, c.a);
        EXPECT_EQ(form->in_ritardo, c.da > 100);
    }
    EXPECT_EQ(form->schermo, password);
    schermo(email);
    EXPECT_EQ(form->risposta("R", "(Premi ENTER per partire con i nuovi messaggi):", "primo messaggio",
                             std::nullopt, false, email), 3);
}

TEST_F(attese, ogni_giro_seleziona_e_copia_lo_schermo_del_terminale) {
    schermo("", 3, password);
    EXPECT_EQ(form->risposta("cliente{enter}", password), 1);
    EXPECT_EQ(p->tasti, (std::vector<std::string>{"cliente{enter}", "%ms", "%m{enter}{end}", "%ms",
                                                    "%m{enter}{end}", "%ms", "%m{enter}{end}"}));
    // One activation per round, and one more before every string typed.
    EXPECT_EQ(p->attivazioni, 4 + 7);
    form->attesa(3);
    // The clock is read in single precision, as the old runtime's timer.
    EXPECT_GE(p->trascorsi(), 5.99);
    EXPECT_LT(p->trascorsi(), 6.1);
    EXPECT_EQ(p->tasti.size(), 7u);
}

TEST_F(attese, zmodem_per_ogni_finestra) {
    struct caso {
        std::vector<std::tuple<std::string, double, double>> finestre;
        bool riuscita, iniziato;
        double da, a;
    };
    const std::vector<caso> casi = {
        {{{"Zmodem - ricezione j8000001.exe", 2, 7}}, true, true, 7, 7.2},
        {{{"Zmodem", 1, 2}}, true, true, 2, 2.2},  // the next wait starts afresh
        {{{"ZMODEM", 0, 20}}, false, false, 180, 181},  // not recognised
        {{{" Zmodem", 0, 20}}, false, false, 180, 181},
        {{{"Zmode", 0, 20}}, false, false, 180, 181},
        {{{"Zmodem - ricezione", 1, 400}}, false, true, 180, 181},  // too long: given up
        {{{"Zmodem - vecchio", 0, 1e9}, {"Zmodem - ricezione", 3, 6}}, false, true, 180, 181},  // left open
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(std::get<0>(c.finestre[0]));
        finestre(c.finestre);
        const double inizio = p->trascorsi();
        EXPECT_EQ(form->gestione_zmodem(), c.riuscita);
        EXPECT_EQ(form->zmodem_iniziato, c.iniziato);
        EXPECT_EQ(form->zmodem_finito, c.riuscita);
        EXPECT_FALSE(form->modello.Timer2.abilitato);
        EXPECT_GE(p->trascorsi() - inizio, c.da);
        EXPECT_LT(p->trascorsi() - inizio, c.a);
    }
    // A wait for a prompt after a transfer waits for its window to close.
    finestre({{"Zmodem", 1, 25}});
    schermo("(P)=precedente, o (N)=prossimo?");
    const double inizio = p->trascorsi();
    EXPECT_EQ(form->risposta("Z{enter}", "(P)=precedente, o (N)=prossimo?", std::nullopt, std::nullopt, true), 1);
    EXPECT_GE(p->trascorsi() - inizio, 26);
    EXPECT_LT(p->trascorsi() - inizio, 27);
}

}  // namespace
}  // namespace j8::prova
