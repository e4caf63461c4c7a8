#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <thread>

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
    p.manda_tasti("Ciao@#[]{{}{}}{(}{)} \xe8\xe0 {+}{%}{^}{~} +abZ{enter}seconda riga{bs 4}+(riga)");
    const std::string atteso = "Ciao@#[]{}() \xe8\xe0 +%^~ AbZ\r\nseconda RIGA";
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

TEST(piattaforma_win32, orologio_coerente_e_appunti_unicode_in_windows_1252) {
    piattaforma_win32 p;
    const double frazione = (p.adesso() - static_cast<long>(p.adesso())) * 86400;
    const float s = p.secondi_da_mezzanotte();
    EXPECT_TRUE(std::abs(frazione - s) < 2 || std::abs(frazione - s) > 86398) << frazione << " " << s;
    const data_ora prima = p.adesso();
    p.pausa(0.3);
    EXPECT_GE((p.adesso() - prima) * 86400, 0.25);

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

TEST(piattaforma_win32, file_veri_ed_errori_in_italiano) {
    piattaforma_win32 p;
    char t[MAX_PATH];
    GetTempPathA(MAX_PATH, t);
    // Wine reuses process ids: a crashed run's folder must not be met again.
    const std::string dir = std::string(t) + "j8_prova_" + std::to_string(GetCurrentProcessId()) + "_" +
                            std::to_string(GetTickCount64());
    const std::string farmaci = dir + "\\farmaci.tda", atc = dir + "\\atc.faf";
    p.crea_direttorio(dir);
    p.crea_direttorio(dir + "\\sotto");
    p.scrivi_file(farmaci, std::string("riga 1\r\nriga \xe8\r\n", 16));
    p.scrivi_file(farmaci, "nuovo\r\n");  // replaces whole
    EXPECT_EQ(p.leggi_file(dir + "\\FARMACI.TDA"), "nuovo\r\n");
    p.copia_file(farmaci, atc);
    const auto tutti = p.elenca_file(dir + "\\", "*.*");  // no folder
    EXPECT_EQ(std::set<std::string>(tutti.begin(), tutti.end()), (std::set<std::string>{"farmaci.tda", "atc.faf"}));

    SetFileAttributesA(atc.c_str(), FILE_ATTRIBUTE_READONLY);
    const std::pair<std::function<void()>, std::string> rifiuti[] = {
        {[&] { p.leggi_file(dir + "\\manca.tda"); }, "file non trovato"},
        {[&] { p.scrivi_file(dir + "\\manca\\x.tda", ""); }, "percorso non trovato"},
        {[&] { p.rinomina_file(farmaci, atc); }, "file gi\xe0 esistente"},
        {[&] { p.cancella_file(atc); }, "accesso negato"},
        {[&] { p.cambia_direttorio(dir + "\\manca"); }, "percorso non trovato"},
    };
    for (const auto& [fare, atteso] : rifiuti) {
        try {
            fare();
            ADD_FAILURE() << atteso;
        } catch (const errore_file& e) {
            EXPECT_EQ(e.problema(), atteso);
        }
    }
    p.imposta_solo_archivio(atc);
    EXPECT_EQ(GetFileAttributesA(atc.c_str()), DWORD{FILE_ATTRIBUTE_ARCHIVE});

    // Another program reading a table for a moment (no delete sharing, as
    // a virus scanner or a plain fopen opens it) delays a rewrite of it, it
    // does not fail it.
    HANDLE lettore = CreateFileA(farmaci.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(lettore, INVALID_HANDLE_VALUE);
    std::thread chiude([lettore] {
        Sleep(400);
        CloseHandle(lettore);
    });
    EXPECT_NO_THROW(p.scrivi_file(farmaci, "dopo il lettore\r\n"));
    chiude.join();
    EXPECT_EQ(p.leggi_file(farmaci), "dopo il lettore\r\n");
    EXPECT_THROW(p.avvia_programma(dir + "\\esiste.exe"), errore_avvio);

    const std::string prima = p.direttorio_corrente();
    p.cambia_direttorio(dir + "\\sotto");
    EXPECT_EQ(p.direttorio_corrente(), dir + "\\sotto");
    p.cambia_direttorio(prima);
    p.rimuovi_direttorio(dir + "\\sotto");
    for (const std::string& f : {farmaci, atc}) p.cancella_file(f);
    RemoveDirectoryA(dir.c_str());
}

}  // namespace
}  // namespace j8
