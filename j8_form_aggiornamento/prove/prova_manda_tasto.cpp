#include "j8_form_aggiornamento/manda_tasto.hpp"

#include <gtest/gtest.h>

#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

double trascorsi(const piattaforma_copione& p, data_ora da) { return (p.orologio() - da) * 86400; }

// The wait ends on time at any hour (across midnight, over a day), no events.
TEST(attendi_secondi, tempo_chiesto_a_ogni_ora_senza_eventi) {
    struct caso { int ore, minuti, secondi; double chiesti, minimo, massimo; };
    for (const caso& c : {caso{10, 0, 0, 2, 2.0, 2.1}, caso{23, 59, 59, 2, 1.99, 2.1},
                          caso{23, 59, 59, 90000, 89999, 90001}, caso{10, 0, 0, 0, 0, 0.1},
                          caso{10, 0, 0, -5, 0, 0.1}}) {
        piattaforma_copione p(componi_data_ora(2024, 3, 15, c.ore, c.minuti, c.secondi));
        int eventi = 0;
        p.osservatore = [&](const piattaforma_copione::voce&) { ++eventi; };
        const data_ora inizio = p.orologio();
        attendi_secondi(p, c.chiesti);
        EXPECT_GE(trascorsi(p, inizio), c.minimo) << c.ore << " " << c.chiesti;
        EXPECT_LE(trascorsi(p, inizio), c.massimo) << c.ore << " " << c.chiesti;
        EXPECT_EQ(eventi, 0);
    }
}

// Which windows end the wait: the title is matched case-sensitively
// anywhere in its first 255 characters, the child text in any window with
// that title (grandchildren too); "X" looks once and reads no child.
TEST(manda_tasto, finestra_cercata_per_titolo_e_testo_del_figlio) {
    struct finestra { std::string titolo; std::vector<std::string> catena; };  // each child of the one before
    struct caso { std::vector<finestra> finestre; std::string titolo; double limite; std::string figlio;
                  bool trovata; double secondi_massimi; };
    const std::string punti(250, '.');
    const std::vector<caso> casi = {
        {{{"winzip self-extractor", {}}}, "WinZip Self-Extractor", 0, "X", false, 2.05},
        {{{"...WinZip Self-Extractor...", {}}}, "WinZip Self-Extractor", 0, "X", true, 2.05},
        {{{"Connessione - HyperTerminal", {"niente di utile"}}}, "HyperTerminal", 0, "X", true, 2.05},
        {{{"Estrattore A", {"nessun esito"}}, {"Estrattore B", {"pronto"}},
          {"Estrattore C", {"gruppo", "2 file(s) unzipped successfully"}}},
         "Estrattore", 10, "unzipped successfully", true, 2.05},
        {{{"Estrattore C", {"2 file(s) unzipped successfully"}}}, "Estrattore", 10, "Unzipped", false, 13},
        {{{punti + "WinZip Self-Extractor", {}}}, "WinZip", 0, "X", false, 2.05},  // crosses char 255
        {{{punti.substr(1) + "WinZip Self-Extractor", {}}}, "WinZip", 0, "X", true, 2.05},
        {{}, "Mai", 30, "", false, 31},
    };
    for (const caso& c : casi) {
        piattaforma_copione p;
        for (const finestra& f : c.finestre) {
            maniglia h = p.apri_finestra(f.titolo);
            for (const std::string& figlio : f.catena) h = p.aggiungi_figlio(h, figlio);
        }
        const data_ora inizio = p.orologio();
        EXPECT_EQ(manda_tasto(p, "{enter}", c.titolo, c.limite, c.figlio), c.trovata) << c.titolo << " " << c.figlio;
        // The keys go after two seconds of letting events run, no more.
        EXPECT_GE(trascorsi(p, inizio), 2.0) << c.titolo;
        EXPECT_LT(trascorsi(p, inizio), c.secondi_massimi) << c.titolo;
        if (c.limite > 0 && !c.trovata) { EXPECT_GT(trascorsi(p, inizio), c.limite) << c.titolo; }
    }
}

// Kept as it always was: with any window on the desktop it types and
// returns, without waiting for a new one.
TEST(manda_tasto_aumento_finestre, torna_subito_dopo_i_tasti) {
    piattaforma_copione p;
    p.apri_finestra("Qualunque");
    const data_ora inizio = p.orologio();
    manda_tasto_aumento_finestre(p, "%fe");
    EXPECT_EQ(p.tasti_mandati(), std::vector<std::string>{"%fe"});
    EXPECT_LT(trascorsi(p, inizio), 0.5);
}

}  // namespace
}  // namespace j8
