#include "piattaforma/win32/piattaforma_win32.hpp"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <cctype>

#include "comune/testi_comuni.hpp"
#include "comune/file_locali.hpp"
#include "comune/aiuti_win32.hpp"
#include "piattaforma/tasti.hpp"

namespace j8 {

namespace {

// The window a task shows the user: visible, top-level, not owned.
HWND finestra_del_task(DWORD id_task) {
    struct cerca {
        DWORD id;
        HWND principale = nullptr, qualunque = nullptr;
    } c{id_task};
    EnumWindows(
        [](HWND h, LPARAM l) -> BOOL {
            auto* c = reinterpret_cast<cerca*>(l);
            DWORD pid = 0;
            GetWindowThreadProcessId(h, &pid);
            if (pid != c->id || !IsWindowVisible(h)) return TRUE;
            if (!GetWindow(h, GW_OWNER)) {
                c->principale = h;
                return FALSE;
            }
            if (!c->qualunque) c->qualunque = h;
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&c));
    return c.principale ? c.principale : c.qualunque;
}

bool in_primo_piano(HWND h) {
    const HWND attiva = GetForegroundWindow();
    return attiva == h || (attiva && GetWindow(attiva, GW_OWNER) == h);
}

// SetForegroundWindow alone is refused to a process that is not in the
// foreground; sharing the input state of the foreground thread lifts that.
bool porta_in_primo_piano(HWND h) {
    for (int tentativo = 0; tentativo < 12; ++tentativo) {
        if (!IsWindow(h)) return false;
        if (IsIconic(h)) ShowWindow(h, SW_RESTORE);
        const DWORD io = GetCurrentThreadId();
        const DWORD davanti = GetWindowThreadProcessId(GetForegroundWindow(), nullptr);
        const DWORD suo = GetWindowThreadProcessId(h, nullptr);
        const bool unito1 = davanti && davanti != io && AttachThreadInput(io, davanti, TRUE);
        const bool unito2 = suo && suo != io && suo != davanti && AttachThreadInput(io, suo, TRUE);
        BringWindowToTop(h);
        SetForegroundWindow(h);
        if (unito2) AttachThreadInput(io, suo, FALSE);
        if (unito1) AttachThreadInput(io, davanti, FALSE);
        for (int i = 0; i < 5; ++i) {
            if (in_primo_piano(h)) return true;
            Sleep(10);
        }
        Sleep(20 * (tentativo + 1));
    }
    return in_primo_piano(h);
}

// Waits until the program owning the foreground window has dealt with
// its pending input: it is idle waiting for input, and its window's thread
// has answered message round trips. Each answered round trip means the
// thread came back to its message loop once more, so after a few of them
// the keys queued ahead are handled, however slow the machine.
void attendi_elaborazione() {
    const HWND davanti = GetForegroundWindow();
    if (!davanti) return;
    DWORD pid = 0;
    GetWindowThreadProcessId(davanti, &pid);
    if (pid == GetCurrentProcessId()) {
        // Our own window: nobody else will run its messages.
        const ULONGLONG fine = GetTickCount64() + 60;
        MSG m;
        while (GetTickCount64() < fine) {
            while (PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE)) {
                TranslateMessage(&m);
                DispatchMessageW(&m);
            }
            Sleep(5);
        }
        return;
    }
    if (HANDLE processo = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, pid)) {
        WaitForInputIdle(processo, 5000);
        CloseHandle(processo);
    }
    for (int giro = 0; giro < 4; ++giro) {
        DWORD_PTR r = 0;
        if (!SendMessageTimeoutW(davanti, WM_NULL, 0, 0, SMTO_ABORTIFHUNG, 5000, &r)) break;
    }
}

bool tasto_esteso(WORD v) {
    switch (v) {
        case VK_HOME: case VK_END: case VK_LEFT: case VK_RIGHT: case VK_UP: case VK_DOWN:
        case VK_PRIOR: case VK_NEXT: case VK_INSERT: case VK_DELETE: case VK_DIVIDE:
        case VK_NUMLOCK: case VK_CANCEL: case VK_SNAPSHOT:
            return true;
        default:
            return false;
    }
}

INPUT tasto(WORD v, bool su) {
    INPUT i{};
    i.type = INPUT_KEYBOARD;
    i.ki.wVk = v;
    i.ki.wScan = static_cast<WORD>(MapVirtualKeyW(v, MAPVK_VK_TO_VSC));
    i.ki.dwFlags = (su ? KEYEVENTF_KEYUP : 0) | (tasto_esteso(v) ? KEYEVENTF_EXTENDEDKEY : 0);
    return i;
}

INPUT unicode(wchar_t c, bool su) {
    INPUT i{};
    i.type = INPUT_KEYBOARD;
    i.ki.wScan = c;
    i.ki.dwFlags = KEYEVENTF_UNICODE | (su ? KEYEVENTF_KEYUP : 0);
    return i;
}

// One event as key presses. A character goes as Unicode input, so Caps
// Lock, a held Shift or the keyboard layout cannot change it; only a
// character held with Ctrl or Alt (a menu or a shortcut) goes as the key
// of the layout that bears it, and a named key as its virtual key.
std::vector<INPUT> pressioni(const evento_tasto& e) {
    std::vector<INPUT> r;
    WORD v = e.virtuale;
    wchar_t carattere = 0;
    bool maiuscolo = e.maiuscolo;
    if (!v) {
        const std::wstring w = da_1252(std::string(1, e.carattere));
        carattere = w.empty() ? L'?' : w[0];
        if (e.controllo || e.alt) {
            const SHORT scan = VkKeyScanW(carattere);
            if (scan != -1 && !(HIBYTE(scan) & 6)) {
                v = LOBYTE(scan);
                maiuscolo = maiuscolo || (HIBYTE(scan) & 1);
            }
        } else if (maiuscolo) {
            carattere = static_cast<wchar_t>(reinterpret_cast<std::uintptr_t>(
                CharUpperW(reinterpret_cast<LPWSTR>(static_cast<std::uintptr_t>(carattere)))));
        }
    }
    std::vector<WORD> mod;
    if (maiuscolo && v) mod.push_back(VK_SHIFT);
    if (e.controllo) mod.push_back(VK_CONTROL);
    if (e.alt) mod.push_back(VK_MENU);
    for (WORD m : mod) r.push_back(tasto(m, false));
    if (v) {
        r.push_back(tasto(v, false));
        r.push_back(tasto(v, true));
    } else {
        r.push_back(unicode(carattere, false));
        r.push_back(unicode(carattere, true));
    }
    for (auto m = mod.rbegin(); m != mod.rend(); ++m) r.push_back(tasto(*m, true));
    return r;
}

std::string testo_finestra(HWND h, bool figlio) {
    if (figlio) {
        // A control of another process keeps its text itself: ask it, but
        // never hang on a program that does not answer.
        DWORD_PTR lunghezza = 0;
        if (SendMessageTimeoutA(h, WM_GETTEXTLENGTH, 0, 0, SMTO_ABORTIFHUNG, 500, &lunghezza)) {
            std::string s(lunghezza + 1, '\0');
            DWORD_PTR letti = 0;
            if (SendMessageTimeoutA(h, WM_GETTEXT, s.size(), reinterpret_cast<LPARAM>(s.data()),
                                    SMTO_ABORTIFHUNG, 500, &letti)) {
                s.resize(std::min<std::size_t>(letti, lunghezza));
                return s;
            }
        }
    }
    const int lunghezza = GetWindowTextLengthA(h);
    std::string s(static_cast<std::size_t>(std::max(lunghezza, 0)) + 1, '\0');
    const int letti = GetWindowTextA(h, s.data(), static_cast<int>(s.size()));
    s.resize(letti > 0 ? letti : 0);
    return s;
}

finestra descrivi(HWND h, bool figlio) {
    char classe[256] = {};
    GetClassNameA(h, classe, sizeof classe);
    return {reinterpret_cast<maniglia>(h), testo_finestra(h, figlio), classe};
}

HWND finestra_col_titolo(const std::string& titolo) {
    struct cerca {
        std::string cercato;
        HWND uguale = nullptr, inizia = nullptr;
    } c{minuscolo(titolo)};
    EnumWindows(
        [](HWND h, LPARAM l) -> BOOL {
            auto* c = reinterpret_cast<cerca*>(l);
            if (!IsWindowVisible(h)) return TRUE;
            const std::string t = minuscolo(testo_finestra(h, false));
            if (t == c->cercato) {
                c->uguale = h;
                return FALSE;
            }
            if (!c->inizia && t.rfind(c->cercato, 0) == 0) c->inizia = h;
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&c));
    return c.uguale ? c.uguale : c.inizia;
}

}  // namespace

// --- programs, windows, keys ------------------------------------------------

std::uint32_t piattaforma_win32::avvia_programma(const std::string& percorso) {
    STARTUPINFOA si{};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESHOWWINDOW;
    si.wShowWindow = SW_SHOWNORMAL;
    PROCESS_INFORMATION pi{};
    std::string riga = "\"" + percorso + "\"";
    if (!CreateProcessA(percorso.c_str(), riga.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &si, &pi)) {
        throw errore_avvio("Impossibile avviare il programma " + percorso + ": " +
                           problema_file(GetLastError()));
    }
    WaitForInputIdle(pi.hProcess, 10000);
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    return pi.dwProcessId;
}

bool piattaforma_win32::attiva_task(std::uint32_t id_task) {
    // A program just started may not show its window yet: look a little.
    for (int i = 0; i < 40; ++i) {
        if (HWND h = finestra_del_task(id_task)) return porta_in_primo_piano(h);
        Sleep(50);
    }
    return false;
}

bool piattaforma_win32::attiva_titolo(const std::string& titolo) {
    for (int i = 0; i < 40; ++i) {
        if (HWND h = finestra_col_titolo(titolo)) return porta_in_primo_piano(h);
        Sleep(50);
    }
    return false;
}

namespace {

bool task_finito(DWORD id_task) {
    HANDLE processo = OpenProcess(SYNCHRONIZE, FALSE, id_task);
    if (!processo) return true;
    const bool finito = WaitForSingleObject(processo, 0) == WAIT_OBJECT_0;
    CloseHandle(processo);
    return finito;
}

bool davanti_del_task(DWORD id_task) {
    DWORD pid = 0;
    const HWND davanti = GetForegroundWindow();
    if (davanti) GetWindowThreadProcessId(davanti, &pid);
    return davanti && pid == id_task;
}

// The task's window in front, or errore_destinazione after `secondi`.
void assicura_davanti(DWORD id_task, double secondi) {
    const ULONGLONG fine = GetTickCount64() + ULONGLONG(secondi * 1000);
    for (;;) {
        if (task_finito(id_task))
            throw errore_destinazione("Il programma che doveva ricevere i tasti \xe8 stato chiuso.");
        if (davanti_del_task(id_task)) return;
        if (HWND h = finestra_del_task(id_task)) porta_in_primo_piano(h);
        if (davanti_del_task(id_task)) return;
        if (GetTickCount64() >= fine)
            throw errore_destinazione("La finestra del programma che doveva ricevere i tasti non viene "
                                      "in primo piano.");
        Sleep(100);
    }
}

}  // namespace

void piattaforma_win32::manda_tasti_a(std::uint32_t id_task, const std::string& tasti) {
    const std::vector<evento_tasto> eventi = analizza_tasti(tasti);
    appunti_prima_dei_tasti_ = GetClipboardSequenceNumber();
    for (const evento_tasto& e : eventi) {
        // Checked before every key: a window that came in front meanwhile
        // must not get the rest (a password least of all).
        assicura_davanti(id_task, secondi_destinazione);
        std::vector<INPUT> p = pressioni(e);
        SendInput(static_cast<UINT>(p.size()), p.data(), sizeof(INPUT));
        if (e.alt || e.controllo || e.virtuale == VK_RETURN || e.virtuale == VK_ESCAPE)
            attendi_elaborazione();
    }
    attendi_elaborazione();
    tasti_mandati_alle_ = GetTickCount64();
}

void piattaforma_win32::manda_tasti(const std::string& tasti) {
    const std::vector<evento_tasto> eventi = analizza_tasti(tasti);
    appunti_prima_dei_tasti_ = GetClipboardSequenceNumber();
    for (const evento_tasto& e : eventi) {
        std::vector<INPUT> p = pressioni(e);
        SendInput(static_cast<UINT>(p.size()), p.data(), sizeof(INPUT));
        // A shortcut may open a menu or a dialog: let it open before the next key.
        if (e.alt || e.controllo || e.virtuale == VK_RETURN || e.virtuale == VK_ESCAPE)
            attendi_elaborazione();
        else
            Sleep(2);
    }
    attendi_elaborazione();
    tasti_mandati_alle_ = GetTickCount64();
}

std::string piattaforma_win32::leggi_appunti() {
    // After keys, only a copy they made counts: an older clipboard is not
    // the screen. The copy lands asynchronously, so it gets a while.
    if (tasti_mandati_alle_) {
        tasti_mandati_alle_ = 0;
        const ULONGLONG fine = GetTickCount64() + 3000;
        while (GetClipboardSequenceNumber() == appunti_prima_dei_tasti_) {
            if (GetTickCount64() >= fine) return "";
            Sleep(20);
        }
    }
    // Another program may hold the clipboard open for a moment.
    const ULONGLONG fine = GetTickCount64() + 5000;
    while (!OpenClipboard(nullptr)) {
        if (GetTickCount64() >= fine) return "";
        Sleep(25);
    }
    std::string testo;
    if (HANDLE d = GetClipboardData(CF_UNICODETEXT)) {
        if (auto* w = static_cast<const wchar_t*>(GlobalLock(d))) {
            testo = a_1252(w);
            GlobalUnlock(d);
        }
    } else if (HANDLE a = GetClipboardData(CF_TEXT)) {
        if (auto* s = static_cast<const char*>(GlobalLock(a))) {
            testo = s;
            GlobalUnlock(a);
        }
    }
    CloseClipboard();
    return testo;
}

std::vector<finestra> piattaforma_win32::finestre() {
    std::vector<finestra> r;
    EnumWindows(
        [](HWND h, LPARAM l) -> BOOL {
            reinterpret_cast<std::vector<finestra>*>(l)->push_back(descrivi(h, false));
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&r));
    return r;
}

std::vector<finestra> piattaforma_win32::figli(maniglia padre) {
    std::vector<finestra> r;
    HWND h = reinterpret_cast<HWND>(padre);
    if (!IsWindow(h)) return r;
    EnumChildWindows(
        h,
        [](HWND f, LPARAM l) -> BOOL {
            reinterpret_cast<std::vector<finestra>*>(l)->push_back(descrivi(f, true));
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&r));
    return r;
}

void piattaforma_win32::esegui_eventi() {
    MSG m;
    while (PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE)) {
        if (m.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(m.wParam));  // leave it for the main loop
            break;
        }
        TranslateMessage(&m);
        DispatchMessageW(&m);
    }
}

// --- clock, message box --------------------------------------------------------

float piattaforma_win32::secondi_da_mezzanotte() {
    SYSTEMTIME t;
    GetLocalTime(&t);
    return static_cast<float>(t.wHour * 3600.0 + t.wMinute * 60.0 + t.wSecond +
                              t.wMilliseconds / 1000.0);
}

data_ora piattaforma_win32::adesso() {
    SYSTEMTIME t;
    GetLocalTime(&t);
    return componi_data_ora(t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                            t.wSecond + t.wMilliseconds / 1000.0);
}

void piattaforma_win32::pausa(double secondi) {
    Sleep(static_cast<DWORD>(std::clamp(secondi * 1000.0, 1.0, 60000.0)));
}

void piattaforma_win32::messaggio(const std::string& testo, const std::string& titolo) {
    MessageBoxW(GetActiveWindow(), da_1252(testo).c_str(), da_1252(titolo).c_str(),
                MB_OK | MB_SETFOREGROUND);
}

}  // namespace j8
