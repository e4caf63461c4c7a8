#pragma once
// For the Win32 calls (Windows only): texts in Windows-1252 <-> UTF-16,
// and window sizes at the system's DPI.

#include <windows.h>

#include <string>

namespace j8 {

inline std::wstring da_1252(const std::string& testo) {
    if (testo.empty()) return {};
    const int n = MultiByteToWideChar(1252, 0, testo.data(), static_cast<int>(testo.size()), nullptr, 0);
    std::wstring w(static_cast<std::size_t>(n > 0 ? n : 0), L'\0');
    MultiByteToWideChar(1252, 0, testo.data(), static_cast<int>(testo.size()), w.data(), n);
    return w;
}

// Characters with no Windows-1252 form become "?".
inline std::string a_1252(const std::wstring& testo) {
    if (testo.empty()) return {};
    const int n = WideCharToMultiByte(1252, 0, testo.data(), static_cast<int>(testo.size()), nullptr, 0,
                                      "?", nullptr);
    std::string s(static_cast<std::size_t>(n > 0 ? n : 0), '\0');
    WideCharToMultiByte(1252, 0, testo.data(), static_cast<int>(testo.size()), s.data(), n, "?", nullptr);
    return s;
}

// Sizes are pixels at 96 dpi; the programs declare themselves DPI aware
// (system), so their forms grow with the system's DPI.
inline int px(int valore) {
    static const int dpi = [] {
        HDC dc = GetDC(nullptr);
        const int d = GetDeviceCaps(dc, LOGPIXELSY);
        ReleaseDC(nullptr, dc);
        return d > 0 ? d : 96;
    }();
    return MulDiv(valore, dpi, 96);
}

}  // namespace j8
