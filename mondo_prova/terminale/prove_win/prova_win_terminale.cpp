// terminale_prova.exe driven from another process with the session's own
// keystrokes. Whole sessions through it are the connection form's Wine
// tests; here, what they would pass without: a connected terminal must ask
// before quitting, and only in its own language.
#include <windows.h>

#include <gtest/gtest.h>

#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace j8 {
namespace {

using wine::entro;

class terminale : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        char temp[MAX_PATH];
        GetTempPathA(MAX_PATH, temp);
        base = std::string(temp) + "j8_terminale_" + std::to_string(GetCurrentProcessId()) + (inglese() ? "_en" : "_it");
        CreateDirectoryA(base.c_str(), nullptr);
        p.copia_file(p.direttorio_programma() + "\\terminale_prova.exe", base + "\\terminale_prova.exe");
        p.scrivi_file(base + "\\terminale_prova.txt", std::string("lingua = ") + (inglese() ? "inglese" : "italiano"));
        task = p.avvia_programma(base + "\\terminale_prova.exe");
        processo = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, task);
        ASSERT_TRUE(processo && p.attiva_task(task));
    }
    void TearDown() override {
        if (processo) {
            if (in_vita()) TerminateProcess(processo, 1);
            WaitForSingleObject(processo, 5000);
            CloseHandle(processo);
        }
        for (const char* f : {"\\terminale_prova.exe", "\\terminale_prova.txt"}) DeleteFileA((base + f).c_str());
        RemoveDirectoryA(base.c_str());
    }
    bool inglese() const { return GetParam(); }
    bool in_vita() { return WaitForSingleObject(processo, 0) == WAIT_TIMEOUT; }
    // Sends `tasti` and waits (at most 20 s) for the screen, read as the
    // session reads it (select all, copy), to hold `atteso`.
    bool risposta(const std::string& tasti, const std::string& atteso) {
        p.attiva_task(task);
        p.manda_tasti(tasti);
        return entro(20, [&] {
            p.attiva_task(task);
            p.manda_tasti(inglese() ? "%es" : "%ms");
            p.manda_tasti(inglese() ? "%e{enter}{end}" : "%m{enter}{end}");
            return p.leggi_appunti().find(atteso) != std::string::npos;
        });
    }

    piattaforma_win32 p;
    std::string base;
    std::uint32_t task = 0;
    HANDLE processo = nullptr;
};

TEST_P(terminale, uscita_da_collegato_chiede_conferma_nella_sua_lingua) {
    ASSERT_TRUE(risposta("atdt0612345678{enter}", "Altrimenti batti \"new\":"));  // on line from here
    p.attiva_task(task);
    p.manda_tasti(inglese() ? "%fx" : "%fe");
    Sleep(1000);
    ASSERT_TRUE(in_vita()) << "a connected terminal asks first";
    p.attiva_task(task);
    p.manda_tasti(inglese() ? "S" : "Y");  // the other language's answer does nothing
    Sleep(500);
    ASSERT_TRUE(in_vita());
    p.attiva_task(task);
    p.manda_tasti(inglese() ? "Y" : "S");
    EXPECT_TRUE(entro(10, [&] { return !in_vita(); })) << "the terminal is still running";
}

INSTANTIATE_TEST_SUITE_P(lingue, terminale, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "inglese" : "italiano"; });

}  // namespace
}  // namespace j8
