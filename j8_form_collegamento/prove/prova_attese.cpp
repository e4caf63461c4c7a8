// Waiting for a prompt on the copied screen and for a ZMODEM transfer
// window, on the stand-in's virtual clock; the screen's trailing line ends
// and the hidden password.

#include <optional>
#include <tuple>

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

class attese : public banco_sessione {
protected:
    // A fresh world with the terminal running.
    void SetUp() override {
        prepara(scenario_base());
        form->limite_risposta = 100;
        form->limite_zmodem = 180;
        form->id_terminale = p->avvia_programma(percorso_terminale);
        form->tasti_copia = "%m{enter}{end}";
    }
    // The screen reads `prima` until `quando` seconds from now, then `dopo`.
    void schermo(std::string prima, double quando = 1e9, std::string dopo = "") {
        const double da = trascorsi();
        p->fonte_appunti = [=, this] { return trascorsi() - da < quando ? prima : dopo; };
    }
    // A window with this title is open between `da` and `a` seconds from now.
    void finestre(const std::vector<std::tuple<std::string, double, double>>& elenco) {
        for (const auto& [titolo, da, a] : elenco)
            p->dopo(da, [this, t = titolo, durata = a - da] {
                const maniglia h = p->apri_finestra(t);
                p->dopo(durata, [this, h] { p->chiudi_finestra(h); });
            });
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
        {password + "\n", 30, password, password, {}, 1, 30, 32},
        {"immetti la password:", 12, password, password, {}, 1, 12, 14},  // case counts
        // NO CARRIER anywhere wins, even over the prompt; split, it is not the text.
        {"CONNECT\r\nNO CARRIER\r\n" + password, 1e9, "", password, "BUSY", 0, 0, 2},
        {"xNO CARRIERx", 1e9, "", password, {}, 0, 0, 2},
        {"NO\r\nCARRIER", 5, password, password, {}, 1, 5, 7},
        {"atdt0612345678\r\nBUSY\r\n", 1e9, "", "Altrimenti batti \"new\":", "BUSY", 2, 0, 2},
        {"BUSY\r\nOK", 1e9, "", "OK", "BUSY", 1, 0, 2},  // an alternative only at the end...
        // ...but this one anywhere.
        {"LS MAIN U * Z\r\n" + zmodem + "\r\n**B0100000023be50\r\n", 1e9, "", zmodem, "Carico_file", 2, 0, 2},
        {"...", 150, password, password, {}, 1, 150, 153},  // late, still waited for
        {password, 1e9, "", password, {}, 1, 11, 12, 10.0},  // the delay comes first
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.prima + " -> " + c.atteso);
        SetUp();
        schermo(c.prima, c.quando, c.dopo);
        const double inizio = trascorsi();
        EXPECT_EQ(form->risposta("x", c.atteso, c.alternativo, c.ritardo), c.risultato);
        EXPECT_GE(trascorsi() - inizio, c.da);
        EXPECT_LT(trascorsi() - inizio, c.a);
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
    EXPECT_EQ(p->tasti_mandati(), (std::vector<std::string>{"cliente{enter}", "%ms", "%m{enter}{end}", "%ms",
                                                    "%m{enter}{end}", "%ms", "%m{enter}{end}"}));
    // The terminal brought in front for the string typed and for each round.
    EXPECT_EQ(p->voci(piattaforma_copione::tipo::attiva_task).size(), 4u);
    form->attesa(3);
    // The clock is read in single precision, as the old runtime's timer.
    EXPECT_GE(trascorsi(), 5.99);
    EXPECT_LT(trascorsi(), 6.1);
    EXPECT_EQ(p->tasti_mandati().size(), 7u);
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
        {{{"Zmodem - ricezione", 1, 400}}, false, true, 180, 181},  // too long: given up
        {{{"Zmodem - vecchio", 0, 1e9}, {"Zmodem - ricezione", 3, 6}}, false, true, 180, 181},  // left open
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(std::get<0>(c.finestre[0]));
        SetUp();
        finestre(c.finestre);
        const double inizio = trascorsi();
        EXPECT_EQ(form->gestione_zmodem(), c.riuscita);
        EXPECT_EQ(form->zmodem_iniziato, c.iniziato);
        EXPECT_EQ(form->zmodem_finito, c.riuscita);
        EXPECT_FALSE(form->modello.Timer2.abilitato);
        EXPECT_GE(trascorsi() - inizio, c.da);
        EXPECT_LT(trascorsi() - inizio, c.a);
    }
    // A wait for a prompt after a transfer waits for its window to close.
    SetUp();
    finestre({{"Zmodem", 1, 25}});
    schermo("(P)=precedente, o (N)=prossimo?");
    const double inizio = trascorsi();
    EXPECT_EQ(form->risposta("Z{enter}", "(P)=precedente, o (N)=prossimo?", std::nullopt, std::nullopt, true), 1);
    EXPECT_GE(trascorsi() - inizio, 26);
    EXPECT_LT(trascorsi() - inizio, 27);
}

TEST(testi_sessione, coppie_cr_lf_finali_e_password_nascosta) {
    EXPECT_EQ(form_collegamento::pulisci_finale("menu:\r\n\r\n\r\n"), "menu:");
    EXPECT_EQ(form_collegamento::pulisci_finale("\r\n\r\n"), "");
    // A lone CR or LF stops the removal.
    EXPECT_EQ(form_collegamento::pulisci_finale("menu:\r\n\r"), "menu:\r\n\r");
    EXPECT_EQ(form_collegamento::pulisci_finale("menu:\n\r\n"), "menu:\n");
    // Always 8 asterisks, even when the mask itself holds the password.
    EXPECT_EQ(nascondi_password("a zeta, zetazeta.", " zeta "), "a ********, ****************.");
    EXPECT_EQ(nascondi_password("x**y", "*"), "x****************y");
    EXPECT_EQ(nascondi_password("a  b", "  "), "a  b");  // a blank password hides nothing
}

}  // namespace
}  // namespace j8::prova
