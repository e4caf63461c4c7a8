// Small helpers shared by the tests that run real windows and programs
// under Wine.
#pragma once

#include <windows.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "comune/testi_comuni.hpp"

namespace j8::wine {

// Polls `vero` for up to `secondi`: real windows answer when they can.
template <class F>
bool entro(double secondi, F vero) {
    const ULONGLONG fine = GetTickCount64() + static_cast<ULONGLONG>(secondi * 1000);
    for (;;) {
        if (vero()) return true;
        if (GetTickCount64() > fine) return false;
        Sleep(50);
    }
}

// The build folder: the test program sits beside the programs it starts.
inline std::filesystem::path cartella_programma() {
    wchar_t nome[MAX_PATH];
    GetModuleFileNameW(nullptr, nome, MAX_PATH);
    return std::filesystem::path(nome).parent_path();
}

inline std::string leggi(const std::filesystem::path& p) {
    std::ostringstream s;
    s << std::ifstream(p, std::ios::binary).rdbuf();
    return s.str();
}

inline void scrivi(const std::filesystem::path& p, const std::string& testo) {
    std::ofstream(p, std::ios::binary) << testo;
}

// Runs a program and waits for it; its exit status, -1 if it could not
// start or was still running after two minutes (then it is ended, so it
// cannot disturb the tests after it).
inline int esegui(const std::wstring& riga_comando) {
    STARTUPINFOW si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    std::wstring riga = riga_comando;
    if (!CreateProcessW(nullptr, riga.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
        return -1;
    DWORD codice = 1;
    if (WaitForSingleObject(pi.hProcess, 120000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(pi.hProcess, &codice);
    } else {
        TerminateProcess(pi.hProcess, 1);
        WaitForSingleObject(pi.hProcess, 10000);
        codice = static_cast<DWORD>(-1);
    }
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    return static_cast<int>(codice);
}

// The regular files of a folder by lower-cased name (Windows names do not
// keep their case reliably), with their contents.
inline std::map<std::string, std::string> contenuto(const std::filesystem::path& d) {
    std::map<std::string, std::string> esito;
    for (const auto& voce : std::filesystem::directory_iterator(d)) {
        if (!voce.is_regular_file()) continue;
        esito[minuscolo(voce.path().filename().string())] = leggi(voce.path());
    }
    return esito;
}

}  // namespace j8::wine
