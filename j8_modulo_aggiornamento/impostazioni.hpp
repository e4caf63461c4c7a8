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

#include "motore_tabelle/file_tabelle.hpp"

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

// Value of `chiave` (lower case) in lines read above: the later line wins.
std::optional<std::string> valore_impostazione(const std::vector<riga_impostazione>& righe,
                                               std::string_view chiave);

// Rewrites the file with the value of every line whose lower-cased key is
// `chiave` (compared lower-cased) replaced by `valore`, the key part kept as
// written. The header is copied byte for byte, every data line is
// enciphered again with its own number. The work goes through
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

}  // namespace j8
