#pragma once
// What the stand-in modem and BBS do on a given run, read from a plain
// text file of "chiave = valore" lines; "#" starts a comment line.
//
//   utente = cliente            user id the BBS accepts (any case)
//   password = zeta             password it accepts (exact case)
//   linea = libera              libera | occupata (BUSY) | muta (NO CARRIER)
//   portante_persa = lettura    the carrier drops instead of this step's
//                               prompt: accesso, password, menu, carico,
//                               posta, lettura, messaggio, scarico, uscita
//   direttorio_file = c:\bbs\file       where attached files are taken from
//   direttorio_carico = c:\bbs\carico   folder that receives uploads
//   direttorio_ricezione = c:\ricevuti  receive folder the terminal starts with
//   secondi_trasferimento = 3   how long each ZMODEM transfer lasts
//   lingua = italiano           menus of the terminal: italiano | inglese
//   messaggio = nuovo | j8000001.exe | Aggiornamento banca dati
//   messaggio = letto | | Avviso ai clienti
//
// Each "messaggio" line adds one message to the mailbox, in order: new or
// already read, the attached file's name (empty: none), the subject.

#include <stdexcept>
#include <string>
#include <vector>

namespace j8::prova {

enum class linea { libera, occupata, muta };

struct messaggio_posta {
    bool nuovo = true;
    std::string file;  // name inside direttorio_file; "" when none
    std::string oggetto;
};

struct scenario {
    std::string utente = "cliente";
    std::string password = "zeta";
    linea stato_linea = linea::libera;
    std::string portante_persa;  // step name, "" never
    std::vector<messaggio_posta> posta;
    std::string direttorio_file;
    std::string direttorio_carico;
    std::string direttorio_ricezione;
    int secondi_trasferimento = 3;
    bool inglese = false;
};

// Bad scenario text; the message is Italian and names the line.
class errore_scenario : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The step names "portante_persa" accepts.
const std::vector<std::string>& passi_bbs();

scenario leggi_scenario(const std::string& testo);

}  // namespace j8::prova
