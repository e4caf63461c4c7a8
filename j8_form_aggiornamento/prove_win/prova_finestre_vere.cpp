// The window lists and manda_tasto driven against a real window.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "j8_form_aggiornamento/manda_tasto.hpp"
#include "j8_modulo_aggiornamento/finestre.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/prove_win/finestra_vera.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace j8 {
namespace {

using wine::entro;
using wine::finestra_vera;

TEST_F(finestra_vera, trova_finestre_e_figli_e_chiude_dal_menu) {
    enumera_finestre(p);
    const auto trovata = std::find_if(elenco_finestre.begin(), elenco_finestre.end(),
                                      [&](const voce_finestra& f) { return f.titolo == titolo; });
    ASSERT_NE(trovata, elenco_finestre.end());
    EXPECT_EQ(trovata->classe, "J8ProgrammaProva");
    enumera_figli(p, trovata->handle);
    EXPECT_EQ(conteggio_figli, 2);

    EXPECT_TRUE(manda_tasto(p, "x", "Prova j8 [", 0, "X"));
    EXPECT_TRUE(manda_tasto(p, "y", titolo, 10, "Pronto per la prova"));
    EXPECT_FALSE(manda_tasto(p, "z", titolo, 0.5, "Nessun figlio cos\xec"));
    EXPECT_TRUE(entro(5, [&] { return testo_dell_edit() == "xyz"; })) << testo_dell_edit();

    // A foreign window in front, then back by task id and by title.
    HWND h = reinterpret_cast<HWND>(trova());
    EXPECT_TRUE(p.attiva_titolo(titolo));
    EXPECT_EQ(GetForegroundWindow(), h);

    p.manda_tasti("%fe");
    EXPECT_TRUE(entro(5, [&] { return trova() == 0; }));
    HANDLE processo = OpenProcess(SYNCHRONIZE, FALSE, task);
    if (processo) {
        EXPECT_EQ(WaitForSingleObject(processo, 5000), WAIT_OBJECT_0);
        CloseHandle(processo);
    }
    EXPECT_FALSE(p.attiva_task(task));
    // Its program ended: keys for it are refused, not typed elsewhere.
    EXPECT_THROW(p.manda_tasti_a(task, "abc"), errore_destinazione);
}

}  // namespace
}  // namespace j8
