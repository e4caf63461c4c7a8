// Whole sessions on the BBS simulation: both paths, the failures that end
// them, the mailbox cases, and the hand-over to the update.

#include <algorithm>

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

using ::testing::ElementsAre;

class sessione : public banco_sessione {};

TEST_F(sessione, senza_file_da_inviare_ricezione_prima_del_modem_e_due_pacchetti_scaricati) {
    prepara(scenario_base());
    sessione_completa(0);

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
}

TEST_F(sessione, linea_occupata_finisce_con_manca_la_portante_senza_richiamare) {
    scenario s = scenario_base();
    s.stato_linea = linea::occupata;
    prepara(s);
    sessione_completa(0);
    EXPECT_THAT(p->messaggi, ElementsAre(msg_manca_portante));
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

TEST_F(sessione, portante_persa_a_ogni_passo_ferma_la_sessione) {
    for (const char* passo : {"accesso", "password", "menu", "posta", "lettura", "messaggio", "scarico"}) {
        SCOPED_TRACE(passo);
        scenario s = scenario_base();
        s.portante_persa = passo;
        prepara(s);
        aggiornamento.chiamate.clear();
        sessione_completa(0);
        EXPECT_THAT(p->messaggi, ElementsAre(msg_manca_portante));
        EXPECT_EQ(form->esito, fine_sessione::manca_portante);
        EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto"));
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

TEST_F(sessione, un_prompt_che_non_arriva_mai_tiene_la_sessione_in_attesa) {
    scenario s = scenario_base();
    s.password = "altra";  // the BBS keeps asking: the main menu never shows
    prepara(s);
    p->secondi_massimi = 3600;
    EXPECT_THROW(sessione_completa(0), sessione_bloccata);
    EXPECT_TRUE(p->messaggi.empty());
    EXPECT_EQ(form->esito, fine_sessione::in_corso);
    EXPECT_TRUE(form->in_ritardo);
}

}  // namespace
}  // namespace j8::prova
