// Text helpers of the session: trailing line ends, the hidden password.

#include <gtest/gtest.h>

#include "j8_form_collegamento/form_collegamento.hpp"

namespace j8 {
namespace {

TEST(pulisci_finale, toglie_solo_le_coppie_cr_lf_finali) {
    EXPECT_EQ(form_collegamento::pulisci_finale("menu:\r\n\r\n\r\n"), "menu:");
    EXPECT_EQ(form_collegamento::pulisci_finale("a\r\nb\r\n"), "a\r\nb");
    EXPECT_EQ(form_collegamento::pulisci_finale("\r\n\r\n"), "");
    // A lone CR or LF, or a space after the pair, stops the removal.
    EXPECT_EQ(form_collegamento::pulisci_finale("menu:\r\n\r"), "menu:\r\n\r");
    EXPECT_EQ(form_collegamento::pulisci_finale("menu:\n\r\n"), "menu:\n");
}

TEST(nascondi_password, ogni_occorrenza_diventa_asterischi_di_lunghezza_fissa) {
    EXPECT_EQ(nascondi_password("a zeta, zetazeta.", " zeta "), "a ********, ****************.");
    EXPECT_EQ(nascondi_password("x**y", "*"), "x****************y");  // the mask holds it
    EXPECT_EQ(nascondi_password("a  b", "  "), "a  b");  // a blank password hides nothing
}

}  // namespace
}  // namespace j8
