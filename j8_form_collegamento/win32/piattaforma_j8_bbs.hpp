#pragma once
// The Win32 platform as j8_bbs.exe uses it: while the session or the update
// run waits, the windows still repaint and can be closed, so closing a form
// ends the program even in the middle of a wait that would never end.

#include "piattaforma/win32/piattaforma_win32.hpp"

namespace j8 {

class piattaforma_j8_bbs : public piattaforma_win32 {
public:
    void pausa(double secondi) override;
};

}  // namespace j8
