#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

#include <gtest/gtest.h>

namespace j8 {
namespace {

using v = std::vector<std::string>;

TEST(copione_orologio, data_ora_pausa_esatta_e_letture_che_avanzano) {
    piattaforma_copione p(componi_data_ora(2024, 3, 15, 10, 30, 15));
    EXPECT_DOUBLE_EQ(componi_data_ora(1899, 12, 30), 0.0);
    EXPECT_DOUBLE_EQ(componi_data_ora(2000, 1, 1), 36526.0);
    const data_ora prima = p.orologio();
    p.pausa(2.5);
    EXPECT_NEAR((p.orologio() - prima) * 86400, 2.5, 1e-6);
    const float s1 = p.secondi_da_mezzanotte();
    EXPECT_NEAR(s1, 10 * 3600 + 30 * 60 + 17.5, 0.01);
    p.passo_lettura = 0.25;
    EXPECT_GT(p.secondi_da_mezzanotte(), s1);
    const data_ora a = p.adesso(), b = p.adesso();
    EXPECT_NEAR((b - a) * 86400, 0.25, 1e-6);
}

TEST(copione_orologio, reazioni_a_tempo_in_ordine_anche_annidate) {
    piattaforma_copione p;
    std::vector<int> ordine;
    p.dopo(3, [&] { ordine.push_back(3); });
    p.dopo(1, [&] {
        ordine.push_back(1);
        p.dopo(1, [&] { ordine.push_back(2); });
    });
    p.dopo(1, [&] { ordine.push_back(11); });
    p.pausa(0.5);
    EXPECT_TRUE(ordine.empty());
    p.pausa(2.0);
    EXPECT_EQ(ordine, (std::vector<int>{1, 11, 2}));
    p.pausa(10);
    EXPECT_EQ(ordine.back(), 3);
}

TEST(copione_finestre, apertura_chiusura_figli_e_attivazione) {
    piattaforma_copione p;
    const maniglia a = p.apri_finestra("Connessione - HyperTerminal", "Session", 7);
    const maniglia b = p.apri_finestra("WinZip Self-Extractor - j8000123.exe", "#32770", 9);
    const maniglia f = p.aggiungi_figlio(b, "Unzip", "Button");
    const maniglia ff = p.aggiungi_figlio(f, "dentro");
    p.aggiungi_figlio(b, "Close", "Button");
    ASSERT_EQ(p.finestre().size(), 2u);
    EXPECT_EQ(p.finestre()[0].handle, b);  // newest on top
    EXPECT_EQ(p.finestra_attiva(), b);
    const auto figli = p.figli(b);
    ASSERT_EQ(figli.size(), 3u);
    EXPECT_EQ(figli[1].handle, ff);  // depth first
    EXPECT_EQ(figli[2].titolo, "Close");

    EXPECT_TRUE(p.attiva_task(7));
    EXPECT_EQ(p.finestra_attiva(), a);
    EXPECT_EQ(p.finestre()[0].handle, a);
    EXPECT_FALSE(p.attiva_task(8));
    EXPECT_TRUE(p.attiva_titolo("winzip self-extractor"));  // beginning, any case
    EXPECT_EQ(p.finestra_attiva(), b);
    EXPECT_FALSE(p.attiva_titolo("Self-Extractor"));

    p.chiudi_finestra(b);
    EXPECT_FALSE(p.esiste_finestra(ff));
    EXPECT_TRUE(p.figli(b).empty());
    EXPECT_EQ(p.finestra_attiva(), a);
    const auto reg = p.voci(piattaforma_copione::tipo::attiva_task);
    ASSERT_EQ(reg.size(), 2u);
    EXPECT_TRUE(reg[0].riuscito);
    EXPECT_FALSE(reg[1].riuscito);
}

TEST(copione_tasti, registro_reazioni_e_stringhe_rifiutate) {
    piattaforma_copione p;
    p.apri_finestra("Terminale");
    std::string visti;
    p.su_tasti = [&](const std::string& t) { visti += t; };
    int chiusure = 0;
    p.quando_tasti("%fx", [&] {
        ++chiusure;
        p.dopo(2, [&] { p.apri_finestra("Dopo"); });
    });
    p.manda_tasti("at{enter}");
    p.manda_tasti("%fx");
    EXPECT_EQ(chiusure, 1);
    EXPECT_EQ(visti, "at{enter}%fx");
    EXPECT_THROW(p.manda_tasti("{sconosciuto}"), errore_tasti);
    EXPECT_EQ(p.tasti_mandati(), (v{"at{enter}", "%fx"}));
    EXPECT_EQ(p.registro()[0].titolo, "Terminale");
    p.pausa(1.9);
    EXPECT_EQ(p.finestre().size(), 1u);
    p.pausa(0.2);
    EXPECT_EQ(p.finestre()[0].titolo, "Dopo");
}

TEST(copione_programmi, avvio_appunti_messaggi_e_osservatore) {
    piattaforma_copione p;
    EXPECT_THROW(p.avvia_programma("c:\\nessuno.exe"), errore_avvio);
    std::uint32_t visto = 0;
    p.registra_programma("C:\\Programmi\\HT.EXE", [&](std::uint32_t t) {
        visto = t;
        p.apri_finestra("HT", "Session", t);
    });
    const std::uint32_t t = p.avvia_programma("c:\\programmi\\ht.exe");
    EXPECT_EQ(t, visto);
    EXPECT_TRUE(p.attiva_task(t));
    p.crea_file("c:\\bbs\\j8000001.exe", "MZ");
    std::string avviato;
    p.su_avvio = [&](const std::string& percorso, std::uint32_t) { avviato = percorso; };
    EXPECT_NE(p.avvia_programma("c:\\bbs\\j8000001.exe"), t);
    EXPECT_EQ(avviato, "c:\\bbs\\j8000001.exe");

    EXPECT_EQ(p.leggi_appunti(), "");
    p.imposta_appunti("schermo");
    EXPECT_EQ(p.leggi_appunti(), "schermo");
    int letture = 0;
    p.fonte_appunti = [&] { return "lettura " + std::to_string(++letture); };
    EXPECT_EQ(p.leggi_appunti(), "lettura 1");
    EXPECT_EQ(p.voci(piattaforma_copione::tipo::appunti).back().testo, "lettura 1");

    std::vector<piattaforma_copione::tipo> tipi;
    p.osservatore = [&](const piattaforma_copione::voce& x) { tipi.push_back(x.cosa); };
    p.messaggio("AGGIORNAMENTO COMPLETATO", "j8_bbs");
    p.manda_tasti("x");
    EXPECT_EQ(tipi, (std::vector{piattaforma_copione::tipo::messaggio,
                                  piattaforma_copione::tipo::tasti}));
    EXPECT_EQ(p.voci(piattaforma_copione::tipo::messaggio)[0].titolo, "j8_bbs");
}

TEST(copione_disco, percorsi_alla_windows_e_elenco_in_ordine_di_creazione) {
    piattaforma_copione p;
    p.crea_file("C:\\J8\\Lavoro\\zeta.tda", "z");
    p.crea_file("c:/j8/lavoro/Alfa.FAF", "a");
    p.crea_file("c:\\j8\\lavoro\\nascosto.tda", "h", attributo::nascosto);
    p.crea_cartelle("c:\\j8\\lavoro\\sotto.tda");
    p.crea_file("c:\\j8\\lavoro\\senza_punto", "s");
    EXPECT_EQ(p.elenca_file("c:\\j8\\lavoro", "*.*"), (v{"zeta.tda", "Alfa.FAF", "senza_punto"}));
    EXPECT_EQ(p.elenca_file("C:\\J8\\LAVORO\\", "*.faf"), (v{"Alfa.FAF"}));
    EXPECT_EQ(p.elenca_file("c:\\j8\\lavoro", "?eta.*"), (v{"zeta.tda"}));
    EXPECT_TRUE(p.elenca_file("c:\\manca", "*.*").empty());
    EXPECT_TRUE(p.esiste_file("c:\\j8\\lavoro\\..\\lavoro\\.\\ZETA.TDA"));
    EXPECT_FALSE(p.esiste_file("c:\\j8\\lavoro"));
    EXPECT_TRUE(p.esiste_direttorio("c:\\j8\\lavoro\\"));

    p.cambia_direttorio("c:\\j8");
    EXPECT_EQ(p.direttorio_corrente(), "C:\\J8");
    EXPECT_EQ(p.leggi_file("lavoro\\zeta.tda"), "z");
    EXPECT_EQ(p.leggi_file("\\j8\\lavoro\\alfa.faf"), "a");
    EXPECT_EQ(p.direttorio_programma(), "C:\\j8_bbs");
    EXPECT_THROW(p.cambia_direttorio("c:\\non_esiste"), errore_file);

    // Overwriting keeps the file's place in the listing.
    p.copia_file("c:\\j8\\lavoro\\senza_punto", "c:\\j8\\lavoro\\zeta.tda");
    EXPECT_EQ(p.elenca_file("c:\\j8\\lavoro", "*.*")[0], "zeta.tda");
    EXPECT_EQ(p.lunghezza_file("c:\\j8\\lavoro\\zeta.tda"), 1);
    EXPECT_EQ(p.leggi_file("c:\\j8\\lavoro\\zeta.tda"), "s");
}

TEST(copione_disco, errori_come_su_windows) {
    piattaforma_copione p;
    p.crea_file("c:\\t\\a.tda", "a", attributo::sola_lettura | attributo::archivio);
    p.crea_file("c:\\t\\b.tda", "b");
    auto problema = [&](auto fare) {
        try {
            fare();
        } catch (const errore_file& e) {
            return e.problema();
        }
        return std::string("nessuno");
    };
    EXPECT_EQ(problema([&] { p.leggi_file("c:\\t\\x.tda"); }), "file non trovato");
    EXPECT_EQ(problema([&] { p.scrivi_file("c:\\manca\\x.tda", ""); }), "percorso non trovato");
    EXPECT_EQ(problema([&] { p.scrivi_file("c:\\t\\a.tda", ""); }), "accesso negato");
    EXPECT_EQ(problema([&] { p.cancella_file("c:\\t\\a.tda"); }), "accesso negato");
    EXPECT_EQ(problema([&] { p.copia_file("c:\\t\\b.tda", "c:\\t\\a.tda"); }), "accesso negato");
    EXPECT_EQ(problema([&] { p.rinomina_file("c:\\t\\b.tda", "c:\\t\\A.TDA"); }),
              "file gi\xe0 esistente");
    EXPECT_EQ(problema([&] { p.rimuovi_direttorio("c:\\t"); }), "direttorio non vuoto");
    EXPECT_EQ(problema([&] { p.crea_direttorio("c:\\t"); }), "file gi\xe0 esistente");
    EXPECT_EQ(problema([&] { p.lunghezza_file("c:\\t"); }), "accesso negato");
    EXPECT_EQ(p.leggi_file("c:\\t\\a.tda"), "a");  // untouched by the refusals

    p.imposta_solo_archivio("c:\\t\\a.tda");
    EXPECT_EQ(p.attributi("c:\\t\\a.tda"), attributo::archivio);
    p.cancella_file("c:\\t\\a.tda");
    p.rinomina_file("c:\\t\\b.tda", "c:\\t\\c.tda");
    EXPECT_EQ(p.elenca_file("c:\\t", "*.*"), (v{"c.tda"}));
    p.rinomina_file("c:\\t", "c:\\u");
    EXPECT_EQ(p.leggi_file("c:\\u\\c.tda"), "b");
    p.cancella_file("c:\\u\\c.tda");
    p.rimuovi_direttorio("c:\\u");
    EXPECT_FALSE(p.esiste_direttorio("c:\\u"));
    p.crea_direttorio("c:\\u");
    EXPECT_EQ(problema([&] { p.crea_direttorio("c:\\v\\w"); }), "percorso non trovato");
}

TEST(copione_disco, guasto_alla_k_esima_operazione) {
    piattaforma_copione p;
    p.crea_file("c:\\t\\a.tda", "a");
    const std::uint64_t base = p.operazioni_file();
    p.guasta_operazione(base + 2);
    p.leggi_file("c:\\t\\a.tda");
    try {
        p.copia_file("c:\\t\\a.tda", "c:\\t\\b.tda");
        FAIL();
    } catch (const errore_file& e) {
        EXPECT_EQ(e.problema(), "disco pieno");
        EXPECT_EQ(e.percorso(), "c:\\t\\a.tda");
    }
    EXPECT_FALSE(p.esiste_file("c:\\t\\b.tda"));
    p.copia_file("c:\\t\\a.tda", "c:\\t\\b.tda");
    EXPECT_EQ(p.operazioni_file(), base + 3);

    p.regola_guasto = [](const piattaforma_copione::operazione_file& o) -> std::optional<std::string> {
        if (o.nome == "scrivi_file") return "accesso negato";
        return std::nullopt;
    };
    EXPECT_THROW(p.scrivi_file("c:\\t\\a.tda", "nuovo"), errore_file);
    EXPECT_EQ(p.leggi_file("c:\\t\\a.tda"), "a");
}

}  // namespace
}  // namespace j8
