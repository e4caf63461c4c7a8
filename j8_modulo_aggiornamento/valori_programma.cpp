#include "j8_modulo_aggiornamento/valori_programma.hpp"

namespace j8 {

std::string direttorio_configurazione;
std::string ultimo_aggiornamento;
std::string direttorio_da_bbs;
std::string direttorio_archivio;
std::string direttorio_tabelle;
std::string direttorio_lavoro;
std::string direttorio_ultime_tabelle;
std::string a_capo;

}  // namespace j8
