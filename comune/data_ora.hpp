#pragma once
// Dates as the legacy runtime held them, and the local clock.

#include <ctime>

namespace j8 {

// Date and time as the legacy runtime held them: days since 30/12/1899,
// the fraction of the day being the time.
using data_ora = double;

// Days since 30/12/1899 for a calendar date and time of day.
data_ora componi_data_ora(int anno, int mese, int giorno, int ore = 0, int minuti = 0,
                          double secondi = 0);

// Calendar date and time of a data_ora, to the nearest second.
struct data_civile {
    int anno, mese, giorno, ore, minuti, secondi;
};
data_civile scomponi_data_ora(data_ora quando);

// The local calendar time of a moment.
std::tm ora_locale(std::time_t t);

}  // namespace j8
