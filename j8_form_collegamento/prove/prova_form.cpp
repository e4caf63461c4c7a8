// The form's load, its two buttons and their checks. Every message of a
// settings file that cannot be used is checked in the shared module's tests.

#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

using ::testing::ElementsAre;

class pulsanti_form : public banco_sessione {
protected:
    void SetUp() override { prepara(); }
};

TEST_F(pulsanti_form, il_caricamento_mette_ogni_impostazione_al_suo_posto) {
    // The update form is loaded hidden only once the settings are in.
    std::string utente_al_caricamento;
    aggiornamento.al_caricamento = [&] { utente_al_caricamento = this->form->modello.utente; };
    p->cambia_direttorio("c:\\bbs");
    carica({"Aggiornamento=j8000007", "direttorio a bbs=d:\\fuori", "direttorio da bbs=d:\\in\\",
            "direttorio archivio aggiornamenti=d:\\archivio\\", "telefono bbs=0698765432",
            "userid bbs=farmacia", "password bbs= segreta ", "Lingua Bbs=1",
            "direttorio hyperterminal=d:\\ht\\ht.exe", "utente =ignorato", "sconosciuta=x",
            "userid bbs=farmacia2"});
    // (The settings a session uses are checked through the sessions.)
    const auto& m = form->modello;
    EXPECT_EQ(valori.ultimo_aggiornamento, "j8000007");
    EXPECT_EQ(valori.direttorio_da_bbs, "d:\\in\\");
    EXPECT_EQ(m.direttorio_deposito, "d:\\in");
    EXPECT_EQ(valori.direttorio_archivio, "d:\\archivio\\");
    EXPECT_EQ(m.t_direttorio_archivio, "d:\\archivio\\");
    EXPECT_EQ(m.utente, "farmacia2");
    EXPECT_EQ(m.password, " segreta ");

    EXPECT_EQ(form->limite_zmodem, 180);
    EXPECT_EQ(form->limite_risposta, 100);
    EXPECT_EQ(p->direttorio_corrente(), p->direttorio_programma());
    EXPECT_EQ(valori.direttorio_configurazione, p->direttorio_programma() + "\\");
    EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto"));
    EXPECT_EQ(utente_al_caricamento, "farmacia2");
}

TEST_F(pulsanti_form, lingua_zero_uno_o_altro) {
    for (const auto& [valore, inglese] : {std::pair{"0", false}, {" 1", true}, {"1x", true}, {"2", true},
                                          {"abc", false}}) {
        SCOPED_TRACE(valore);
        // Start from English so that "other" visibly leaves it as it is.
        form->modello.scegli_inglese();
        carica({std::string("lingua bbs=") + valore});
        EXPECT_EQ(form->modello.inglese, inglese);
    }
}

TEST_F(pulsanti_form, avvia_collegamento_verifica_e_avvia_il_terminale) {
    struct caso {
        std::string deposito, utente, password, messaggio;
    };
    const std::string deposito_ko = msg_deposito_non_valido;
    const std::string credenziali_ko = msg_utente_password;
    for (const caso& c : {caso{"c:\\j8\\un_file", "cliente", "zeta", deposito_ko},
                          caso{"", "cliente", "zeta", deposito_ko},
                          caso{"c:\\non_esiste", "", "", deposito_ko},
                          caso{"c:\\j8\\DA_BBS", "cliente", "    ", credenziali_ko},
                          caso{"c:\\j8\\DA_BBS", "  ", "zeta", credenziali_ko}}) {
        SCOPED_TRACE(c.deposito + "|" + c.utente + "|" + c.password);
        prepara();
        p->scrivi_file("c:\\j8\\un_file", "x");
        form->modello.direttorio_deposito = c.deposito;
        form->modello.utente = c.utente;
        form->modello.password = c.password;
        form->modello.direttorio_hptrm = percorso_terminale;
        form->Command1_Click();
        EXPECT_THAT(messaggi(), ElementsAre(c.messaggio));
        EXPECT_TRUE(p->voci(piattaforma_copione::tipo::avvio).empty());
        EXPECT_FALSE(form->modello.Timer1.abilitato);
    }
    EXPECT_EQ(deposito_ko, "Il direttorio di deposito non \xE8 valido");

    // Both checks passed: the terminal is started, and Timer1 if it starts.
    prepara();
    form->modello.direttorio_deposito = "c:\\j8\\DA_BBS";
    form->modello.direttorio_hptrm = "c:\\manca\\hypertrm.exe";
    EXPECT_THROW(form->Command1_Click(), errore_avvio);
    EXPECT_FALSE(form->modello.Timer1.abilitato);

    form->modello.utente = " cliente";
    form->modello.password = "z";
    form->modello.direttorio_hptrm = percorso_terminale;
    form->Command1_Click();
    EXPECT_TRUE(messaggi().empty());
    EXPECT_EQ(p->voci(piattaforma_copione::tipo::avvio).size(), 1u);
    EXPECT_TRUE(form->modello.Timer1.abilitato);
    EXPECT_EQ(form->modello.Timer1.intervallo, 6000);
    EXPECT_TRUE(p->tasti_mandati().empty());  // nothing typed before the first tick
}

TEST_F(pulsanti_form, aggiornamento_crea_l_archivio_aggiunge_le_barre_e_passa_la_mano) {
    form->modello.t_direttorio_tabelle = "c:\\tabelle\\";
    form->modello.t_direttorio_archivio = "c:\\j8\\nuovo_archivio";
    form->modello.direttorio_deposito = "c:\\j8\\DA_BBS";
    form->Command2_Click();
    EXPECT_TRUE(p->esiste_direttorio("c:\\j8\\nuovo_archivio"));
    EXPECT_EQ(form->modello.t_direttorio_tabelle, "c:\\tabelle\\");
    EXPECT_EQ(form->modello.t_direttorio_archivio, "c:\\j8\\nuovo_archivio\\");
    EXPECT_EQ(form->modello.direttorio_deposito, "c:\\j8\\DA_BBS\\");
    form->Command2_Click();  // a second press adds no second separator
    EXPECT_EQ(form->modello.t_direttorio_archivio, "c:\\j8\\nuovo_archivio\\");
}

// A settings file that cannot be used: one message naming it (its texts are
// checked in the shared module's tests), and the program ends before the
// update form is loaded, the disk as it was.
TEST_F(pulsanti_form, impostazioni_danneggiate_fermano_l_avvio) {
    const std::string buono = componi_impostazioni("prova", impostazioni_standard(0), 1.0f);
    p->crea_file(p->direttorio_programma() + "\\j8_bbs_config.txt", buono.substr(0, buono.find("\r\n") + 2));
    const auto prima = p->tutti_i_file();
    EXPECT_FALSE(form->Form_Load());
    ASSERT_EQ(messaggi().size(), 1u);
    EXPECT_THAT(messaggi()[0], ::testing::HasSubstr("j8_bbs_config.txt"));
    EXPECT_TRUE(aggiornamento.chiamate.empty());
    EXPECT_EQ(p->tutti_i_file(), prima);
}

}  // namespace
}  // namespace j8::prova
