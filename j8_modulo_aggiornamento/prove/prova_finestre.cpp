#include "j8_modulo_aggiornamento/finestre.hpp"

#include <gtest/gtest.h>

#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

// The forms' tests use the lists throughout; here, the cut at 255 they never meet.
TEST(enumera_finestre, testi_tagliati_a_255_ed_elenchi_ricostruiti_a_ogni_chiamata) {
    piattaforma_copione p;
    p.apri_finestra(std::string(255, 'a') + "FINE", std::string(300, 'c'));
    const maniglia b = p.apri_finestra(std::string(255, 'b'), "ClasseB");
    p.aggiungi_figlio(b, std::string(260, 'x'), "Edit");
    enumera_finestre(p);
    enumera_figli(p, b);
    ASSERT_EQ(conteggio_finestre, 2);
    EXPECT_EQ(elenco_finestre[0].titolo, std::string(255, 'b'));  // exactly 255: whole
    EXPECT_EQ(elenco_finestre[1].titolo, std::string(255, 'a'));
    EXPECT_EQ(elenco_finestre[1].classe, std::string(255, 'c'));
    ASSERT_EQ(conteggio_figli, 1);
    EXPECT_EQ(elenco_figli[0].titolo, std::string(255, 'x'));

    p.chiudi_finestra(b);
    enumera_finestre(p);
    enumera_figli(p, b);
    EXPECT_EQ(conteggio_finestre, 1);
    EXPECT_EQ(elenco_finestre.size(), 1u);
    EXPECT_EQ(conteggio_figli + elenco_figli.size(), 0u);
}

}  // namespace
}  // namespace j8
