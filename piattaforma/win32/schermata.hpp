#pragma once
// Pictures of real windows, for the tests under Wine and the demonstration.

#include <windows.h>

#include <string>

namespace j8 {

// Saves what the window shows as a 24-bit BMP file; false on failure.
bool salva_schermata(HWND finestra, const std::wstring& percorso);

}  // namespace j8
