// The form's load, its two buttons and their checks; the start of the
// program with the real update form's load behind: it goes on and prepares
// the work, or it ends with one message, no update form, and the disk
// exactly as it was (every message of a settings file that cannot be used
// is checked in the shared module's tests).

#include <map>

#include "j8_form_aggiornamento/form_aggiornamento.hpp"
#include "j8_form_collegamento/prove/banco_sessione.hpp"

namespace j8::prova {
namespace {

using ::testing::ElementsAre;

class pulsanti_form : public banco_sessione {
protected:
    void SetUp() override { prepara(scenario_base()); }
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
    const auto& m = form->modello;
    EXPECT_EQ(valori.ultimo_aggiornamento, "j8000007");
    EXPECT_EQ(m.direttorio_origine, "d:\\fuori");
    EXPECT_EQ(valori.direttorio_da_bbs, "d:\\in\\");
    EXPECT_EQ(m.direttorio_deposito, "d:\\in");
    EXPECT_EQ(valori.direttorio_archivio, "d:\\archivio\\");
    EXPECT_EQ(m.t_direttorio_archivio, "d:\\archivio\\");
    EXPECT_EQ(m.telefono, "0698765432");
    EXPECT_EQ(m.utente, "farmacia2");
    EXPECT_EQ(m.password, " segreta ");
    EXPECT_TRUE(m.inglese);
    EXPECT_EQ(m.direttorio_hptrm, "d:\\ht\\ht.exe");
    EXPECT_EQ(m.t_direttorio_tabelle, "c:\\j8\\direttorio_tabelle");  // not a key of this file

    EXPECT_EQ(form->limite_zmodem, 180);
    EXPECT_EQ(form->limite_risposta, 100);
    EXPECT_EQ(p->direttorio_corrente(), p->direttorio_programma());
    EXPECT_EQ(valori.direttorio_configurazione, p->direttorio_programma() + "\\");
    EXPECT_THAT(aggiornamento.chiamate, ElementsAre("carica_nascosto"));
    EXPECT_EQ(utente_al_caricamento, "farmacia2");
}

TEST_F(pulsanti_form, lingua_zero_uno_o_altro) {
    struct caso {
        std::string valore;
        bool inglese;
    };
    for (const caso& c : {caso{"0", false}, caso{" 1", true}, caso{"1x", true}, caso{"2", true},
                          caso{"abc", false}}) {
        SCOPED_TRACE(c.valore);
        // Start from English so that "other" visibly leaves it as it is.
        form->modello.scegli_inglese();
        carica({"lingua bbs=" + c.valore});
        EXPECT_EQ(form->modello.inglese, c.inglese);
        EXPECT_NE(form->modello.italiano, form->modello.inglese);
    }
}

TEST_F(pulsanti_form, le_due_verifiche_di_avvia_collegamento) {
    struct caso {
        std::string deposito, utente, password, messaggio;
    };
    const std::string deposito_ko = msg_deposito_non_valido;
    const std::string credenziali_ko = msg_utente_password;
    for (const caso& c : {caso{"c:\\non_esiste", "cliente", "zeta", deposito_ko},
                          caso{"c:\\j8\\un_file", "cliente", "zeta", deposito_ko},
                          caso{"", "cliente", "zeta", deposito_ko},
                          caso{"c:\\non_esiste", "", "", deposito_ko},
                          caso{"c:\\j8\\DA_BBS", "cliente", "    ", credenziali_ko},
                          caso{"c:\\j8\\DA_BBS", "  ", "zeta", credenziali_ko},
                          caso{"c:\\j8\\DA_BBS", "", "", credenziali_ko}}) {
        SCOPED_TRACE(c.deposito + "|" + c.utente + "|" + c.password);
        prepara(scenario_base());
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
}

TEST_F(pulsanti_form, avvia_collegamento_avvia_il_terminale_e_timer1_se_parte) {
    form->modello.direttorio_deposito = "c:\\j8\\DA_BBS";
    form->modello.direttorio_hptrm = "c:\\manca\\hypertrm.exe";
    EXPECT_THROW(form->Command1_Click(), errore_avvio);
    EXPECT_FALSE(form->modello.Timer1.abilitato);

    form->modello.utente = " cliente";
    form->modello.password = "z";
    form->modello.direttorio_hptrm = percorso_terminale;
    form->Command1_Click();
    EXPECT_TRUE(messaggi().empty());
    const auto avvii = p->voci(piattaforma_copione::tipo::avvio);
    ASSERT_EQ(avvii.size(), 1u);
    EXPECT_EQ(avvii[0].testo, percorso_terminale);
    EXPECT_EQ(form->id_terminale, avvii[0].task);
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
    EXPECT_THAT(aggiornamento.chiamate, ElementsAre("mostra", "esegui_aggiornamento"));
    form->Command2_Click();  // a second press adds no second separator
    EXPECT_EQ(form->modello.t_direttorio_archivio, "c:\\j8\\nuovo_archivio\\");
}

class vista_muta : public vista_aggiornamento {
public:
    void ridisegna(const modello_aggiornamento&) override {}
};

// The real update form behind the connection form, as j8_bbs.exe wires it;
// a load that ends the program is recorded instead.
class aggiornamento_vero : public collegamento_aggiornamento {
public:
    aggiornamento_vero(piattaforma& p, valori_programma& valori) : form(p, vista, valori) {}
    vista_muta vista;
    form_aggiornamento form;
    std::vector<esito_caricamento> caricamenti;
    void carica_nascosto() override { caricamenti.push_back(form.Form_Load()); }
    void mostra() override {}
    void esegui_aggiornamento() override {}
};

// The stand-in writes drive letters in capitals, as Windows gives them.
const std::string config_bbs = "C:\\j8bbs\\j8_bbs_config.txt";
const std::string config_tabelle = "C:\\j8bbs\\j8_config.txt";
const std::string fine = "\r\n\r\nIl programma viene chiuso senza modificare nulla.";

TEST(avvio_impostazioni, un_caso_per_esito) {
    struct caso {
        const char* nome;
        std::string bbs, tabelle;  // contents; "-" absent
        std::vector<std::string> messaggi;  // whole, or the start of the one message
        std::vector<esito_caricamento> caricamenti;
    };
    const std::string buono = componi_impostazioni(
        config_bbs, {"aggiornamento=j8000007", "direttorio da bbs=c:\\j8\\da_bbs\\", "userid bbs=farmacia",
                     "direttorio archivio aggiornamenti=c:\\j8\\archivio\\"}, 100.0f);
    const std::string tabelle = componi_impostazioni(config_tabelle, {"direttorio tabelle=c:\\tabelle\\"}, 200.0f);
    const std::string corto = tabelle.substr(0, tabelle.find("\r\n") + 2);
    const std::vector<caso> casi = {
        {"buoni", buono, tabelle, {}, {esito_caricamento::pronto}},
        {"mancante", "-", tabelle,
         {"j8_bbs: Il file delle impostazioni j8_bbs_config.txt non \xE8 stato trovato n\xE9 nella cartella "
          "C:\\j8bbs\\ n\xE9 in c:\\pippo\\."}, {}},
        {"danneggiato", corto, tabelle,
         {"j8_bbs: Il file delle impostazioni " + config_bbs + " \xE8 danneggiato alla riga 2:"}, {}},
        {"tabelle mancanti", buono, "-",
         {"J8_aggiornamento: file configurazione (j8_config.txt)non trovato in C:\\j8bbs"},
         {esito_caricamento::fine_programma}},
        {"tabelle danneggiate", buono, corto,
         {"J8_aggiornamento: Il file delle impostazioni " + config_tabelle + " \xE8 danneggiato alla riga 2:"},
         {esito_caricamento::fine_programma}},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.nome);
        piattaforma_copione p;
        p.imposta_direttorio_programma("C:\\j8bbs");
        p.crea_cartelle("c:\\pippo");
        if (c.bbs != "-") p.crea_file(config_bbs, c.bbs);
        if (c.tabelle != "-") p.crea_file(config_tabelle, c.tabelle);
        // What a load that goes ahead changes: a leftover work folder and
        // an archive of 21 packages, the oldest to be pruned.
        p.crea_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf", "resto");
        for (int n = 1; n <= 21; ++n) p.crea_file("c:\\j8\\archivio\\j8" + std::string(n < 10 ? "00000" : "0000") + std::to_string(n) + ".exe", "MZ");
        const auto disco = [&p] {
            std::map<std::string, std::string> m;
            for (const auto& f : p.tutti_i_file()) m[f] = p.leggi_file(f);
            return m;
        };
        const auto disco_prima = disco();
        valori_programma valori;
        aggiornamento_vero aggiornamento(p, valori);
        form_collegamento form(p, aggiornamento, valori);

        EXPECT_EQ(form.Form_Load(), c.messaggi.empty() || !c.caricamenti.empty());
        EXPECT_EQ(aggiornamento.caricamenti, c.caricamenti);
        std::vector<std::string> messaggi;
        for (const auto& v : p.voci(piattaforma_copione::tipo::messaggio)) messaggi.push_back(v.titolo + ": " + v.testo);
        ASSERT_EQ(messaggi.size(), c.messaggi.size());
        if (c.messaggi.empty()) {
            EXPECT_EQ(form.modello.utente, "farmacia");
            EXPECT_EQ(valori.ultimo_aggiornamento, "j8000007");
            EXPECT_FALSE(p.esiste_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf"));
            EXPECT_FALSE(p.esiste_file("c:\\j8\\archivio\\j8000001.exe"));
            continue;
        }
        EXPECT_THAT(messaggi[0], ::testing::StartsWith(c.messaggi[0]));
        if (std::string(c.nome) != "tabelle mancanti") {
            EXPECT_THAT(messaggi[0], ::testing::EndsWith(fine));
        }
        EXPECT_EQ(disco(), disco_prima);
    }
}

}  // namespace
}  // namespace j8::prova
