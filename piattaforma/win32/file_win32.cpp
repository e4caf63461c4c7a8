// The platform's files on the Win32 API: errors carry their Italian names,
// rewrites go through a temporary file and a rename.
#include "piattaforma/win32/piattaforma_win32.hpp"

#include <windows.h>

#include <memory>

#include "comune/file_locali.hpp"
#include "comune/testi_comuni.hpp"

namespace j8 {

namespace {

[[noreturn]] void fallisce(const std::string& percorso) {
    throw errore_file(percorso, problema_file(GetLastError()));
}

std::string senza_barra_finale(std::string p) {
    if (p.size() > 3 && (p.back() == '\\' || p.back() == '/')) p.pop_back();
    return p;
}

}  // namespace

// --- files ------------------------------------------------------------------------

bool piattaforma_win32::esiste_file(const std::string& percorso) {
    const DWORD a = GetFileAttributesA(percorso.c_str());
    return a != INVALID_FILE_ATTRIBUTES && !(a & FILE_ATTRIBUTE_DIRECTORY);
}

bool piattaforma_win32::esiste_direttorio(const std::string& percorso) {
    const DWORD a = GetFileAttributesA(senza_barra_finale(percorso).c_str());
    return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY);
}

std::string piattaforma_win32::leggi_file(const std::string& percorso) {
    std::string r;
    leggi_a_blocchi(percorso, [&](std::string_view b) { r.append(b); });
    return r;
}

std::uint64_t piattaforma_win32::dimensione_file(const std::string& percorso) {
    WIN32_FILE_ATTRIBUTE_DATA a;
    if (!GetFileAttributesExA(percorso.c_str(), GetFileExInfoStandard, &a)) return 0;
    return (static_cast<std::uint64_t>(a.nFileSizeHigh) << 32) | a.nFileSizeLow;
}

void piattaforma_win32::leggi_a_blocchi(const std::string& percorso, const ricevi_blocco& ricevi) {
    HANDLE f = CreateFileA(percorso.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (f == INVALID_HANDLE_VALUE) fallisce(percorso);
    std::unique_ptr<char[]> blocco(new char[1 << 18]);
    try {
        for (;;) {
            DWORD letti = 0;
            if (!ReadFile(f, blocco.get(), 1 << 18, &letti, nullptr))
                throw errore_file(percorso, problema_file(GetLastError()));
            if (letti == 0) break;
            ricevi(std::string_view(blocco.get(), letti));
        }
    } catch (...) {
        CloseHandle(f);
        throw;
    }
    CloseHandle(f);
}

void piattaforma_win32::scrivi_file(const std::string& percorso, const std::string& contenuto) {
    scrivi_a_blocchi(percorso, [&](const ricevi_blocco& scrivi) { scrivi(contenuto); });
}

void piattaforma_win32::scrivi_a_blocchi(const std::string& percorso,
                                         const std::function<void(const ricevi_blocco&)>& produci,
                                         std::uint64_t previsti) {
    scrivi_atomicamente(percorso, produci, previsti);
}

void piattaforma_win32::sostituisci_file(const std::string& da, const std::string& a) {
    if (const unsigned long e = sostituisci_con_attesa(da, a))
        throw errore_file(e == ERROR_FILE_NOT_FOUND ? da : a, problema_file(e));
}

bool piattaforma_win32::tieni_aperto(const std::string& percorso) {
    const std::string k = minuscolo(percorso);
    if (tenuti_.count(k)) return true;
    // Read by others, never written, renamed or deleted while held; a
    // second holder asks for write access and is refused.
    HANDLE f = CreateFileA(percorso.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (f == INVALID_HANDLE_VALUE) return GetLastError() != ERROR_SHARING_VIOLATION;
    tenuti_[k] = f;
    return true;
}

void piattaforma_win32::rilascia(const std::string& percorso) {
    const auto i = tenuti_.find(minuscolo(percorso));
    if (i == tenuti_.end()) return;
    CloseHandle(i->second);
    tenuti_.erase(i);
}

piattaforma_win32::~piattaforma_win32() {
    for (auto& [k, h] : tenuti_) CloseHandle(h);
}

bool prima_istanza() {
    // Never closed: held as long as the process lives.
    HANDLE m = CreateMutexW(nullptr, FALSE, L"j8_bbs_una_sola_istanza");
    return m != nullptr && GetLastError() != ERROR_ALREADY_EXISTS;
}

void piattaforma_win32::cancella_file(const std::string& percorso) {
    if (!DeleteFileA(percorso.c_str())) fallisce(percorso);
}

void piattaforma_win32::rinomina_file(const std::string& da, const std::string& a) {
    if (!MoveFileExA(da.c_str(), a.c_str(), 0)) fallisce(GetLastError() == ERROR_ALREADY_EXISTS ? a : da);
}

std::vector<std::string> piattaforma_win32::elenca_file(const std::string& direttorio,
                                                        const std::string& modello) {
    std::string base = direttorio;
    if (!base.empty() && base.back() != '\\' && base.back() != '/' && base.back() != ':')
        base += '\\';
    std::vector<std::string> r;
    WIN32_FIND_DATAA d;
    HANDLE h = FindFirstFileA((base + modello).c_str(), &d);
    if (h == INVALID_HANDLE_VALUE) return r;  // nothing there, as Dir says ""
    do {
        if (d.dwFileAttributes &
            (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM))
            continue;
        r.push_back(d.cFileName);
    } while (FindNextFileA(h, &d));
    FindClose(h);
    return r;
}

void piattaforma_win32::copia_file(const std::string& da, const std::string& a) {
    if (!CopyFileA(da.c_str(), a.c_str(), FALSE)) {
        const DWORD e = GetLastError();
        throw errore_file(e == ERROR_FILE_NOT_FOUND ? da : a, problema_file(e));
    }
    // The copies are the backup the journal names and the tables the
    // settings file then vouches for: on disk before the run goes on. A
    // read-only copy cannot be opened for that and stays in the cache.
    HANDLE f = CreateFileA(a.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (f != INVALID_HANDLE_VALUE) {
        FlushFileBuffers(f);
        CloseHandle(f);
    }
}

std::int64_t piattaforma_win32::lunghezza_file(const std::string& percorso) {
    WIN32_FILE_ATTRIBUTE_DATA d;
    if (!GetFileAttributesExA(percorso.c_str(), GetFileExInfoStandard, &d)) fallisce(percorso);
    if (d.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        throw errore_file(percorso, problema_file(ERROR_ACCESS_DENIED));
    return (static_cast<std::int64_t>(d.nFileSizeHigh) << 32) | d.nFileSizeLow;
}

void piattaforma_win32::crea_direttorio(const std::string& percorso) {
    if (!CreateDirectoryA(percorso.c_str(), nullptr)) fallisce(percorso);
}

void piattaforma_win32::rimuovi_direttorio(const std::string& percorso) {
    if (!RemoveDirectoryA(percorso.c_str())) fallisce(percorso);
}

namespace {
// The attributes a program may set back; the others (compressed, sparse,
// offline...) SetFileAttributes refuses or ignores.
constexpr DWORD attributi_impostabili = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                        FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                                        FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
}  // namespace

std::uint32_t piattaforma_win32::attributi_file(const std::string& percorso) {
    const DWORD a = GetFileAttributesA(percorso.c_str());
    if (a == INVALID_FILE_ATTRIBUTES) fallisce(percorso);
    return a & attributi_impostabili;
}

void piattaforma_win32::imposta_attributi_file(const std::string& percorso, std::uint32_t attributi) {
    // No attribute at all is written as "normal", as Windows wants it.
    const DWORD a = attributi & attributi_impostabili;
    if (!SetFileAttributesA(percorso.c_str(), a ? a : FILE_ATTRIBUTE_NORMAL)) fallisce(percorso);
}

void piattaforma_win32::imposta_solo_archivio(const std::string& percorso) {
    if (!SetFileAttributesA(percorso.c_str(), FILE_ATTRIBUTE_ARCHIVE)) fallisce(percorso);
}

std::string piattaforma_win32::direttorio_corrente() {
    char b[MAX_PATH * 2] = {};
    GetCurrentDirectoryA(sizeof b, b);
    return senza_barra_finale(b);
}

void piattaforma_win32::cambia_direttorio(const std::string& percorso) {
    if (!SetCurrentDirectoryA(percorso.c_str())) {
        const DWORD e = GetLastError();
        throw errore_file(percorso, problema_file(e == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : e));
    }
}

std::string piattaforma_win32::direttorio_programma() {
    char b[MAX_PATH * 2] = {};
    GetModuleFileNameA(nullptr, b, sizeof b);
    std::string p = b;
    const std::size_t barra = p.find_last_of("\\/");
    return barra == std::string::npos ? p : senza_barra_finale(p.substr(0, barra + 1));
}

}  // namespace j8
