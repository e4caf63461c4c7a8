#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "mondo_prova/terminale/simulazione_bbs.hpp"

namespace j8::prova {
namespace {

const std::string cancella = "\b\b\b\b\b";
const std::string menu = "Immetti la tua scelta (T,I,F,E,L,A,P,D,R,Q,? per help, or X per uscire):";
const std::string email = "E-mail (R,W,M,E,F,S,X per fine, o ? per menu):";
const std::string chiede_file = "Desideri visualizzare o scaricare il file ora (S/N)?";

// The screen as the session compares it: trailing line ends removed.
std::string letto(const simulazione_bbs& bbs) {
    std::string s = bbs.schermo();
    while (s.size() >= 2 && s.compare(s.size() - 2, 2, "\r\n") == 0) s.resize(s.size() - 2);
    return s;
}

bool finisce(const std::string& s, const std::string& fine) {
    return s.size() >= fine.size() && s.compare(s.size() - fine.size(), fine.size(), fine) == 0;
}

::testing::AssertionResult finisce_con(const simulazione_bbs& bbs, const std::string& fine) {
    const std::string s = letto(bbs);
    if (finisce(s, fine)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "screen ends with [" << s.substr(s.size() > 120 ? s.size() - 120 : 0)
                                         << "], expected [" << fine << "]";
}

messaggio_posta con_file(const std::string& file) { return {true, file, "Aggiornamento " + file}; }
messaggio_posta senza_file(bool nuovo = true) { return {nuovo, "", "Avviso"}; }

// Replays the connection session's whole script against the BBS and
// records what happened; a step whose prompt never shows marks it stuck.
struct esito_sessione {
    bool completata = false;
    bool portante_persa = false;
    bool bloccata = false;
    std::vector<std::string> scaricati;
    std::size_t caricamenti = 0;
    std::string schermo;
};

class sessione {
public:
    explicit sessione(scenario s) : bbs(std::move(s)) {}

    // 0 carrier lost, 1/2/3 as the session counts them, -1 never recognised.
    int risposta(const std::string& testo, const std::string& atteso,
                 const std::optional<std::string>& alternativo = std::nullopt,
                 const std::optional<std::string>& atteso_fine = std::nullopt) {
        bbs.tasti(testo);
        if (auto r = bbs.prendi_scarico()) {
            esito.scaricati.push_back(r->file);
            bbs.trasferimento_concluso(true, 1);
        }
        const std::string s = letto(bbs);
        if (s.find("NO CARRIER") != std::string::npos) return 0;
        if (alternativo) {
            const bool visto = *alternativo == "Carico_file" ? s.find(atteso) != std::string::npos
                                                              : finisce(s, *alternativo);
            if (visto) return 2;
        }
        if (atteso_fine && finisce(s, *atteso_fine)) return 3;
        if (finisce(s, atteso)) return 1;
        return -1;
    }

    esito_sessione esegui(bool da_inviare) {
        try {
            passi(da_inviare);
            esito.completata = true;
        } catch (int codice) {
            (codice == 0 ? esito.portante_persa : esito.bloccata) = true;
        }
        esito.schermo = letto(bbs);
        return esito;
    }

    simulazione_bbs bbs;
    esito_sessione esito;

private:
    int verifica(int r) {
        if (r <= 0) throw r;
        return r;
    }

    void accesso() {
        verifica(risposta("at\r", "at\r\nOK"));
        verifica(risposta("atx3s7=60\r", "atx3s7=60\r\nOK"));
        if (verifica(risposta("atdt0612345678\r", "Altrimenti batti \"new\":", "BUSY")) == 2) throw 0;
        verifica(risposta(cancella + "cliente\r", "Immetti la password:"));
        verifica(risposta("zeta\r", menu));
    }

    void passi(bool da_inviare) {
        bbs.tasto(27);  // the session's {esc}
        accesso();
        if (da_inviare) {
            verifica(risposta(cancella + "LS MAIN U * Z\r", "Inizio caricamento ZMODEM", "Carico_file"));
            if (!bbs.attende_caricamento()) throw -1;
            bbs.caricamento_avviato();
            bbs.trasferimento_concluso(true, 2);
            ++esito.caricamenti;
            verifica(risposta("", "Immetti scelta, ? per help, o X per fine:"));
            verifica(risposta(cancella + "X\r", menu));
        }
        int r = verifica(risposta(cancella + "E\r", "Scegli un'opzione (R,W,M,E,F,S,X per fine, o ? per info):",
                                  "Spiacente non ci sono messaggi nella tua mailbox."));
        if (r != 2) r = posta();
        verifica(risposta(cancella + "X\r", menu));
        verifica(risposta(cancella + "X\r", "Sei sicuro (S/N, o R per re-logon)?"));
        if (risposta(cancella + "S\r", "NO CARRIER") != 0) throw -1;
    }

    int posta() {
        int r = verifica(risposta(cancella + "R\r", "(Premi ENTER per partire con i nuovi messaggi):",
                                  "primo messaggio, L per l'ultimo, o ? per help:", email));
        if (r == 3) return r;
        r = verifica(risposta(cancella + "F\r", chiede_file, "(P)=precedente, o (N)=prossimo? "));
        for (;;) {
            if (r != 2) {
                verifica(risposta(cancella + "S\r", "Indica un'opzione di scaricamento (o 'X' per uscire):"));
                verifica(risposta(cancella + "Z\r", "(P)=precedente, o (N)=prossimo?"));
            }
            r = verifica(risposta(cancella + "E\r", "(N)o-pausa, (S)top, o (C)ontinua?", email));
            if (r != 1) return r;
            r = verifica(risposta("C", chiede_file, email));
        }
    }
};

scenario con_posta(std::vector<messaggio_posta> posta) {
    scenario s;
    s.posta = std::move(posta);
    return s;
}

TEST(modem, risponde_ok_con_eco_e_a_capo) {
    simulazione_bbs bbs{scenario{}};
    bbs.tasti("at\r");
    EXPECT_EQ(bbs.schermo(), "at\r\nOK\r\n");
    bbs.tasti("atx3s7=60\r");
    EXPECT_EQ(bbs.schermo(), "at\r\nOK\r\natx3s7=60\r\nOK\r\n");
    EXPECT_FALSE(bbs.connesso());
}

TEST(modem, ignora_cio_che_non_e_comando_e_corregge_col_backspace) {
    simulazione_bbs bbs{scenario{}};
    bbs.tasti("\b\b\b\b\bciao\r");
    EXPECT_EQ(bbs.schermo(), "ciao\r\n");
    bbs.tasti("ax\bT\r");
    EXPECT_EQ(bbs.schermo(), "ciao\r\naT\r\nOK\r\n");
    bbs.tasti("\x1b\n\r");
    EXPECT_EQ(bbs.schermo(), "ciao\r\naT\r\nOK\r\n\r\n");
}

TEST(modem, composizione_secondo_la_linea) {
    simulazione_bbs libera{scenario{}};
    libera.tasti("atdt 0612345678\r");
    EXPECT_TRUE(libera.connesso());
    EXPECT_NE(libera.schermo().find("\r\nCONNECT"), std::string::npos);
    EXPECT_TRUE(finisce_con(libera, "\r\nAltrimenti batti \"new\":"));

    scenario s;
    s.stato_linea = linea::occupata;
    simulazione_bbs occupata{s};
    occupata.tasti("atdt0612345678\r");
    EXPECT_EQ(letto(occupata), "atdt0612345678\r\nBUSY");
    EXPECT_FALSE(occupata.connesso());

    s.stato_linea = linea::muta;
    simulazione_bbs muta{s};
    muta.tasti("atdt0612345678\r");
    EXPECT_EQ(letto(muta), "atdt0612345678\r\nNO CARRIER");
    EXPECT_FALSE(muta.connesso());
}

TEST(bbs, accesso_con_backspace_utente_e_password) {
    simulazione_bbs bbs{scenario{}};
    bbs.tasti("atdt1\r");
    const std::string prima = bbs.schermo();
    bbs.tasti(cancella);
    EXPECT_EQ(bbs.schermo(), prima) << "backspace on an empty line shows nothing";
    bbs.tasti("clienx\b\bnte");
    EXPECT_TRUE(finisce_con(bbs, "\"new\":cliente"));
    bbs.tasti("\r");
    EXPECT_TRUE(finisce_con(bbs, "\r\nImmetti la password:"));
    bbs.tasti("zetx\ba\r");
    EXPECT_EQ(bbs.schermo().find("zeta"), std::string::npos) << "the password is not shown";
    EXPECT_TRUE(finisce_con(bbs, "\r\n" + menu));
}

TEST(bbs, utente_sconosciuto_e_password_errate) {
    simulazione_bbs bbs{scenario{}};
    bbs.tasti("atdt1\rnew\r");
    EXPECT_TRUE(finisce_con(bbs, "Altrimenti batti \"new\":"));
    bbs.tasti("rossi\r");
    EXPECT_NE(bbs.schermo().find("Utente sconosciuto."), std::string::npos);
    EXPECT_TRUE(finisce_con(bbs, "Altrimenti batti \"new\":"));
    bbs.tasti("CLIENTE\rZETA\r");
    EXPECT_TRUE(finisce_con(bbs, "Password errata.\r\nImmetti la password:"));
    bbs.tasti("x\r");
    EXPECT_TRUE(bbs.connesso());
    bbs.tasti("y\r");
    EXPECT_TRUE(finisce_con(bbs, "Troppi tentativi errati.\r\n\r\nNO CARRIER"));
    EXPECT_FALSE(bbs.connesso());
}

TEST(sessione_completa, scarica_solo_i_messaggi_con_file_e_salta_gli_altri) {
    sessione s{con_posta({senza_file(false), con_file("j8000001.exe"), senza_file(), con_file("j8000002.exe"),
                          senza_file()})};
    const esito_sessione e = s.esegui(true);
    ASSERT_TRUE(e.completata) << e.schermo;
    EXPECT_EQ(e.scaricati, (std::vector<std::string>{"j8000001.exe", "j8000002.exe"}));
    EXPECT_EQ(e.caricamenti, 1u);
    EXPECT_NE(e.schermo.find("Caricamento completato: 2 file ricevuti."), std::string::npos);
    EXPECT_FALSE(s.bbs.connesso());
}

TEST(sessione_completa, ogni_forma_della_posta_arriva_alla_fine) {
    const std::vector<std::pair<std::vector<messaggio_posta>, std::vector<std::string>>> casi = {
        {{}, {}},                                                             // empty mailbox
        {{senza_file(false)}, {}},                                            // nothing new
        {{con_file("a.exe")}, {"a.exe"}},                                     // all new: number prompt
        {{senza_file(false), con_file("a.exe")}, {"a.exe"}},                  // ENTER prompt
        {{senza_file(), senza_file()}, {}},                                   // new, no files
        {{senza_file(), con_file("a.exe"), con_file("b.exe")}, {"a.exe", "b.exe"}},
        {{con_file("a.exe"), senza_file(), senza_file()}, {"a.exe"}},
    };
    for (const auto& [posta, attesi] : casi) {
        sessione s{con_posta(posta)};
        const esito_sessione e = s.esegui(false);
        EXPECT_TRUE(e.completata) << posta.size() << " messages; screen:\n" << e.schermo;
        EXPECT_EQ(e.scaricati, attesi);
    }
}

TEST(sessione_completa, linea_occupata_o_portante_persa_a_ogni_passo) {
    scenario occupata;
    occupata.stato_linea = linea::occupata;
    EXPECT_TRUE(sessione{occupata}.esegui(false).portante_persa);

    for (const std::string& passo : passi_bbs()) {
        scenario s = con_posta({senza_file(false), con_file("a.exe"), senza_file()});
        s.portante_persa = passo;
        sessione sess{s};
        const esito_sessione e = sess.esegui(true);
        EXPECT_TRUE(e.portante_persa) << passo << ":\n" << e.schermo;
        EXPECT_TRUE(finisce(e.schermo, "\r\nNO CARRIER")) << passo;
        EXPECT_FALSE(sess.bbs.connesso()) << passo;
        EXPECT_EQ(e.scaricati.empty(), passo != "uscita") << passo;
    }
}

TEST(posta, prompt_esatti_di_ogni_ramo) {
    simulazione_bbs bbs{con_posta({senza_file(), con_file("j8000007.exe")})};
    bbs.tasti("atdt1\rcliente\rzeta\r" + cancella + "E\r");
    EXPECT_TRUE(finisce_con(bbs, "\r\nScegli un'opzione (R,W,M,E,F,S,X per fine, o ? per info):"));
    bbs.tasti(cancella + "R\r");
    EXPECT_TRUE(
        finisce_con(bbs, "\r\nImmetti il numero del messaggio, F per il primo messaggio, L per l'ultimo, o ? per help:"));
    bbs.tasti(cancella + "F\r");
    // A message without a file ends with the prompt and one blank.
    EXPECT_TRUE(finisce(bbs.schermo(), "(P)=precedente, o (N)=prossimo? "));
    bbs.tasti(cancella + "E\r");
    EXPECT_TRUE(finisce_con(bbs, "\r\n(N)o-pausa, (S)top, o (C)ontinua?"));
    bbs.tasti("x\r\b");  // only N, S and C answer here
    EXPECT_TRUE(finisce_con(bbs, "(C)ontinua?"));
    bbs.tasti("C");
    EXPECT_NE(bbs.schermo().find("File allegato: j8000007.exe"), std::string::npos);
    EXPECT_TRUE(finisce_con(bbs, "\r\n" + chiede_file));
    bbs.tasti(cancella + "S\r");
    EXPECT_TRUE(finisce_con(bbs, "\r\nIndica un'opzione di scaricamento (o 'X' per uscire):"));
    bbs.tasti(cancella + "Z\r");
    EXPECT_TRUE(finisce_con(bbs, "Inizio scaricamento ZMODEM del file j8000007.exe"));
    bbs.tasti("abc\r");  // the line carries the transfer
    EXPECT_TRUE(finisce_con(bbs, "Inizio scaricamento ZMODEM del file j8000007.exe"));
    ASSERT_EQ(bbs.prendi_scarico().value().file, "j8000007.exe");
    EXPECT_FALSE(bbs.prendi_scarico().has_value()) << "a request is taken once";
    bbs.trasferimento_concluso(true, 1);
    // After the download the same prompt, with no blank after it.
    EXPECT_TRUE(finisce(bbs.schermo(), "\r\nScaricamento completato.\r\n\r\nMessaggio 2: (R)ispondi, "
                                       "(P)=precedente, o (N)=prossimo?"));
    bbs.tasti(cancella + "E\r");
    EXPECT_TRUE(finisce_con(bbs, "Fine dei messaggi.\r\n\r\n" + email));
    bbs.tasti(cancella + "R\r");
    EXPECT_TRUE(finisce_con(bbs, "Non ci sono nuovi messaggi.\r\n\r\n" + email)) << "messages were read";
    bbs.tasti(cancella + "X\r");
    EXPECT_TRUE(finisce_con(bbs, "\r\n" + menu));
}

TEST(posta, mailbox_vuota_resta_nell_area_posta) {
    simulazione_bbs bbs{scenario{}};
    bbs.tasti("atdt1\rcliente\rzeta\r" + cancella + "E\r");
    EXPECT_TRUE(finisce_con(bbs, "):E\r\n\r\nSpiacente non ci sono messaggi nella tua mailbox."));
    bbs.tasti(cancella + "X\r");
    EXPECT_TRUE(finisce_con(bbs, menu));
}

TEST(uscita, conferma_e_re_logon) {
    simulazione_bbs bbs{scenario{}};
    bbs.tasti("atdt1\rcliente\rzeta\r" + cancella + "X\r");
    EXPECT_TRUE(finisce_con(bbs, "X\r\n\r\nSei sicuro (S/N, o R per re-logon)?"));
    bbs.tasti("N\r");
    EXPECT_TRUE(finisce_con(bbs, menu));
    bbs.tasti("X\rR\r");
    EXPECT_TRUE(finisce_con(bbs, "Altrimenti batti \"new\":"));
    bbs.tasti("cliente\rzeta\rX\rS\r");
    EXPECT_TRUE(finisce_con(bbs, "S\r\n\r\nGrazie per la chiamata, arrivederci.\r\n\r\nNO CARRIER"));
    EXPECT_FALSE(bbs.connesso());
    bbs.tasti("at\r");
    EXPECT_TRUE(finisce_con(bbs, "NO CARRIER\r\nat\r\nOK")) << "the modem is back in command mode";
}

TEST(caricamento, attende_il_terminale_e_poi_mostra_l_area_file) {
    simulazione_bbs bbs{scenario{}};
    bbs.caricamento_avviato();
    bbs.trasferimento_concluso(true, 3);
    EXPECT_EQ(bbs.schermo(), "") << "no transfer was asked for";
    bbs.tasti("atdt1\rcliente\rzeta\r" + cancella + "ls main u * z\r");
    EXPECT_TRUE(bbs.attende_caricamento());
    EXPECT_TRUE(finisce_con(bbs, "\r\nArea file MAIN\r\nInizio caricamento ZMODEM"));
    bbs.caricamento_avviato();
    EXPECT_FALSE(bbs.attende_caricamento());
    bbs.trasferimento_concluso(false, 0);
    EXPECT_TRUE(finisce_con(bbs, "Caricamento non riuscito.\r\nImmetti scelta, ? per help, o X per fine:"));
    bbs.tasti("LS MAIN U * X\r");
    EXPECT_FALSE(bbs.attende_caricamento());
    bbs.tasti(cancella + "X\r");
    EXPECT_TRUE(finisce_con(bbs, menu));
}

TEST(schermo, backspace_non_attraversa_le_righe_e_i_controlli_non_si_vedono) {
    schermo_terminale s;
    s.scrivi("ab\r\n\b\b\bc\x07\x1b\td\b");
    EXPECT_EQ(s.testo(), "ab\r\nc");
}

TEST(robustezza, qualsiasi_sequenza_di_tasti_e_trasferimenti) {
    std::mt19937 caso(1234);
    const std::string alfabeto = "atdATD0123456789\r\b\x1b xXsSnNcCeErRfFzZLS MAIN U*?clientezeta\x7f\xe8";
    for (int prova = 0; prova < 200; ++prova) {
        scenario s = con_posta({con_file("a.exe"), senza_file(), con_file("b.exe")});
        if (prova % 3 == 1) s.portante_persa = passi_bbs()[prova % passi_bbs().size()];
        simulazione_bbs bbs{s};
        bbs.tasti("atdt1\rcliente\rzeta\r");
        for (int i = 0; i < 3000; ++i) {
            const unsigned scelta = caso() % 100;
            if (scelta == 0) bbs.trasferimento_concluso(caso() % 2 == 0, caso() % 4);
            else if (scelta == 1) bbs.caricamento_avviato();
            else if (scelta == 2) bbs.prendi_scarico();
            else if (scelta == 3) bbs.riaggancia();
            else if (scelta < 10) bbs.tasto(static_cast<char>(caso() % 256));
            else bbs.tasto(alfabeto[caso() % alfabeto.size()]);
        }
        ASSERT_LE(bbs.schermo().size(), 200000u);
    }
}

}  // namespace
}  // namespace j8::prova
