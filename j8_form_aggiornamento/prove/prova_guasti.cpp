// Failures of the update run on the scripted stand-in: every file step
// failing or killed, and the other failures the pharmacist can meet.
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "j8_form_aggiornamento/prove/banco_prova.hpp"

using namespace j8;
using namespace j8::prova;

namespace {

const std::string lavoro = "c:\\j8\\lavoro_aggiornamento\\";
const std::string messaggio_avvio =
    "L'aggiornamento precedente si \xE8 interrotto: le tabelle sono state riportate come erano prima.\r\n"
    "Per applicare i pacchetti scaricati ripetere l'aggiornamento.";

// Two packages, the second with a ".new" table, a new table and a
// read-only table to unlock.
struct corsa : banco_libero {
    corsa() {
        metti_pacchetto(0, pacchetto_completo(0));
        auto secondo = pacchetto_completo(1);
        secondo["generici.new"] = "generici nuovi\r\n";
        secondo["presidi.tda"] = "presidi nuovi\r\n";
        metti_pacchetto(1, secondo);
        p.imposta_attributi("c:\\farmacia\\tabelle\\ditte.tda", attributo::sola_lettura | attributo::archivio);
        EXPECT_EQ(form.Form_Load(), esito_caricamento::pronto);
    }
    bool completato() const { return form.modello.Label1.caption == "AGGIORNAMENTO COMPLETATO"; }
    bool giornale_presente() { return p.esiste_file(form.direttorio_ripristino() + nome_giornale); }
    // The next start on the same disk: the last package read from the settings.
    vista_registrata vista_dopo;
    std::unique_ptr<form_aggiornamento> riavvia() {
        p.riavvia();
        valori.ultimo_aggiornamento = valore_aggiornamento();
        auto nuovo = std::make_unique<form_aggiornamento>(p, vista_dopo, valori);
        EXPECT_EQ(nuovo->Form_Load(), esito_caricamento::pronto);
        return nuovo;
    }
};

// An undisturbed run: tables after it, count of its file operations, and
// the one copying the second package's ATC table to the working folder.
// A second start while it extracts finds the journal held, says the
// program is running and ends without a file operation.
struct riferimento {
    stato_tabelle dopo;
    std::uint64_t operazioni = 0, copia_atc = 0;
};
const riferimento& corsa_indisturbata() {
    static const riferimento r = [] {
        corsa c;
        const auto inizio = c.p.operazioni_file();
        std::uint64_t copia_atc = 0;
        c.p.regola_guasto = [&](const auto& o) -> std::optional<std::string> {
            if (o.nome == "copia_file" && minuscolo(o.percorso) == lavoro + "atc.tda") copia_atc = o.numero;
            return std::nullopt;
        };
        std::optional<esito_caricamento> secondo;
        c.p.osservatore = [&](const piattaforma_copione::voce& v) {
            if (v.cosa != piattaforma_copione::tipo::avvio || secondo) return;
            const auto prima = c.p.operazioni_file();
            secondo = form_aggiornamento(c.p, c.vista_dopo, c.valori).Form_Load();
            EXPECT_EQ(c.p.operazioni_file(), prima);  // not even a read
        };
        c.form.esegui_aggiornamento();
        EXPECT_TRUE(c.completato());
        EXPECT_EQ(secondo, std::optional(esito_caricamento::fine_programma));
        EXPECT_EQ(c.messaggi(), std::vector<std::string>{"j8_bbs \xE8 gi\xE0 in esecuzione."});
        const auto operazioni = c.p.operazioni_file() - inizio;  // before stato() adds its own
        return riferimento{c.stato(), operazioni, copia_atc};
    }();
    return r;
}

// A run without faults from here gives the undisturbed result.
void finisce_indisturbata(corsa& c, form_aggiornamento& f) {
    f.esegui_aggiornamento();
    EXPECT_TRUE(c.stato() == corsa_indisturbata().dopo);
    EXPECT_EQ(c.valore_aggiornamento(), "j8000001");
}

// Under the sanitizers (twenty times slower) each step gets one of the
// three errors, in turn, and the kill.
#ifdef __SANITIZE_ADDRESS__
constexpr bool tutti_gli_errori = false;
#else
constexpr bool tutti_gli_errori = true;
#endif

}  // namespace

// Whichever file step fails, or has the process killed, nothing is lost. A
// failing run completes (the step was after the commit, or ignored) or puts
// everything back and says so once; after a kill the next start does, or
// keeps the new tables once the settings name the new package. A run
// without the fault then gives the undisturbed result.
TEST(guasti_aggiornamento, ogni_operazione_guasta_o_interrotta) {
    const riferimento& atteso = corsa_indisturbata();
    ASSERT_GT(atteso.operazioni, 60u);
    EXPECT_EQ(atteso.dopo.at("generici.tda").contenuto, "generici nuovi\r\n");
    EXPECT_EQ(atteso.dopo.at("ditte.tda").attributi, attributo::archivio);  // unlocked by the run
    const std::vector<std::string> guasti = {"disco pieno", "accesso negato", "file non trovato", "ucciso"};
    std::map<std::string, int> esiti;
    for (std::uint64_t k = 1; k <= atteso.operazioni; ++k) {
        for (std::size_t e = 0; e < guasti.size(); ++e) {
            if (!tutti_gli_errori && e < 3 && e != k % 3) continue;
            const std::string& errore = guasti[e];
            SCOPED_TRACE("operazione " + std::to_string(k) + ", " + errore);
            corsa c;
            const stato_tabelle prima = c.stato();
            const std::uint64_t bersaglio = c.p.operazioni_file() + k;
            if (errore == "ucciso") {
                c.p.interrompi_a(bersaglio);
                EXPECT_THROW(c.form.esegui_aggiornamento(), interruzione_simulata);
                EXPECT_TRUE(c.messaggi().empty());
                const bool giornale = c.giornale_presente();
                // Tables are whole even before the restore (temporary names).
                c.p.riavvia();
                for (const auto& [nome, s] : c.stato())
                    if (nome.ends_with(".tda")) { EXPECT_TRUE(s.contenuto.empty() || s.contenuto.ends_with("\r\n")) << nome; }
                // The committed run's clean-up finished.
                if (controlla_aggiornamento_interrotto(c.p, c.valori) == esito_avvio::gia_completato) {
                    EXPECT_FALSE(c.p.esiste_direttorio(senza_barra(lavoro)));
                }
                auto form = c.riavvia();
                EXPECT_FALSE(c.giornale_presente());
                // Already recorded: the start only finished the clean-up.
                const bool registrato = c.valore_aggiornamento() == "j8000001";
                ++esiti[registrato ? "registrate" : giornale ? "ripristinate" : "intatte"];
                if (!registrato) { EXPECT_TRUE(c.impostazioni_intatte() && c.stato() == prima); }
                EXPECT_EQ(c.messaggi(), !registrato && giornale ? std::vector<std::string>{messaggio_avvio}
                                                                : std::vector<std::string>{});
                finisce_indisturbata(c, *form);
                continue;
            }
            std::string guastata;
            c.p.regola_guasto = [&](const piattaforma_copione::operazione_file& o) -> std::optional<std::string> {
                if (o.numero != bersaglio) return std::nullopt;
                guastata = o.nome + " " + o.percorso;
                return errore;
            };
            c.form.esegui_aggiornamento();
            c.p.regola_guasto = nullptr;
            ASSERT_FALSE(guastata.empty());
            SCOPED_TRACE(guastata);
            auto dopo = c.stato();
            if (c.completato()) {
                ++esiti["completate"];
                EXPECT_EQ(c.valore_aggiornamento(), "j8000001");
                // An ignored failure of the "new" copy keeps the old table.
                if (dopo.at("generici.tda").contenuto == "generici vecchi\r\n")
                    dopo["generici.tda"] = atteso.dopo.at("generici.tda");
                // Whatever the clean-up left, the next start has nothing to restore.
                EXPECT_NE(controlla_aggiornamento_interrotto(c.p, c.valori), esito_avvio::tabelle_ripristinate);
                EXPECT_TRUE(dopo == atteso.dopo && !c.giornale_presente() && c.messaggi().empty());
                continue;
            }
            ++esiti["interrotte"];
            // Unknown attributes cannot be put back; the bytes still are.
            if (contiene(guastata, "attributi_file"))
                for (auto& [nome, s] : dopo) s.attributi = prima.at(nome).attributi;
            EXPECT_TRUE(dopo == prima && c.impostazioni_intatte() && !c.giornale_presente());
            ASSERT_EQ(c.messaggi().size(), 1u);
            const std::string testo = c.messaggi()[0];
            EXPECT_EQ(testo.rfind("Aggiornamento interrotto.\r\n", 0), 0u) << testo;
            // An ignored failure to unlock shows when the run copies onto it.
            const bool sblocco = contiene(guastata, "imposta_solo_archivio c:\\farmacia\\tabelle\\ditte.tda");
            EXPECT_TRUE(contiene(testo, sblocco ? "accesso negato: la tabella c:\\farmacia\\tabelle\\ditte.tda" : errore))
                << testo;
            // A repeat promised only when it can succeed; a damaged package
            // sent to the supplier.
            EXPECT_FALSE(contiene(testo, "lavoro_aggiornamento")) << testo;
            const bool ripetibile = sblocco || errore != "file non trovato";
            bool copia_di_tabella = false;
            for (const auto& t : tabelle_obbligatorie) copia_di_tabella |= contiene(guastata, "lavoro_aggiornamento\\" + t);
            const bool nel_pacchetto = (contiene(guastata, "lavoro_aggiornamento\\") && !copia_di_tabella) ||
                                       contiene(guastata, "da_bbs\\j8");
            EXPECT_EQ(contiene(testo, "l'aggiornamento si pu\xF2 ripetere"), ripetibile) << testo;
            EXPECT_EQ(contiene(testo, "nuova copia del pacchetto"), !ripetibile && nel_pacchetto) << testo;
            EXPECT_TRUE(contiene(testo, "Le tabelle sono state ripristinate come erano prima") ||
                        contiene(testo, "Le tabelle non sono state modificate")) << testo;
            EXPECT_TRUE(c.p.esiste_file(c.valori.direttorio_da_bbs + nome_pacchetto(1)));
            // The working folder goes with the failed run.
            EXPECT_TRUE(contiene(guastata, "lavoro_aggiornamento") || !c.p.esiste_direttorio(senza_barra(lavoro)));
            const auto& m = c.form.modello;
            EXPECT_TRUE(m.Label1.caption == "Chiudere il programma" && m.Label1.back_color == colore_rosso &&
                        !m.Timer1.enabled);
            // The report claims nothing the restore undid.
            EXPECT_TRUE(contiene(m.Text1.text, "Nessun pacchetto applicato.\r\nAggiornamento interrotto (")) << m.Text1.text;
            // The same run again, nothing failing.
            ASSERT_EQ(c.form.Form_Load(), esito_caricamento::pronto);
            finisce_indisturbata(c, c.form);
            EXPECT_EQ(c.messaggi().size(), 1u);
        }
    }
    const int tipi = tutti_gli_errori ? 3 : 1;
    EXPECT_GT(esiti["interrotte"], tipi * 40);
    EXPECT_GT(esiti["completate"], tipi * 10);
    EXPECT_GT(esiti["ripristinate"], 40);
    EXPECT_GT(esiti["registrate"], 3);
}

// After a kill in the second package's copy-back: a start killed while
// putting the tables back, or unable to (writes refused: it says where the
// copy is and refuses a run over it), leaves the journal for the next one.
TEST(guasti_aggiornamento, ripristino_all_avvio_interrotto_o_impossibile_si_riprende) {
    const std::uint64_t punto = corsa_indisturbata().copia_atc;
    ASSERT_GT(punto, 0u);
    for (std::uint64_t j = 0;; ++j) {
        SCOPED_TRACE(j ? "avvio interrotto all'operazione " + std::to_string(j) : "avvio con scritture rifiutate");
        corsa c;
        const stato_tabelle prima = c.stato();
        c.p.interrompi_a(punto);
        EXPECT_THROW(c.form.esegui_aggiornamento(), interruzione_simulata);
        c.p.riavvia();
        ASSERT_FALSE(c.stato() == prima);
        ASSERT_EQ(c.valore_aggiornamento(), "j8000000");  // not yet committed
        bool ucciso = false;
        if (j == 0) {  // the folder refuses writes at this start
            c.p.regola_guasto = [](const auto& o) -> std::optional<std::string> {
                if (o.nome != "copia_file" || minuscolo(o.secondo).rfind("c:\\farmacia\\tabelle", 0) != 0)
                    return std::nullopt;
                return "accesso negato";
            };
            form_aggiornamento bloccato(c.p, c.vista_dopo, c.valori);
            ASSERT_EQ(bloccato.Form_Load(), esito_caricamento::pronto);
            bloccato.esegui_aggiornamento();
            const auto testi = c.messaggi();
            ASSERT_EQ(testi.size(), 2u);
            for (const char* parte : {"non \xE8 stato possibile riportare le tabelle come erano prima (accesso negato: ",
                                      "c:\\j8\\ripristino_aggiornamento\\"})
                EXPECT_TRUE(contiene(testi[0], parte)) << testi[0];
            for (const char* parte : {"non \xE8 ancora stato ripristinato", "Le tabelle non sono state modificate"})
                EXPECT_TRUE(contiene(testi[1], parte)) << testi[1];
            EXPECT_TRUE(c.giornale_presente());
            c.p.regola_guasto = nullptr;
            ucciso = true;
        } else {
            c.p.interrompi_a(c.p.operazioni_file() + j);
            try {
                controlla_aggiornamento_interrotto(c.p, c.valori);
            } catch (const interruzione_simulata&) {
                ucciso = true;
            }
        }
        auto form = c.riavvia();
        EXPECT_TRUE(c.stato() == prima && !c.giornale_presente());
        EXPECT_EQ(c.messaggi().back(), messaggio_avvio);
        // Told once; twice if the kill fell as the journal was being deleted.
        EXPECT_TRUE(j == 0 || c.messaggi().size() == 1u || c.messaggi().size() == 2u) << c.messaggi().size();
        finisce_indisturbata(c, *form);
        if (!ucciso) break;
        ASSERT_LT(j, 200u);
    }
}

// A journal that cannot be deleted, or even seen (an antivirus holding
// it), keeps its copies: no start may find a journal without them and
// refuse every run for good.
TEST(giornale_ripristino, che_non_si_cancella_tiene_le_copie) {
    struct giornale_trattenuto : piattaforma_copione {
        bool muto = false;
        bool esiste_file(const std::string& percorso) override {
            if (muto && percorso.ends_with(nome_giornale)) throw errore_file(percorso, "accesso negato");
            return piattaforma_copione::esiste_file(percorso);
        }
    };
    const std::string copie = "c:\\j8\\ripristino_aggiornamento\\";
    for (const bool muto : {false, true}) {
        giornale_trattenuto q;
        q.muto = muto;
        q.crea_file(copie + nome_giornale, "giornale");
        q.crea_file(copie + "atc.tda", "copia");
        q.regola_guasto = [](const auto& o) -> std::optional<std::string> {
            if (o.nome == "cancella_file" && o.percorso.ends_with(nome_giornale)) return "accesso negato";
            return std::nullopt;
        };
        elimina_ripristino(q, copie);
        EXPECT_TRUE(q.esiste_file(copie + "atc.tda")) << muto;
    }
}

// A journal is taken only whole: cut short or damaged, it is refused.
TEST(giornale_ripristino, solo_intero_e_letto) {
    giornale_ripristino g{"c:\\farmacia\\tabelle\\", "c:\\j8bbs\\j8_bbs_config.txt", "j8000000", "j8000001",
                          {{"ditte.tda", 0x21}, {"x", 0x20}}, {{"farmaci.tda", true}, {"x", false}}};
    const std::string testo = componi_giornale(g);
    const auto letto = leggi_giornale(testo);
    ASSERT_TRUE(letto.has_value());
    EXPECT_EQ(componi_giornale(*letto), testo);
    for (std::size_t n = 0; n < testo.size(); ++n) EXPECT_FALSE(leggi_giornale(testo.substr(0, n))) << n;
    EXPECT_FALSE(leggi_giornale(testo + "altro\r\n"));
    for (const char* valore : {"0000002G", "-0000021", "0x000021", "21", "000000210"}) {
        std::string rovinato = testo;
        rovinato.replace(rovinato.find("00000021 ditte"), 8, valore);
        EXPECT_FALSE(leggi_giornale(rovinato)) << valore;
    }
    g.nuovo.reset();
    g.tabelle.clear();  // the tables in the current directory
    EXPECT_EQ(componi_giornale(*leggi_giornale(componi_giornale(g))), componi_giornale(g));
}

// The second package's extractor damaged: the wait has no limit until the
// pharmacist closes the form, and the next start puts the tables back.
// Gone before its dialog: the keys go nowhere else, the run puts them back.
TEST(guasti_aggiornamento, estrattore_danneggiato_o_sparito) {
    for (const bool danneggiato : {true, false}) {
        SCOPED_TRACE(danneggiato ? "danneggiato" : "sparito");
        corsa c;
        auto& p = c.p;
        p.registra_programma(c.valori.direttorio_da_bbs + nome_pacchetto(1), [&](std::uint32_t task) {
            if (danneggiato)
                p.aggiungi_figlio(p.apri_finestra("WinZip Self-Extractor - j8000001.exe", "#32770", task),
                                  "Error: the archive is damaged");
        });
        const stato_tabelle prima = c.stato();
        if (!danneggiato) {
            c.form.esegui_aggiornamento();
            ASSERT_EQ(c.messaggi().size(), 1u);
            EXPECT_EQ(c.messaggi()[0].rfind("Aggiornamento interrotto.", 0), 0u) << c.messaggi()[0];
            EXPECT_TRUE(c.stato() == prima && p.tasti_mandati().size() == 4u);  // the first package's keys only
            continue;
        }
        modello_aggiornamento visto;
        p.dopo(7200, [&] {  // two hours later the pharmacist closes the form
            visto = c.form.modello;
            p.interrompi_ora();
        });
        EXPECT_THROW(c.form.esegui_aggiornamento(), interruzione_simulata);
        EXPECT_EQ(visto.Label1.caption, "Estrazione dei files di aggiornamento");
        EXPECT_EQ(visto.Label2.caption, "E' in corso l'aggiornamento N. 2 di 2");
        EXPECT_EQ(c.estratti, std::vector<std::string>{nome_pacchetto(0)});
        p.riavvia();
        EXPECT_FALSE(c.stato() == prima);  // the first package was copied back
        c.riavvia();
        EXPECT_TRUE(c.stato() == prima && c.impostazioni_intatte());
        EXPECT_EQ(c.messaggi(), std::vector<std::string>{messaggio_avvio});
        EXPECT_TRUE(p.esiste_file(c.valori.direttorio_da_bbs + nome_pacchetto(1)));
    }
}
