// Whole sessions on the BBS simulation, one test per way they end (handed
// over to the update, or stopped early), the password never shown; then
// the waits for a prompt and for a transfer window, and the text helpers.

#include <tuple>

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

using ::testing::ElementsAre;

using sessione = banco_sessione;

const std::string bs5 = "{bs}{bs}{bs}{bs}{bs}";

// One whole session on the English terminal with files to send: the modem
// first, the upload, only then the receive folder; both packages down, the
// logout, the terminal closed with its own menu keys, then the update. User
// id and password full of notation characters reach the BBS as written.
TEST_F(sessione, con_file_da_inviare_carico_scarico_e_aggiornamento) {
    const std::string utente = "cli+ente{x}", password = "K+p%9(x)~^{a}";
    prepara([&](scenario& s) {
        s.utente = utente;
        s.password = password;
        s.inglese = true;
    });
    p->scrivi_file("c:\\j8\\A_BBS\\ordine1.txt", "ordine uno");
    p->scrivi_file("c:\\j8\\A_BBS\\ordine2.txt", "ordine due");
    // Transcripts of earlier sessions, listed newest first (as a copied
    // folder may list them): with this one, the newest 30 stay.
    const std::string log = p->direttorio_programma() + "\\log\\";
    for (int i = 44; i >= 10; --i) p->crea_file(log + "sessione_200001" + std::to_string(i) + "_000000.txt", "vecchia");
    p->crea_file(log + "altro.txt");
    // Another program's window comes in front mid-session: it gets no key.
    p->dopo(20, [this] { p->apri_finestra("Altro programma"); });
    std::vector<std::string> righe = impostazioni_standard(1, password);
    righe[5] = "userid bbs=" + utente;
    sessione_completa(righe);
    for (const auto& v : p->voci(piattaforma_copione::tipo::tasti)) EXPECT_NE(v.titolo, "Altro programma");
    EXPECT_EQ(p->elenca_file(log, "sessione_*.txt").size(), 30u);
    EXPECT_TRUE(p->esiste_file(log + "altro.txt"));
    EXPECT_FALSE(p->esiste_file(log + "sessione_20000115_000000.txt"));
    EXPECT_TRUE(p->esiste_file(log + "sessione_20000116_000000.txt"));
    const std::string trascrizione = p->leggi_file(form->percorso_trascrizione);
    for (const char* voce : {"file da inviare: ordine2.txt", "\\*.*{tab}", "attesa di \"Immetti la password:\"",
                             "fine attesa: 1", "schermo:", "finestra di trasferimento: Zmodem - invio file",
                             "finestra di trasferimento: Zmodem - ricezione file j8000002.exe",
                             "file ricevuto: j8000002.exe"})
        EXPECT_NE(trascrizione.find(voce), std::string::npos) << voce;
    EXPECT_EQ(trascrizione.find('\0'), std::string::npos);  // plain text
    // Every entry starts with the time of day.
    const std::size_t voce = trascrizione.find("tasti: ********{enter}");
    ASSERT_TRUE(voce != std::string::npos && voce >= 9);
    EXPECT_THAT(trascrizione.substr(voce - 9, 9), ::testing::MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2} "));
    // Each screen copied is noted from the start of its first changed line:
    // the modem's answer once, a prompt whole.
    EXPECT_EQ(trascrizione.find("| CONNECT"), trascrizione.rfind("| CONNECT"));
    EXPECT_NE(trascrizione.find("schermo (seguito):\r\n    | Immetti la password:********"), std::string::npos);
    // Neither the password nor its length, which the BBS's echo of
    // asterisks would tell, is left anywhere.
    nessuna_traccia({password, tasti_letterali(password), "9(x)", std::string(password.size(), '*')});

    // In this order, the number dialled trimmed.
    const std::vector<int> ordine = {primo("{esc}"), primo("at{enter}"), primo("atx3s7=60{enter}"),
                                     primo("atdt0612345678{enter}"), primo(bs5 + "LS MAIN U * Z{enter}"),
                                     primo("%tvc:\\j8\\A_BBS\\*.*{tab}{tab}Z{tab}{enter}"), primo("%tr")};
    EXPECT_EQ(ordine[0], 0);
    EXPECT_TRUE(std::is_sorted(ordine.begin(), ordine.end())) << ::testing::PrintToString(ordine);
    EXPECT_EQ(p->leggi_file("c:\\bbs\\carico\\ordine1.txt"), "ordine uno");
    EXPECT_EQ(p->leggi_file("c:\\bbs\\carico\\ordine2.txt"), "ordine due");
    EXPECT_EQ(quanti("%ms"), 0);
    // Each package with a transfer of its own.
    EXPECT_EQ(p->leggi_file("c:\\j8\\DA_BBS\\j8000001.exe"), "pacchetto uno");
    EXPECT_EQ(p->leggi_file("c:\\j8\\DA_BBS\\j8000002.exe"), "pacchetto due");
    EXPECT_EQ(quanti("C"), 1);
    EXPECT_GE(primo("%fx"), primo(bs5 + "S{enter}"));
    EXPECT_TRUE(terminale->chiuso);
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
    EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto", "mostra", "esegui_aggiornamento"));
    EXPECT_FALSE(form->modello.Timer1.abilitato || form->modello.Timer2.abilitato);

    // A second session of the same form writes a transcript of its own.
    const std::string prima = form->percorso_trascrizione;
    form->Command1_Click();
    form->Timer1_Timer();
    EXPECT_NE(form->percorso_trascrizione, prima);
    EXPECT_EQ(p->leggi_file(form->percorso_trascrizione).find("file ricevuto"), std::string::npos);
}

// Every other way a session ends, on the Italian terminal. Whatever the
// mailbox holds, the session logs out and goes on to the update; a stop
// comes with a message naming the cause and the transcript, and nothing goes
// on. The terminal is closed when it can still be reached, and the password
// is nowhere to be read.
TEST_F(sessione, ogni_fine_di_sessione) {
    struct caso {
        std::string passo;      // the mailbox, the line's state, or where the carrier drops
        std::string messaggio;  // "": the update
        bool con_file = false;
        std::function<void()> guasto = nullptr;  // besides the scenario
    };
    const std::string segreta = "Segr+eta(77)";
    const std::vector<caso> casi = {
        {"vuota", ""},
        {"letta", ""},   // nothing new
        {"avviso", ""},  // a notice without a file, then a package
        {"occupata", msg_manca_portante},
        {"muta", msg_manca_portante},
        {"accesso", msg_manca_portante},
        {"password", msg_manca_portante},
        {"menu", msg_manca_portante, true},
        {"carico", msg_manca_portante, true},
        {"posta", msg_manca_portante},
        {"lettura", msg_manca_portante},
        {"messaggio", msg_manca_portante},
        {"scarico", msg_manca_portante},
        {"uscita", msg_manca_portante, true},
        {"", msg_password_rifiutata},
        {"", msg_terminale_perso, false, [this] { p->dopo(25, [this] { terminale->chiudi(); }); }},
        {"", "Il BBS non ha risposto in tempo: collegamento interrotto. Si attendeva \"at\r\nOK\".", false,
         [this] { p->fonte_appunti = [] { return std::string("at"); }; }},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.passo + " " + c.messaggio);
        prepara([&](scenario& s) {
            if (c.passo == "vuota") s.posta = {};
            else if (c.passo == "letta") s.posta = {{false, "j8000001.exe", "Vecchio"}};
            else if (c.passo == "avviso") s.posta = {{true, "", "Avviso"}, {true, "j8000002.exe", "Nuovo"}};
            else if (c.passo == "occupata") s.stato_linea = linea::occupata;
            else if (c.passo == "muta") s.stato_linea = linea::muta;
            else s.portante_persa = c.passo;
            s.password = c.messaggio == msg_password_rifiutata ? "altra" : segreta;
        });
        if (c.con_file) p->scrivi_file("c:\\j8\\A_BBS\\ordine1.txt", "ordine uno");
        if (c.guasto) c.guasto();
        std::size_t tasti_alla_chiusura = 0;
        p->dopo(25.001, [&] { tasti_alla_chiusura = p->tasti_mandati().size(); });
        sessione_completa(impostazioni_standard(0, segreta));

        EXPECT_EQ(quanti("%es"), 0);
        EXPECT_TRUE(terminale->chiuso);
        nessuna_traccia({"Segr", "+eta", "(77)", "{(}77{)}"});
        if (c.messaggio.empty()) {
            // Nothing to send: the receive folder set before the modem.
            EXPECT_LT(primo("%tr"), primo("at{enter}"));
            EXPECT_EQ(primo(bs5 + "R{enter}") >= 0, c.passo != "vuota");
            EXPECT_EQ(p->elenca_file("c:\\j8\\DA_BBS", "*.*").size(), c.passo == "avviso" ? 1u : 0u);
            EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
            EXPECT_TRUE(messaggi().empty());
            continue;
        }
        ASSERT_EQ(messaggi().size(), 1u);
        EXPECT_EQ(messaggi()[0], c.messaggio + "\r\n\r\n" + msg_trascrizione + form->percorso_trascrizione);
        EXPECT_EQ(form->esito, fine_sessione::manca_portante);
        EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto"));
        // A download done before the stop stays.
        EXPECT_EQ(p->esiste_file("c:\\j8\\DA_BBS\\j8000001.exe"),
                  c.passo == "uscita" || c.messaggio == msg_terminale_perso);
        const auto tasti = p->tasti_mandati();
        if (c.messaggio == msg_terminale_perso) {
            EXPECT_EQ(tasti.size(), tasti_alla_chiusura);  // nothing typed once it went
        } else {
            EXPECT_THAT(std::vector(tasti.end() - 2, tasti.end()), ElementsAre("%fe", "S"));  // file menu, quit
        }
        EXPECT_NE(p->leggi_file(form->percorso_trascrizione).find("sessione interrotta"), std::string::npos);
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

// The result of a wait (1 the prompt, 2 the alternative, 0 the carrier
// lost) and how long it took. After a transfer the wait for a prompt first
// waits for a window whose title begins with "Zmodem" to come and go, at most
// 180 seconds; one that outlasts that and the prompt limit too is still not
// taken for a silent BBS.
TEST_F(attese, risposta_per_ogni_schermo_e_trasferimento) {
    using finestra = std::tuple<std::string, double, double>;  // title, open from, to
    struct caso {
        std::string prima;
        double quando;
        std::string dopo, atteso;
        std::optional<std::string> alternativo;
        int risultato;
        double da, a;  // seconds it takes
        std::optional<double> ritardo = std::nullopt;
        std::vector<finestra> trasferimento = {};
        bool iniziato = false, finito = false;
    };
    const std::string zmodem = "Inizio caricamento ZMODEM", s = "(P)=precedente, o (N)=prossimo?";
    const std::vector<caso> casi = {
        {"Benvenuto\r\n" + password + "\r\n\r\n\r\n", 1e9, "", password, {}, 1, 0, 2},
        // Anything after the prompt but CR LF pairs makes it not yet there.
        {password + " ", 30, password, password, {}, 1, 30, 32},
        {"immetti la password:", 12, password, password, {}, 1, 12, 14},  // case counts
        // NO CARRIER anywhere wins, even over the prompt; split, it is not the text.
        {"CONNECT\r\nNO CARRIER\r\n" + password, 1e9, "", password, "BUSY", 0, 0, 2},
        {"NO\r\nCARRIER", 5, password, password, {}, 1, 5, 7},
        // An alternative counts only at the end (a busy line: the sessions)...
        {"BUSY\r\nOK", 1e9, "", "OK", "BUSY", 1, 0, 2},
        // ...but this one anywhere.
        {"LS MAIN U * Z\r\n" + zmodem + "\r\n**B0100000023be50\r\n", 1e9, "", zmodem, "Carico_file", 2, 0, 2},
        {"...", 150, password, password, {}, 1, 150, 153},  // late, still waited for
        {password, 1e9, "", password, {}, 1, 11, 12, 10.0},  // the delay comes first
        {s, 1e9, "", s, {}, 1, 8, 8.3, std::nullopt, {{"Zmodem - ricezione j8000001.exe", 2, 7}}, true, true},
        {s, 1e9, "", s, {}, 1, 3, 3.3, std::nullopt, {{"Zmodem", 1, 2}}, true, true},
        {s, 1e9, "", s, {}, 1, 181, 182, std::nullopt, {{"ZMODEM", 0, 20}}},  // not recognised
        {s, 1e9, "", s, {}, 1, 181, 182, std::nullopt, {{" Zmodem", 0, 20}}},
        {s, 1e9, "", s, {}, 1, 181, 182, std::nullopt, {{"Zmodem - ricezione", 1, 400}}, true},  // given up
        // A window left open from an earlier transfer: started, never done.
        {s, 1e9, "", s, {}, 1, 181, 182, std::nullopt, {{"Zmodem - vecchio", 0, 1e9}, {"Zmodem", 3, 6}}, true},
        {"", 600, s, s, {}, 1, 600, 602, std::nullopt, {{"Zmodem", 1, 600}}, true},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.prima + " -> " + c.atteso + " " + std::to_string(c.trasferimento.size()));
        SetUp();
        schermo(c.prima, c.quando, c.dopo);
        finestre(c.trasferimento);
        const double inizio = trascorsi();
        EXPECT_EQ(form->risposta("x", c.atteso, c.alternativo, c.ritardo, !c.trasferimento.empty()), c.risultato);
        EXPECT_GE(trascorsi() - inizio, c.da);
        EXPECT_LT(trascorsi() - inizio, c.a);
        // Late past 100 seconds of the wait for the prompt, which starts once
        // the wait for the transfer (at most 180) is over.
        EXPECT_EQ(form->in_ritardo, c.da > (c.trasferimento.empty() ? 100 : 280));
        EXPECT_EQ(form->zmodem_iniziato, c.iniziato);
        EXPECT_EQ(form->zmodem_finito, c.finito);
        EXPECT_FALSE(form->modello.Timer2.abilitato);
    }
}

// The terminal brought in front for the string typed and for each round.
TEST_F(attese, ogni_giro_porta_avanti_il_terminale) {
    schermo("", 3, password);
    EXPECT_EQ(form->risposta("cliente{enter}", password), 1);
    EXPECT_EQ(p->voci(piattaforma_copione::tipo::attiva_task).size(), 4u);
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
