#pragma once
// Values shared by the two forms and the update run for the whole life of
// the program: one instance, made where the program starts and handed to
// both forms. Directories end with "\" once set.

#include <string>

namespace j8 {

struct valori_programma {
    std::string direttorio_configurazione;  // where "j8_bbs_config.txt" was found
    std::string ultimo_aggiornamento;       // name of the last package applied, e.g. j8000012
    std::string direttorio_da_bbs;          // downloads arrive here
    std::string direttorio_archivio;        // every applied package is kept here
    std::string direttorio_tabelle;         // the main application's tables
    std::string direttorio_lavoro;          // scratch directory of the update run
    std::string direttorio_ultime_tabelle;  // backup of the tables before an update
};

// Line break of messages, captions and the terminal's screen.
inline const std::string a_capo = "\r\n";

}  // namespace j8
