// The update run on the scripted stand-in: sequence rules, the package
// loop, what the form shows, the settings rewrite and the restore of the
// tables after a failure.
#include <gtest/gtest.h>

#include <utility>

#include <algorithm>
#include <map>

#include "j8_form_aggiornamento/prove/banco_prova.hpp"

using namespace j8;
using namespace j8::prova;

namespace {

const std::string stato_refuso =
    "1) Verifica compatibilit\xE0" " aggiornamento\r\n"
    "Impossibile eseguire l'aggiornamento. Mancante o non compatibile con quello precedente.\r\n"
    "Contattare il fornitore del programma per informazioni.";


}  // namespace

// ------------------------------------------------------------ names

TEST(nomi_pacchetti, numero_e_successivo) {
    EXPECT_EQ(pacchetti::numero("j8000123.exe"), 123);
    EXPECT_EQ(pacchetti::numero("j812x456.exe"), 12);  // leading digits only
    EXPECT_EQ(pacchetti::numero("j8abcdef.exe"), 0);
    EXPECT_EQ(pacchetti::numero("x"), 0);
    EXPECT_EQ(pacchetti::successivo("j8000012"), "j8000013");
    EXPECT_EQ(pacchetti::successivo("j8000099"), "j8000100");
    EXPECT_EQ(pacchetti::successivo("j8000000"), "j8000001");
    EXPECT_EQ(pacchetti::successivo(""), "1");
}

// ------------------------------------------------------------ load

TEST_F(banco_prova, caricamento_svuota_il_lavoro_e_legge_le_tabelle) {
    p.crea_direttorio("c:\\j8");
    p.crea_direttorio("c:\\j8\\lavoro_aggiornamento");
    p.scrivi_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf", "resto");
    std::string mostrato;
    form.su_direttorio_tabelle = [&](const std::string& d) { mostrato = d; };
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_TRUE(p.esiste_direttorio("c:\\j8\\lavoro_aggiornamento"));
    EXPECT_FALSE(p.esiste_file("c:\\j8\\lavoro_aggiornamento\\vecchio.faf"));
    EXPECT_EQ(valori.direttorio_lavoro, "c:\\j8\\lavoro_aggiornamento\\");
    EXPECT_EQ(valori.direttorio_tabelle, "c:\\farmacia\\tabelle\\");
    EXPECT_EQ(mostrato, "c:\\farmacia\\tabelle\\");
    EXPECT_EQ(form.modello.Label1.caption, "L'esecuzione dell'aggiornamento potr\xE0" " richiedere alcuni minuti");
    EXPECT_EQ(form.modello.Label1.width, form.modello.Label3.width);
    EXPECT_EQ(form.modello.Label2.left, form.modello.Label3.left);
}

TEST_F(banco_prova, caricamento_tiene_i_venti_pacchetti_piu_recenti) {
    for (int n = 1; n <= 21; ++n) p.crea_file(valori.direttorio_archivio + nome_pacchetto(n), "MZ");
    p.crea_file(valori.direttorio_archivio + "leggimi.txt", "non un pacchetto");
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_FALSE(p.esiste_file(valori.direttorio_archivio + nome_pacchetto(1)));
    for (int n = 2; n <= 21; ++n) EXPECT_TRUE(p.esiste_file(valori.direttorio_archivio + nome_pacchetto(n))) << n;
    EXPECT_TRUE(p.esiste_file(valori.direttorio_archivio + "leggimi.txt"));

    // Exactly twenty: nothing goes.
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_EQ(p.elenca_file(senza_barra(valori.direttorio_archivio), "*.exe").size(), 20u);
    // The bound is the highest number minus 20, whatever the gaps.
    p.crea_file(valori.direttorio_archivio + nome_pacchetto(45), "MZ");
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_EQ(p.elenca_file(senza_barra(valori.direttorio_archivio), "*.exe"), std::vector<std::string>{nome_pacchetto(45)});
}

TEST_F(banco_prova, caricamento_senza_configurazione_chiude_il_programma) {
    p.cancella_file("c:\\j8bbs\\j8_config.txt");
    EXPECT_EQ(form.Form_Load(), esito_caricamento::fine_programma);
    ASSERT_EQ(messaggi().size(), 1u);
    EXPECT_EQ(messaggi()[0], "file configurazione (j8_config.txt)non trovato in " + p.direttorio_corrente());
    EXPECT_EQ(minuscolo(p.direttorio_corrente()), "c:\\j8bbs");
}

TEST_F(banco_prova, caricamento_dalla_riserva_e_senza_riga_tabelle) {
    p.cancella_file("c:\\j8bbs\\j8_config.txt");
    p.crea_direttorio("c:\\pippo");
    p.scrivi_file("c:\\pippo\\j8_config.txt", impostazioni({"altro=1"}));
    valori.direttorio_tabelle = "c:\\dal_collegamento\\";
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    EXPECT_EQ(valori.direttorio_tabelle, "c:\\dal_collegamento\\");
    EXPECT_TRUE(messaggi().empty());
}

TEST_F(banco_prova, il_lampeggio_alterna_vuoto_e_tag) {
    form.modello.Label1.caption = "Attendere";
    form.modello.Label1.tag = "Attendere";
    form.Timer1_Timer();
    EXPECT_EQ(form.modello.Label1.caption, "");
    form.Timer1_Timer();
    EXPECT_EQ(form.modello.Label1.caption, "Attendere");
    EXPECT_EQ(vista.ridisegni.size(), 2u);
}

// ------------------------------------------------------------ sequence

TEST_F(banco_prova, rifiuto_se_il_successivo_manca_e_non_c_e_la_base) {
    valori.ultimo_aggiornamento = "j8000005";
    metti_pacchetto(7, pacchetto_completo(7));
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    const auto prima = istantanea_tabelle();
    form.esegui_aggiornamento();

    const auto& m = form.modello;
    EXPECT_EQ(m.Label1.caption, "Chiudere il programma");
    EXPECT_EQ(m.Label1.back_color, colore_verde);
    EXPECT_TRUE(m.Label1.visible);
    EXPECT_EQ(m.Label3.caption, stato_refuso);
    EXPECT_FALSE(m.Label2.visible);
    EXPECT_TRUE(istantanea_tabelle() == prima);
    EXPECT_FALSE(p.esiste_direttorio("c:\\farmacia\\ultime_tabelle"));
    EXPECT_TRUE(p.esiste_file(valori.direttorio_da_bbs + nome_pacchetto(7)));
    EXPECT_TRUE(p.leggi_file(file_bbs) == impostazioni_bbs_iniziali);
    EXPECT_TRUE(messaggi().empty());
    EXPECT_TRUE(estratti().empty());
}

TEST_F(banco_prova, serie_mai_iniziata_parte_dalla_base) {
    valori.ultimo_aggiornamento = "j8000000";
    metti_pacchetto(1, pacchetto_completo(1));
    metti_pacchetto(0, pacchetto_completo(0));
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    form.esegui_aggiornamento();
    EXPECT_EQ(estratti(), (std::vector<std::string>{nome_pacchetto(0), nome_pacchetto(1)}));
    EXPECT_EQ(valore_aggiornamento(), "j8000001");
    EXPECT_EQ(form.modello.Label1.caption, "AGGIORNAMENTO COMPLETATO");
}

TEST_F(banco_prova, successivo_mancante_con_la_base_presente_non_applica_nulla) {
    valori.ultimo_aggiornamento = "j8000005";
    metti_pacchetto(0, pacchetto_completo(0));
    metti_pacchetto(7, pacchetto_completo(7));
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    form.esegui_aggiornamento();

    EXPECT_TRUE(estratti().empty());
    EXPECT_FALSE(form.modello.Label2.caption.find("E' in corso") == 0);
    EXPECT_EQ(form.modello.Label1.caption, "AGGIORNAMENTO COMPLETATO");
    // The secondary table is rebuilt all the same, from the drugs not "C".
    EXPECT_EQ(p.leggi_file("c:\\farmacia\\tabelle\\farmaci_secondario_completo.tda"),
              "000000000001+0000000001\r\n000000000002+0000000002\r\n");
    EXPECT_EQ(p.leggi_file("c:\\farmacia\\tabelle\\farmaci.tda"), farmaci_senza_doppi);
    EXPECT_TRUE(p.elenca_file(senza_barra(valori.direttorio_da_bbs), "*.exe").empty());
    EXPECT_FALSE(p.esiste_direttorio("c:\\j8\\lavoro_aggiornamento"));
    EXPECT_EQ(valore_aggiornamento(), "");
}

TEST_F(banco_prova, conteggio_e_buco_nella_serie) {
    valori.ultimo_aggiornamento = "j8000002";
    metti_pacchetto(1, pacchetto_completo(1));  // older: not counted
    metti_pacchetto(3, pacchetto_completo(3));
    metti_pacchetto(5, pacchetto_completo(5));  // after a gap: counted, never reached
    const std::string archivio = valori.direttorio_archivio;
    for (int i = 0; i < 30; ++i)  // older reports: the oldest goes
        p.crea_file(archivio + "resoconto_20240101_0000" + (i < 10 ? "0" : "") + std::to_string(i) + ".txt");
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    form.esegui_aggiornamento();

    // The report below the progress, and the same text in the archive.
    const std::string& resoconto = form.modello.Text1.text;
    EXPECT_TRUE(form.modello.Text1.visible);
    for (const char* riga : {"Pacchetti applicati: j8000003.exe\r\n",
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

    EXPECT_EQ(estratti(), (std::vector<std::string>{nome_pacchetto(3)}));
    EXPECT_TRUE(vista.ha_mostrato([](const modello_aggiornamento& m) {
        return m.Label2.visible && m.Label2.caption == "E' in corso l'aggiornamento N. 1 di 2";
    }));
    EXPECT_EQ(valore_aggiornamento(), "j8000003");
    EXPECT_TRUE(p.esiste_file(valori.direttorio_archivio + nome_pacchetto(3)));
    EXPECT_FALSE(p.esiste_file(valori.direttorio_archivio + nome_pacchetto(5)));
    EXPECT_TRUE(p.elenca_file(senza_barra(valori.direttorio_da_bbs), "*.exe").empty());
    // The in-memory value is not advanced: a second press is refused.
    EXPECT_EQ(valori.ultimo_aggiornamento, "j8000002");
    form.esegui_aggiornamento();
    EXPECT_EQ(form.modello.Label1.caption, "Chiudere il programma");
}

// ------------------------------------------------------------ package loop

TEST_F(banco_prova, due_pacchetti_con_atc_riapplicato_e_file_new) {
    valori.ultimo_aggiornamento = "j8000000";
    metti_pacchetto(0, pacchetto_completo(0));
    auto secondo = pacchetto_completo(1);
    secondo.erase("atc.faf");
    secondo["generici.new"] = "generici nuovi\r\n";
    secondo["leggimi.txt"] = "ignorato";
    metti_pacchetto(1, secondo);
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    // The window is let paint at least every half second of the run, and a
    // click meanwhile starts nothing.
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

    const auto stati = vista.stati_label1();
    EXPECT_EQ(std::count(stati.begin(), stati.end(), "Aggiornamento ATC. Attendere..."), 2);
    EXPECT_EQ(std::count(stati.begin(), stati.end(), "Aggiornamento Ditte. Attendere..."), 2);
    EXPECT_EQ(std::count(stati.begin(), stati.end(), "Estrazione dei files di aggiornamento"), 2);
    // Update files in listing order, shown on red.
    EXPECT_TRUE(vista.ha_mostrato([](const modello_aggiornamento& m) {
        return m.Label1.caption == "Aggiornamento Farmaci. Attendere..." && m.Label1.back_color == colore_rosso;
    }));
    EXPECT_TRUE(vista.ha_mostrato([](const modello_aggiornamento& m) {
        return m.Label2.caption == "E' in corso l'aggiornamento N. 2 di 2";
    }));
    EXPECT_EQ(p.leggi_file("c:\\farmacia\\tabelle\\generici.tda"), "generici nuovi\r\n");
    EXPECT_EQ(p.leggi_file("c:\\farmacia\\ultime_tabelle\\generici.tda"), "generici vecchi\r\n");
    const std::string atc = p.leggi_file("c:\\farmacia\\tabelle\\atc.tda");
    EXPECT_NE(atc.find("4A01AA00"), std::string::npos);
    const std::string ditte = p.leggi_file("c:\\farmacia\\tabelle\\ditte.tda");
    EXPECT_NE(ditte.find("DITTA 1"), std::string::npos);
    const std::string farmaci = p.leggi_file("c:\\farmacia\\tabelle\\farmaci.tda");
    EXPECT_NE(farmaci.find("CAMBIATO 1"), std::string::npos);
    EXPECT_EQ(farmaci.find("CAMBIATO 0"), std::string::npos);
    // The backup holds the tables as they were, without the repeated drug.
    EXPECT_EQ(p.leggi_file("c:\\farmacia\\ultime_tabelle\\farmaci.tda"), farmaci_senza_doppi);
    // The extractor got the working folder, then Enter three times.
    EXPECT_EQ(tasti_mandati(), (std::vector<std::string>{"c:\\j8\\lavoro_aggiornamento", "{enter}", "{enter}",
                                                         "{enter}", "c:\\j8\\lavoro_aggiornamento", "{enter}",
                                                         "{enter}", "{enter}"}));
}

TEST_F(banco_prova, completamento_testi_colori_e_impostazioni) {
    impostazioni_bbs_iniziali = impostazioni({"telefono=0612345", "Aggiornamento=j7999999", "utente=x"});
    p.scrivi_file(file_bbs, impostazioni_bbs_iniziali);
    metti_pacchetto(0, pacchetto_completo(0));
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    form.esegui_aggiornamento();

    const auto& m = form.modello;
    EXPECT_EQ(m.Label1.caption, "AGGIORNAMENTO COMPLETATO");
    EXPECT_EQ(m.Label1.back_color, colore_verde);
    EXPECT_TRUE(m.Label1.visible);
    EXPECT_FALSE(m.Timer1.enabled);
    EXPECT_FALSE(m.ProgressBar1.visible);
    EXPECT_EQ(m.Label2.caption, "Chiudere il programma di aggiornamento");
    EXPECT_EQ(m.Label3.caption,
              "1) Verifica compatibilit\xE0" " aggiornamento\r\n2) Esecuzione dell'aggiornamento\r\n\r\n"
              "  ------- Aggiornamento Completato -------");
    // Loading showed the progress bar rising to 100 with the blink on.
    EXPECT_TRUE(vista.ha_mostrato([](const modello_aggiornamento& x) {
        return x.ProgressBar1.visible && x.ProgressBar1.value == 100 && x.Timer1.enabled &&
               x.Timer1.interval == 700 && x.Label1.tag == "Caricamento tabelle in corso. Attendere...";
    }));
    EXPECT_TRUE(vista.ha_mostrato([](const modello_aggiornamento& x) {
        return x.Label1.caption == "Creazione File Farmaci Secondario" && x.Timer1.enabled;
    }));
    // Only the "aggiornamento" line changed; the header is kept byte for byte.
    const std::string nuovo = p.leggi_file(file_bbs);
    EXPECT_EQ(valore_aggiornamento(), "j8000000");
    EXPECT_TRUE(intestazione(nuovo) == intestazione(impostazioni_bbs_iniziali));
    EXPECT_TRUE(nuovo != impostazioni_bbs_iniziali);
    EXPECT_FALSE(p.esiste_file("c:\\j8bbs\\j8_bbs_config.tmp"));
    EXPECT_TRUE(messaggi().empty());
    EXPECT_FALSE(p.esiste_direttorio(senza_barra(form.direttorio_ripristino())));
    // The waits went through the virtual clock: 2+2+2+1+1 + 1 per update
    // file + 1+1+1 for the extractor.
    EXPECT_GE(secondi_attesi(), 14.0);
}

TEST_F(banco_prova, impostazioni_senza_riga_aggiornamento_avvisano_a_fine_corsa) {
    // Nothing to record the package in: the file stays as it was and the
    // pharmacist is told, once, after the tables are in place.
    impostazioni_bbs_iniziali = impostazioni({"telefono=0612345", "utente=x"});
    p.scrivi_file(file_bbs, impostazioni_bbs_iniziali);
    metti_pacchetto(0, pacchetto_completo(0));
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    form.esegui_aggiornamento();

    EXPECT_EQ(form.modello.Label1.caption, "AGGIORNAMENTO COMPLETATO");
    EXPECT_TRUE(p.leggi_file(file_bbs) == impostazioni_bbs_iniziali);
    ASSERT_EQ(messaggi().size(), 1u);
    EXPECT_EQ(messaggi()[0],
              "Le tabelle sono state aggiornate fino al pacchetto j8000000, ma il file "
              "c:\\j8bbs\\j8_bbs_config.txt non contiene la riga \"aggiornamento\": l'ultimo pacchetto "
              "applicato non \xE8 stato registrato.\r\nChiedere al fornitore del programma una copia "
              "aggiornata del file prima del prossimo aggiornamento.");
}

// ------------------------------------------------------------ failures

TEST_F(banco_prova, guasto_nella_ricopia_rimette_le_tabelle_come_prima) {
    valori.ultimo_aggiornamento = "j8000000";
    metti_pacchetto(0, pacchetto_completo(0));
    auto secondo = pacchetto_completo(1);
    secondo["generici.new"] = "generici nuovi\r\n";
    secondo["rimborsi.tda"] = "rimborsi nuovi\r\n";
    metti_pacchetto(1, secondo);
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    const auto prima = istantanea_tabelle();
    // The second package's copy-back fails at its third table.
    guasto("copia_file", "c:\\j8\\lavoro_aggiornamento\\notessn.tda", 2, "disco pieno");
    form.esegui_aggiornamento();

    EXPECT_TRUE(istantanea_tabelle() == prima);
    EXPECT_FALSE(p.esiste_file("c:\\farmacia\\tabelle\\rimborsi.tda"));
    EXPECT_TRUE(p.leggi_file(file_bbs) == impostazioni_bbs_iniziali);
    ASSERT_EQ(messaggi().size(), 1u);
    const std::string testo = messaggi()[0];
    EXPECT_NE(testo.find("disco pieno"), std::string::npos) << testo;
    EXPECT_NE(testo.find("notessn.tda"), std::string::npos) << testo;
    EXPECT_NE(testo.find("Le tabelle sono state ripristinate"), std::string::npos) << testo;
    EXPECT_EQ(form.modello.Label1.caption, "Chiudere il programma");
    EXPECT_EQ(form.modello.Label1.back_color, colore_rosso);
    EXPECT_EQ(form.modello.Label2.caption, "Chiudere il programma di aggiornamento");
    EXPECT_FALSE(form.modello.Timer1.enabled);
    // The downloads stay, so the same run can be repeated and then succeeds.
    EXPECT_TRUE(p.esiste_file(valori.direttorio_da_bbs + nome_pacchetto(0)));
    EXPECT_TRUE(p.esiste_file(valori.direttorio_da_bbs + nome_pacchetto(1)));
    nessun_guasto();
    ASSERT_EQ(form.Form_Load(), esito_caricamento::pronto);
    form.esegui_aggiornamento();
    EXPECT_EQ(form.modello.Label1.caption, "AGGIORNAMENTO COMPLETATO");
    EXPECT_EQ(valore_aggiornamento(), "j8000001");
    EXPECT_EQ(p.leggi_file("c:\\farmacia\\tabelle\\generici.tda"), "generici nuovi\r\n");
    EXPECT_EQ(messaggi().size(), 1u);
}

// Every single failing file step, every kill and the catalogue of
// failures of the whole run: prova_guasti.cpp.
