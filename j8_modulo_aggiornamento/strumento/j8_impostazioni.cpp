// j8_impostazioni: reads, creates and changes the ciphered settings files
// ("j8_bbs_config.txt", "j8_config.txt") on the workstation's disk.
//
//   j8_impostazioni leggi FILE [--mostra-password]
//   j8_impostazioni crea FILE [--orologio SECONDI]   (key=value lines on stdin)
//   j8_impostazioni imposta FILE CHIAVE VALORE
//
// Exit status 0 on success, 2 on any error (an Italian explanation on
// stderr; the file is left as it was). "leggi" and "imposta" refuse a file
// in which no data line holds a key of either settings file: a foreign
// file, or one enciphered with another key. "leggi" prints the value of
// "password bbs" as asterisks unless asked with --mostra-password.

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "comune/data_ora.hpp"
#include "comune/file_locali.hpp"

namespace {

constexpr int esito_errore = 2;

int uso() {
    std::cerr << "uso: j8_impostazioni leggi FILE [--mostra-password] | crea FILE [--orologio SECONDI] | "
                 "imposta FILE CHIAVE VALORE\n";
    return esito_errore;
}

// Seconds since local midnight, as the old runtime's timer gave them.
float secondi_da_mezzanotte() {
    using namespace std::chrono;
    auto ora = system_clock::now();
    std::time_t t = system_clock::to_time_t(ora);
    const std::tm locale = j8::ora_locale(t);
    auto millesimi = duration_cast<milliseconds>(ora.time_since_epoch()).count() % 1000;
    return static_cast<float>(locale.tm_hour * 3600 + locale.tm_min * 60 + locale.tm_sec) +
           static_cast<float>(millesimi) / 1000.0f;
}

// Keys of both settings files.
std::vector<std::string_view> chiavi_note() {
    std::vector<std::string_view> chiavi(std::begin(j8::chiavi_configurazione_bbs),
                                         std::end(j8::chiavi_configurazione_bbs));
    chiavi.push_back(j8::chiave_direttorio_tabelle);
    return chiavi;
}

// An Italian message on stderr: the texts are Windows-1252, as the
// program's message boxes want them; elsewhere the terminal wants UTF-8.
void errore(const std::string& messaggio) {
    std::string testo;
    for (std::size_t i = 0; i < messaggio.size(); ++i)
        if (messaggio[i] != '\r' || i + 1 >= messaggio.size() || messaggio[i + 1] != '\n') testo += messaggio[i];
#ifndef _WIN32
    std::string utf8;
    for (char c : testo) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0xA0) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xC0 | (u >> 6));
            utf8 += static_cast<char>(0x80 | (u & 0x3F));
        }
    }
    testo = utf8;
#endif
    std::cerr << "j8_impostazioni: " << testo << '\n';
}

int leggi(const std::string& percorso, bool mostra_password) {
    j8::file_locali disco;
    if (!disco.esiste_file(percorso)) throw j8::errore_file(percorso, "file non trovato");
    // All lines first: a damaged file prints nothing but the error.
    std::vector<j8::riga_impostazione> righe;
    j8::leggi_impostazioni(disco, percorso, secondi_da_mezzanotte(), chiavi_note(),
                           [&](const j8::riga_impostazione& r) {
                               righe.push_back(r);
                               return true;
                           });
    for (const auto& r : righe) {
        // The key as the program reads it; what follows "=" is hidden.
        const std::string testo = r.chiave == "password bbs" && !mostra_password
                                      ? r.testo.substr(0, r.testo.find('=') + 1) + "********"
                                      : r.testo;
        std::fwrite(testo.data(), 1, testo.size(), stdout);
        std::fputc('\n', stdout);
    }
    if (std::fflush(stdout) != 0) {
        std::cerr << "j8_impostazioni: impossibile scrivere sull'uscita standard\n";
        return esito_errore;
    }
    return 0;
}

int crea(const std::string& percorso, float secondi) {
    std::string ingresso((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
    std::vector<std::string> righe;
    std::size_t inizio = 0;
    while (inizio < ingresso.size()) {
        std::size_t fine = ingresso.find('\n', inizio);
        if (fine == std::string::npos) fine = ingresso.size();
        std::string riga = ingresso.substr(inizio, fine - inizio);
        if (!riga.empty() && riga.back() == '\r') riga.pop_back();
        righe.push_back(std::move(riga));
        inizio = fine + 1;
    }
    std::string contenuto = j8::componi_impostazioni(percorso, righe, secondi);
    j8::file_locali disco;
    disco.scrivi_file(percorso, contenuto);
    return 0;
}

int imposta(const std::string& percorso, const std::string& chiave, const std::string& valore) {
    if (chiave.empty() || chiave.find('=') != std::string::npos) {
        std::cerr << "j8_impostazioni: chiave non valida: \"" << chiave
                  << "\" (non vuota e senza \"=\")\n";
        return esito_errore;
    }
    const std::string riga = chiave + "=" + valore;
    for (std::size_t i = 0; i < riga.size(); ++i) {
        const auto codice = static_cast<unsigned char>(riga[i]);
        if (!j8::cifrabile(codice)) {
            errore("la riga \"chiave=valore\" contiene un carattere di controllo (codice " +
                   std::to_string(codice) + " in posizione " + std::to_string(i + 1) +
                   ") che la cifratura non ammette; il file non \xE8 stato modificato");
            return esito_errore;
        }
    }
    j8::file_locali disco;
    if (!disco.esiste_file(percorso)) throw j8::errore_file(percorso, "file non trovato");
    // Checked whole first, so a damaged or foreign file is never touched.
    j8::leggi_impostazioni(disco, percorso, secondi_da_mezzanotte(), chiavi_note(),
                           [](const j8::riga_impostazione&) { return true; });
    j8::riscrivi_impostazione(disco, percorso, chiave, valore, secondi_da_mezzanotte(), true);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
    // Bytes as they are: no LF to CR LF translation on either side.
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    std::vector<std::string> argomenti(argv + 1, argv + argc);
    if (argomenti.empty()) return uso();
    try {
        if (argomenti[0] == "leggi" &&
            (argomenti.size() == 2 || (argomenti.size() == 3 && argomenti[2] == "--mostra-password")))
            return leggi(argomenti[1], argomenti.size() == 3);
        if (argomenti.size() == 4 && argomenti[0] == "imposta")
            return imposta(argomenti[1], argomenti[2], argomenti[3]);
        if (argomenti[0] == "crea" && (argomenti.size() == 2 ||
                                       (argomenti.size() == 4 && argomenti[2] == "--orologio"))) {
            float secondi = secondi_da_mezzanotte();
            if (argomenti.size() == 4) {
                char* fine = nullptr;
                secondi = std::strtof(argomenti[3].c_str(), &fine);
                if (argomenti[3].empty() || *fine != '\0' || !(secondi >= 0.0f && secondi < 86400.0f)) {
                    std::cerr << "j8_impostazioni: secondi da mezzanotte non validi: " << argomenti[3]
                              << " (da 0 a 86399)\n";
                    return esito_errore;
                }
            }
            return crea(argomenti[1], secondi);
        }
        return uso();
    } catch (const std::exception& e) {
        errore(argomenti[0] == "crea" ? std::string(e.what()) : j8::spiega_errore_impostazioni(e));
        return esito_errore;
    }
}
