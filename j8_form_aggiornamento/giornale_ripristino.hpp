#pragma once
// The journal an update run keeps beside its own copy of the tables it is
// about to change, in "<archive drive>\j8\ripristino_aggiornamento\". It is
// written whole (temporary name, then put in place) every time it grows and
// ends with the line "fine", so a write cut short is never taken for a
// journal. As long as it is there, the tables directory may be half-updated:
// a run that failed puts the tables back from it, and so does the next start
// of the program after a run that was killed. Once the settings file names
// the new package (the commit), the journal is deleted first, then the copies.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "piattaforma/piattaforma.hpp"

namespace j8 {

inline constexpr const char* nome_giornale = "elenco_ripristino.txt";

struct giornale_ripristino {
    std::string tabelle;       // tables directory, ending with "\"
    std::string impostazioni;  // full path of "j8_bbs_config.txt"
    std::string vecchio;       // its "aggiornamento" value when the run began
    // The value about to be written: present once the run reached the commit.
    std::optional<std::string> nuovo;
    // Attributes of the tables when the run began (before it unlocked them).
    std::vector<std::pair<std::string, std::uint32_t>> attributi;
    // Files of the tables directory the run may have changed (lower case),
    // and whether each existed: a copy of those that did is beside the journal.
    std::vector<std::pair<std::string, bool>> file;
};

std::string componi_giornale(const giornale_ripristino& g);
// Nothing for a text that is not a whole journal (torn, foreign, empty).
std::optional<giornale_ripristino> leggi_giornale(const std::string& testo);

// "<drive of direttorio_archivio>j8\ripristino_aggiornamento\".
std::string direttorio_ripristino(const valori_programma& v);

// Puts every file of the journal back as it was: saved copies copied back
// (skipped when already equal), files the run created deleted, leftovers of
// cut-short writes deleted, attributes set back. Goes on past a failure;
// false with the first failure in `errore`.
bool riporta_tabelle(piattaforma& p, const std::string& copie, const giornale_ripristino& g,
                     std::string& errore);

// Deletes the journal first, then the copies and their folder; failures
// are ignored (a folder without journal is never restored from).
void elimina_ripristino(piattaforma& p, const std::string& copie);

enum class esito_avvio {
    nessun_giornale,       // nothing was left over
    in_corso,              // another run holds its journal: left alone
    gia_completato,        // the run had committed: only cleaned up
    tabelle_ripristinate,  // tables put back, the user told
    non_ripristinate       // some file could not be put back, the user told
};

// The start-up check: finds the journal a killed run left and acts on it.
// Shows one message box when the tables were (or could not be) put back.
// Runs in the update form's load, which the connection form's load runs
// when the program starts.
esito_avvio controlla_aggiornamento_interrotto(piattaforma& p, const valori_programma& v);

}  // namespace j8
