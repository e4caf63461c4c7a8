// Drives real packages under Wine with the keystrokes the update run sends.
#include <windows.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <random>
#include <thread>

#include "mondo_prova/pacchetto/archivio_zip.hpp"

namespace {

namespace fs = std::filesystem;
using j8::pacchetto::leggi_tutto;
using j8::pacchetto::scrivi_tutto;

fs::path cartella_programma() {
    wchar_t nome[MAX_PATH];
    GetModuleFileNameW(nullptr, nome, MAX_PATH);
    return fs::path(nome).parent_path();
}

std::string testo_finestra(HWND h) {
    char testo[256] = "";
    DWORD_PTR n = 0;
    SendMessageTimeoutA(h, WM_GETTEXT, sizeof testo, reinterpret_cast<LPARAM>(testo), SMTO_ABORTIFHUNG, 2000, &n);
    return testo;
}

// --- a minimal input driver, standing in until the platform's own one
// --- (start, activate, type, look for windows) is available here.
struct programma {
    PROCESS_INFORMATION pi{};
    ~programma() {
        if (pi.hProcess) {
            if (WaitForSingleObject(pi.hProcess, 0) == WAIT_TIMEOUT) TerminateProcess(pi.hProcess, 9);
            CloseHandle(pi.hProcess);
            CloseHandle(pi.hThread);
        }
    }
};

void avvia(programma& p, const fs::path& percorso) {
    STARTUPINFOW si{};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESHOWWINDOW;
    si.wShowWindow = SW_SHOWNORMAL;
    std::wstring riga = L"\"" + percorso.wstring() + L"\"";
    ASSERT_TRUE(CreateProcessW(percorso.c_str(), riga.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &si, &p.pi));
    WaitForInputIdle(p.pi.hProcess, 5000);
}

HWND finestra_del_processo(DWORD pid) {
    struct cerca {
        DWORD pid;
        HWND trovata;
    } c{pid, nullptr};
    EnumWindows(
        [](HWND h, LPARAM l) -> BOOL {
            auto* c = reinterpret_cast<cerca*>(l);
            DWORD pid = 0;
            GetWindowThreadProcessId(h, &pid);
            if (pid == c->pid && IsWindowVisible(h) && GetWindow(h, GW_OWNER) == nullptr) {
                c->trovata = h;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&c));
    return c.trovata;
}

void attiva(const programma& p) {
    for (int i = 0; i < 50; ++i) {
        HWND h = finestra_del_processo(p.pi.dwProcessId);
        if (h) {
            // An owned popup (the message box) keeps the focus if it is up.
            HWND attiva = GetLastActivePopup(h);
            SetForegroundWindow(attiva);
            if (GetForegroundWindow() == attiva) return;
        }
        Sleep(100);
    }
}

void premi(INPUT& in, WORD vk, WORD scan, DWORD flag) {
    in = {};
    in.type = INPUT_KEYBOARD;
    in.ki.wVk = vk;
    in.ki.wScan = scan;
    in.ki.dwFlags = flag;
}

void scrivi_testo(const std::string& testo) {
    std::vector<INPUT> ingressi;
    for (char c : testo) {
        INPUT giu, su;
        premi(giu, 0, static_cast<unsigned char>(c), KEYEVENTF_UNICODE);
        premi(su, 0, static_cast<unsigned char>(c), KEYEVENTF_UNICODE | KEYEVENTF_KEYUP);
        ingressi.push_back(giu);
        ingressi.push_back(su);
    }
    SendInput(static_cast<UINT>(ingressi.size()), ingressi.data(), sizeof(INPUT));
    Sleep(300);
}

void invio() {
    INPUT in[2];
    premi(in[0], VK_RETURN, 0, 0);
    premi(in[1], VK_RETURN, 0, KEYEVENTF_KEYUP);
    SendInput(2, in, sizeof(INPUT));
    Sleep(300);
}

// A top-level window whose title holds `titolo` and one of whose children
// holds `figlio`.
bool c_e_finestra(const std::string& titolo, const std::string& figlio) {
    struct cerca {
        std::string titolo, figlio;
        bool trovata;
    } c{titolo, figlio, false};
    EnumWindows(
        [](HWND h, LPARAM l) -> BOOL {
            auto* c = reinterpret_cast<cerca*>(l);
            if (testo_finestra(h).find(c->titolo) == std::string::npos) return TRUE;
            EnumChildWindows(
                h,
                [](HWND f, LPARAM l) -> BOOL {
                    auto* c = reinterpret_cast<cerca*>(l);
                    if (testo_finestra(f).find(c->figlio) != std::string::npos) c->trovata = true;
                    return !c->trovata;
                },
                l);
            return !c->trovata;
        },
        reinterpret_cast<LPARAM>(&c));
    return c.trovata;
}

bool attendi_finestra(const std::string& titolo, const std::string& figlio, int secondi) {
    for (int i = 0; i < secondi * 10; ++i) {
        if (c_e_finestra(titolo, figlio)) return true;
        Sleep(100);
    }
    return false;
}

void attendi(double secondi) { Sleep(static_cast<DWORD>(secondi * 1000)); }

std::string casuali(std::size_t n) {
    std::mt19937 g(42);
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(g());
    return s;
}

// --- the tests proper ------------------------------------------------------

class estrattore : public ::testing::Test {
protected:
    void SetUp() override {
        wchar_t tmp[MAX_PATH];
        GetTempPathW(MAX_PATH, tmp);
        radice_ = fs::path(tmp) / ("prova_win_pacchetto_" + std::to_string(std::random_device{}() % 100000));
        fs::create_directories(radice_ / "sorgenti");
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(radice_, ec);
    }

    // Makes the package with j8_pacchetto.exe, as a developer would.
    fs::path fai_pacchetto(const std::string& nome, const std::vector<std::pair<std::string, std::string>>& file) {
        std::wstring riga = L"\"" + (cartella_programma() / "j8_pacchetto.exe").wstring() + L"\" \"" +
                            (radice_ / nome).wstring() + L"\"";
        for (const auto& [n, dati] : file) {
            scrivi_tutto(radice_ / "sorgenti" / n, dati);
            riga += L" \"" + (radice_ / "sorgenti" / n).wstring() + L"\"";
        }
        STARTUPINFOW si{};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi{};
        EXPECT_TRUE(CreateProcessW(nullptr, riga.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi));
        WaitForSingleObject(pi.hProcess, 30000);
        DWORD uscita = 99;
        GetExitCodeProcess(pi.hProcess, &uscita);
        CloseHandle(pi.hProcess);
        CloseHandle(pi.hThread);
        EXPECT_EQ(uscita, 0u);
        return radice_ / nome;
    }

    fs::path radice_;
};

TEST_F(estrattore, si_estrae_coi_tasti_dell_aggiornamento) {
    std::vector<std::pair<std::string, std::string>> file = {
        {"farmaci.faf", "012345678ASPIRINA 500 MG\r\n012345679TACHIPIRINA\r\n"},
        {"atc.faf", std::string(200000, 'N')},
        {"casuale.new", casuali(30000)},
    };
    const fs::path pacchetto = fai_pacchetto("j8000123.exe", file);
    const fs::path lavoro = radice_ / "j8" / "lavoro_aggiornamento";
    // An older copy is replaced, even read-only.
    fs::create_directories(lavoro);
    scrivi_tutto(lavoro / "farmaci.faf", std::string(100000, 'v'));
    SetFileAttributesW((lavoro / "farmaci.faf").c_str(), FILE_ATTRIBUTE_READONLY);

    programma p;
    avvia(p, pacchetto);
    attendi(1);
    attiva(p);
    EXPECT_TRUE(attendi_finestra("WinZip Self-Extractor - j8000123.exe", "Unzip", 5));
    attendi(1);
    attiva(p);
    scrivi_testo(lavoro.string());
    attendi(1);
    invio();
    ASSERT_TRUE(attendi_finestra("WinZip Self-Extractor", "3 file(s) unzipped successfully", 30));
    attendi(1);
    invio();
    attendi(1);
    attiva(p);
    invio();
    attendi(1);
    EXPECT_EQ(WaitForSingleObject(p.pi.hProcess, 10000), WAIT_OBJECT_0) << "the extractor did not end";
    for (const auto& [nome, dati] : file) EXPECT_EQ(leggi_tutto(lavoro / nome), dati) << nome;
}

TEST_F(estrattore, un_pacchetto_rovinato_non_estrae_nulla) {
    const fs::path pacchetto = fai_pacchetto("j8000124.exe", {{"farmaci.faf", casuali(5000)}});
    std::string dati = leggi_tutto(pacchetto);
    dati[dati.size() - 22 - 57 - 100] ^= 0x40;  // inside the stored data
    scrivi_tutto(pacchetto, dati);

    programma p;
    avvia(p, pacchetto);
    ASSERT_TRUE(attendi_finestra("WinZip Self-Extractor", "danneggiato", 10));
    EXPECT_FALSE(c_e_finestra("WinZip Self-Extractor - j8000124.exe", ""));
    attiva(p);
    invio();
    ASSERT_EQ(WaitForSingleObject(p.pi.hProcess, 10000), WAIT_OBJECT_0);
    DWORD uscita = 0;
    GetExitCodeProcess(p.pi.hProcess, &uscita);
    EXPECT_EQ(uscita, 1u);
}

TEST_F(estrattore, una_cartella_impossibile_non_da_successo) {
    const fs::path pacchetto = fai_pacchetto("j8000125.exe", {{"ditte.faf", "DITTA\r\n"}});
    scrivi_tutto(radice_ / "occupato", "un file, non una cartella");

    programma p;
    avvia(p, pacchetto);
    attendi(1);
    attiva(p);
    scrivi_testo((radice_ / "occupato").string());
    invio();
    ASSERT_TRUE(attendi_finestra("WinZip Self-Extractor", "Unzip failed", 10));
    EXPECT_FALSE(c_e_finestra("WinZip Self-Extractor", "unzipped successfully"));
    invio();
    attendi(1);
    // Still the Unzip dialog, the folder selected: typing replaces it.
    attiva(p);
    scrivi_testo((radice_ / "buona").string());
    invio();
    ASSERT_TRUE(attendi_finestra("WinZip Self-Extractor", "1 file(s) unzipped successfully", 10));
    invio();
    attendi(1);
    attiva(p);
    invio();
    EXPECT_EQ(WaitForSingleObject(p.pi.hProcess, 10000), WAIT_OBJECT_0);
    EXPECT_EQ(leggi_tutto(radice_ / "occupato"), "un file, non una cartella");
    EXPECT_EQ(leggi_tutto(radice_ / "buona" / "ditte.faf"), "DITTA\r\n");
}

}  // namespace
