// Waiting for a prompt on the copied screen and for a ZMODEM transfer
// window, on the stand-in's virtual clock.

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
    // The screen reads `prima` until `quando` seconds, then `dopo`.
    void schermo(std::string prima, double quando = 1e9, std::string dopo = "") {
        p->schermo_copione = [=](double t) { return t < quando ? prima : dopo; };
    }
    // Windows with these titles are open between `da` and `a` seconds.
    struct aperta {
        std::string titolo;
        double da, a;
    };
    void finestre(std::vector<aperta> elenco) {
        p->altre_finestre = [elenco](double t) {
            std::vector<std::string> v;
            for (const auto& f : elenco)
                if (t >= f.da && t < f.a) v.push_back(f.titolo);
            return v;
        };
    }
};

const std::string password = "Immetti la password:";

TEST_F(attese, il_prompt_seguito_da_righe_vuote_vale_ma_non_se_seguito_da_altro) {
    schermo("Benvenuto\r\n" + password + "\r\n\r\n\r\n");
    EXPECT_EQ(form->risposta("cliente{enter}", password), 1);
    EXPECT_EQ(form->schermo, "Benvenuto\r\n" + password);

    for (const std::string coda : {" ", "\r\n ", "\n", "."}) {
        SCOPED_TRACE(coda);
        const double inizio = p->trascorsi();
        schermo(password + coda, inizio + 30, password);
        EXPECT_EQ(form->risposta("x", password), 1);
        EXPECT_GE(p->trascorsi() - inizio, 30);
    }
}

TEST_F(attese, il_confronto_distingue_maiuscole) {
    schermo("immetti la password:", 12, password);
    EXPECT_EQ(form->risposta("x", password), 1);
    EXPECT_GE(p->trascorsi(), 12);
}

TEST_F(attese, no_carrier_ovunque_vince_anche_sul_prompt_atteso) {
    schermo("CONNECT\r\nNO CARRIER\r\n" + password);
    EXPECT_EQ(form->risposta("x", password, "BUSY"), 0);
    schermo("xNO CARRIERx");
    EXPECT_EQ(form->risposta("x", password), 0);
    // Split across a line it is not the text any more.
    schermo("NO\r\nCARRIER", 5, password);
    EXPECT_EQ(form->risposta("x", password), 1);
}

TEST_F(attese, alternativo_e_atteso_fine) {
    schermo("atdt0612345678\r\nBUSY\r\n");
    EXPECT_EQ(form->risposta("atdt{enter}", "Altrimenti batti \"new\":", "BUSY"), 2);
    schermo("E-mail (R,W,M,E,F,S,X per fine, o ? per menu):");
    EXPECT_EQ(form->risposta("R", "(Premi ENTER per partire con i nuovi messaggi):", "primo messaggio",
                             std::nullopt, false, "E-mail (R,W,M,E,F,S,X per fine, o ? per menu):"),
              3);
    // An alternative text in the middle of the screen does not count...
    schermo("BUSY\r\nOK", 4, "OK");
    EXPECT_EQ(form->risposta("x", "OK", "BUSY"), 1);
}

TEST_F(attese, il_segnaposto_carico_file_cerca_l_atteso_ovunque) {
    schermo("LS MAIN U * Z\r\nInizio caricamento ZMODEM\r\n**B0100000023be50\r\n");
    EXPECT_EQ(form->risposta("LS", "Inizio caricamento ZMODEM", "Carico_file"), 2);
    schermo("Inizio caricamento ZMODEM");
    EXPECT_EQ(form->risposta("LS", "Inizio caricamento ZMODEM", "Carico_file"), 2);
    // Any other alternative is only looked for at the end.
    schermo("Inizio caricamento ZMODEM\r\nxx", 7, "Inizio caricamento ZMODEM");
    EXPECT_EQ(form->risposta("LS", "Inizio caricamento ZMODEM", "Altro"), 1);
    EXPECT_GE(p->trascorsi(), 7);
}

TEST_F(attese, ogni_giro_seleziona_e_copia_lo_schermo_del_terminale) {
    schermo("", 3, password);
    EXPECT_EQ(form->risposta("cliente{enter}", password), 1);
    EXPECT_EQ(p->tasti, (std::vector<std::string>{"cliente{enter}", "%ms", "%m{enter}{end}", "%ms",
                                                    "%m{enter}{end}", "%ms", "%m{enter}{end}"}));
    // One activation per round, and one more before every string typed.
    EXPECT_EQ(p->attivazioni, 4 + 7);
    EXPECT_FALSE(form->in_ritardo);
}

TEST_F(attese, oltre_il_limite_la_risposta_e_in_ritardo_ma_l_attesa_continua) {
    schermo("...", 150, password);
    EXPECT_EQ(form->risposta("x", password), 1);
    EXPECT_GE(p->trascorsi(), 150);
    EXPECT_LT(p->trascorsi(), 153);
    EXPECT_TRUE(form->in_ritardo);
}

TEST_F(attese, il_ritardo_si_aspetta_prima_di_guardare) {
    schermo(password);
    EXPECT_EQ(form->risposta("x", password, std::nullopt, 10.0), 1);
    EXPECT_GE(p->trascorsi(), 11);
    EXPECT_LT(p->trascorsi(), 12);
}

TEST_F(attese, attesa_aspetta_i_secondi_chiesti) {
    form->attesa(3);
    // The clock is read in single precision, as the old runtime's timer.
    EXPECT_GE(p->trascorsi(), 2.99);
    EXPECT_LT(p->trascorsi(), 3.1);
    EXPECT_TRUE(p->tasti.empty());
}

TEST_F(attese, zmodem_inizio_e_fine_della_finestra) {
    finestre({{"Zmodem - ricezione j8000001.exe", 2, 7}});
    EXPECT_TRUE(form->gestione_zmodem());
    EXPECT_TRUE(form->zmodem_iniziato);
    EXPECT_TRUE(form->zmodem_finito);
    EXPECT_FALSE(form->modello.Timer2.abilitato);
    EXPECT_GE(p->trascorsi(), 7);
    EXPECT_LT(p->trascorsi(), 7.2);

    // The next wait starts afresh.
    const double inizio = p->trascorsi();
    finestre({{"Zmodem", inizio + 1, inizio + 2}});
    EXPECT_TRUE(form->gestione_zmodem());
    EXPECT_LT(p->trascorsi() - inizio, 2.2);
}

TEST_F(attese, zmodem_finestre_non_riconosciute_fanno_attendere_180_secondi) {
    for (const std::string titolo : {"zmodem - ricezione", "ZMODEM", " Zmodem", "Zmode", ""}) {
        SCOPED_TRACE(titolo);
        const double inizio = p->trascorsi();
        finestre({{titolo, inizio, inizio + 20}});
        EXPECT_FALSE(form->gestione_zmodem());
        EXPECT_FALSE(form->zmodem_iniziato);
        EXPECT_FALSE(form->modello.Timer2.abilitato);
        EXPECT_GE(p->trascorsi() - inizio, 180);
        EXPECT_LT(p->trascorsi() - inizio, 181);
    }
}

TEST_F(attese, zmodem_trasferimento_oltre_180_secondi_viene_abbandonato) {
    finestre({{"Zmodem - ricezione", 1, 400}});
    EXPECT_FALSE(form->gestione_zmodem());
    EXPECT_TRUE(form->zmodem_iniziato);
    EXPECT_FALSE(form->zmodem_finito);
    EXPECT_FALSE(form->modello.Timer2.abilitato);
    EXPECT_GE(p->trascorsi(), 180);
    EXPECT_LT(p->trascorsi(), 181);
}

TEST_F(attese, zmodem_finestra_rimasta_aperta_da_prima_nasconde_la_fine) {
    finestre({{"Zmodem - vecchio trasferimento", 0, 1e9}, {"Zmodem - ricezione", 3, 6}});
    EXPECT_FALSE(form->gestione_zmodem());
    EXPECT_TRUE(form->zmodem_iniziato);
    EXPECT_GE(p->trascorsi(), 180);
}

TEST_F(attese, risposta_con_trasferimento_aspetta_la_fine_della_finestra) {
    finestre({{"Zmodem", 1, 25}});
    schermo("(P)=precedente, o (N)=prossimo?");
    EXPECT_EQ(form->risposta("Z{enter}", "(P)=precedente, o (N)=prossimo?", std::nullopt, std::nullopt, true), 1);
    EXPECT_GE(p->trascorsi(), 26);
    EXPECT_LT(p->trascorsi(), 27);
}

}  // namespace
}  // namespace j8::prova
