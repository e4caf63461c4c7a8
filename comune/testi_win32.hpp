#pragma once
// Windows-1252 <-> UTF-16 for the Win32 calls (Windows only).

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

}  // namespace j8
