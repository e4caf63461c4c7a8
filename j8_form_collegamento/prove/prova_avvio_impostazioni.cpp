// Start of the program with a missing, damaged or foreign settings file: the
// connection form's load, then the real update form's load, on the scripted
// stand-in. Each bad file gives one message and ends the program, and the
// disk is left exactly as it was.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "j8_form_aggiornamento/form_aggiornamento.hpp"
#include "j8_form_collegamento/form_collegamento.hpp"
#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

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
const std::string programma = "C:\\j8bbs";
const std::string config_bbs = "C:\\j8bbs\\j8_bbs_config.txt";
const std::string config_tabelle = "C:\\j8bbs\\j8_config.txt";
const std::string pippo_bbs = "c:\\pippo\\j8_bbs_config.txt";
const std::string fine = "\r\n\r\nIl programma viene chiuso senza modificare nulla.";
const std::string nuova_copia =
    "Chiedere al fornitore del programma una nuova copia del file e metterla al posto di questa.";

// File operations that leave the disk as it is.
const std::set<std::string> sola_lettura = {"leggi_file", "elenca_file", "lunghezza_file",
                                            "attributi_file", "cambia_direttorio"};

std::vector<std::string> righe_di(const std::string& testo) {
    std::vector<std::string> righe;
    std::size_t inizio = 0, a_capo_qui;
    while ((a_capo_qui = testo.find("\r\n", inizio)) != std::string::npos) {
        righe.push_back(testo.substr(inizio, a_capo_qui - inizio));
        inizio = a_capo_qui + 2;
    }
    return righe;
}

std::string unisci(const std::vector<std::string>& righe) {
    std::string testo;
    for (const auto& r : righe) testo += r + "\r\n";
    return testo;
}

class avvio_impostazioni : public ::testing::Test {
protected:
    piattaforma_copione p;
    valori_programma valori;
    aggiornamento_vero aggiornamento{p, valori};
    form_collegamento form{p, aggiornamento, valori};
    std::map<std::string, std::string> disco_prima;
    std::vector<std::string> operazioni;
    std::string illeggibile;  // reading this file fails

    std::vector<std::string> buone = {"aggiornamento=j8000007",
                                      "direttorio da bbs=c:\\j8\\da_bbs\\",
                                      "direttorio archivio aggiornamenti=c:\\j8\\archivio\\",
                                      "userid bbs=farmacia",
                                      "password bbs=zeta"};

    void SetUp() override {
        p.imposta_direttorio_programma(programma);
        p.crea_cartelle("c:\\pippo");
        p.crea_file(config_bbs, componi_impostazioni(config_bbs, buone, 100.0f));
        p.crea_file(config_tabelle,
                    componi_impostazioni(config_tabelle, {"direttorio tabelle=c:\\tabelle\\"}, 200.0f));
        // What a load that went ahead would change: a leftover work folder
        // and an archive of 21 packages, the oldest to be pruned.
        p.crea_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf", "resto");
        for (int n = 1; n <= 21; ++n) {
            char nome[32];
            std::snprintf(nome, sizeof nome, "c:\\j8\\archivio\\j8%06d.exe", n);
            p.crea_file(nome, "MZ");
        }
    }

    // The start, every file operation recorded; true if it went on.
    bool avvia() {
        for (const auto& f : p.tutti_i_file()) disco_prima[f] = p.leggi_file(f);
        p.regola_guasto = [this](const piattaforma_copione::operazione_file& o) {
            operazioni.push_back(o.nome + " " + o.percorso);
            if (o.nome == "leggi_file" && o.percorso == illeggibile)
                return std::optional<std::string>("accesso negato");
            return std::optional<std::string>();
        };
        return form.Form_Load();
    }

    std::vector<std::string> messaggi() const {
        std::vector<std::string> testi;
        for (const auto& v : p.voci(piattaforma_copione::tipo::messaggio))
            testi.push_back(v.titolo + ": " + v.testo);
        return testi;
    }

    // Nothing written, deleted, created or removed; every file as it was.
    void disco_intatto() {
        p.regola_guasto = nullptr;
        for (const auto& o : operazioni)
            EXPECT_TRUE(sola_lettura.count(o.substr(0, o.find(' ')))) << o;
        std::map<std::string, std::string> dopo;
        for (const auto& f : p.tutti_i_file()) dopo[f] = p.leggi_file(f);
        EXPECT_EQ(dopo, disco_prima);
    }

    // The start ended at the connection form: one message, no update form.
    void chiuso_con(const std::string& messaggio) {
        EXPECT_THAT(messaggi(), ::testing::ElementsAre("j8_bbs: " + messaggio));
        EXPECT_TRUE(aggiornamento.caricamenti.empty());
        disco_intatto();
    }

    // Line `numero` of the data enciphered as it would be in `file` (whose
    // header sets the rows).
    std::string cifrata_in(const std::string& file, const std::string& testo, std::int64_t numero) {
        leggi_impostazioni(p, file, 1.0f);
        return cifra_riga(testo, numero);
    }
};

TEST_F(avvio_impostazioni, file_buoni_il_caricamento_prosegue_e_prepara_il_lavoro) {
    // The world above is one where a load that goes ahead does change the disk.
    ASSERT_TRUE(avvia());
    EXPECT_TRUE(messaggi().empty());
    EXPECT_THAT(aggiornamento.caricamenti, ::testing::ElementsAre(esito_caricamento::pronto));
    EXPECT_EQ(form.modello.utente, "farmacia");
    EXPECT_EQ(valori.direttorio_tabelle, "c:\\tabelle\\");
    EXPECT_FALSE(p.esiste_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf"));
    EXPECT_FALSE(p.esiste_file("c:\\j8\\archivio\\j8000001.exe"));
}

TEST_F(avvio_impostazioni, file_mancante_nei_due_posti) {
    p.cancella_file(config_bbs);
    EXPECT_FALSE(avvia());
    chiuso_con(
        "Il file delle impostazioni j8_bbs_config.txt non \xE8 stato trovato n\xE9 nella cartella "
        "C:\\j8bbs\\ n\xE9 in c:\\pippo\\.\r\nCopiare il file in una delle due cartelle (chiedere al "
        "fornitore del programma una nuova copia se non c'\xE8 pi\xF9)." +
        fine);
}

TEST_F(avvio_impostazioni, file_illeggibile) {
    illeggibile = config_bbs;
    EXPECT_FALSE(avvia());
    chiuso_con("Impossibile leggere il file delle impostazioni C:\\j8bbs\\j8_bbs_config.txt (accesso "
               "negato).\r\nVerificare che il file esista, che la sua cartella sia accessibile e che "
               "nessun altro programma lo tenga aperto." +
               fine);
}

TEST_F(avvio_impostazioni, file_piu_corto_dell_intestazione_anche_in_pippo) {
    // Only in c:\pippo\: the message names that file.
    auto righe = righe_di(p.leggi_file(config_bbs));
    righe.resize(17);
    p.cancella_file(config_bbs);
    p.crea_file(pippo_bbs, unisci(righe));
    EXPECT_FALSE(avvia());
    chiuso_con("Il file delle impostazioni c:\\pippo\\j8_bbs_config.txt \xE8 danneggiato alla riga 18: "
               "il file finisce dopo 17 righe, l'intestazione ne richiede 30.\r\n" +
               nuova_copia + fine);
}

TEST_F(avvio_impostazioni, file_vuoto) {
    p.crea_file(config_bbs, "");
    EXPECT_FALSE(avvia());
    chiuso_con("Il file delle impostazioni C:\\j8bbs\\j8_bbs_config.txt \xE8 danneggiato alla riga 1: "
               "il file \xE8 vuoto.\r\n" +
               nuova_copia + fine);
}

TEST_F(avvio_impostazioni, riga_di_intestazione_senza_il_seme) {
    // Line 7 carries its seed at the key's position 5.
    ASSERT_EQ(posizioni[7], 5);
    auto righe = righe_di(p.leggi_file(config_bbs));
    righe[6] = "abcd";
    p.crea_file(config_bbs, unisci(righe));
    EXPECT_FALSE(avvia());
    chiuso_con("Il file delle impostazioni C:\\j8bbs\\j8_bbs_config.txt \xE8 danneggiato alla riga 7: "
               "riga di intestazione di 4 caratteri, troppo corta: la chiave richiede il carattere "
               "in posizione 5.\r\n" +
               nuova_copia + fine);
}

TEST_F(avvio_impostazioni, riga_di_dati_senza_uguale) {
    auto righe = righe_di(p.leggi_file(config_bbs));
    righe[30 + 3] = cifrata_in(config_bbs, "userid bbs farmacia", 4);
    p.crea_file(config_bbs, unisci(righe));
    EXPECT_FALSE(avvia());
    chiuso_con("Il file delle impostazioni C:\\j8bbs\\j8_bbs_config.txt \xE8 danneggiato alla riga 34: "
               "la riga, decifrata, non contiene il segno \"=\" (riga 4 dei dati).\r\n" +
               nuova_copia + fine);
}

TEST_F(avvio_impostazioni, riga_di_dati_vuota) {
    auto righe = righe_di(p.leggi_file(config_bbs));
    righe.insert(righe.begin() + 31, "");
    p.crea_file(config_bbs, unisci(righe));
    EXPECT_FALSE(avvia());
    chiuso_con("Il file delle impostazioni C:\\j8bbs\\j8_bbs_config.txt \xE8 danneggiato alla riga 32: "
               "riga vuota (riga 2 dei dati): ogni riga dopo l'intestazione deve contenere "
               "un'impostazione \"chiave=valore\".\r\n" +
               nuova_copia + fine);
}

TEST_F(avvio_impostazioni, file_di_un_altro_programma) {
    p.crea_file(config_bbs, componi_impostazioni(config_bbs, {"colore=blu", "finestra=grande"}, 5.0f));
    EXPECT_FALSE(avvia());
    chiuso_con("Il file C:\\j8bbs\\j8_bbs_config.txt non contiene impostazioni leggibili: nessuna delle "
               "2 righe di dati contiene un'impostazione nota. Forse \xE8 cifrato con un'altra chiave o "
               "non \xE8 un file di impostazioni di j8_bbs.\r\n" +
               nuova_copia + fine);
}

TEST_F(avvio_impostazioni, file_cifrato_con_un_altra_chiave) {
    // Other seeds in the header: the data lines decipher to noise. Whether
    // the noise holds an "=" or not, the start ends with a message.
    const std::string buono = p.leggi_file(config_bbs);
    prepara_chiave(1.0f);  // the seeds' positions, fixed by the key
    for (int altro = 1; altro <= 12; ++altro) {
        SCOPED_TRACE(altro);
        auto righe = righe_di(buono);
        for (int i = 1; i <= 12; ++i) {
            char& seme = righe[i - 1][posizioni[i] - 1];
            seme = static_cast<char>(32 + (seme - 32 + altro * 7) % 96);
        }
        p.crea_file(config_bbs, unisci(righe));
        form_collegamento nuovo(p, aggiornamento, valori);
        EXPECT_FALSE(nuovo.Form_Load());
        const auto testi = messaggi();
        ASSERT_EQ(testi.size(), static_cast<std::size_t>(altro));
        EXPECT_THAT(testi.back(), ::testing::StartsWith("j8_bbs: Il file "));
        EXPECT_THAT(testi.back(), ::testing::HasSubstr(config_bbs));
        EXPECT_THAT(testi.back(), ::testing::EndsWith(fine));
        EXPECT_TRUE(aggiornamento.caricamenti.empty());
    }
}

TEST_F(avvio_impostazioni, solo_intestazione_o_solo_chiavi_ignote_con_una_nota_prosegue) {
    // A header alone sets nothing, as ever; one known key among unknown ones
    // is an ordinary file.
    auto righe = righe_di(p.leggi_file(config_bbs));
    righe.resize(30);
    p.crea_file(config_bbs, unisci(righe));
    EXPECT_TRUE(avvia());
    EXPECT_EQ(form.modello.utente, "cliente");
    EXPECT_TRUE(messaggi().empty());

    p.crea_file(config_bbs,
                componi_impostazioni(config_bbs, {"colore=blu", "Telefono BBS=0611111111", "x=y"}, 5.0f));
    EXPECT_TRUE(form.Form_Load());
    EXPECT_EQ(form.modello.telefono, "0611111111");
    EXPECT_TRUE(messaggi().empty());
}

TEST_F(avvio_impostazioni, carattere_di_controllo_in_un_valore_prosegue) {
    // The legacy reader went on; ours too: the character arrives as code 31
    // and the box shows it for the user to correct.
    auto righe = righe_di(p.leggi_file(config_bbs));
    std::string& password = righe[30 + 4];
    password.insert(password.size() - 2, "\t");
    p.crea_file(config_bbs, unisci(righe));
    EXPECT_TRUE(avvia());
    EXPECT_TRUE(messaggi().empty());
    EXPECT_EQ(form.modello.password, "ze\x1fta");
    EXPECT_EQ(valori.ultimo_aggiornamento, "j8000007");
}

// ---------------------------------------------------- "j8_config.txt"

TEST_F(avvio_impostazioni, configurazione_tabelle_mancante_chiude_prima_di_toccare_il_disco) {
    p.cancella_file(config_tabelle);
    EXPECT_TRUE(avvia());  // the connection form's part went well
    EXPECT_THAT(aggiornamento.caricamenti, ::testing::ElementsAre(esito_caricamento::fine_programma));
    EXPECT_THAT(messaggi(), ::testing::ElementsAre(
                                "J8_aggiornamento: file configurazione (j8_config.txt)non trovato in C:\\j8bbs"));
    disco_intatto();
}

TEST_F(avvio_impostazioni, configurazione_tabelle_rovinata_chiude_prima_di_toccare_il_disco) {
    auto righe = righe_di(p.leggi_file(config_tabelle));
    righe.resize(29);
    p.crea_file(config_tabelle, unisci(righe));
    EXPECT_TRUE(avvia());
    EXPECT_THAT(aggiornamento.caricamenti, ::testing::ElementsAre(esito_caricamento::fine_programma));
    EXPECT_THAT(messaggi(),
                ::testing::ElementsAre("J8_aggiornamento: Il file delle impostazioni C:\\j8bbs\\j8_config.txt "
                                       "\xE8 danneggiato alla riga 30: il file finisce dopo 29 righe, "
                                       "l'intestazione ne richiede 30.\r\n" +
                                       nuova_copia + fine));
    disco_intatto();
}

TEST_F(avvio_impostazioni, configurazione_tabelle_senza_la_chiave_prosegue) {
    // The main application's file holds keys of its own: no check of
    // foreign keys there, and a missing "direttorio tabelle" keeps the value.
    p.crea_file(config_tabelle, componi_impostazioni(config_tabelle, {"stampante=lpt1"}, 9.0f));
    EXPECT_TRUE(avvia());
    EXPECT_THAT(aggiornamento.caricamenti, ::testing::ElementsAre(esito_caricamento::pronto));
    EXPECT_TRUE(messaggi().empty());
    EXPECT_EQ(valori.direttorio_tabelle, "");
}

}  // namespace
}  // namespace j8
