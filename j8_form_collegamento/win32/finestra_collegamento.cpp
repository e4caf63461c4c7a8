#include "finestra_collegamento.hpp"

#include <algorithm>
#include <exception>

#include "comune/aiuti_win32.hpp"

namespace j8 {

namespace {

const wchar_t* const classe_finestra = L"j8_form_collegamento";

enum id_controllo : int {
    id_utente = 101,
    id_password,
    id_telefono,
    id_direttorio_hptrm,
    id_direttorio_origine,
    id_direttorio_deposito,
    id_t_direttorio_archivio,
    id_t_direttorio_tabelle,
    id_Frame1,
    id_italiano,
    id_inglese,
    id_Command1,
    id_Command2,
    id_Label6,
    id_mostra_password,
    id_Timer1 = 1,
};

struct riga_campo {
    int id;
    const char* didascalia;
    const char* nome_etichetta;
};

const riga_campo campi[] = {
    {id_utente, didascalie_collegamento::Label1, "Label1"},
    {id_password, didascalie_collegamento::Label2, "Label2"},
    {id_telefono, didascalie_collegamento::Label4, "Label4"},
    {id_direttorio_hptrm, didascalie_collegamento::Label3, "Label3"},
    {id_direttorio_origine, didascalie_collegamento::Label7, "Label7"},
    {id_direttorio_deposito, didascalie_collegamento::Label5, "Label5"},
    {id_t_direttorio_archivio, didascalie_collegamento::Label8, "Label8"},
    {id_t_direttorio_tabelle, didascalie_collegamento::Label9, "Label9"},
};

std::string* campo_del_modello(modello_collegamento& m, int id) {
    switch (id) {
        case id_utente: return &m.utente;
        case id_password: return &m.password;
        case id_telefono: return &m.telefono;
        case id_direttorio_hptrm: return &m.direttorio_hptrm;
        case id_direttorio_origine: return &m.direttorio_origine;
        case id_direttorio_deposito: return &m.direttorio_deposito;
        case id_t_direttorio_archivio: return &m.t_direttorio_archivio;
        case id_t_direttorio_tabelle: return &m.t_direttorio_tabelle;
    }
    return nullptr;
}

constexpr int margine = 16;
constexpr int larghezza_etichetta = 150;
constexpr int larghezza_campo = 390;
constexpr int altezza_riga = 24;
constexpr int passo_riga = 32;
constexpr int larghezza_client = margine * 2 + larghezza_etichetta + larghezza_campo;
constexpr int larghezza_mostra = 80;  // the "Mostra" box beside the password

// The password box hides its text behind bullets.
constexpr WPARAM pallino = 0x25CF;

}  // namespace


void termina_programma(int codice) { ExitProcess(UINT(codice)); }

finestra_collegamento::finestra_collegamento(form_collegamento& form) : form_(form) {}

void finestra_collegamento::crea(HINSTANCE istanza, int mostra) {
    WNDCLASSEXW wc{};
    wc.cbSize = sizeof wc;
    wc.lpfnWndProc = procedura;
    wc.hInstance = istanza;
    wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
    wc.hIcon = LoadIconW(istanza, MAKEINTRESOURCEW(1));  // the green cross of j8_bbs.exe
    if (!wc.hIcon) wc.hIcon = LoadIcon(nullptr, IDI_APPLICATION);
    wc.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    wc.lpszClassName = classe_finestra;
    RegisterClassExW(&wc);

    const int altezza_client = 48 + 8 * passo_riga + 96;  // until the controls are made
    RECT r{0, 0, px(larghezza_client), px(altezza_client)};
    const DWORD stile = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;
    AdjustWindowRect(&r, stile, FALSE);
    hwnd_ = CreateWindowExW(0, classe_finestra, L"j8_bbs - Collegamento BBS", stile, CW_USEDEFAULT,
                            CW_USEDEFAULT, r.right - r.left, r.bottom - r.top, nullptr, nullptr,
                            istanza, this);
    crea_controlli();
    // Start-up: the form shows itself first, then loads its settings.
    ShowWindow(hwnd_, mostra);
    UpdateWindow(hwnd_);
    evento([this] {
        if (!form_.Form_Load()) termina_programma(1);
    });
}

void finestra_collegamento::crea_controlli() {
    NONCLIENTMETRICSW ncm{};
    ncm.cbSize = sizeof ncm;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof ncm, &ncm, 0);
    LOGFONTW lf = ncm.lfMessageFont;
    lf.lfHeight = -px(13);
    carattere_ = CreateFontIndirectW(&lf);
    lf.lfWeight = FW_BOLD;
    grassetto_ = CreateFontIndirectW(&lf);
    HINSTANCE ist = HINSTANCE(GetWindowLongPtrW(hwnd_, GWLP_HINSTANCE));

    auto nuovo = [&](const wchar_t* classe, const std::string& testo, DWORD stile, int x, int y, int w,
                     int h, int id, DWORD stile_ex = 0) {
        HWND c = CreateWindowExW(stile_ex, classe, da_1252(testo).c_str(), WS_CHILD | WS_VISIBLE | stile,
                                 x, y, w, h, hwnd_, HMENU(INT_PTR(id)), ist, nullptr);
        SendMessageW(c, WM_SETFONT, WPARAM(carattere_), TRUE);
        return c;
    };

    // The warning wraps as the system's font wants: as tall as it needs.
    const std::wstring testo_avviso = da_1252(didascalie_collegamento::Label6);
    RECT misura{0, 0, px(larghezza_client - 2 * margine), 0};
    HDC dc = GetDC(hwnd_);
    HGDIOBJ vecchio = SelectObject(dc, grassetto_);
    DrawTextW(dc, testo_avviso.c_str(), -1, &misura, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX);
    SelectObject(dc, vecchio);
    ReleaseDC(hwnd_, dc);
    const int altezza_avviso = std::max<int>(misura.bottom, px(altezza_riga));
    HWND avviso = nuovo(L"STATIC", didascalie_collegamento::Label6, SS_LEFT | SS_NOPREFIX, px(margine), px(12),
                        px(larghezza_client - 2 * margine), altezza_avviso, id_Label6);
    SendMessageW(avviso, WM_SETFONT, WPARAM(grassetto_), TRUE);

    int y = px(12) + altezza_avviso + px(10);
    for (const riga_campo& c : campi) {
        nuovo(L"STATIC", c.didascalia, SS_LEFT | SS_CENTERIMAGE, px(margine), y, px(larghezza_etichetta),
              px(altezza_riga), -1);
        const bool password = c.id == id_password;
        HWND campo = nuovo(L"EDIT", "", ES_AUTOHSCROLL | WS_TABSTOP | (password ? ES_PASSWORD : 0),
                           px(margine + larghezza_etichetta), y,
                           px(larghezza_campo - (password ? larghezza_mostra + 8 : 0)), px(altezza_riga), c.id,
                           WS_EX_CLIENTEDGE);
        if (password) {
            SendMessageW(campo, EM_SETPASSWORDCHAR, pallino, 0);
            // Unticked at every start: nothing keeps its state.
            nuovo(L"BUTTON", "Mostra", BS_AUTOCHECKBOX | WS_TABSTOP,
                  px(larghezza_client - margine - larghezza_mostra), y, px(larghezza_mostra), px(altezza_riga),
                  id_mostra_password);
        }
        y += px(passo_riga);
    }
    y += px(8);
    nuovo(L"BUTTON", didascalie_collegamento::Frame1, BS_GROUPBOX, px(margine), y, px(250), px(60), id_Frame1);
    nuovo(L"BUTTON", didascalie_collegamento::italiano, BS_AUTORADIOBUTTON | WS_GROUP | WS_TABSTOP,
          px(margine + 14), y + px(26), px(100), px(22), id_italiano);
    nuovo(L"BUTTON", didascalie_collegamento::inglese, BS_AUTORADIOBUTTON, px(margine + 124), y + px(26), px(100),
          px(22), id_inglese);
    const int x_pulsanti = px(larghezza_client - margine - 170);
    nuovo(L"BUTTON", didascalie_collegamento::Command1, BS_DEFPUSHBUTTON | WS_TABSTOP | WS_GROUP,
          x_pulsanti, y + px(2), px(170), px(28), id_Command1);
    nuovo(L"BUTTON", didascalie_collegamento::Command2, BS_PUSHBUTTON | WS_TABSTOP, x_pulsanti, y + px(34),
          px(170), px(28), id_Command2);

    // The window fits what the warning took.
    RECT r{0, 0, px(larghezza_client), y + px(60 + margine)};
    AdjustWindowRect(&r, DWORD(GetWindowLongPtrW(hwnd_, GWL_STYLE)), FALSE);
    SetWindowPos(hwnd_, nullptr, 0, 0, r.right - r.left, r.bottom - r.top,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    scrivi_controlli();
}

void finestra_collegamento::leggi_controlli() {
    for (const riga_campo& c : campi) {
        HWND e = controllo(c.id);
        std::wstring w(size_t(GetWindowTextLengthW(e)) + 1, L'\0');
        w.resize(size_t(GetWindowTextW(e, w.data(), int(w.size()))));
        *campo_del_modello(form_.modello, c.id) = a_1252(w);
    }
    form_.modello.italiano = IsDlgButtonChecked(hwnd_, id_italiano) == BST_CHECKED;
    form_.modello.inglese = IsDlgButtonChecked(hwnd_, id_inglese) == BST_CHECKED;
}

void finestra_collegamento::scrivi_controlli() {
    for (const riga_campo& c : campi) {
        const std::wstring w = da_1252(*campo_del_modello(form_.modello, c.id));
        HWND e = controllo(c.id);
        std::wstring ora(size_t(GetWindowTextLengthW(e)) + 1, L'\0');
        ora.resize(size_t(GetWindowTextW(e, ora.data(), int(ora.size()))));
        if (ora != w) SetWindowTextW(e, w.c_str());
    }
    CheckDlgButton(hwnd_, id_italiano, form_.modello.italiano ? BST_CHECKED : BST_UNCHECKED);
    CheckDlgButton(hwnd_, id_inglese, form_.modello.inglese ? BST_CHECKED : BST_UNCHECKED);
}

void finestra_collegamento::applica_timer() {
    if (form_.modello.Timer1.abilitato)
        SetTimer(hwnd_, id_Timer1, UINT(form_.modello.Timer1.intervallo), nullptr);
    else
        KillTimer(hwnd_, id_Timer1);
}

template <class F>
void finestra_collegamento::evento(F&& f) {
    if (occupato_) return;
    occupato_ = true;
    leggi_controlli();
    try {
        f();
    } catch (const std::exception& e) {
        // Anything the form does not handle stops the program with a
        // report, as a run-time error would.
        // Whatever the error quotes, the password is never shown.
        MessageBoxW(hwnd_,
                    da_1252(std::string("Errore di esecuzione:\n") +
                           nascondi_password(e.what(), form_.modello.password))
                        .c_str(),
                    L"j8_bbs", MB_OK | MB_ICONERROR);
        termina_programma(1);
    }
    scrivi_controlli();
    applica_timer();
    occupato_ = false;
    if (form_.esito == fine_sessione::manca_portante) termina_programma(2);  // job not done
}

void finestra_collegamento::premi_avvia() const {
    PostMessageW(hwnd_, WM_COMMAND, MAKEWPARAM(id_Command1, BN_CLICKED), LPARAM(GetDlgItem(hwnd_, id_Command1)));
}

LRESULT CALLBACK finestra_collegamento::procedura(HWND h, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_NCCREATE) {
        auto* self = static_cast<finestra_collegamento*>(reinterpret_cast<CREATESTRUCTW*>(lp)->lpCreateParams);
        self->hwnd_ = h;
        SetWindowLongPtrW(h, GWLP_USERDATA, LONG_PTR(self));
    }
    auto* self = reinterpret_cast<finestra_collegamento*>(GetWindowLongPtrW(h, GWLP_USERDATA));
    if (!self) return DefWindowProcW(h, msg, wp, lp);
    return self->messaggio(msg, wp, lp);
}

LRESULT finestra_collegamento::messaggio(UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_COMMAND:
            if (HIWORD(wp) == BN_CLICKED && LOWORD(wp) == id_Command1) {
                evento([this] { form_.Command1_Click(); });
                return 0;
            }
            if (HIWORD(wp) == BN_CLICKED && LOWORD(wp) == id_Command2) {
                evento([this] { form_.Command2_Click(); });
                return 0;
            }
            if (HIWORD(wp) == BN_CLICKED && LOWORD(wp) == id_mostra_password) {
                // Not a form event: it works even while the session runs.
                const bool mostra = IsDlgButtonChecked(hwnd_, id_mostra_password) == BST_CHECKED;
                SendMessageW(controllo(id_password), EM_SETPASSWORDCHAR, mostra ? 0 : pallino, 0);
                InvalidateRect(controllo(id_password), nullptr, TRUE);
                return 0;
            }
            break;
        case WM_TIMER:
            if (wp == id_Timer1) {
                // The script runs once: it disables Timer1 before anything.
                KillTimer(hwnd_, id_Timer1);
                evento([this] { form_.Timer1_Timer(); });
                return 0;
            }
            break;
        case WM_CTLCOLORSTATIC:
            if (HWND(lp) == controllo(id_Label6)) {
                HDC dc = HDC(wp);
                SetTextColor(dc, RGB(160, 0, 0));
                SetBkMode(dc, TRANSPARENT);
                return LRESULT(GetSysColorBrush(COLOR_BTNFACE));
            }
            break;
        case WM_CLOSE:
        case WM_DESTROY:
            // Closing the form ends the program, even in the middle of a
            // session that is polling the terminal.
            termina_programma(0);
    }
    return DefWindowProcW(hwnd_, msg, wp, lp);
}

}  // namespace j8
