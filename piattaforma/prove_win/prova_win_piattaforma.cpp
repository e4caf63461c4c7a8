#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "comune/data_ora.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/prove_win/finestra_vera.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace j8 {
namespace {

using wine::entro;
using wine::finestra_vera;

TEST_F(finestra_vera, scrive_seleziona_copia_dal_menu_e_legge_gli_appunti) {
    EXPECT_EQ(GetForegroundWindow(), reinterpret_cast<HWND>(trova()));
    const std::string scritto = "Ciao@#[]{}() \xe8\xe0 +%^~ 123 AbZ";
    p.manda_tasti("Ciao@#[]{{}{}}{(}{)} \xe8\xe0 {+}{%}{^}{~} 123 +abZ");
    ASSERT_TRUE(entro(5, [&] { return testo_dell_edit() == scritto; })) << testo_dell_edit();
    p.manda_tasti("{enter}seconda riga{bs 4}RIGA");
    const std::string atteso = scritto + "\r\nseconda RIGA";
    ASSERT_TRUE(entro(5, [&] { return testo_dell_edit() == atteso; })) << testo_dell_edit();

    p.manda_tasti("%ms");
    p.manda_tasti("%m{enter}{end}");
    EXPECT_EQ(p.leggi_appunti(), atteso);

    // Shift with a named key: select the last word and copy it alone.
    p.manda_tasti("^{end}+^{left}");
    p.manda_tasti("%m{enter}");
    EXPECT_EQ(p.leggi_appunti(), "RIGA");
    // Keys that copy nothing: the older copy is not read as new.
    p.manda_tasti("{end}");
    EXPECT_EQ(p.leggi_appunti(), "");

    // A window of another program in front: keys sent to the task bring
    // the task's window back first and the other window gets nothing.
    HWND straniera = CreateWindowExW(0, L"EDIT", L"straniera", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 10,
                                     200, 80, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    SetForegroundWindow(straniera);
    SetFocus(straniera);
    ASSERT_TRUE(entro(5, [&] { return GetForegroundWindow() == straniera; }));
    p.manda_tasti_a(task, "{end}+ok");
    ASSERT_TRUE(entro(5, [&] { return testo_dell_edit() == atteso + "Ok"; })) << testo_dell_edit();
    MSG m;
    while (PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&m);
    wchar_t rimasto[64] = {};
    GetWindowTextW(straniera, rimasto, 64);
    EXPECT_EQ(std::wstring(rimasto), L"straniera");
    DestroyWindow(straniera);
}

TEST(piattaforma_win32_tasti, tastiera_italiana_chiede_altgr_per_chiocciola_e_quadre) {
    // The harness sets an Italian layout: the characters typed above then
    // really go the Unicode way.
    // On an Italian layout '"' is Shift+2.
    if (VkKeyScanW(L'"') != 0x0132) GTEST_SKIP() << "tastiera non italiana";
    for (wchar_t c : {L'@', L'#', L'[', L']'}) {
        const SHORT s = VkKeyScanW(c);
        EXPECT_TRUE(s == -1 || (HIBYTE(s) & 6) == 6) << static_cast<int>(c);
    }
}

TEST(piattaforma_win32_tasti, stringa_non_valida_rifiutata) {
    piattaforma_win32 p;
    EXPECT_THROW(p.manda_tasti("{invio}"), errore_tasti);
    EXPECT_THROW(p.avvia_programma("c:\\non\\esiste.exe"), errore_avvio);
}

TEST(piattaforma_win32_appunti, testo_unicode_letto_in_windows_1252) {
    piattaforma_win32 p;
    const std::wstring w = L"Citt\u00e0 \u20ac 5 \u0416";
    ASSERT_TRUE(entro(2, [] { return OpenClipboard(nullptr) != 0; }));
    EmptyClipboard();
    HGLOBAL g = GlobalAlloc(GMEM_MOVEABLE, (w.size() + 1) * sizeof(wchar_t));
    std::copy(w.c_str(), w.c_str() + w.size() + 1, static_cast<wchar_t*>(GlobalLock(g)));
    GlobalUnlock(g);
    SetClipboardData(CF_UNICODETEXT, g);
    CloseClipboard();
    EXPECT_EQ(p.leggi_appunti(), "Citt\xe0 \x80 5 ?");
}

TEST(piattaforma_win32_orologio, ore_e_data_coerenti) {
    piattaforma_win32 p;
    const float s = p.secondi_da_mezzanotte();
    EXPECT_GE(s, 0.0f);
    EXPECT_LT(s, 86400.0f);
    const data_ora d = p.adesso();
    EXPECT_GT(d, componi_data_ora(2020, 1, 1));
    const double frazione = (d - static_cast<long>(d)) * 86400;
    EXPECT_TRUE(std::abs(frazione - s) < 2 || std::abs(frazione - s) > 86398);
    const data_ora prima = p.adesso();
    p.pausa(0.3);
    EXPECT_GE((p.adesso() - prima) * 86400, 0.25);
}

class file_veri : public ::testing::Test {
protected:
    void SetUp() override {
        char t[MAX_PATH];
        GetTempPathA(MAX_PATH, t);
        dir = std::string(t) + "j8_prova_" + std::to_string(GetCurrentProcessId());
        p.crea_direttorio(dir);
    }
    void TearDown() override {
        for (const auto& n : p.elenca_file(dir, "*.*")) {
            p.imposta_solo_archivio(dir + "\\" + n);
            p.cancella_file(dir + "\\" + n);
        }
        RemoveDirectoryA((dir + "\\sotto").c_str());
        RemoveDirectoryA(dir.c_str());
    }
    std::string problema(auto fare) {
        try {
            fare();
        } catch (const errore_file& e) {
            return e.problema();
        }
        return "nessuno";
    }
    piattaforma_win32 p;
    std::string dir;
};

TEST_F(file_veri, scrittura_copia_elenco_e_errori_in_italiano) {
    p.scrivi_file(dir + "\\farmaci.tda", std::string("riga 1\r\nriga \xe8\r\n", 16));
    p.scrivi_file(dir + "\\farmaci.tda", "nuovo\r\n");  // replaces whole
    EXPECT_EQ(p.leggi_file(dir + "\\FARMACI.TDA"), "nuovo\r\n");
    EXPECT_EQ(p.lunghezza_file(dir + "\\farmaci.tda"), 7);
    p.copia_file(dir + "\\farmaci.tda", dir + "\\atc.faf");
    p.crea_direttorio(dir + "\\sotto");
    const auto tutti = p.elenca_file(dir + "\\", "*.*");
    EXPECT_EQ(std::set<std::string>(tutti.begin(), tutti.end()),
              (std::set<std::string>{"farmaci.tda", "atc.faf"}));
    EXPECT_EQ(p.elenca_file(dir, "*.faf"), std::vector<std::string>{"atc.faf"});
    EXPECT_TRUE(p.elenca_file(dir + "\\manca", "*.*").empty());
    EXPECT_TRUE(p.esiste_direttorio(dir + "\\sotto\\"));
    EXPECT_FALSE(p.esiste_file(dir + "\\sotto"));

    EXPECT_EQ(problema([&] { p.leggi_file(dir + "\\manca.tda"); }), "file non trovato");
    EXPECT_EQ(problema([&] { p.scrivi_file(dir + "\\manca\\x.tda", ""); }), "percorso non trovato");
    EXPECT_EQ(problema([&] { p.rinomina_file(dir + "\\atc.faf", dir + "\\farmaci.tda"); }),
              "file gi\xe0 esistente");
    SetFileAttributesA((dir + "\\atc.faf").c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(problema([&] { p.cancella_file(dir + "\\atc.faf"); }), "accesso negato");
    EXPECT_TRUE(p.esiste_file(dir + "\\atc.faf"));
    p.imposta_solo_archivio(dir + "\\atc.faf");
    EXPECT_EQ(GetFileAttributesA((dir + "\\atc.faf").c_str()), DWORD{FILE_ATTRIBUTE_ARCHIVE});
    p.rinomina_file(dir + "\\atc.faf", dir + "\\atc2.faf");
    EXPECT_TRUE(p.esiste_file(dir + "\\atc2.faf"));

    const std::string prima = p.direttorio_corrente();
    p.cambia_direttorio(dir + "\\sotto");
    EXPECT_EQ(p.direttorio_corrente(), dir + "\\sotto");
    p.cambia_direttorio(prima);
    EXPECT_EQ(problema([&] { p.cambia_direttorio(dir + "\\manca"); }), "percorso non trovato");
    p.rimuovi_direttorio(dir + "\\sotto");
    EXPECT_FALSE(p.esiste_direttorio(dir + "\\sotto"));
    EXPECT_TRUE(p.esiste_file(p.direttorio_programma() + "\\programma_prova.exe"));
}

}  // namespace
}  // namespace j8
