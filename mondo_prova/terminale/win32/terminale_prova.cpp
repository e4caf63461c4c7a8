// Stand-in for the terminal accessory: a window showing the modem and BBS
// simulation, with the menus and dialogs the connection session drives by
// keystrokes. Started as: terminale_prova.exe [SCENARIO] [--inglese]; with
// no scenario it reads terminale_prova.txt beside the program, so that it
// can be started by its path alone as the real accessory is.
#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "mondo_prova/terminale/simulazione_bbs.hpp"

namespace {

using j8::prova::simulazione_bbs;

enum : WORD {
    id_schermo = 10, id_esci = 100, id_copia, id_seleziona, id_invia_file, id_ricevi_file,
    id_campo = 201, id_sfoglia, id_protocollo, id_azione, id_chiudi, id_si, id_no,
};

const wchar_t* const protocolli[] = {L"1K Xmodem", L"Kermit", L"Xmodem", L"Ymodem", L"Ymodem-G", L"Zmodem"};

bool inglese = false;
std::unique_ptr<simulazione_bbs> bbs;
HWND principale = nullptr, schermo = nullptr, dialogo = nullptr, finestra_zmodem = nullptr;
WNDPROC procedura_edit = nullptr;
std::string cartella_ricezione;
int protocollo_ricezione = 5;

// The running transfer: a download of `file`, or an upload of `modello`.
struct trasferimento {
    bool scarico = false;
    std::string file, modello;
} in_corso;

const wchar_t* t(const wchar_t* italiano, const wchar_t* english) { return inglese ? english : italiano; }

std::string dir_con_barra(std::string d) {
    if (!d.empty() && d.back() != '\\' && d.back() != '/') d += '\\';
    return d;
}

// Dialog templates built in memory, laid out as the dialog manager reads them.
class modello_dialogo {
public:
    modello_dialogo(const std::wstring& titolo, short cx, short cy) {
        metti_dword(DS_SETFONT | DS_MODALFRAME | WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_CENTER);
        metti_dword(0);
        conteggio_ = dati_.size();
        dati_.push_back(0);
        for (short v : {short(0), short(0), cx, cy}) dati_.push_back(static_cast<WORD>(v));
        dati_.push_back(0);  // no menu
        dati_.push_back(0);  // default class
        metti_testo(titolo);
        dati_.push_back(8);
        metti_testo(L"MS Shell Dlg");
    }
    void controllo(WORD classe, DWORD stile, short x, short y, short cx, short cy, WORD id,
                   const std::wstring& testo) {
        while (dati_.size() % 2) dati_.push_back(0);  // DWORD alignment
        metti_dword(stile | WS_CHILD | WS_VISIBLE);
        metti_dword(0);
        for (short v : {x, y, cx, cy}) dati_.push_back(static_cast<WORD>(v));
        dati_.push_back(id);
        dati_.push_back(0xFFFF);
        dati_.push_back(classe);
        metti_testo(testo);
        dati_.push_back(0);
        ++dati_[conteggio_];
    }
    const DLGTEMPLATE* modello() const { return reinterpret_cast<const DLGTEMPLATE*>(dati_.data()); }

private:
    void metti_dword(DWORD v) {
        dati_.push_back(LOWORD(v));
        dati_.push_back(HIWORD(v));
    }
    void metti_testo(const std::wstring& s) {
        for (wchar_t c : s) dati_.push_back(static_cast<WORD>(c));
        dati_.push_back(0);
    }
    std::vector<WORD> dati_;
    std::size_t conteggio_ = 0;
};

constexpr WORD pulsante = 0x80, campo = 0x81, etichetta = 0x82, combo = 0x85;

void aggiorna();

void copia_scarico() {
    const std::string da = dir_con_barra(bbs->dati().direttorio_file) + in_corso.file;
    const std::string a = dir_con_barra(cartella_ricezione) + in_corso.file;
    const bool riuscito = CopyFileA(da.c_str(), a.c_str(), FALSE) != 0;
    bbs->trasferimento_concluso(riuscito, riuscito ? 1 : 0);
}

void copia_carico() {
    const std::string& modello = in_corso.modello;
    const std::size_t barra = modello.find_last_of("\\/:");
    const std::string origine = barra == std::string::npos ? "" : modello.substr(0, barra + 1);
    std::size_t copiati = 0;
    bool riuscito = true;
    WIN32_FIND_DATAA dati;
    HANDLE ricerca = FindFirstFileA(modello.c_str(), &dati);
    if (ricerca != INVALID_HANDLE_VALUE) {
        do {
            if (dati.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
            const std::string a = dir_con_barra(bbs->dati().direttorio_carico) + dati.cFileName;
            if (CopyFileA((origine + dati.cFileName).c_str(), a.c_str(), FALSE)) ++copiati;
            else riuscito = false;
        } while (FindNextFileA(ricerca, &dati));
        FindClose(ricerca);
    }
    bbs->trasferimento_concluso(riuscito, copiati);
}

void fine_trasferimento() {
    KillTimer(principale, 1);
    // Files land before the window goes: whoever waits for the window
    // to close finds them in place.
    if (in_corso.scarico) copia_scarico();
    else copia_carico();
    DestroyWindow(finestra_zmodem);
    finestra_zmodem = nullptr;
    aggiorna();
}

void avvia_trasferimento(const std::wstring& titolo) {
    finestra_zmodem = CreateWindowExW(0, L"terminale_prova_zmodem", titolo.c_str(),
                                      WS_OVERLAPPED | WS_CAPTION | WS_VISIBLE, 200, 200, 360, 120, principale,
                                      nullptr, GetModuleHandleW(nullptr), nullptr);
    ShowWindow(finestra_zmodem, SW_SHOWNOACTIVATE);
    const int secondi = bbs->dati().secondi_trasferimento;
    SetTimer(principale, 1, secondi > 0 ? secondi * 1000 : 10, nullptr);
}

std::wstring largo(const std::string& s) {
    std::wstring w;
    for (unsigned char c : s) w += static_cast<wchar_t>(c);
    return w;
}

void aggiorna() {
    static std::string mostrato;
    if (mostrato != bbs->schermo()) {
        mostrato = bbs->schermo();
        SetWindowTextA(schermo, mostrato.c_str());
        const int lunghezza = GetWindowTextLengthA(schermo);
        SendMessageW(schermo, EM_SETSEL, lunghezza, lunghezza);
        SendMessageW(schermo, EM_SCROLLCARET, 0, 0);
    }
    if (finestra_zmodem) return;
    if (auto richiesta = bbs->prendi_scarico()) {
        in_corso = {true, richiesta->file, ""};
        avvia_trasferimento(t(L"Zmodem - ricezione ", L"Zmodem - receiving ") + largo(richiesta->file));
    }
}

std::string testo_campo(HWND finestra, int id) {
    char buffer[MAX_PATH * 2] = {};
    GetDlgItemTextA(finestra, id, buffer, sizeof buffer);
    return buffer;
}

void chiudi_dialogo() {
    HWND d = dialogo;
    dialogo = nullptr;
    DestroyWindow(d);
    SetForegroundWindow(principale);
    SetFocus(schermo);
}

INT_PTR CALLBACK procedura_trasferimento(HWND d, UINT msg, WPARAM wp, LPARAM lp) {
    const bool ricezione = lp == 1 || GetWindowLongPtrW(d, GWLP_USERDATA) == 1;
    switch (msg) {
        case WM_INITDIALOG: {
            SetWindowLongPtrW(d, GWLP_USERDATA, lp);
            for (const wchar_t* p : protocolli) SendDlgItemMessageW(d, id_protocollo, CB_ADDSTRING, 0, (LPARAM)p);
            SendDlgItemMessageW(d, id_protocollo, CB_SETCURSEL, ricezione ? protocollo_ricezione : 5, 0);
            if (ricezione) SetDlgItemTextA(d, id_campo, cartella_ricezione.c_str());
            return TRUE;
        }
        case WM_COMMAND: {
            const WORD id = LOWORD(wp);
            if (id == IDCANCEL) {
                chiudi_dialogo();
            } else if (ricezione && (id == id_chiudi || id == id_azione || id == IDOK)) {
                cartella_ricezione = testo_campo(d, id_campo);
                protocollo_ricezione = (int)SendDlgItemMessageW(d, id_protocollo, CB_GETCURSEL, 0, 0);
                chiudi_dialogo();
            } else if (!ricezione && id == id_chiudi) {
                chiudi_dialogo();
            } else if (!ricezione && (id == id_azione || id == IDOK)) {
                const std::string modello = testo_campo(d, id_campo);
                const int scelta = (int)SendDlgItemMessageW(d, id_protocollo, CB_GETCURSEL, 0, 0);
                chiudi_dialogo();
                if (!finestra_zmodem && !modello.empty()) {
                    bbs->caricamento_avviato();
                    in_corso = {false, "", modello};
                    const std::wstring nome = scelta >= 0 && scelta < 6 ? protocolli[scelta] : L"Zmodem";
                    avvia_trasferimento(nome + t(L" - invio ", L" - sending ") + largo(modello));
                }
            }
            return TRUE;
        }
    }
    return FALSE;
}

INT_PTR CALLBACK procedura_conferma(HWND d, UINT msg, WPARAM wp, LPARAM) {
    if (msg == WM_INITDIALOG) return TRUE;
    if (msg != WM_COMMAND) return FALSE;
    if (LOWORD(wp) == id_si) {
        bbs->riaggancia();
        dialogo = nullptr;
        DestroyWindow(d);
        DestroyWindow(principale);
    } else if (LOWORD(wp) == id_no || LOWORD(wp) == IDCANCEL) {
        chiudi_dialogo();
    }
    return TRUE;
}

void apri_trasferimento(bool ricezione) {
    if (dialogo) return;
    modello_dialogo m(ricezione ? t(L"Ricevi file", L"Receive File") : t(L"Invia file", L"Send File"), 260, 96);
    m.controllo(etichetta, 0, 8, 8, 240, 10, 0xFFFF,
                ricezione ? t(L"Cartella di ricezione:", L"Place received file in the following folder:")
                          : t(L"Nome file:", L"Filename:"));
    m.controllo(campo, WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL, 8, 20, 180, 14, id_campo, L"");
    m.controllo(pulsante, WS_TABSTOP | BS_PUSHBUTTON, 196, 20, 56, 14, id_sfoglia, t(L"&Sfoglia...", L"&Browse..."));
    m.controllo(etichetta, 0, 8, 40, 240, 10, 0xFFFF, t(L"Protocollo:", L"Protocol:"));
    m.controllo(combo, WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST, 8, 52, 180, 100, id_protocollo, L"");
    m.controllo(pulsante, WS_TABSTOP | BS_PUSHBUTTON, 8, 74, 70, 14, id_azione,
                ricezione ? t(L"&Ricevi", L"&Receive") : t(L"&Invia", L"&Send"));
    m.controllo(pulsante, WS_TABSTOP | BS_PUSHBUTTON, 94, 74, 70, 14, id_chiudi, t(L"&Chiudi", L"&Close"));
    m.controllo(pulsante, WS_TABSTOP | BS_PUSHBUTTON, 180, 74, 70, 14, IDCANCEL, t(L"Annulla", L"Cancel"));
    dialogo = CreateDialogIndirectParamW(GetModuleHandleW(nullptr), m.modello(), principale,
                                         procedura_trasferimento, ricezione ? 1 : 0);
    ShowWindow(dialogo, SW_SHOW);
    SetForegroundWindow(dialogo);
}

void esci() {
    if (!bbs->connesso()) {
        DestroyWindow(principale);
        return;
    }
    if (dialogo) return;
    modello_dialogo m(t(L"Terminale", L"Terminal"), 200, 60);
    m.controllo(etichetta, 0, 8, 8, 184, 20, 0xFFFF,
                t(L"Sei ancora collegato. Vuoi scollegarti?", L"You are currently connected. Disconnect?"));
    m.controllo(pulsante, WS_TABSTOP | BS_DEFPUSHBUTTON, 40, 38, 50, 14, id_si, t(L"&S\u00ec", L"&Yes"));
    m.controllo(pulsante, WS_TABSTOP | BS_PUSHBUTTON, 110, 38, 50, 14, id_no, L"&No");
    dialogo = CreateDialogIndirectParamW(GetModuleHandleW(nullptr), m.modello(), principale, procedura_conferma, 0);
    ShowWindow(dialogo, SW_SHOW);
    SetForegroundWindow(dialogo);
}

// The screen: typing on it goes to the modem, everything else is a
// read-only edit control's own business (selection, copy, caret keys).
LRESULT CALLBACK procedura_schermo(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_CHAR) {
        if (wp < 0x100) bbs->tasto(static_cast<char>(wp));
        aggiorna();
        return 0;
    }
    return CallWindowProcW(procedura_edit, w, msg, wp, lp);
}

LRESULT CALLBACK procedura_principale(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_SIZE:
            MoveWindow(schermo, 0, 0, LOWORD(lp), HIWORD(lp), TRUE);
            return 0;
        case WM_SETFOCUS:
            SetFocus(schermo);
            return 0;
        case WM_ACTIVATE:
            // An open dialog keeps the keyboard whoever activates the terminal.
            if (LOWORD(wp) != WA_INACTIVE && dialogo) PostMessageW(w, WM_APP, 0, 0);
            break;
        case WM_APP:
            if (dialogo) SetActiveWindow(dialogo);
            return 0;
        case WM_CHAR:
            SendMessageW(schermo, WM_CHAR, wp, lp);
            return 0;
        case WM_TIMER:
            if (wp == 1) fine_trasferimento();
            return 0;
        case WM_COMMAND:
            switch (LOWORD(wp)) {
                case id_esci: esci(); break;
                case id_copia: SendMessageW(schermo, WM_COPY, 0, 0); break;
                case id_seleziona: SendMessageW(schermo, EM_SETSEL, 0, -1); break;
                case id_invia_file: apri_trasferimento(false); break;
                case id_ricevi_file: apri_trasferimento(true); break;
            }
            return 0;
        case WM_CLOSE:
            esci();
            return 0;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
    }
    return DefWindowProcW(w, msg, wp, lp);
}

HMENU crea_menu() {
    HMENU barra = CreateMenu();
    HMENU file = CreatePopupMenu();
    AppendMenuW(file, MF_STRING, id_esci, t(L"&Esci", L"E&xit"));
    HMENU modifica = CreatePopupMenu();
    AppendMenuW(modifica, MF_STRING, id_copia, t(L"&Copia\tCtrl+C", L"&Copy\tCtrl+C"));
    AppendMenuW(modifica, MF_STRING, id_seleziona, t(L"&Seleziona tutto", L"&Select All"));
    HMENU trasferimento = CreatePopupMenu();
    AppendMenuW(trasferimento, MF_STRING, id_invia_file, t(L"In&via file...", L"Send File (&V)..."));
    AppendMenuW(trasferimento, MF_STRING, id_ricevi_file, t(L"&Ricevi file...", L"&Receive File..."));
    AppendMenuW(barra, MF_POPUP, (UINT_PTR)file, L"&File");
    AppendMenuW(barra, MF_POPUP, (UINT_PTR)modifica, t(L"&Modifica", L"&Edit"));
    AppendMenuW(barra, MF_POPUP, (UINT_PTR)trasferimento, t(L"&Trasferimento", L"&Transfer"));
    return barra;
}

bool leggi_file(const wchar_t* percorso, std::string& testo) {
    FILE* f = _wfopen(percorso, L"rb");
    if (!f) return false;
    char buffer[4096];
    std::size_t letti;
    while ((letti = fread(buffer, 1, sizeof buffer, f)) > 0) testo.append(buffer, letti);
    fclose(f);
    return true;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE istanza, HINSTANCE, PWSTR, int mostra) {
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    const wchar_t* percorso = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::wstring(argv[i]) == L"--inglese") inglese = true;
        else percorso = argv[i];
    }
    std::string testo;
    std::wstring accanto;
    if (!percorso) {
        wchar_t programma[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, programma, MAX_PATH);
        accanto = programma;
        accanto = accanto.substr(0, accanto.find_last_of(L'\\') + 1) + L"terminale_prova.txt";
        percorso = accanto.c_str();
    }
    if (!leggi_file(percorso, testo)) {
        MessageBoxW(nullptr, (L"Impossibile leggere lo scenario " + std::wstring(percorso)).c_str(),
                    L"terminale_prova", MB_OK);
        return 2;
    }
    try {
        bbs = std::make_unique<simulazione_bbs>(j8::prova::leggi_scenario(testo));
    } catch (const j8::prova::errore_scenario& e) {
        MessageBoxA(nullptr, e.what(), "terminale_prova", MB_OK);
        return 2;
    }
    if (bbs->dati().inglese) inglese = true;
    cartella_ricezione = bbs->dati().direttorio_ricezione;
    if (cartella_ricezione.empty()) {
        char corrente[MAX_PATH] = {};
        GetCurrentDirectoryA(MAX_PATH, corrente);
        cartella_ricezione = corrente;
    }

    WNDCLASSW classe{};
    classe.lpfnWndProc = procedura_principale;
    classe.hInstance = istanza;
    classe.hCursor = LoadCursor(nullptr, IDC_ARROW);
    classe.hbrBackground = (HBRUSH)(COLOR_WINDOW + 1);
    classe.lpszClassName = L"terminale_prova";
    RegisterClassW(&classe);
    classe.lpfnWndProc = DefWindowProcW;
    classe.lpszClassName = L"terminale_prova_zmodem";
    RegisterClassW(&classe);

    principale = CreateWindowExW(0, L"terminale_prova", t(L"Terminale di prova", L"Test terminal"),
                                 WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT, 760, 520, nullptr, crea_menu(),
                                 istanza, nullptr);
    schermo = CreateWindowExW(WS_EX_CLIENTEDGE, L"EDIT", L"",
                              WS_CHILD | WS_VISIBLE | WS_VSCROLL | ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL,
                              0, 0, 100, 100, principale, (HMENU)(UINT_PTR)id_schermo, istanza, nullptr);
    SendMessageW(schermo, EM_SETLIMITTEXT, 0, 0);
    SendMessageW(schermo, WM_SETFONT, (WPARAM)GetStockObject(ANSI_FIXED_FONT), FALSE);
    procedura_edit = (WNDPROC)SetWindowLongPtrW(schermo, GWLP_WNDPROC, (LONG_PTR)procedura_schermo);
    RECT r;
    GetClientRect(principale, &r);
    MoveWindow(schermo, 0, 0, r.right, r.bottom, FALSE);
    ShowWindow(principale, mostra == SW_HIDE ? SW_SHOWNORMAL : mostra);
    SetForegroundWindow(principale);
    SetFocus(schermo);

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (dialogo && IsDialogMessageW(dialogo, &msg)) continue;
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    return 0;
}
