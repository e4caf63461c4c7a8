#pragma once
// The standard keystroke notation, turned into a list of key events before
// anything is typed, so a bad string is refused whole.
//   plain characters as they stand; {enter} {tab} {bs} {esc} {end} ... named
//   keys (case-insensitive); + Shift, ^ Ctrl, % Alt for the next key or for a
//   group in parentheses; ~ Enter; {key n} repeats; {+} {%} {^} {~} {(} {)}
//   {{} {}} literals.

#include <cstdint>
#include <string>
#include <vector>

#include "piattaforma/piattaforma.hpp"

namespace j8 {

// Virtual-key codes, with the values Windows gives them.
namespace vk {
constexpr std::uint16_t bs = 0x08, tab = 0x09, clear = 0x0C, enter = 0x0D, pausa = 0x13,
                        capslock = 0x14, esc = 0x1B, pgup = 0x21, pgdn = 0x22, end = 0x23,
                        home = 0x24, left = 0x25, up = 0x26, right = 0x27, down = 0x28,
                        prtsc = 0x2C, ins = 0x2D, del = 0x2E, help = 0x2F, f1 = 0x70,
                        numlock = 0x90, scrolllock = 0x91, add = 0x6B, subtract = 0x6D,
                        multiply = 0x6A, divide = 0x6F, cancel = 0x03;
}

struct evento_tasto {
    // A named key (virtuale != 0) or a character to type (virtuale == 0).
    std::uint16_t virtuale = 0;
    char carattere = 0;  // Windows-1252 byte
    bool maiuscolo = false;  // Shift held
    bool controllo = false;  // Ctrl held
    bool alt = false;        // Alt held

    bool operator==(const evento_tasto&) const = default;
};

// Throws errore_tasti with an Italian message naming the fault.
std::vector<evento_tasto> analizza_tasti(const std::string& tasti);

// A text the user wrote (user id, password, telephone, folder), in the
// notation that types it exactly as written: every character the notation
// reads as a key or modifier is put in braces.
std::string tasti_letterali(const std::string& testo);

}  // namespace j8
