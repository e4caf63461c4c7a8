// Whole sessions on the BBS simulation, one test per way they end: handed
// over to the update (each path, each language, each kind of mailbox), or
// stopped early; and the password, which no text may show.

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
    prepara(scenario_base());
    // Transcripts of earlier sessions: with this one, the newest 30 stay.
    const std::string log = p->direttorio_programma() + "\\log\\";
    for (int i = 10; i < 45; ++i) p->crea_file(log + "sessione_200001" + std::to_string(i) + "_000000.txt", "vecchia");
    p->crea_file(log + "altro.txt");
    sessione_completa(impostazioni_standard(0));
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
    scenario sc = scenario_base();
    sc.utente = "cli+ente{x}";
    sc.password = "K+p%9(x)~^{a}";
    sc.inglese = true;
    prepara(sc);
    p->scrivi_file("c:\\j8\\A_BBS\\ordine1.txt", "ordine uno");
    p->scrivi_file("c:\\j8\\A_BBS\\ordine2.txt", "ordine due");
    std::vector<std::string> righe = impostazioni_standard(1, sc.password);
    righe[5] = "userid bbs=" + sc.utente;
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
    EXPECT_GE(primo(tasti_letterali(sc.password) + "{enter}"), 0);  // typed
    EXPECT_TRUE(p->esiste_file("c:\\j8\\DA_BBS\\j8000002.exe"));
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
    const std::string trascrizione = p->leggi_file(form->percorso_trascrizione);
    EXPECT_NE(trascrizione.find("file da inviare: ordine2.txt"), std::string::npos);
    EXPECT_NE(trascrizione.find("\\*.*{tab}"), std::string::npos);
    // Nor its length, which the BBS's echo of asterisks would tell.
    nessuna_traccia({sc.password, tasti_letterali(sc.password), "9(x)", std::string(sc.password.size(), '*')});
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
        scenario s = scenario_base();
        s.posta = c.posta;
        prepara(s);
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
        scenario s = scenario_base();
        if (c.passo == "occupata") s.stato_linea = linea::occupata;
        else if (c.passo == "muta") s.stato_linea = linea::muta;
        else s.portante_persa = c.passo;
        s.password = c.messaggio == msg_password_rifiutata ? "altra" : segreta;
        prepara(s);
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

}  // namespace
}  // namespace j8::prova
