#include "j8_modulo_aggiornamento/finestre.hpp"

#include <gtest/gtest.h>

#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

TEST(enumera_finestre, elenchi_ricostruiti_a_ogni_chiamata_e_testi_tagliati_a_255) {
    piattaforma_copione p;
    const maniglia a = p.apri_finestra(std::string(255, 'a') + "FINE", std::string(300, 'c'));
    const maniglia b = p.apri_finestra(std::string(255, 'b'), "ClasseB");
    const maniglia b1 = p.aggiungi_figlio(b, std::string(260, 'x'), "Edit");
    p.aggiungi_figlio(b, "secondo di B");
    p.aggiungi_figlio(a, "figlio di A");
    enumera_finestre(p);
    enumera_figli(p, b);
    ASSERT_EQ(conteggio_finestre, 2);
    EXPECT_EQ(elenco_finestre[0].handle, b);  // in the platform's order
    EXPECT_EQ(elenco_finestre[0].titolo, std::string(255, 'b'));  // exactly 255: whole
    EXPECT_EQ(elenco_finestre[1].titolo, std::string(255, 'a'));
    EXPECT_EQ(elenco_finestre[1].classe, std::string(255, 'c'));
    ASSERT_EQ(conteggio_figli, 2);
    EXPECT_EQ(elenco_figli[0].handle, b1);
    EXPECT_EQ(elenco_figli[0].titolo, std::string(255, 'x'));
    EXPECT_EQ(elenco_figli[1].titolo, "secondo di B");

    p.chiudi_finestra(b);
    enumera_finestre(p);
    enumera_figli(p, b);
    EXPECT_EQ(conteggio_finestre, 1);
    ASSERT_EQ(elenco_finestre.size(), 1u);
    EXPECT_EQ(elenco_finestre[0].handle, a);
    EXPECT_EQ(conteggio_figli + elenco_figli.size(), 0u);
}

}  // namespace
}  // namespace j8
