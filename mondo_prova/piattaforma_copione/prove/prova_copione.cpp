// The scripted platform. The forms' tests exercise it throughout (a write to
// a read-only table refused, a missing folder, a missing program, windows and
// tasks activated or gone); here, what if lost would let those tests pass
// without testing anything: Windows' other refusals, a kill half-way through
// a copy, keys that do not exist.

#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

#include <gtest/gtest.h>

namespace j8 {
namespace {

std::string problema(const std::function<void()>& fare) {
    try {
        fare();
    } catch (const errore_file& e) {
        return e.problema();
    }
    return "nessuno";
}

TEST(copione, rifiuti_come_su_windows) {
    piattaforma_copione p;
    p.crea_file("c:\\t\\a.tda", "a", attributo::sola_lettura | attributo::archivio);
    p.crea_file("c:\\t\\b.tda", "b");
    p.crea_file("c:\\t\\nascosto.tda", "h", attributo::nascosto);
    p.crea_cartelle("c:\\t\\sotto.tda");
    EXPECT_EQ(problema([&] { p.leggi_file("c:\\t\\x.tda"); }), "file non trovato");
    EXPECT_EQ(problema([&] { p.scrivi_file("c:\\manca\\x.tda", ""); }), "percorso non trovato");
    EXPECT_EQ(problema([&] { p.cancella_file("c:\\t\\a.tda"); }), "accesso negato");
    EXPECT_EQ(problema([&] { p.copia_file("c:\\t\\b.tda", "c:\\t\\A.TDA"); }), "accesso negato");
    EXPECT_EQ(problema([&] { p.rimuovi_direttorio("c:\\t"); }), "direttorio non vuoto");
    EXPECT_EQ(p.leggi_file("c:\\t\\a.tda"), "a");
    EXPECT_EQ(p.elenca_file("C:\\T\\", "*.tda"), (std::vector<std::string>{"a.tda", "b.tda"}));  // no hidden file, no folder
    p.imposta_solo_archivio("c:\\t\\a.tda");
    p.cancella_file("c:\\t\\a.tda");
    EXPECT_FALSE(p.esiste_file("c:\\t\\..\\t\\.\\A.TDA"));
    // Keys a real window would refuse: nothing of them is sent.
    p.apri_finestra("HT", "Session");
    EXPECT_THROW(p.manda_tasti("ab{sconosciuto}"), errore_tasti);
    EXPECT_TRUE(p.tasti_mandati().empty());
}

// Killed at a copy: half the file at its destination, then every file
// operation and message box fails the same way until the next start.
TEST(copione, interruzione_all_operazione_scelta) {
    piattaforma_copione p;
    p.crea_file("c:\\t\\a.tda", "abcd");
    p.regola_guasto = [](const piattaforma_copione::operazione_file& o) -> std::optional<std::string> {
        return o.nome == "scrivi_file" ? std::optional<std::string>("accesso negato") : std::nullopt;
    };
    p.interrompi_a(p.operazioni_file() + 1);
    EXPECT_THROW(p.copia_file("c:\\t\\a.tda", "c:\\t\\c.tda"), interruzione_simulata);
    EXPECT_THROW(p.leggi_file("c:\\t\\a.tda"), interruzione_simulata);
    EXPECT_THROW(p.messaggio("x", "y"), interruzione_simulata);
    p.riavvia();
    EXPECT_EQ(p.leggi_file("c:\\t\\c.tda"), "ab");
    p.scrivi_file("c:\\t\\a.tda", "nuovo");  // the rule went with the dead process
}

}  // namespace
}  // namespace j8
