#include "regia.hpp"

#include "piattaforma/win32/schermata.hpp"

#include <cstdio>

namespace j8::regia {

namespace {

std::string testo_di(HWND h) {
    char buf[1024];
    const int n = GetWindowTextA(h, buf, sizeof buf);
    return std::string(buf, n > 0 ? size_t(n) : 0);
}

std::string classe_di(HWND h) {
    char buf[256];
    const int n = GetClassNameA(h, buf, sizeof buf);
    return std::string(buf, n > 0 ? size_t(n) : 0);
}

struct ricerca {
    DWORD pid;
    std::vector<HWND> trovate;
};

BOOL CALLBACK per_finestra(HWND h, LPARAM lp) {
    auto* r = reinterpret_cast<ricerca*>(lp);
    DWORD pid = 0;
    GetWindowThreadProcessId(h, &pid);
    if (pid == r->pid && IsWindowVisible(h)) r->trovate.push_back(h);
    return TRUE;
}

BOOL CALLBACK per_figlio(HWND h, LPARAM lp) {
    reinterpret_cast<std::vector<HWND>*>(lp)->push_back(h);
    return TRUE;
}

std::vector<HWND> finestre_del_processo(DWORD pid) {
    ricerca r{pid, {}};
    EnumWindows(per_finestra, LPARAM(&r));
    return r.trovate;
}

std::vector<HWND> figli_di(HWND h) {
    std::vector<HWND> v;
    EnumChildWindows(h, per_figlio, LPARAM(&v));
    return v;
}

// The text a message box shows (its static control).
std::string testo_messaggio(HWND dialogo) {
    std::string testo;
    for (HWND f : figli_di(dialogo))
        if (classe_di(f) == "Static" && !testo_di(f).empty()) testo = testo_di(f);
    return testo;
}

std::string converti(const std::wstring& w) {
    std::string s;
    for (wchar_t c : w) s += c < 128 ? char(c) : '?';
    return s;
}

}  // namespace

bool salva_foto(HWND finestra, const std::wstring& percorso) {
    // Another program's window: bring it up and let it paint first.
    SetForegroundWindow(finestra);
    BringWindowToTop(finestra);
    RedrawWindow(finestra, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    Sleep(400);
    return salva_schermata(finestra, percorso);
}

esito_regia segui_j8_bbs(const std::wstring& programma, const std::wstring& argomenti,
                         const std::wstring& cartella_foto, int secondi_massimi) {
    esito_regia esito;
    std::wstring cartella = programma.substr(0, programma.find_last_of(L"\\/"));
    std::wstring riga = L"\"" + programma + L"\" " + argomenti;
    STARTUPINFOW si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    if (!CreateProcessW(programma.c_str(), riga.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        cartella.c_str(), &si, &pi)) {
        esito.messaggi.push_back("impossibile avviare il programma");
        return esito;
    }
    CloseHandle(pi.hThread);

    auto foto = [&](HWND h, const wchar_t* nome) {
        if (cartella_foto.empty()) return;
        const std::wstring percorso = cartella_foto + L"\\" + nome;
        if (salva_foto(h, percorso)) esito.foto.push_back(converti(percorso));
    };

    // Pictures are taken only once nothing else runs: bringing a form to the
    // front in the middle of the session would take the terminal's focus.
    bool foto_collegamento = false;
    auto foto_del_collegamento = [&](HWND h) {
        if (h && !foto_collegamento) foto(h, L"form_collegamento.bmp");
        foto_collegamento = foto_collegamento || h;
    };
    const DWORD inizio = GetTickCount();
    while (GetTickCount() - inizio < DWORD(secondi_massimi) * 1000) {
        if (WaitForSingleObject(pi.hProcess, 250) == WAIT_OBJECT_0) {
            esito.terminato = true;
            DWORD codice = 99;
            GetExitCodeProcess(pi.hProcess, &codice);
            esito.codice_uscita = codice;
            break;
        }
        HWND collegamento = nullptr, aggiornamento = nullptr, dialogo = nullptr;
        for (HWND h : finestre_del_processo(pi.dwProcessId)) {
            const std::string classe = classe_di(h), titolo = testo_di(h);
            if (classe == "#32770") dialogo = h;
            else if (classe == "j8_form_collegamento") collegamento = h;
            else if (titolo == "J8_aggiornamento") aggiornamento = h;
        }
        if (dialogo) {
            // A message box: pictures, note its text, answer OK.
            const std::string testo = testo_messaggio(dialogo);
            foto(dialogo, L"messaggio.bmp");
            foto_del_collegamento(collegamento);
            esito.messaggi.push_back(testo);
            SendMessageW(dialogo, WM_COMMAND, IDOK, 0);
            continue;
        }
        if (aggiornamento) {
            for (HWND f : figli_di(aggiornamento)) {
                const std::string t = testo_di(f);
                if (t == "AGGIORNAMENTO COMPLETATO" || t == "Chiudere il programma") {
                    esito.stato_finale = t;
                    foto_del_collegamento(collegamento);
                    foto(aggiornamento, L"form_aggiornamento.bmp");
                    PostMessageW(aggiornamento, WM_CLOSE, 0, 0);
                    break;
                }
            }
        }
    }
    if (!esito.terminato) TerminateProcess(pi.hProcess, 99);
    CloseHandle(pi.hProcess);
    return esito;
}

}  // namespace j8::regia
