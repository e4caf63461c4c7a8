// Whole sessions on the BBS simulation: both paths, the failures that end
// them, the mailbox cases, and the hand-over to the update.

#include <algorithm>
#include <functional>

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

using ::testing::ElementsAre;

class sessione : public banco_sessione {};

TEST_F(sessione, senza_file_da_inviare_ricezione_prima_del_modem_e_due_pacchetti_scaricati) {
    prepara(scenario_base());
    // Transcripts of earlier sessions: with this one, the newest 30 stay.
    const std::string log = copione.direttorio_programma() + "\\log\\";
    for (int i = 10; i < 45; ++i)
        copione.crea_file(log + "sessione_200001" + std::to_string(i) + "_000000.txt", "vecchia");
    copione.crea_file(log + "altro.txt");
    sessione_completa(0);
    std::vector<std::string> tenute = copione.elenca_file(log, "sessione_*.txt");
    ASSERT_EQ(tenute.size(), 30u);
    EXPECT_EQ(copione.elenca_file(log, "altro.txt").size(), 1u);
    EXPECT_EQ(std::count(tenute.begin(), tenute.end(), "sessione_20000110_000000.txt"), 0);
    EXPECT_EQ(std::count(tenute.begin(), tenute.end(), "sessione_20000116_000000.txt"), 1);
    const std::string trascrizione = copione.leggi_file(form->percorso_trascrizione);
    for (const char* voce : {"tasti: {bs}{bs}{bs}{bs}{bs}cliente{enter}", "tasti: ********{enter}",
                             "attesa di \"Immetti la password:\"", "fine attesa: 1", "schermo:",
                             "finestra di trasferimento: Zmodem", "file ricevuto: j8000002.exe"})
        EXPECT_NE(trascrizione.find(voce), std::string::npos) << voce;

    // Path B: the receive folder is set before the modem is touched.
    const int ricezione = p->primo("%tr");
    const int modem = p->primo("at{enter}");
    ASSERT_GE(ricezione, 0);
    ASSERT_GE(modem, 0);
    EXPECT_LT(ricezione, modem);
    EXPECT_EQ(p->primo("%tv"), -1);
    EXPECT_EQ(p->tasti[0], "{esc}");
    EXPECT_EQ(p->tasti[ricezione + 2], "c:\\j8\\DA_BBS{tab}{tab}Z");
    // The dial string is trimmed, and dialling follows the modem set-up.
    EXPECT_GT(p->primo("atdt0612345678{enter}"), p->primo("atx3s7=60{enter}"));
    EXPECT_EQ(form->tasti_copia, "%m{enter}{end}");
    EXPECT_GT(p->quanti("%ms"), 10);
    EXPECT_EQ(p->quanti("%es"), 0);

    // Both packages came down, each with a transfer of its own.
    EXPECT_EQ(copione.leggi_file("c:\\j8\\DA_BBS\\j8000001.exe"), "pacchetto uno");
    EXPECT_EQ(copione.leggi_file("c:\\j8\\DA_BBS\\j8000002.exe"), "pacchetto due");
    EXPECT_EQ(p->quanti("{bs}{bs}{bs}{bs}{bs}Z{enter}"), 2);
    EXPECT_EQ(p->quanti("C"), 1);

    // Logout, the terminal closed through its file menu, then the update.
    EXPECT_EQ(p->quanti("{bs}{bs}{bs}{bs}{bs}X{enter}"), 2);
    EXPECT_GE(p->primo("%fe"), p->primo("{bs}{bs}{bs}{bs}{bs}S{enter}"));
    EXPECT_EQ(p->tasti.back(), "S");
    EXPECT_TRUE(terminale->chiuso);
    EXPECT_FALSE(terminale->bbs.connesso());
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
    EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto", "mostra", "esegui_aggiornamento"));
    EXPECT_EQ(form->modello.direttorio_deposito, "c:\\j8\\DA_BBS\\");
    EXPECT_EQ(form->modello.t_direttorio_archivio, "c:\\j8\\archivio\\");
    EXPECT_FALSE(form->modello.Timer1.abilitato);
    EXPECT_FALSE(form->modello.Timer2.abilitato);
    EXPECT_TRUE(p->messaggi.empty());
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
    const int carico = p->primo("{bs}{bs}{bs}{bs}{bs}LS MAIN U * Z{enter}");
    const int invio = p->primo("%tvc:\\j8\\A_BBS\\*.*{tab}{tab}Z{tab}{enter}");
    const int ricezione = p->primo("%tr");
    ASSERT_GE(modem, 0);
    EXPECT_EQ(p->tasti[0], "{esc}");
    EXPECT_LT(modem, carico);
    EXPECT_LT(carico, invio);
    EXPECT_LT(invio, ricezione);
    EXPECT_EQ(copione.leggi_file("c:\\bbs\\carico\\ordine1.txt"), "ordine uno");
    EXPECT_EQ(copione.leggi_file("c:\\bbs\\carico\\ordine2.txt"), "ordine due");

    // English terminal: its own menu keys, and the downloads still arrive.
    EXPECT_EQ(form->tasti_copia, "%e{enter}{end}");
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

TEST_F(sessione, linea_occupata_finisce_con_manca_la_portante_senza_richiamare) {
    scenario s = scenario_base();
    s.stato_linea = linea::occupata;
    prepara(s);
    sessione_completa(0);
    ASSERT_EQ(p->messaggi.size(), 1u);
    EXPECT_EQ(p->messaggi[0], std::string(msg_manca_portante) + "\r\n\r\n" + msg_trascrizione +
                                  form->percorso_trascrizione);
    EXPECT_EQ(form->esito, fine_sessione::manca_portante);
    EXPECT_EQ(p->quanti("atdt0612345678{enter}"), 1);
    // The terminal is quit through its file menu and the quit confirmed.
    ASSERT_GE(p->tasti.size(), 2u);
    EXPECT_EQ(p->tasti[p->tasti.size() - 2], "%fe");
    EXPECT_EQ(p->tasti.back(), "S");
    EXPECT_TRUE(terminale->chiuso);
    EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto"));
    EXPECT_FALSE(copione.esiste_file("c:\\j8\\DA_BBS\\j8000001.exe"));
}

// Every way a session can stop early: the message names the cause and the
// transcript, the terminal is closed when it can still be reached, nothing
// goes on to the update, and the password is nowhere to be read.
TEST_F(sessione, ogni_interruzione_chiude_il_terminale_e_lo_dice) {
    struct caso {
        const char* passo;  // where the carrier drops ("" none)
        bool con_file;
        const char* messaggio;
        std::function<void()> guasto;  // besides the scenario
    };
    const std::string segreta = "Segr+eta(77)";
    const std::vector<caso> casi = {
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
        s.portante_persa = c.passo;
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
        if (c.messaggio == msg_terminale_perso) {
            EXPECT_EQ(p->tasti.size(), tasti_alla_chiusura);  // nothing typed once it went
        } else {
            EXPECT_EQ(p->tasti.back(), "S");
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

TEST_F(sessione, casella_vuota_va_subito_all_uscita) {
    scenario s = scenario_base();
    s.posta.clear();
    prepara(s);
    sessione_completa(0);
    EXPECT_EQ(p->primo("{bs}{bs}{bs}{bs}{bs}R{enter}"), -1);
    EXPECT_EQ(p->quanti("{bs}{bs}{bs}{bs}{bs}X{enter}"), 2);
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
    EXPECT_TRUE(p->messaggi.empty());
}

TEST_F(sessione, nessun_messaggio_nuovo_va_all_uscita_senza_chiedere_file) {
    scenario s = scenario_base();
    for (auto& m : s.posta) m.nuovo = false;
    prepara(s);
    sessione_completa(0);
    EXPECT_GE(p->primo("{bs}{bs}{bs}{bs}{bs}R{enter}"), 0);
    EXPECT_EQ(p->primo("{bs}{bs}{bs}{bs}{bs}F{enter}"), -1);
    EXPECT_FALSE(copione.esiste_file("c:\\j8\\DA_BBS\\j8000001.exe"));
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
}

TEST_F(sessione, messaggio_senza_file_non_chiede_lo_scarico_ma_il_seguente_si) {
    scenario s = scenario_base();
    s.posta = {{true, "", "Avviso ai clienti"}, {true, "j8000002.exe", "Aggiornamento"}};
    prepara(s);
    sessione_completa(0);
    EXPECT_EQ(p->quanti("{bs}{bs}{bs}{bs}{bs}S{enter}"), 2);  // one download, one logout
    EXPECT_EQ(p->quanti("{bs}{bs}{bs}{bs}{bs}Z{enter}"), 1);
    EXPECT_FALSE(copione.esiste_file("c:\\j8\\DA_BBS\\j8000001.exe"));
    EXPECT_TRUE(copione.esiste_file("c:\\j8\\DA_BBS\\j8000002.exe"));
    EXPECT_EQ(form->esito, fine_sessione::aggiornamento);
}

// Every way a session ends, with a password that stands out: no message,
// error text or file left on the disk holds it.
TEST_F(sessione, nessun_messaggio_errore_o_file_mostra_la_password) {
    const std::string segreto = "Segreto-7Q";
    const std::string rifiutata = "Q~7(%)+{^}z[";  // not valid keystroke notation
    struct caso {
        std::string nome;
        std::string password;
        std::function<void(scenario&)> bbs;
        std::string impostazione;  // replaces the standard line with its key
    };
    std::vector<caso> casi = {
        {"completa", segreto, {}, ""},
        {"occupata", segreto, [](scenario& s) { s.stato_linea = linea::occupata; }, ""},
        {"muta", segreto, [](scenario& s) { s.stato_linea = linea::muta; }, ""},
        {"notazione", rifiutata, {}, ""},
        {"deposito", segreto, {}, "direttorio da bbs=c:\\manca\\"},
        {"utente", segreto, {}, "userid bbs=  "},
        {"terminale", segreto, {}, "direttorio hyperterminal=c:\\manca.exe"},
    };

    std::vector<std::string> visti;  // every text the cases showed
    for (const caso& c : casi) {
        SCOPED_TRACE(c.nome);
        scenario s = scenario_base();
        s.password = c.password;
        if (c.bbs) c.bbs(s);
        prepara(s);
        copione.scrivi_file("c:\\j8\\A_BBS\\ordine.txt", "ordine");  // every step is reached
        p->secondi_massimi = 3600;
        std::vector<std::string> righe = impostazioni_standard(0);
        for (std::string& r : righe) {
            if (r.rfind("password bbs=", 0) == 0) r = "password bbs=" + c.password;
            if (!c.impostazione.empty() && r.substr(0, r.find('=')) == c.impostazione.substr(0, c.impostazione.find('=')))
                r = c.impostazione;
        }
        std::vector<std::string> testi;
        try {
            carica(righe);
            form->Command1_Click();
            if (form->modello.Timer1.abilitato) form->Timer1_Timer();
        } catch (const errore_tasti& e) {
            EXPECT_THAT(e.what(), ::testing::HasSubstr(std::string(password_nascosta) + "{enter}"));
            testi.push_back(e.what());
        } catch (const std::exception& e) {
            testi.push_back(e.what());
        }
        testi.insert(testi.end(), p->messaggi.begin(), p->messaggi.end());
        for (const std::string& f : copione.tutti_i_file()) testi.push_back(copione.leggi_file(f));
        for (const std::string& t : testi) EXPECT_EQ(t.find(c.password), std::string::npos) << t;
        visti.insert(visti.end(), testi.begin(), testi.end());
    }
    // The walk did meet each kind of text.
    for (const std::string& atteso : {std::string(msg_manca_portante), std::string(msg_deposito_non_valido),
                                     std::string(msg_utente_password), std::string("c:\\manca.exe")})
        EXPECT_TRUE(std::any_of(visti.begin(), visti.end(),
                                [&](const std::string& t) { return t.find(atteso) != std::string::npos; }))
            << atteso;
}

}  // namespace
}  // namespace j8::prova
