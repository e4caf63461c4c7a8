// Whole sessions on the BBS simulation, one test per way they end: handed
// over to the update (each path, each language, each kind of mailbox), or
// stopped early; and the password, which no text may show.

#include <algorithm>
#include <functional>

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

using ::testing::ElementsAre;

class sessione : public banco_sessione {};

const std::string bs5 = "{bs}{bs}{bs}{bs}{bs}";

TEST_F(sessione, senza_file_da_inviare_ricezione_prima_del_modem_e_due_pacchetti_scaricati) {
    prepara(scenario_base());
    // Transcripts of earlier sessions: with this one, the newest 30 stay.
    const std::string log = copione.direttorio_programma() + "\\log\\";
    for (int i = 10; i < 45; ++i) copione.crea_file(log + "sessione_200001" + std::to_string(i) + "_000000.txt", "vecchia");
    copione.crea_file(log + "altro.txt");
    sessione_completa(0);
    const std::vector<std::string> tenute = copione.elenca_file(log, "sessione_*.txt");
    ASSERT_EQ(tenute.size(), 30u);
    EXPECT_EQ(copione.elenca_file(log, "altro.txt").size(), 1u);
    EXPECT_EQ(std::count(tenute.begin(), tenute.end(), "sessione_20000115_000000.txt"), 0);
    EXPECT_EQ(std::count(tenute.begin(), tenute.end(), "sessione_20000116_000000.txt"), 1);
    const std::string trascrizione = copione.leggi_file(form->percorso_trascrizione);
    for (const char* voce : {"tasti: {bs}{bs}{bs}{bs}{bs}cliente{enter}", "tasti: ********{enter}",
                             "attesa di \"Immetti la password:\"", "fine attesa: 1", "schermo:",
                             "finestra di trasferimento: Zmodem", "file ricevuto: j8000002.exe"})
        EXPECT_NE(trascrizione.find(voce), std::string::npos) << voce;
    // Every entry starts with the time of day.
    const std::size_t voce = trascrizione.find("tasti: ********{enter}");
    ASSERT_TRUE(voce != std::string::npos && voce >= 9);
    EXPECT_THAT(trascrizione.substr(voce - 9, 9), ::testing::MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2} "));
    // Each screen copied is noted from the start of its first changed line:
    // the modem's answer once, a prompt whole.
    std::size_t connessioni = 0;
    for (auto i = trascrizione.find("| CONNECT"); i != std::string::npos; i = trascrizione.find("| CONNECT", i + 1))
        ++connessioni;
    EXPECT_EQ(connessioni, 1u);
    EXPECT_NE(trascrizione.find("schermo (seguito):\r\n    | Immetti la password:********"), std::string::npos);

    // Path B: the receive folder is set before the modem is touched; the
    // dial string is trimmed and follows the modem set-up.
    const int ricezione = p->primo("%tr");
    ASSERT_GE(ricezione, 0);
    EXPECT_LT(ricezione, p->primo("at{enter}"));
    EXPECT_EQ(p->primo("%tv"), -1);
    EXPECT_EQ(p->tasti[0], "{esc}");
    EXPECT_EQ(p->tasti[ricezione + 2], "c:\\j8\\DA_BBS{tab}{tab}Z");
    EXPECT_GT(p->primo("atdt0612345678{enter}"), p->primo("atx3s7=60{enter}"));
    EXPECT_GT(p->quanti("%ms"), 10);
    EXPECT_EQ(p->quanti("%es"), 0);
    // Both packages came down, each with a transfer of its own.
    EXPECT_EQ(copione.leggi_file("c:\\j8\\DA_BBS\\j8000001.exe"), "pacchetto uno");
    EXPECT_EQ(copione.leggi_file("c:\\j8\\DA_BBS\\j8000002.exe"), "pacchetto due");
    EXPECT_EQ(p->quanti(bs5 + "Z{enter}"), 2);
    EXPECT_EQ(p->quanti("C"), 1);
    // Logout, the terminal closed through its file menu, then the update.
    EXPECT_GE(p->primo("%fe"), p->primo(bs5 + "S{enter}"));
    EXPECT_EQ(p->tasti.back(), "S");
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
    prepara(sc, true);
    copione.scrivi_file("c:\\j8\\A_BBS\\ordine1.txt", "ordine uno");
    copione.scrivi_file("c:\\j8\\A_BBS\\ordine2.txt", "ordine due");
    std::vector<std::string> righe = impostazioni_standard(1);
    righe[5] = "userid bbs=" + sc.utente;
    righe[6] = "password bbs=" + sc.password;
    carica(righe);
    form->Command1_Click();
    form->Timer1_Timer();

    // Path A: the modem first, the upload, and only then the receive folder.
    const int modem = p->primo("at{enter}");
    const int carico = p->primo(bs5 + "LS MAIN U * Z{enter}");
    const int invio = p->primo("%tvc:\\j8\\A_BBS\\*.*{tab}{tab}Z{tab}{enter}");
    ASSERT_GE(modem, 0);
    EXPECT_LT(modem, carico);
    EXPECT_LT(carico, invio);
    EXPECT_LT(invio, p->primo("%tr"));
    EXPECT_EQ(copione.leggi_file("c:\\bbs\\carico\\ordine1.txt"), "ordine uno");
    EXPECT_EQ(copione.leggi_file("c:\\bbs\\carico\\ordine2.txt"), "ordine due");
    // English terminal: its own menu keys, and the downloads still arrive.
    EXPECT_EQ(p->quanti("%ms"), 0);
    EXPECT_GT(p->quanti("%es"), 10);
    EXPECT_EQ(p->tasti.back(), "Y");
    EXPECT_GE(p->primo("%fx"), 0);
    EXPECT_TRUE(copione.esiste_file("c:\\j8\\DA_BBS\\j8000002.exe"));
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
    const std::string trascrizione = copione.leggi_file(form->percorso_trascrizione);
    EXPECT_NE(trascrizione.find("file da inviare: ordine2.txt"), std::string::npos);
    // Nor its length, which the BBS's echo of asterisks would tell.
    for (const std::string& parte : {sc.password, tasti_letterali(sc.password), std::string("9(x)"),
                                    std::string(sc.password.size(), '*')})
        EXPECT_EQ(trascrizione.find(parte), std::string::npos);
    EXPECT_NE(trascrizione.find("\\*.*{tab}"), std::string::npos);
}

TEST_F(sessione, ogni_casella_porta_all_uscita_e_all_aggiornamento) {
    struct caso {
        const char* nome;
        std::vector<messaggio_posta> posta;
        std::vector<std::string> scaricati;
        bool letta;  // the mail was opened
    };
    const std::vector<caso> casi = {
        {"vuota", {}, {}, false},
        {"nessun nuovo", {{false, "j8000001.exe", "Vecchio"}, {false, "j8000002.exe", "Vecchio"}}, {}, true},
        {"un messaggio senza file", {{true, "", "Avviso"}, {true, "j8000002.exe", "Aggiornamento"}},
         {"j8000002.exe"}, true},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.nome);
        scenario s = scenario_base();
        s.posta = c.posta;
        prepara(s);
        for (const std::string& f : copione.elenca_file("c:\\j8\\DA_BBS", "*.*")) copione.cancella_file("c:\\j8\\DA_BBS\\" + f);
        sessione_completa(0);
        EXPECT_EQ(p->primo(bs5 + "R{enter}") >= 0, c.letta);
        EXPECT_EQ(p->quanti(bs5 + "Z{enter}"), static_cast<int>(c.scaricati.size()));
        EXPECT_EQ(copione.elenca_file("c:\\j8\\DA_BBS", "*.*"), c.scaricati);
        EXPECT_EQ(p->quanti(bs5 + "X{enter}"), 2);
        EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
        EXPECT_TRUE(p->messaggi.empty());
    }
}

// Every way a session can stop early: the message names the cause and the
// transcript, the terminal is closed when it can still be reached, nothing
// goes on to the update, and the password is nowhere to be read.
TEST_F(sessione, ogni_interruzione_chiude_il_terminale_e_lo_dice) {
    struct caso {
        const char* passo;  // where the carrier drops ("" none), or "occupata": a busy line
        bool con_file;
        const char* messaggio;
        std::function<void()> guasto;  // besides the scenario
    };
    const std::string segreta = "Segr+eta(77)";
    const std::vector<caso> casi = {
        {"occupata", false, msg_manca_portante, nullptr},
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
        {"", false, msg_terminale_perso,
         [this] { copione.dopo(40, [this] { terminale->chiuso = true; }); }},
        {"", false, "Il BBS non ha risposto in tempo: collegamento interrotto. Si attendeva \"at\r\nOK\".",
         [this] { p->schermo_copione = [](double) { return std::string("at"); }; }},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(std::string(c.passo) + " " + c.messaggio);
        scenario s = scenario_base();
        s.portante_persa = c.passo == std::string("occupata") ? "" : c.passo;
        if (c.passo == std::string("occupata")) s.stato_linea = linea::occupata;
        s.password = c.messaggio == msg_password_rifiutata ? "altra" : segreta;
        prepara(s);
        if (c.con_file) copione.scrivi_file("c:\\j8\\A_BBS\\ordine1.txt", "ordine uno");
        if (c.guasto) c.guasto();
        std::size_t tasti_alla_chiusura = 0;
        copione.dopo(40.001, [&] { tasti_alla_chiusura = p->tasti.size(); });
        aggiornamento.chiamate.clear();
        std::vector<std::string> righe = impostazioni_standard(0);
        righe[6] = "password bbs=" + segreta;
        carica(righe);
        form->Command1_Click();
        form->Timer1_Timer();

        ASSERT_EQ(p->messaggi.size(), 1u);
        EXPECT_EQ(p->messaggi[0], std::string(c.messaggio) + "\r\n\r\n" + msg_trascrizione +
                                      form->percorso_trascrizione);
        EXPECT_EQ(form->esito, fine_sessione::manca_portante);
        EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto"));
        EXPECT_TRUE(terminale->chiuso);
        EXPECT_LE(p->quanti("atdt0612345678{enter}"), 1);  // never dialled again
        if (c.passo == std::string("occupata")) {  // the first case: nothing downloaded yet
            EXPECT_FALSE(copione.esiste_file("c:\\j8\\DA_BBS\\j8000001.exe"));
        }
        if (c.messaggio == msg_terminale_perso) {
            EXPECT_EQ(p->tasti.size(), tasti_alla_chiusura);  // nothing typed once it went
        } else {
            EXPECT_EQ(p->tasti.back(), "S");  // the terminal quit through its file menu
            EXPECT_EQ(p->tasti[p->tasti.size() - 2], "%fe");
        }
        const std::string trascrizione = copione.leggi_file(form->percorso_trascrizione);
        EXPECT_NE(trascrizione.find("sessione interrotta"), std::string::npos);
        for (const std::string& t : {trascrizione, p->messaggi[0]})
            for (const char* parte : {"Segr", "+eta", "(77)", "{(}77{)}"})
                EXPECT_EQ(t.find(parte), std::string::npos) << parte;
        if (p->primo(tasti_letterali(segreta) + "{enter}") >= 0) {
            EXPECT_NE(trascrizione.find("tasti: ********{enter}"), std::string::npos);
        }
    }
}

// A line that never answers, and a whole session with a password full of
// keystroke notation: no message or file left on the disk holds it.
TEST_F(sessione, nessun_messaggio_o_file_mostra_la_password) {
    for (const std::string password : {"Segreto-7Q", "Q~7(%)+{^}z["}) {
        SCOPED_TRACE(password);
        const bool muta = password == "Segreto-7Q";
        scenario s = scenario_base();
        s.password = password;
        if (muta) s.stato_linea = linea::muta;
        prepara(s);
        p->secondi_massimi = 3600;
        std::vector<std::string> righe = impostazioni_standard(0);
        righe[6] = "password bbs=" + password;
        carica(righe);
        form->Command1_Click();
        form->Timer1_Timer();
        EXPECT_EQ(form->esito, muta ? fine_sessione::manca_portante : fine_sessione::aggiornamento);
        ASSERT_EQ(p->messaggi.size(), muta ? 1u : 0u);
        std::vector<std::string> testi = p->messaggi;
        if (muta) EXPECT_THAT(testi[0], ::testing::StartsWith(msg_manca_portante));
        else EXPECT_GE(p->primo(tasti_letterali(password) + "{enter}"), 0);  // it was typed
        for (const std::string& f : copione.tutti_i_file()) testi.push_back(copione.leggi_file(f));
        for (const std::string& t : testi) EXPECT_EQ(t.find(password), std::string::npos) << t;
    }
}

}  // namespace
}  // namespace j8::prova
