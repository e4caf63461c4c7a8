#include "j8_form_aggiornamento/win32/finestra_aggiornamento.hpp"

#include <commctrl.h>

#include "comune/aiuti_win32.hpp"

#include <cstdio>
#include <vector>

namespace j8 {

namespace {

const wchar_t* const classe_form = L"j8_form_aggiornamento";
constexpr int id_label1 = 101, id_label2 = 102, id_label3 = 103, id_barra = 104,
              id_command1 = 105, id_text1 = 106;
constexpr int altezza_form = 340;  // client area without the report
// Children clipped: the form growing for the report must not paint over its labels.
const DWORD stile_form = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_CLIPCHILDREN;
constexpr UINT_PTR id_timer1 = 1;

COLORREF colore_di(std::uint32_t valore) { return static_cast<COLORREF>(valore); }

void posiziona(HWND h, const etichetta& e) {
    SetWindowPos(h, nullptr, px(e.left), px(e.top), px(e.width), px(e.height), SWP_NOZORDER | SWP_NOACTIVATE);
}

void imposta_testo(HWND h, const std::string& testo) {
    const std::wstring nuovo = da_1252(testo);
    const int n = GetWindowTextLengthW(h);
    std::wstring attuale(static_cast<std::size_t>(n) + 1, L'\0');
    GetWindowTextW(h, attuale.data(), n + 1);
    attuale.resize(static_cast<std::size_t>(n));
    if (attuale != nuovo) SetWindowTextW(h, nuovo.c_str());
}

void mostra_se(HWND h, bool visibile) {
    const bool ora = IsWindowVisible(h) != FALSE;
    if (ora != visibile) ShowWindow(h, visibile ? SW_SHOWNA : SW_HIDE);
}

}  // namespace

finestra_aggiornamento::finestra_aggiornamento(piattaforma& p, valori_programma& valori)
    : form(p, *this, valori), termina([](int codice) { ExitProcess(static_cast<UINT>(codice)); }) {}

finestra_aggiornamento::~finestra_aggiornamento() {
    if (hwnd_) {
        SetWindowLongPtrW(hwnd_, GWLP_USERDATA, 0);
        DestroyWindow(hwnd_);
    }
    if (grassetto_) DeleteObject(grassetto_);
    if (normale_) DeleteObject(normale_);
    if (pennello_label1_) DeleteObject(pennello_label1_);
}

void finestra_aggiornamento::crea() {
    if (hwnd_) return;
    HINSTANCE istanza = GetModuleHandleW(nullptr);
    INITCOMMONCONTROLSEX icc{sizeof(icc), ICC_PROGRESS_CLASS};
    InitCommonControlsEx(&icc);

    WNDCLASSEXW wc{};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = procedura;
    wc.hInstance = istanza;
    wc.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    wc.hIcon = LoadIconW(istanza, MAKEINTRESOURCEW(1));  // the program's own, when it has one
    wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    wc.lpszClassName = classe_form;
    RegisterClassExW(&wc);  // fails harmlessly when already registered

    const auto& m = form.modello;
    RECT r{0, 0, px(480), px(altezza_form)};
    AdjustWindowRect(&r, stile_form, FALSE);
    hwnd_ = CreateWindowExW(0, classe_form, da_1252(m.caption).c_str(), stile_form, CW_USEDEFAULT,
                            CW_USEDEFAULT, r.right - r.left, r.bottom - r.top, nullptr, nullptr,
                            istanza, this);

    grassetto_ = CreateFontW(-px(11), 0, 0, 0, FW_BOLD, FALSE, FALSE, FALSE, ANSI_CHARSET, OUT_DEFAULT_PRECIS,
                             CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS,
                             L"MS Sans Serif");
    normale_ = CreateFontW(-px(11), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, ANSI_CHARSET, OUT_DEFAULT_PRECIS,
                           CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS,
                           L"MS Sans Serif");
    auto etichetta_win = [&](int id, const etichetta& e) {
        HWND h = CreateWindowExW(0, L"STATIC", da_1252(e.caption).c_str(),
                                 WS_CHILD | SS_CENTER | (e.visible ? WS_VISIBLE : 0), px(e.left), px(e.top),
                                 px(e.width), px(e.height), hwnd_, reinterpret_cast<HMENU>(INT_PTR(id)), istanza,
                                 nullptr);
        SendMessageW(h, WM_SETFONT, reinterpret_cast<WPARAM>(e.grassetto ? grassetto_ : normale_), FALSE);
        return h;
    };
    label1_ = etichetta_win(id_label1, m.Label1);
    SetWindowLongPtrW(label1_, GWL_STYLE, GetWindowLongPtrW(label1_, GWL_STYLE) | SS_CENTERIMAGE);
    label2_ = etichetta_win(id_label2, m.Label2);
    label3_ = etichetta_win(id_label3, m.Label3);
    SetWindowLongPtrW(label3_, GWL_STYLE, (GetWindowLongPtrW(label3_, GWL_STYLE) & ~SS_CENTER) | SS_LEFT);
    barra_ = CreateWindowExW(0, PROGRESS_CLASSW, nullptr, WS_CHILD, px(24), px(96), px(432), px(18), hwnd_,
                             reinterpret_cast<HMENU>(INT_PTR(id_barra)), istanza, nullptr);
    SendMessageW(barra_, PBM_SETRANGE32, 0, 100);
    pulsante_ = CreateWindowExW(0, L"BUTTON", da_1252(m.Command1.caption).c_str(),
                                WS_CHILD | WS_VISIBLE | WS_TABSTOP | BS_PUSHBUTTON, px(160), px(292), px(160), px(30),
                                hwnd_, reinterpret_cast<HMENU>(INT_PTR(id_command1)), istanza, nullptr);
    SendMessageW(pulsante_, WM_SETFONT, reinterpret_cast<WPARAM>(normale_), FALSE);
    text1_ = CreateWindowExW(WS_EX_CLIENTEDGE, L"EDIT", nullptr,
                             WS_CHILD | WS_VSCROLL | ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL, px(m.Text1.left),
                             px(m.Text1.top), px(m.Text1.width), px(m.Text1.height), hwnd_,
                             reinterpret_cast<HMENU>(INT_PTR(id_text1)), istanza, nullptr);
    SendMessageW(text1_, WM_SETFONT, reinterpret_cast<WPARAM>(normale_), FALSE);
}

void finestra_aggiornamento::carica_nascosto() {
    crea();
    if (form.Form_Load() == esito_caricamento::fine_programma) {
        termina(0);
        return;
    }
    ridisegna(form.modello);
}

void finestra_aggiornamento::mostra() {
    crea();
    ShowWindow(hwnd_, SW_SHOWNORMAL);
    SetForegroundWindow(hwnd_);
    ridisegna(form.modello);
}

void finestra_aggiornamento::esegui_aggiornamento() {
    // A click let through while the run yields must not start another.
    if (in_esecuzione_) return;
    in_esecuzione_ = true;
    EnableWindow(pulsante_, FALSE);
    form.esegui_aggiornamento();
    EnableWindow(pulsante_, TRUE);
    in_esecuzione_ = false;
    ridisegna(form.modello);
}

void finestra_aggiornamento::applica_timer() {
    const auto& t = form.modello.Timer1;
    const bool attivo = t.enabled && t.interval > 0;
    if (attivo && (!timer_attivo_ || intervallo_ != t.interval)) {
        SetTimer(hwnd_, id_timer1, static_cast<UINT>(t.interval), nullptr);
    } else if (!attivo && timer_attivo_) {
        KillTimer(hwnd_, id_timer1);
    }
    timer_attivo_ = attivo;
    intervallo_ = t.interval;
}

void finestra_aggiornamento::ridisegna(const modello_aggiornamento& m) {
    if (!hwnd_) return;
    imposta_testo(label1_, m.Label1.caption);
    imposta_testo(label2_, m.Label2.caption);
    imposta_testo(label3_, m.Label3.caption);
    posiziona(label1_, m.Label1);
    posiziona(label2_, m.Label2);
    posiziona(label3_, m.Label3);
    mostra_se(label1_, m.Label1.visible);
    mostra_se(label2_, m.Label2.visible);
    mostra_se(label3_, m.Label3.visible);
    if (!pennello_label1_ || colore_label1_ != colore_di(m.Label1.back_color)) {
        if (pennello_label1_) DeleteObject(pennello_label1_);
        colore_label1_ = colore_di(m.Label1.back_color);
        pennello_label1_ = CreateSolidBrush(colore_label1_);
    }
    SendMessageW(barra_, PBM_SETPOS, static_cast<WPARAM>(m.ProgressBar1.value), 0);
    mostra_se(barra_, m.ProgressBar1.visible);
    imposta_testo(pulsante_, m.Command1.caption);
    imposta_testo(text1_, m.Text1.text);
    SetWindowPos(text1_, nullptr, px(m.Text1.left), px(m.Text1.top), px(m.Text1.width), px(m.Text1.height),
                 SWP_NOZORDER | SWP_NOACTIVATE);
    mostra_se(text1_, m.Text1.visible);
    // The form grows to show the report below the rest.
    RECT dentro;
    GetClientRect(hwnd_, &dentro);
    const int altezza = px(m.Text1.visible ? m.Text1.top + m.Text1.height + 12 : altezza_form);
    if (dentro.bottom != altezza) {
        RECT r{0, 0, px(480), altezza};
        AdjustWindowRect(&r, stile_form, FALSE);
        SetWindowPos(hwnd_, nullptr, 0, 0, r.right - r.left, r.bottom - r.top,
                     SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
    applica_timer();
    // The run does not return to the message loop: paint now.
    RedrawWindow(hwnd_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
}

LRESULT CALLBACK finestra_aggiornamento::procedura(HWND h, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_NCCREATE) {
        auto* cs = reinterpret_cast<CREATESTRUCTW*>(lp);
        SetWindowLongPtrW(h, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(cs->lpCreateParams));
    }
    auto* f = reinterpret_cast<finestra_aggiornamento*>(GetWindowLongPtrW(h, GWLP_USERDATA));
    if (f && f->hwnd_ == nullptr) f->hwnd_ = h;
    if (!f) return DefWindowProcW(h, msg, wp, lp);
    return f->messaggio(msg, wp, lp);
}

LRESULT finestra_aggiornamento::messaggio(UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
    case WM_CTLCOLORSTATIC: {
        HDC dc = reinterpret_cast<HDC>(wp);
        if (reinterpret_cast<HWND>(lp) == text1_) {  // the report reads as a page
            SetBkColor(dc, GetSysColor(COLOR_WINDOW));
            return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_WINDOW));
        }
        if (reinterpret_cast<HWND>(lp) == label1_ && pennello_label1_) {
            SetBkColor(dc, colore_label1_);
            return reinterpret_cast<LRESULT>(pennello_label1_);
        }
        SetBkColor(dc, GetSysColor(COLOR_BTNFACE));
        return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_BTNFACE));
    }
    case WM_TIMER:
        if (wp == id_timer1) form.Timer1_Timer();
        return 0;
    case WM_COMMAND:
        if (LOWORD(wp) == id_command1 && HIWORD(wp) == BN_CLICKED) esegui_aggiornamento();
        return 0;
    case WM_CLOSE:
        termina(0);
        return 0;
    default:
        return DefWindowProcW(hwnd_, msg, wp, lp);
    }
}

}  // namespace j8
