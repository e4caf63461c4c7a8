// Start of the program with the connection form's load, then the real update
// form's load, on the scripted stand-in. Every message of a settings file
// that cannot be used is checked in the shared module's tests; here, one
// case per outcome: the start goes on and prepares the work, or it ends with
// one message, no update form, and the disk exactly as it was.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "j8_form_aggiornamento/form_aggiornamento.hpp"
#include "j8_form_collegamento/form_collegamento.hpp"
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
        std::map<std::string, std::string> disco_prima;
        for (const auto& f : p.tutti_i_file()) disco_prima[f] = p.leggi_file(f);
        std::vector<std::string> cambiano;  // file operations that change the disk
        p.regola_guasto = [&](const piattaforma_copione::operazione_file& o) -> std::optional<std::string> {
            static const std::set<std::string> sola_lettura = {"leggi_file", "elenca_file", "lunghezza_file",
                                                                "attributi_file", "cambia_direttorio"};
            if (!sola_lettura.count(o.nome)) cambiano.push_back(o.nome + " " + o.percorso);
            return std::nullopt;
        };
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
        EXPECT_THAT(cambiano, ::testing::IsEmpty());
        p.regola_guasto = nullptr;
        std::map<std::string, std::string> dopo;
        for (const auto& f : p.tutti_i_file()) dopo[f] = p.leggi_file(f);
        EXPECT_EQ(dopo, disco_prima);
    }
}

}  // namespace
}  // namespace j8
