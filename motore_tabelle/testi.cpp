// Text rules shared by every table: comparison order, trimming, line
// splitting and dates.

#include <ctime>

#include "comune/data_ora.hpp"
#include "motore_tabelle/motore_tabelle.hpp"
#include "motore_tabelle/testi_interni.hpp"

namespace j8 {

namespace {

// Unicode code points of Windows-1252 bytes 0x80-0x9F; the five undefined
// bytes keep their own value, as the legacy runtime mapped them.
constexpr std::uint16_t punti_80_9f[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::array<std::uint8_t, 256> calcola_ranghi() {
    std::array<std::uint16_t, 256> punto{};
    for (int b = 0; b < 256; ++b) punto[b] = (b >= 0x80 && b <= 0x9F) ? punti_80_9f[b - 0x80] : b;
    // Every code point is distinct, so the rank of each byte among all 256
    // is a one-to-one map that keeps their order.
    std::array<std::uint8_t, 256> rango{};
    for (int b = 0; b < 256; ++b) {
        int r = 0;
        for (int a = 0; a < 256; ++a)
            if (punto[a] < punto[b]) ++r;
        rango[b] = static_cast<std::uint8_t>(r);
    }
    return rango;
}

}  // namespace

const std::array<std::uint8_t, 256> rango_byte = calcola_ranghi();

int confronta_testi(std::string_view a, std::string_view b) {
    // Equal fixed-width keys are common (runs of one name): a plain byte
    // comparison settles them at memcmp speed.
    if (a == b) return 0;
    std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
        std::uint8_t x = rango_byte[static_cast<unsigned char>(a[i])];
        std::uint8_t y = rango_byte[static_cast<unsigned char>(b[i])];
        if (x != y) return x < y ? -1 : 1;
    }
    if (a.size() == b.size()) return 0;
    return a.size() < b.size() ? -1 : 1;
}

std::string_view togli_spazi(std::string_view s) {
    std::size_t i = 0, f = s.size();
    while (i < f && s[i] == ' ') ++i;
    while (f > i && s[f - 1] == ' ') --f;
    return s.substr(i, f - i);
}

std::vector<std::string_view> dividi_righe(std::string_view dati) {
    std::vector<std::string_view> righe;
    per_ogni_riga(dati, [&](std::string_view r) { righe.push_back(r); });
    return righe;
}

std::size_t conta_righe(std::string_view dati) {
    std::size_t n = 0;
    per_ogni_riga(dati, [&](std::string_view) { ++n; });
    return n;
}

bool data_valida(std::string_view d) {
    if (d.size() != 8) return false;
    for (char c : d)
        if (c < '0' || c > '9') return false;
    int anno = (d[0] - '0') * 1000 + (d[1] - '0') * 100 + (d[2] - '0') * 10 + (d[3] - '0');
    int mese = (d[4] - '0') * 10 + (d[5] - '0');
    int giorno = (d[6] - '0') * 10 + (d[7] - '0');
    if (anno < 1 || mese < 1 || mese > 12 || giorno < 1) return false;
    static constexpr int giorni[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool bisestile = (anno % 4 == 0 && anno % 100 != 0) || anno % 400 == 0;
    int massimo = giorni[mese - 1] + (mese == 2 && bisestile ? 1 : 0);
    return giorno <= massimo;
}

std::int32_t oggi_di_sistema() {
    std::time_t t = std::time(nullptr);
    const std::tm locale = ora_locale(t);
    return (locale.tm_year + 1900) * 10000 + (locale.tm_mon + 1) * 100 + locale.tm_mday;
}

}  // namespace j8
