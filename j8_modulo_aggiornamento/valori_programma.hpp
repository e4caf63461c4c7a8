#pragma once
// Values shared by the two forms and the update run for the whole life of
// the program. Directories end with "\" once set.

#include <string>

namespace j8 {

extern std::string direttorio_configurazione;  // where "j8_bbs_config.txt" was found
extern std::string ultimo_aggiornamento;       // name of the last package applied, e.g. j8000012
extern std::string direttorio_da_bbs;          // downloads arrive here
extern std::string direttorio_archivio;        // every applied package is kept here
extern std::string direttorio_tabelle;         // the main application's tables
extern std::string direttorio_lavoro;          // scratch directory of the update run
extern std::string direttorio_ultime_tabelle;  // backup of the tables before an update
extern std::string a_capo;                     // carriage return + line feed once the form loads

}  // namespace j8
