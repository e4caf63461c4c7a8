#pragma once
// Helpers the engine's sources share; not part of the public interface.

#include <array>
#include <cstdint>
#include <string_view>

namespace j8 {

// Rank of each byte in the comparison order: comparing ranks byte by byte
// (memcmp-like) gives the same order as confronta_testi.
extern const std::array<std::uint8_t, 256> rango_byte;

std::size_t conta_righe(std::string_view dati);

template <class F>
void per_ogni_riga(std::string_view dati, F&& f) {
    std::size_t inizio = 0;
    while (inizio < dati.size()) {
        std::size_t lf = dati.find('\n', inizio);
        if (lf == std::string_view::npos) {
            f(dati.substr(inizio));
            return;
        }
        std::size_t fine = lf;
        if (fine > inizio && dati[fine - 1] == '\r') --fine;
        f(dati.substr(inizio, fine - inizio));
        inizio = lf + 1;
    }
}

}  // namespace j8
