#include "comune/data_ora.hpp"

#include <cmath>

namespace j8 {

namespace {
constexpr double secondi_al_giorno = 86400.0;
}

data_ora componi_data_ora(int anno, int mese, int giorno, int ore, int minuti, double secondi) {
    // Days from the civil date (proleptic Gregorian) to 30/12/1899.
    auto giorni = [](int a, int m, int g) {
        a -= m <= 2;
        const int era = (a >= 0 ? a : a - 399) / 400;
        const int aoe = a - era * 400;
        const int doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + g - 1;
        const int doe = aoe * 365 + aoe / 4 - aoe / 100 + doy;
        return era * 146097 + doe;
    };
    return giorni(anno, mese, giorno) - giorni(1899, 12, 30) +
           (ore * 3600.0 + minuti * 60.0 + secondi) / secondi_al_giorno;
}

data_civile scomponi_data_ora(data_ora quando) {
    const long long secondi_tutti = std::llround(quando * secondi_al_giorno);
    long long giorni = secondi_tutti / 86400;
    long long resto = secondi_tutti % 86400;
    if (resto < 0) {
        resto += 86400;
        --giorni;
    }
    // Days since 1/3/0000 on the proleptic Gregorian calendar.
    const long long z = giorni - 25569 + 719468;  // 25569: 30/12/1899 to 1/1/1970
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const long long doe = z - era * 146097;
    const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const long long mp = (5 * doy + 2) / 153;
    const int giorno = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    const int mese = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    const int anno = static_cast<int>(yoe + era * 400 + (mese <= 2 ? 1 : 0));
    return {anno, mese, giorno, static_cast<int>(resto / 3600), static_cast<int>(resto / 60 % 60),
            static_cast<int>(resto % 60)};
}

std::tm ora_locale(std::time_t t) {
    std::tm locale{};
#ifdef _WIN32
    localtime_s(&locale, &t);
#else
    localtime_r(&t, &locale);
#endif
    return locale;
}

}  // namespace j8
