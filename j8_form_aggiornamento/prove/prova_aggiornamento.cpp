// The update run on the scripted stand-in: load, sequence, form and report.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "j8_form_aggiornamento/prove/banco_prova.hpp"

using namespace j8;
using namespace j8::prova;

// The load empties the working folder, reads the tables folder, keeps the
// archive's packages within twenty of the highest; an archive on a missing
// drive ends it before anything on disk changes.
TEST_F(banco_prova, caricamento) {
    p.crea_cartelle("c:\\j8\\lavoro_aggiornamento");
    p.scrivi_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf", "resto");
    const std::string archivio = valori.direttorio_archivio;
    for (int n = 1; n <= 21; ++n) p.crea_file(archivio + nome_pacchetto(n), "MZ");
    p.crea_file(archivio + "leggimi.txt", "non un pacchetto");
    const auto archiviati = [&] { return p.elenca_file(senza_barra(archivio), "*.exe"); };
    std::string mostrato;
    form.su_direttorio_tabelle = [&](const std::string& d) { mostrato = d; };
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_TRUE(p.esiste_direttorio("c:\\j8\\lavoro_aggiornamento"));
    EXPECT_FALSE(p.esiste_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf"));
    EXPECT_EQ(valori.direttorio_lavoro, "c:\\j8\\lavoro_aggiornamento\\");
    EXPECT_EQ(valori.direttorio_tabelle, "c:\\farmacia\\tabelle\\");
    EXPECT_EQ(mostrato, "c:\\farmacia\\tabelle\\");
    EXPECT_TRUE(form.modello.Label1.grassetto && form.modello.Label2.grassetto);
    EXPECT_FALSE(p.esiste_file(archivio + nome_pacchetto(1)));
    EXPECT_EQ(archiviati().size(), 20u);
    EXPECT_TRUE(p.esiste_file(archivio + "leggimi.txt"));
    // Exactly twenty stay whatever the gaps; one more, and the gaps count.
    p.cancella_file(archivio + nome_pacchetto(2));
    p.crea_file(archivio + nome_pacchetto(45), "MZ");
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_EQ(archiviati().size(), 20u);
    p.crea_file(archivio + nome_pacchetto(46), "MZ");
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_EQ(archiviati(), (std::vector<std::string>{nome_pacchetto(45), nome_pacchetto(46)}));
    // The blink alternates the caption with its tag.
    form.modello.Label1.tag = form.modello.Label1.caption = "Attendere";
    form.Timer1_Timer();
    EXPECT_EQ(form.modello.Label1.caption, "");
    form.Timer1_Timer();
    EXPECT_EQ(form.modello.Label1.caption, "Attendere");

    valori.direttorio_archivio = "z:\\archivio\\";
    valori.direttorio_tabelle = "c:\\sbagliato\\";
    const auto file_prima = p.tutti_i_file();
    EXPECT_EQ(form.Form_Load(), esito_caricamento::fine_programma);
    EXPECT_EQ(valori.direttorio_tabelle, "c:\\sbagliato\\");
    EXPECT_EQ(p.tutti_i_file(), file_prima);
    ASSERT_EQ(messaggi().size(), 1u);
    for (const char* parte : {"Impossibile preparare la cartella di lavoro dell'aggiornamento.\r\n", "percorso non trovato",
                              "direttorio archivio aggiornamenti (z:\\archivio\\)", "senza modificare le tabelle"})
        EXPECT_TRUE(contiene(messaggi()[0], parte)) << messaggi()[0];
}

// Package numbers read as the legacy runtime's Val reads them.
TEST(pacchetti, numeri_e_nomi) {
    EXPECT_EQ(pacchetti::cifre_iniziali(" \t12x456"), 12);
    EXPECT_EQ(pacchetti::cifre_iniziali("abcdef"), 0);
    EXPECT_EQ(pacchetti::successivo("j8000099"), "j8000100");
    EXPECT_EQ(pacchetti::nome_da_percorso("c:\\j8\\da_bbs\\j8000012.exe"), "j8000012");
}

// Which packages a run applies; a refusal changes nothing; settings with
// no line to record the package in are told of after the tables.
TEST(sequenza, pacchetti_applicati_dall_ultimo_registrato) {
    struct caso { std::string ultimo; std::vector<int> presenti, applicati; bool completato; std::string registrato;
                  std::vector<std::string> messaggi; };
    const std::string senza_riga =
        "Le tabelle sono state aggiornate fino al pacchetto j8000000, ma il file "
        "c:\\j8bbs\\j8_bbs_config.txt non contiene la riga \"aggiornamento\": l'ultimo pacchetto "
        "applicato non \xE8 stato registrato.\r\nChiedere al fornitore del programma una copia "
        "aggiornata del file prima del prossimo aggiornamento.";
    for (const caso& c : {caso{"j8000005", {7}, {}, false, "j8000000", {}},
                          caso{"j8000000", {1, 0}, {0, 1}, true, "j8000001", {}},
                          caso{"j8000005", {0, 7}, {}, true, "", {}},
                          caso{"j8000000", {0}, {0}, true, "<assente>", {senza_riga}}}) {
        SCOPED_TRACE(c.ultimo + " " + std::to_string(c.presenti.size()));
        banco_libero b;
        auto& p = b.p;
        b.valori.ultimo_aggiornamento = c.ultimo;
        if (!c.messaggi.empty())
            p.scrivi_file(b.file_bbs, b.impostazioni_bbs_iniziali = b.impostazioni({"telefono=0612345", "utente=x"}));
        for (int n : c.presenti) b.metti_pacchetto(n, pacchetto_completo(n));
        ASSERT_EQ(b.form.Form_Load(), esito_caricamento::pronto);
        const auto prima = b.stato();
        b.form.esegui_aggiornamento();
        std::vector<std::string> attesi;
        for (int n : c.applicati) attesi.push_back(nome_pacchetto(n));
        EXPECT_EQ(b.estratti, attesi);
        EXPECT_EQ(b.valore_aggiornamento(), c.registrato);
        const auto& m = b.form.modello;
        EXPECT_EQ(m.Label1.caption, c.completato ? "AGGIORNAMENTO COMPLETATO" : "Chiudere il programma");
        EXPECT_EQ(m.Label1.back_color, colore_verde);
        EXPECT_EQ(b.messaggi(), c.messaggi);
        if (!c.completato) {
            EXPECT_EQ(m.Label3.caption,
                      "1) Verifica compatibilit\xE0" " aggiornamento\r\n"
                      "Impossibile eseguire l'aggiornamento. Mancante o non compatibile con quello precedente.\r\n"
                      "Contattare il fornitore del programma per informazioni.");
            EXPECT_TRUE(b.stato() == prima);
            EXPECT_FALSE(p.esiste_direttorio("c:\\farmacia\\ultime_tabelle"));
            EXPECT_TRUE(p.leggi_file(b.file_bbs) == b.impostazioni_bbs_iniziali);
            EXPECT_NE(m.Text1.text.find("Aggiornamento rifiutato"), std::string::npos) << m.Text1.text;
            continue;
        }
        // Downloads and working folder go; even with no package the drugs
        // lose their repeats and the secondary table is rebuilt.
        EXPECT_TRUE(p.elenca_file(senza_barra(b.valori.direttorio_da_bbs), "*.exe").empty());
        EXPECT_FALSE(p.esiste_direttorio("c:\\j8\\lavoro_aggiornamento"));
        if (c.applicati.empty()) {
            EXPECT_EQ(p.leggi_file("c:\\farmacia\\tabelle\\farmaci.tda"), b.farmaci_senza_doppi);
            EXPECT_EQ(p.leggi_file("c:\\farmacia\\tabelle\\farmaci_secondario_completo.tda"),
                      "000000000001+0000000001\r\n000000000002+0000000002\r\n");
        }
    }
}

// The report (shown, and archived: the newest thirty), the package count
// and a gap in the series.
TEST_F(banco_prova, resoconto_conteggio_e_buco_nella_serie) {
    valori.ultimo_aggiornamento = "j8000002";
    metti_pacchetto(1, pacchetto_completo(1));  // older: not counted
    metti_pacchetto(3, pacchetto_completo(3));
    metti_pacchetto(5, pacchetto_completo(5));  // after a gap: counted, never reached
    const std::string archivio = valori.direttorio_archivio;
    for (int i = 0; i < 30; ++i)
        p.crea_file(archivio + "resoconto_20240101_0000" + (i < 10 ? "0" : "") + std::to_string(i) + ".txt");
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    form.esegui_aggiornamento();

    const std::string& resoconto = form.modello.Text1.text;
    EXPECT_TRUE(form.modello.Text1.visible);
    for (const char* riga : {"Resoconto dell'aggiornamento del 15/03/2024 ore 10:",
                             "Pacchetti applicati: j8000003.exe\r\n",
                             "Non applicato j8000001.exe: gi\xE0 applicato in precedenza\r\n",
                             "Non applicato j8000005.exe: non segue j8000003, manca j8000004.exe\r\n",
                             "farmaci.tda: 1 riga aggiunta, 1 sostituita, 0 rimosse\r\n",
                             "atc.tda: 1 riga aggiunta, 0 sostituite, 0 rimosse\r\n",
                             "Aggiornamento completato: j8_bbs_config.txt indica j8000003.\r\n"})
        EXPECT_NE(resoconto.find(riga), std::string::npos) << riga << resoconto;
    const auto salvati = p.elenca_file(senza_barra(archivio), "resoconto_*.txt");
    EXPECT_EQ(salvati.size(), 30u);
    EXPECT_FALSE(p.esiste_file(archivio + "resoconto_20240101_000000.txt"));
    EXPECT_EQ(p.leggi_file(archivio + salvati.back()), resoconto);

    EXPECT_TRUE(vista.ha_mostrato([](const modello_aggiornamento& m) {
        return m.Label2.visible && m.Label2.caption == "E' in corso l'aggiornamento N. 1 di 2";
    }));
    EXPECT_EQ(valore_aggiornamento(), "j8000003");
    EXPECT_TRUE(p.esiste_file(archivio + nome_pacchetto(3)));
    EXPECT_FALSE(p.esiste_file(archivio + nome_pacchetto(5)));
    // The in-memory value is not advanced: a second press is refused.
    EXPECT_EQ(valori.ultimo_aggiornamento, "j8000002");
    form.esegui_aggiornamento();
    EXPECT_EQ(form.modello.Label1.caption, "Chiudere il programma");
}

// Two packages end to end: the form on the way, the extractor driven, a
// ".new" table, the backup and the settings.
TEST_F(banco_prova, due_pacchetti_dall_inizio_alla_fine) {
    auto primo = pacchetto_completo(0);
    primo["generici.new"] = "generici primi\r\n";  // replaced twice, reported once
    metti_pacchetto(0, primo);
    auto secondo = pacchetto_completo(1);
    secondo.erase("atc.faf");
    secondo["generici.new"] = "generici nuovi\r\n";
    secondo["leggimi.txt"] = "ignorato";
    metti_pacchetto(1, secondo);
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    // The window paints at least every half second; a click starts nothing.
    double ultimo = p.orologio() * 86400, piu_lungo = 0;
    bool cliccato = false;
    p.su_eventi = [&] {
        piu_lungo = std::max(piu_lungo, p.orologio() * 86400 - ultimo);
        ultimo = p.orologio() * 86400;
        if (!std::exchange(cliccato, true)) form.Command1_Click();
    };
    form.esegui_aggiornamento();
    p.su_eventi = nullptr;
    EXPECT_LT(std::max(piu_lungo, p.orologio() * 86400 - ultimo), 0.5);

    // Every step shown for the second package too (ATC though it brings no
    // ATC file), on red, the status blinking only while tables load or sort.
    for (const auto& [passo, lampeggia] :
         {std::pair{"Caricamento Finito.", false}, {"Estrazione dei files di aggiornamento", false},
          {"Aggiornamento ATC. Attendere...", false}, {"Aggiornamento Farmaci. Attendere...", false},
          {"Ordinamento tabella farmaci. Attendere...", true}, {"Creazione File Farmaci Secondario", true}})
        EXPECT_TRUE(vista.ha_mostrato([&](const modello_aggiornamento& m) {
            return m.Label1.caption == passo && m.Label2.caption == "E' in corso l'aggiornamento N. 2 di 2" &&
                   m.Timer1.enabled == lampeggia && m.Label1.back_color == colore_rosso;
        })) << passo;
    const auto& m = form.modello;
    EXPECT_TRUE(m.Label1.back_color == colore_verde && !m.Timer1.enabled && !m.ProgressBar1.visible);
    EXPECT_EQ(m.Label2.caption, "Chiudere il programma di aggiornamento");
    const std::string sostituita = "generici.tda: sostituita per intero\r\n";
    const std::size_t dove = m.Text1.text.find(sostituita);
    EXPECT_TRUE(dove != std::string::npos && m.Text1.text.find(sostituita, dove + 1) == std::string::npos)
        << m.Text1.text;
    EXPECT_EQ(m.Label3.caption,
              "1) Verifica compatibilit\xE0" " aggiornamento\r\n2) Esecuzione dell'aggiornamento\r\n\r\n"
              "  ------- Aggiornamento Completato -------");

    const std::string t = "c:\\farmacia\\tabelle\\", ultime = "c:\\farmacia\\ultime_tabelle\\";
    EXPECT_EQ(p.leggi_file(t + "generici.tda"), "generici nuovi\r\n");
    EXPECT_EQ(p.leggi_file(ultime + "generici.tda"), "generici primi\r\n");  // as before the second
    const std::string farmaci = p.leggi_file(t + "farmaci.tda");
    EXPECT_TRUE(contiene(p.leggi_file(t + "atc.tda"), "4A01AA00") && contiene(p.leggi_file(t + "ditte.tda"), "DITTA 1") &&
                contiene(farmaci, "CAMBIATO 1") && !contiene(farmaci, "CAMBIATO 0")) << farmaci;
    EXPECT_EQ(p.leggi_file(ultime + "farmaci.tda"), farmaci_senza_doppi);
    EXPECT_EQ(p.tasti_mandati(), (std::vector<std::string>{"c:\\j8\\lavoro_aggiornamento", "{enter}", "{enter}",
                                                         "{enter}", "c:\\j8\\lavoro_aggiornamento", "{enter}",
                                                         "{enter}", "{enter}"}));
    EXPECT_EQ(valore_aggiornamento(), "j8000001");
    EXPECT_TRUE(messaggi().empty());
    EXPECT_FALSE(p.esiste_direttorio(senza_barra(form.direttorio_ripristino())));
}
