#pragma once
// The two ciphered settings files: 30 header lines (lines 1..12 carry the
// row seeds), then one enciphered "key=value" line per setting.

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "comune/file_tabelle.hpp"

namespace j8 {

class piattaforma;

inline constexpr std::string_view file_configurazione_bbs = "j8_bbs_config.txt";
inline constexpr std::string_view file_configurazione = "j8_config.txt";
inline constexpr std::string_view file_configurazione_provvisorio = "j8_bbs_config.tmp";
inline constexpr std::string_view direttorio_riserva = "c:\\pippo\\";
inline constexpr int righe_intestazione = 30;

// A settings file that cannot be read or rewritten. `riga` is the line of
// the file (1-based, header included) where the problem was found.
class errore_impostazioni : public std::runtime_error {
public:
    errore_impostazioni(std::string percorso, std::int64_t riga, std::string problema);
    const std::string& percorso() const { return percorso_; }
    std::int64_t riga() const { return riga_; }
    const std::string& problema() const { return problema_; }

private:
    std::string percorso_;
    std::int64_t riga_;
    std::string problema_;
};

// A file with data lines none of which holds a key the program knows: a
// foreign file, or one enciphered with another key (its lines decipher to
// noise). `riga` is 0: the whole file is at fault.
class errore_impostazioni_estranee : public errore_impostazioni {
public:
    errore_impostazioni_estranee(std::string percorso, std::int64_t righe_dati);
    std::int64_t righe_dati() const { return righe_dati_; }

private:
    std::int64_t righe_dati_;
};

// Keys of "j8_bbs_config.txt", in the order the connection form tests them.
inline constexpr std::string_view chiavi_configurazione_bbs[] = {
    "aggiornamento", "direttorio a bbs", "direttorio da bbs", "direttorio archivio aggiornamenti",
    "telefono bbs", "userid bbs", "password bbs", "lingua bbs", "direttorio hyperterminal"};
// The one key of "j8_config.txt" the program uses.
inline constexpr std::string_view chiave_direttorio_tabelle = "direttorio tabelle";

// One data line, deciphered and split at its first "=".
struct riga_impostazione {
    std::string testo;   // the whole deciphered line
    std::string chiave;  // left of "=", lower-cased (ASCII letters only), not trimmed
    std::string valore;  // right of "=", as it stands
};

// Reads the file line by line and hands each data line to `ogni_riga`,
// which returns false to stop reading there (later lines are then not
// even checked). `secondi` is the clock value the key preparation takes.
// Throws errore_file (file missing or unreadable) or errore_impostazioni.
void leggi_impostazioni(file_tabelle& file, const std::string& percorso, float secondi,
                        const std::function<bool(const riga_impostazione&)>& ogni_riga);
std::vector<riga_impostazione> leggi_impostazioni(file_tabelle& file, const std::string& percorso,
                                                  float secondi);

// The same, refusing a foreign file: with `chiavi_note` not empty, a file
// whose data lines hold none of these keys throws errore_impostazioni_estranee
// once read to its end (a file of the header alone is not foreign: it simply
// sets nothing). The lines reach `ogni_riga` as they are read.
void leggi_impostazioni(file_tabelle& file, const std::string& percorso, float secondi,
                        const std::vector<std::string_view>& chiavi_note,
                        const std::function<bool(const riga_impostazione&)>& ogni_riga);

// Value of `chiave` (lower case) in lines read above: the later line wins.
std::optional<std::string> valore_impostazione(const std::vector<riga_impostazione>& righe,
                                               std::string_view chiave);

// Rewrites the file with the value of every line whose lower-cased key is
// `chiave` (compared lower-cased) replaced by `valore`, the key part kept as
// written. The header is copied byte for byte, so is every other data line;
// a changed line is enciphered with its own number. A file with nothing to
// change is not written at all. The work goes through
// "j8_bbs_config.tmp" beside the file, deleted afterwards (failure ignored).
// With `aggiungi_se_manca`, a file without the key gets "chiave=valore"
// appended. On any error the file is left as it was. Returns the number of
// lines changed or added.
int riscrivi_impostazione(file_tabelle& file, const std::string& percorso,
                          const std::string& chiave, const std::string& valore, float secondi,
                          bool aggiungi_se_manca = false);

// Contents of a fresh settings file: random header (seeds from the clock
// value) and `righe_chiare` enciphered, CR LF line ends. Throws
// errore_impostazioni naming `percorso` and the line of the new file.
std::string componi_impostazioni(const std::string& percorso,
                                 const std::vector<std::string>& righe_chiare, float secondi);

// Where a settings file is: the current directory, else "c:\pippo\".
struct posizione_impostazioni {
    std::string percorso;    // file to open
    std::string direttorio;  // its directory, ending with "\"
    bool esiste = false;     // false: absent from both places
};
posizione_impostazioni cerca_impostazioni(piattaforma& p, std::string_view nome);
// The same, with the current directory given.
posizione_impostazioni cerca_impostazioni(file_tabelle& file, std::string corrente,
                                          std::string_view nome);

// What the user reads about a settings file that cannot be used: what
// happened (file, line, problem), then what to do; lines joined by CR LF.
// Knows errore_impostazioni, errore_impostazioni_estranee and errore_file.
std::string spiega_errore_impostazioni(const std::exception& e);
// The same for a file absent from `corrente` and from "c:\pippo\".
std::string spiega_impostazioni_mancanti(std::string_view nome, std::string corrente);

// Start-up reading of a settings file: lookup as cerca_impostazioni does,
// then leggi_impostazioni with `chiavi_note`. Never throws for a missing,
// unreadable, damaged or foreign file: it says so in `messaggio`.
struct apertura_impostazioni {
    enum class stato { lette, mancanti, illeggibili };
    posizione_impostazioni posizione;
    stato esito = stato::lette;
    // Empty when read; else the whole text of the message box, ending with
    // the notice that the program closes.
    std::string messaggio;
};
apertura_impostazioni carica_impostazioni(piattaforma& p, std::string_view nome,
                                          const std::vector<std::string_view>& chiavi_note,
                                          const std::function<bool(const riga_impostazione&)>& ogni_riga);
// Closing line of every start-up message above.
inline constexpr std::string_view avviso_chiusura = "Il programma viene chiuso senza modificare nulla.";

}  // namespace j8
