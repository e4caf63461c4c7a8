// The Win32 platform on real windows, processes, files and clipboard. The
// window driven is the terminal stand-in: whole sessions through it are the
// connection form's Wine tests; here, its keys, menus and clipboard, and what
// those sessions would pass without: a connected terminal asks before
// quitting, and only in its own language.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <thread>

#include "comune/data_ora.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace j8 {
namespace {

using wine::entro;

// terminale_prova.exe started by its path alone, with its scenario beside
// it, and in front; ended after the test.
class terminale : public ::testing::Test {
protected:
    void avvia(bool inglese) {
        ferma();
        p.scrivi_file(scenario, std::string("lingua = ") + (inglese ? "inglese" : "italiano"));
        task = p.avvia_programma(p.direttorio_programma() + "\\terminale_prova.exe");
        processo = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, task);
        ASSERT_TRUE(processo && p.attiva_task(task));
    }
    void TearDown() override { ferma(); }
    void ferma() {
        if (!processo) return;
        if (in_vita()) TerminateProcess(processo, 1);
        WaitForSingleObject(processo, 5000);
        CloseHandle(processo);
        processo = nullptr;
        DeleteFileA(scenario.c_str());
    }
    bool in_vita() { return WaitForSingleObject(processo, 0) == WAIT_TIMEOUT; }
    HWND finestra_terminale() { return FindWindowA("terminale_prova", nullptr); }
    std::string schermo() {
        for (const finestra& f : p.figli(reinterpret_cast<maniglia>(finestra_terminale())))
            if (minuscolo(f.classe) == "edit") return f.titolo;
        return "<nessun edit>";
    }

    piattaforma_win32 p;
    const std::string scenario = p.direttorio_programma() + "\\terminale_prova.txt";
    std::uint32_t task = 0;
    HANDLE processo = nullptr;
};

TEST_F(terminale, scrive_seleziona_copia_dal_menu_e_legge_gli_appunti) {
    avvia(false);
    EXPECT_EQ(GetForegroundWindow(), finestra_terminale());
    p.manda_tasti("Ciao@#[]{{}{}}{(}{)} \xe8\xe0 {+}{%}{^}{~} +abZ{enter}seconda riga{bs 4}+(riga)");
    const std::string atteso = "Ciao@#[]{}() \xe8\xe0 +%^~ AbZ\r\nseconda RIGA";
    ASSERT_TRUE(entro(5, [&] { return schermo() == atteso; })) << schermo();

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
    ASSERT_TRUE(entro(5, [&] { return schermo() == atteso + "Ok"; })) << schermo();
    MSG m;
    while (PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&m);
    wchar_t rimasto[64] = {};
    GetWindowTextW(straniera, rimasto, 64);
    EXPECT_EQ(std::wstring(rimasto), L"straniera");
    DestroyWindow(straniera);
}

TEST_F(terminale, uscita_da_collegato_chiede_conferma_nella_sua_lingua) {
    for (const bool inglese : {false, true}) {
        SCOPED_TRACE(inglese ? "inglese" : "italiano");
        avvia(inglese);
        p.manda_tasti("atdt0612345678{enter}");
        ASSERT_TRUE(entro(20, [&] { return schermo().find("Altrimenti batti \"new\":") != std::string::npos; }));
        p.attiva_task(task);
        p.manda_tasti(inglese ? "%fx" : "%fe");
        Sleep(1000);
        ASSERT_TRUE(in_vita()) << "a connected terminal asks first";
        p.attiva_task(task);
        p.manda_tasti(inglese ? "S" : "Y");  // the other language's answer does nothing
        Sleep(500);
        ASSERT_TRUE(in_vita());
        p.attiva_task(task);
        p.manda_tasti(inglese ? "Y" : "S");
        EXPECT_TRUE(entro(10, [&] { return !in_vita(); })) << "the terminal is still running";
    }
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
    p.scrivi_file(farmaci, "nuovo\r\n");
    EXPECT_EQ(p.leggi_file(dir + "\\FARMACI.TDA"), "nuovo\r\n");
    p.copia_file(farmaci, atc);
    const auto tutti = p.elenca_file(dir + "\\", "*.*");  // no folder
    EXPECT_EQ(std::set<std::string>(tutti.begin(), tutti.end()), (std::set<std::string>{"farmaci.tda", "atc.faf"}));

    SetFileAttributesA(atc.c_str(), FILE_ATTRIBUTE_READONLY);
    const std::pair<std::function<void()>, std::string> rifiuti[] = {
        {[&] { p.leggi_file(dir + "\\manca.tda"); }, "file non trovato"},
        {[&] { p.scrivi_file(dir + "\\manca\\x.tda", ""); }, "percorso non trovato"},
        {[&] { p.cancella_file(atc); }, "accesso negato"},
        {[&] { p.cambia_direttorio(dir + "\\manca"); }, "percorso non trovato"},
    };
    for (const auto& [fare, atteso] : rifiuti)
        EXPECT_THAT(fare, ::testing::Throws<errore_file>(::testing::Property(&errore_file::problema, atteso)));
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
    p.rimuovi_direttorio(dir + "\\sotto");
    for (const std::string& f : {farmaci, atc}) p.cancella_file(f);
    RemoveDirectoryA(dir.c_str());
}

}  // namespace
}  // namespace j8
