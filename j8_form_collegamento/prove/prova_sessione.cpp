// Whole sessions on the BBS simulation, one test per way they end (handed
// over to the update, or stopped early), the password never shown; then
// the waits for a prompt and for a transfer window, and the text helpers.

#include <tuple>

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

using ::testing::ElementsAre;

class sessione : public banco_sessione {
protected:
    // No message, and no file on the disk, shows the password or a part of it.
    void nessuna_traccia(const std::vector<std::string>& parti) {
        std::vector<std::string> testi = messaggi();
        for (const std::string& f : p->tutti_i_file()) testi.push_back(p->leggi_file(f));
        for (const std::string& t : testi)
            for (const std::string& parte : parti) EXPECT_EQ(t.find(parte), std::string::npos) << parte;
    }
};

const std::string bs5 = "{bs}{bs}{bs}{bs}{bs}";

TEST_F(sessione, senza_file_da_inviare_ricezione_prima_del_modem_e_due_pacchetti_scaricati) {
    prepara();
    // Transcripts of earlier sessions: with this one, the newest 30 stay.
    const std::string log = p->direttorio_programma() + "\\log\\";
    for (int i = 10; i < 45; ++i) p->crea_file(log + "sessione_200001" + std::to_string(i) + "_000000.txt", "vecchia");
    p->crea_file(log + "altro.txt");
    // Another program's window comes in front mid-session: it gets no key.
    p->dopo(20, [this] { p->apri_finestra("Altro programma"); });
    sessione_completa(impostazioni_standard(0));
    for (const auto& v : p->voci(piattaforma_copione::tipo::tasti)) EXPECT_NE(v.titolo, "Altro programma");
    EXPECT_EQ(p->elenca_file(log, "sessione_*.txt").size(), 30u);
    EXPECT_TRUE(p->esiste_file(log + "altro.txt"));
    EXPECT_FALSE(p->esiste_file(log + "sessione_20000115_000000.txt"));
    EXPECT_TRUE(p->esiste_file(log + "sessione_20000116_000000.txt"));
    const std::string trascrizione = p->leggi_file(form->percorso_trascrizione);
    for (const char* voce : {"tasti: {bs}{bs}{bs}{bs}{bs}cliente{enter}", "attesa di \"Immetti la password:\"",
                             "fine attesa: 1", "schermo:", "finestra di trasferimento: Zmodem",
                             "file ricevuto: j8000002.exe"})
        EXPECT_NE(trascrizione.find(voce), std::string::npos) << voce;
    // Every entry starts with the time of day.
    const std::size_t voce = trascrizione.find("tasti: ********{enter}");
    ASSERT_TRUE(voce != std::string::npos && voce >= 9);
    EXPECT_THAT(trascrizione.substr(voce - 9, 9), ::testing::MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2} "));
    // Each screen copied is noted from the start of its first changed line:
    // the modem's answer once, a prompt whole.
    EXPECT_EQ(trascrizione.find("| CONNECT"), trascrizione.rfind("| CONNECT"));
    EXPECT_NE(trascrizione.find("schermo (seguito):\r\n    | Immetti la password:********"), std::string::npos);

    // Path B: the receive folder is set before the modem is touched; the
    // dial string is trimmed and follows the modem set-up.
    const auto tasti = p->tasti_mandati();
    const int ricezione = primo("%tr");
    ASSERT_GE(ricezione, 0);
    EXPECT_LT(ricezione, primo("at{enter}"));
    EXPECT_EQ(primo("%tv"), -1);
    EXPECT_EQ(tasti[0], "{esc}");
    EXPECT_EQ(tasti[ricezione + 2], "c:\\j8\\DA_BBS{tab}{tab}Z");
    EXPECT_GT(primo("atdt0612345678{enter}"), primo("atx3s7=60{enter}"));
    EXPECT_EQ(quanti("%es"), 0);  // the Italian menus
    // Both packages came down, each with a transfer of its own.
    EXPECT_EQ(p->leggi_file("c:\\j8\\DA_BBS\\j8000001.exe"), "pacchetto uno");
    EXPECT_EQ(p->leggi_file("c:\\j8\\DA_BBS\\j8000002.exe"), "pacchetto due");
    EXPECT_EQ(quanti("C"), 1);
    // Logout, the terminal closed through its file menu, then the update.
    EXPECT_GE(primo("%fe"), primo(bs5 + "S{enter}"));
    EXPECT_TRUE(terminale->chiuso);
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
    EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto", "mostra", "esegui_aggiornamento"));
    EXPECT_FALSE(form->modello.Timer1.abilitato || form->modello.Timer2.abilitato);
}

TEST_F(sessione, con_file_da_inviare_modem_prima_della_ricezione_e_file_caricati_in_inglese) {
    // User id and password full of notation characters reach the BBS as written.
    const std::string utente = "cli+ente{x}", password = "K+p%9(x)~^{a}";
    prepara([&](scenario& s) {
        s.utente = utente;
        s.password = password;
        s.inglese = true;
    });
    p->scrivi_file("c:\\j8\\A_BBS\\ordine1.txt", "ordine uno");
    p->scrivi_file("c:\\j8\\A_BBS\\ordine2.txt", "ordine due");
    std::vector<std::string> righe = impostazioni_standard(1, password);
    righe[5] = "userid bbs=" + utente;
    sessione_completa(righe);

    // Path A: the modem first, the upload, and only then the receive folder.
    const int modem = primo("at{enter}");
    const int carico = primo(bs5 + "LS MAIN U * Z{enter}");
    const int invio = primo("%tvc:\\j8\\A_BBS\\*.*{tab}{tab}Z{tab}{enter}");
    ASSERT_GE(modem, 0);
    EXPECT_LT(modem, carico);
    EXPECT_LT(carico, invio);
    EXPECT_LT(invio, primo("%tr"));
    EXPECT_EQ(p->leggi_file("c:\\bbs\\carico\\ordine1.txt"), "ordine uno");
    EXPECT_EQ(p->leggi_file("c:\\bbs\\carico\\ordine2.txt"), "ordine due");
    // English terminal: its own menu keys (closed with them too), and the
    // downloads still arrive.
    EXPECT_EQ(quanti("%ms"), 0);
    EXPECT_TRUE(terminale->chiuso);
    EXPECT_TRUE(p->esiste_file("c:\\j8\\DA_BBS\\j8000002.exe"));
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
    const std::string trascrizione = p->leggi_file(form->percorso_trascrizione);
    EXPECT_NE(trascrizione.find("file da inviare: ordine2.txt"), std::string::npos);
    EXPECT_NE(trascrizione.find("\\*.*{tab}"), std::string::npos);
    // Nor its length, which the BBS's echo of asterisks would tell.
    nessuna_traccia({password, tasti_letterali(password), "9(x)", std::string(password.size(), '*')});
}

TEST_F(sessione, ogni_casella_porta_all_uscita_e_all_aggiornamento) {
    struct caso {
        std::vector<messaggio_posta> posta;
        std::vector<std::string> scaricati;
        bool letta;  // the mail was opened
    };
    const std::vector<caso> casi = {
        {{}, {}, false},  // empty
        {{{false, "j8000001.exe", "Vecchio"}, {false, "j8000002.exe", "Vecchio"}}, {}, true},  // nothing new
        {{{true, "", "Avviso"}, {true, "j8000002.exe", "Aggiornamento"}}, {"j8000002.exe"}, true},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.posta.size() + c.scaricati.size());
        prepara([&](scenario& s) { s.posta = c.posta; });
        sessione_completa(impostazioni_standard(0));
        EXPECT_EQ(primo(bs5 + "R{enter}") >= 0, c.letta);
        EXPECT_EQ(quanti(bs5 + "Z{enter}"), static_cast<int>(c.scaricati.size()));
        EXPECT_EQ(p->elenca_file("c:\\j8\\DA_BBS", "*.*"), c.scaricati);
        EXPECT_EQ(quanti(bs5 + "X{enter}"), 2);
        EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
        EXPECT_TRUE(messaggi().empty());
    }
}

// Every way a session can stop early: the message names the cause and the
// transcript, the terminal is closed when it can still be reached, nothing
// goes on to the update, and the password is nowhere to be read.
TEST_F(sessione, ogni_interruzione_chiude_il_terminale_e_lo_dice) {
    struct caso {
        std::string passo;  // where the carrier drops, or the line's state, or ""
        bool con_file;
        std::string messaggio;
        std::function<void()> guasto;  // besides the scenario
    };
    const std::string segreta = "Segr+eta(77)";
    const std::vector<caso> casi = {
        {"occupata", false, msg_manca_portante, nullptr},
        {"muta", false, msg_manca_portante, nullptr},
        {"accesso", false, msg_manca_portante, nullptr},
        {"password", false, msg_manca_portante, nullptr},
        {"menu", true, msg_manca_portante, nullptr},
        {"carico", true, msg_manca_portante, nullptr},
        {"posta", false, msg_manca_portante, nullptr},
        {"lettura", false, msg_manca_portante, nullptr},
        {"messaggio", false, msg_manca_portante, nullptr},
        {"scarico", false, msg_manca_portante, nullptr},
        {"uscita", true, msg_manca_portante, nullptr},
        {"", false, msg_password_rifiutata, nullptr},
        {"", false, msg_terminale_perso, [this] { p->dopo(25, [this] { terminale->chiudi(); }); }},
        {"", false, "Il BBS non ha risposto in tempo: collegamento interrotto. Si attendeva \"at\r\nOK\".",
         [this] { p->fonte_appunti = [] { return std::string("at"); }; }},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.passo + " " + c.messaggio);
        prepara([&](scenario& s) {
            if (c.passo == "occupata") s.stato_linea = linea::occupata;
            else if (c.passo == "muta") s.stato_linea = linea::muta;
            else s.portante_persa = c.passo;
            s.password = c.messaggio == msg_password_rifiutata ? "altra" : segreta;
        });
        if (c.con_file) p->scrivi_file("c:\\j8\\A_BBS\\ordine1.txt", "ordine uno");
        if (c.guasto) c.guasto();
        std::size_t tasti_alla_chiusura = 0;
        p->dopo(25.001, [&] { tasti_alla_chiusura = p->tasti_mandati().size(); });
        sessione_completa(impostazioni_standard(0, segreta));

        ASSERT_EQ(messaggi().size(), 1u);
        EXPECT_EQ(messaggi()[0], c.messaggio + "\r\n\r\n" + msg_trascrizione + form->percorso_trascrizione);
        EXPECT_EQ(form->esito, fine_sessione::manca_portante);
        EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto"));
        EXPECT_TRUE(terminale->chiuso);
        EXPECT_LE(quanti("atdt0612345678{enter}"), 1);  // never dialled again
        // A download done before the stop stays.
        EXPECT_EQ(p->esiste_file("c:\\j8\\DA_BBS\\j8000001.exe"),
                  c.passo == "uscita" || c.messaggio == msg_terminale_perso);
        const auto tasti = p->tasti_mandati();
        if (c.messaggio == msg_terminale_perso) {
            EXPECT_EQ(tasti.size(), tasti_alla_chiusura);  // nothing typed once it went
        } else {
            EXPECT_THAT(std::vector(tasti.end() - 2, tasti.end()), ElementsAre("%fe", "S"));  // file menu, quit
        }
        const std::string trascrizione = p->leggi_file(form->percorso_trascrizione);
        EXPECT_NE(trascrizione.find("sessione interrotta"), std::string::npos);
        nessuna_traccia({"Segr", "+eta", "(77)", "{(}77{)}"});
        if (primo(tasti_letterali(segreta) + "{enter}") >= 0) {
            EXPECT_NE(trascrizione.find("tasti: ********{enter}"), std::string::npos);
        }
    }
}

class attese : public banco_sessione {
protected:
    // A fresh world with the terminal running.
    void SetUp() override {
        prepara();
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
