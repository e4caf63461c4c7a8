#include "piattaforma/win32/schermata.hpp"

#include <cstdio>
#include <vector>

namespace j8 {

bool salva_schermata(HWND finestra, const std::wstring& percorso) {
    RECT r{};
    if (!GetWindowRect(finestra, &r)) return false;
    const int w = r.right - r.left, h = r.bottom - r.top;
    if (w <= 0 || h <= 0) return false;
    HDC schermo = GetDC(nullptr);
    HDC memoria = CreateCompatibleDC(schermo);
    HBITMAP bmp = CreateCompatibleBitmap(schermo, w, h);
    HGDIOBJ vecchio = SelectObject(memoria, bmp);
    // What is on screen, children included; a window out of sight paints
    // itself instead.
    RedrawWindow(finestra, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN | RDW_UPDATENOW | RDW_FRAME);
    if (IsWindowVisible(finestra)) {
        BitBlt(memoria, 0, 0, w, h, schermo, r.left, r.top, SRCCOPY);
    } else {
        PrintWindow(finestra, memoria, 0);
    }
    SelectObject(memoria, vecchio);

    BITMAPINFOHEADER bi{};
    bi.biSize = sizeof(bi);
    bi.biWidth = w;
    bi.biHeight = h;
    bi.biPlanes = 1;
    bi.biBitCount = 24;
    bi.biCompression = BI_RGB;
    const DWORD riga = static_cast<DWORD>((w * 3 + 3) & ~3);
    std::vector<unsigned char> pixel(static_cast<std::size_t>(riga) * static_cast<std::size_t>(h));
    const int lette = GetDIBits(memoria, bmp, 0, static_cast<UINT>(h), pixel.data(),
                                reinterpret_cast<BITMAPINFO*>(&bi), DIB_RGB_COLORS);
    DeleteObject(bmp);
    DeleteDC(memoria);
    ReleaseDC(nullptr, schermo);
    if (lette != h) return false;

    BITMAPFILEHEADER bf{};
    bf.bfType = 0x4D42;
    bf.bfOffBits = sizeof(bf) + sizeof(bi);
    bf.bfSize = bf.bfOffBits + static_cast<DWORD>(pixel.size());
    FILE* f = _wfopen(percorso.c_str(), L"wb");
    if (!f) return false;
    bool ok = std::fwrite(&bf, sizeof(bf), 1, f) == 1 && std::fwrite(&bi, sizeof(bi), 1, f) == 1 &&
              std::fwrite(pixel.data(), 1, pixel.size(), f) == pixel.size();
    ok = std::fclose(f) == 0 && ok;
    return ok;
}

}  // namespace j8
