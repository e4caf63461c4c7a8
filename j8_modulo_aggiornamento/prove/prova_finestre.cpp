#include "j8_modulo_aggiornamento/finestre.hpp"

#include <gtest/gtest.h>

#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

TEST(enumera_finestre, ricostruisce_elenco_e_conteggio_a_ogni_chiamata) {
    piattaforma_copione p;
    const maniglia a = p.apri_finestra("Primo", "ClasseA");
    const maniglia b = p.apri_finestra("Secondo", "ClasseB");
    enumera_finestre(p);
    ASSERT_EQ(conteggio_finestre, 2);
    ASSERT_EQ(elenco_finestre.size(), 2u);
    EXPECT_EQ(elenco_finestre[0].handle, b);  // in the platform's order
    EXPECT_EQ(elenco_finestre[1].titolo, "Primo");
    EXPECT_EQ(elenco_finestre[1].classe, "ClasseA");

    p.chiudi_finestra(b);
    enumera_finestre(p);
    ASSERT_EQ(conteggio_finestre, 1);
    EXPECT_EQ(elenco_finestre[0].handle, a);
    p.chiudi_finestra(a);
    enumera_finestre(p);
    EXPECT_EQ(conteggio_finestre, 0);
    EXPECT_TRUE(elenco_finestre.empty());
}

TEST(enumera_finestre, titoli_e_classi_tagliati_a_255_caratteri) {
    piattaforma_copione p;
    const std::string lungo = std::string(255, 'a') + "FINE";
    p.apri_finestra(lungo, std::string(300, 'c'));
    p.apri_finestra(std::string(255, 'b'), "corta");
    enumera_finestre(p);
    EXPECT_EQ(elenco_finestre[1].titolo, std::string(255, 'a'));
    EXPECT_EQ(elenco_finestre[1].classe.size(), 255u);
    EXPECT_EQ(elenco_finestre[0].titolo, std::string(255, 'b'));  // exactly 255: whole
}

TEST(enumera_figli, figli_di_una_finestra_sola_e_finestra_sparita) {
    piattaforma_copione p;
    const maniglia a = p.apri_finestra("A");
    const maniglia b = p.apri_finestra("B");
    p.aggiungi_figlio(a, "figlio di A");
    const maniglia b1 = p.aggiungi_figlio(b, std::string(260, 'x'), "Edit");
    p.aggiungi_figlio(b, "secondo di B");
    enumera_figli(p, b);
    ASSERT_EQ(conteggio_figli, 2);
    EXPECT_EQ(elenco_figli[0].handle, b1);
    EXPECT_EQ(elenco_figli[0].titolo.size(), 255u);
    EXPECT_EQ(elenco_figli[1].titolo, "secondo di B");
    p.chiudi_finestra(b);
    enumera_figli(p, b);
    EXPECT_EQ(conteggio_figli, 0);
    EXPECT_TRUE(elenco_figli.empty());
}

}  // namespace
}  // namespace j8
