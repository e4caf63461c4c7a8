#include "j8_form_aggiornamento/manda_tasto.hpp"

#include <gtest/gtest.h>

#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

double trascorsi(const piattaforma_copione& p, data_ora da) { return (p.orologio() - da) * 86400; }

TEST(attendi_secondi, aspetta_il_tempo_chiesto_anche_a_mezzanotte) {
    piattaforma_copione p(componi_data_ora(2024, 3, 15, 10, 0, 0));
    data_ora inizio = p.orologio();
    attendi_secondi(p, 2);
    EXPECT_GE(trascorsi(p, inizio), 2.0);
    EXPECT_LT(trascorsi(p, inizio), 2.1);

    p.imposta_orologio(componi_data_ora(2024, 3, 15, 23, 59, 59));
    inizio = p.orologio();
    attendi_secondi(p, 2);
    EXPECT_GE(trascorsi(p, inizio), 1.99);
    EXPECT_LT(trascorsi(p, inizio), 2.1);

    // Longer than a day: still ends, and on time.
    inizio = p.orologio();
    attendi_secondi(p, 90000);
    EXPECT_NEAR(trascorsi(p, inizio), 90000, 1.0);

    inizio = p.orologio();
    attendi_secondi(p, 0);
    attendi_secondi(p, -5);
    EXPECT_LT(trascorsi(p, inizio), 0.1);
}

TEST(attendi_secondi, non_lascia_girare_l_interfaccia) {
    piattaforma_copione p;
    int eventi = 0;
    p.osservatore = [&](const piattaforma_copione::voce&) { ++eventi; };
    attendi_secondi(p, 1);
    EXPECT_EQ(eventi, 0);
    EXPECT_TRUE(p.registro().empty());
}

class manda_tasto_prova : public ::testing::Test {
protected:
    piattaforma_copione p;
    data_ora inizio = p.orologio();
};

TEST_F(manda_tasto_prova, aspetta_2_secondi_poi_scrive_e_trova_il_titolo) {
    p.apri_finestra("Altro");
    data_ora scritto = 0;
    p.quando_tasti("{enter}", [&] {
        scritto = p.orologio();
        p.dopo(3, [&] { p.apri_finestra("WinZip Self-Extractor - j8000123.exe"); });
    });
    EXPECT_TRUE(manda_tasto(p, "{enter}", "WinZip Self-Extractor"));
    EXPECT_GE((scritto - inizio) * 86400, 2.0);
    EXPECT_NEAR(trascorsi(p, inizio), 5.0, 0.2);
    EXPECT_EQ(p.tasti_mandati(), std::vector<std::string>{"{enter}"});
}

TEST_F(manda_tasto_prova, senza_limite_aspetta_anche_ore) {
    p.quando_tasti("{enter}", [&] {
        p.dopo(5 * 3600, [&] {
            const maniglia h = p.apri_finestra("WinZip Self-Extractor");
            p.aggiungi_figlio(h, "3 file(s) unzipped successfully");
        });
        // A window with the title but not the child text does not end the wait.
        const maniglia prima = p.apri_finestra("WinZip Self-Extractor - j8000123.exe");
        p.aggiungi_figlio(prima, "Unzip");
    });
    EXPECT_TRUE(manda_tasto(p, "{enter}", "WinZip Self-Extractor", 0, "unzipped successfully"));
    EXPECT_NEAR(trascorsi(p, inizio), 5 * 3600 + 2, 1.0);
}

TEST_F(manda_tasto_prova, confronto_del_titolo_sensibile_alle_maiuscole) {
    p.apri_finestra("winzip self-extractor");
    EXPECT_FALSE(manda_tasto(p, "x", "WinZip Self-Extractor", 0, "X"));
    p.apri_finestra("...WinZip Self-Extractor...");
    EXPECT_TRUE(manda_tasto(p, "x", "WinZip Self-Extractor", 0, "X"));
}

TEST_F(manda_tasto_prova, x_guarda_una_volta_sola_e_non_legge_i_figli) {
    EXPECT_FALSE(manda_tasto(p, "%fx", "HyperTerminal", 0, "X"));
    EXPECT_LT(trascorsi(p, inizio), 2.5);
    const maniglia h = p.apri_finestra("Connessione - HyperTerminal");
    p.aggiungi_figlio(h, "niente di utile");
    EXPECT_TRUE(manda_tasto(p, "%fx", "HyperTerminal", 0, "X"));
}

TEST_F(manda_tasto_prova, testo_del_figlio_in_una_finestra_qualunque_col_titolo) {
    const maniglia a = p.apri_finestra("Estrattore A");
    p.aggiungi_figlio(a, "nessun esito");
    const maniglia b = p.apri_finestra("Estrattore B");
    p.aggiungi_figlio(b, "pronto");
    const maniglia c = p.apri_finestra("Estrattore C");
    const maniglia c1 = p.aggiungi_figlio(c, "gruppo");
    p.aggiungi_figlio(c1, "2 file(s) unzipped successfully");  // a grandchild counts
    EXPECT_TRUE(manda_tasto(p, "{enter}", "Estrattore", 10, "unzipped successfully"));
    EXPECT_FALSE(manda_tasto(p, "{enter}", "Estrattore", 10, "Unzipped"));
}

TEST_F(manda_tasto_prova, limite_di_attesa_rispettato) {
    EXPECT_FALSE(manda_tasto(p, "{enter}", "Mai", 30));
    EXPECT_GT(trascorsi(p, inizio), 30.0);
    EXPECT_LT(trascorsi(p, inizio), 31.0);
    // A window appearing before the limit is found.
    p.quando_tasti("{tab}", [&] { p.dopo(10, [&] { p.apri_finestra("Presto"); }); });
    EXPECT_TRUE(manda_tasto(p, "{tab}", "Presto", 30));
}

TEST_F(manda_tasto_prova, titolo_lungo_confrontato_sui_primi_255_caratteri) {
    p.apri_finestra(std::string(250, '.') + "WinZip Self-Extractor");
    EXPECT_FALSE(manda_tasto(p, "{enter}", "WinZip", 0, "X"));  // "WinZip" crosses char 255
    EXPECT_TRUE(manda_tasto(p, "{enter}", ".....", 0, "X"));
    p.apri_finestra(std::string(249, '.') + "WinZip Self-Extractor");
    EXPECT_TRUE(manda_tasto(p, "{enter}", "WinZip", 0, "X"));
}

TEST_F(manda_tasto_prova, stringa_di_tasti_non_valida_non_scrive_nulla) {
    EXPECT_THROW(manda_tasto(p, "{invio}", "x", 5), errore_tasti);
    EXPECT_TRUE(p.tasti_mandati().empty());
}

TEST(manda_tasto_aumento_finestre, torna_subito_dopo_aver_scritto) {
    piattaforma_copione p;
    p.apri_finestra("Terminale");
    const data_ora inizio = p.orologio();
    manda_tasto_aumento_finestre(p, "%tr");
    EXPECT_EQ(p.tasti_mandati(), std::vector<std::string>{"%tr"});
    EXPECT_LT(trascorsi(p, inizio), 0.1);

    // With no window at all it waits for the first one.
    piattaforma_copione vuota;
    vuota.quando_tasti("x", [&] { vuota.dopo(7, [&] { vuota.apri_finestra("Nuova"); }); });
    manda_tasto_aumento_finestre(vuota, "x");
    EXPECT_EQ(vuota.finestre().size(), 1u);
}

}  // namespace
}  // namespace j8
