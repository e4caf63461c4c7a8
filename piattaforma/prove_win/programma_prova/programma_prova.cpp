// A small window for the real-window tests: an edit control under a menu
// bar laid out as the terminal program's (Alt+F, Alt+M with copy as its
// first item and select-all on "s").
#include <windows.h>

#include <string>

namespace {

enum : UINT { cmd_esci = 100, cmd_copia, cmd_seleziona };

HWND testo = nullptr;

LRESULT CALLBACK procedura(HWND h, UINT msg, WPARAM w, LPARAM l) {
    switch (msg) {
        case WM_CREATE:
            testo = CreateWindowExW(WS_EX_CLIENTEDGE, L"EDIT", L"",
                                    WS_CHILD | WS_VISIBLE | WS_VSCROLL | ES_MULTILINE |
                                        ES_AUTOVSCROLL | ES_WANTRETURN,
                                    0, 0, 100, 100, h, nullptr, nullptr, nullptr);
            CreateWindowExW(0, L"STATIC", L"Pronto per la prova", WS_CHILD | WS_VISIBLE, 0, 0,
                            10, 10, h, nullptr, nullptr, nullptr);
            return 0;
        case WM_SIZE:
            MoveWindow(testo, 0, 20, LOWORD(l), HIWORD(l) - 20, TRUE);
            return 0;
        case WM_SETFOCUS:
            SetFocus(testo);
            return 0;
        case WM_COMMAND:
            switch (LOWORD(w)) {
                case cmd_esci: DestroyWindow(h); return 0;
                case cmd_copia: SendMessageW(testo, WM_COPY, 0, 0); return 0;
                case cmd_seleziona: SendMessageW(testo, EM_SETSEL, 0, -1); return 0;
            }
            break;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
    }
    return DefWindowProcW(h, msg, w, l);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE istanza, HINSTANCE, PWSTR, int mostra) {
    WNDCLASSW c{};
    c.lpfnWndProc = procedura;
    c.hInstance = istanza;
    c.hCursor = LoadCursor(nullptr, IDC_ARROW);
    c.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    c.lpszClassName = L"J8ProgrammaProva";
    RegisterClassW(&c);

    HMENU barra = CreateMenu();
    HMENU file = CreatePopupMenu();
    AppendMenuW(file, MF_STRING, cmd_esci, L"&Esci");
    HMENU modifica = CreatePopupMenu();
    AppendMenuW(modifica, MF_STRING, cmd_copia, L"&Copia");
    AppendMenuW(modifica, MF_STRING, cmd_seleziona, L"&Seleziona tutto");
    AppendMenuW(barra, MF_POPUP, reinterpret_cast<UINT_PTR>(file), L"&File");
    AppendMenuW(barra, MF_POPUP, reinterpret_cast<UINT_PTR>(modifica), L"&Modifica");

    const std::wstring titolo = L"Prova j8 [" + std::to_wstring(GetCurrentProcessId()) + L"]";
    HWND h = CreateWindowExW(0, c.lpszClassName, titolo.c_str(), WS_OVERLAPPEDWINDOW,
                             CW_USEDEFAULT, CW_USEDEFAULT, 500, 300, nullptr, barra, istanza,
                             nullptr);
    ShowWindow(h, mostra);
    UpdateWindow(h);
    MSG m;
    while (GetMessageW(&m, nullptr, 0, 0) > 0) {
        TranslateMessage(&m);
        DispatchMessageW(&m);
    }
    return 0;
}
