#pragma once
// The update form: its load, the update run and the blink step, as portable
// logic over the platform. Every file step, wait and window action goes
// through `piattaforma`, so tests drive the whole run on the scripted
// stand-in and can fail any single step.

#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "j8_form_aggiornamento/giornale_ripristino.hpp"
#include "j8_form_aggiornamento/modello_aggiornamento.hpp"
#include "motore_tabelle/motore_tabelle.hpp"
#include "piattaforma/piattaforma.hpp"

namespace j8 {

// Names of the update packages and their sequence.
namespace pacchetti {
// The whole number a text starts with, as the legacy runtime's Val reads
// a package number: leading blanks skipped, then the digits (0 if none).
long cifre_iniziali(const std::string& testo);
// Package number of a name: the value of its characters 3 to 8.
long numero(const std::string& nome);
// The name following `nome` (8 characters, no extension): j8000012 gives
// j8000013, j8000099 gives j8000100.
std::string successivo(const std::string& nome);
}  // namespace pacchetti

// The ten table files, in the order the run treats them.
extern const std::vector<std::string> tabelle_obbligatorie;  // six
extern const std::vector<std::string> tabelle_facoltative;   // four

// Makes the ten tables writable (archive attribute only) in the tables
// directory, then in `direttorio`. Every failure is ignored.
void sblocca_tabelle(piattaforma& p, const std::string& tabelle, const std::string& direttorio);

enum class esito_caricamento {
    pronto,        // the form is ready
    fine_programma // a message was shown and the program must end
};

class form_aggiornamento {
public:
    form_aggiornamento(piattaforma& p, vista_aggiornamento& vista, valori_programma& valori);

    modello_aggiornamento modello;
    valori_programma& valori;

    // Called with the tables directory read from "j8_config.txt", so the
    // connection form can show it in its `t_direttorio_tabelle` box.
    std::function<void(const std::string&)> su_direttorio_tabelle;

    esito_caricamento Form_Load();
    void Command1_Click();
    void esegui_aggiornamento();
    void Timer1_Timer();

    // The folder where a run keeps its own copy of every file of the tables
    // directory it is about to change, with its journal, so a failed or
    // killed run can put the tables back. Gone once a run completes.
    std::string direttorio_ripristino() const { return j8::direttorio_ripristino(valori); }

    // Full path of the package being applied; after a run, the last one.
    const std::string& pacchetto_corrente() const { return pacchetto_corrente_; }

    // Reports kept in the archive folder, the newest this many.
    static constexpr std::size_t resoconti_tenuti = 30;

private:
    // What the run did, for the report at its end.
    struct resoconto_corsa {
        std::vector<std::string> applicati;      // package names, in order
        std::vector<std::string> non_applicati;  // "j8000005.exe: why"
        std::vector<std::pair<std::string, conteggio_variazioni>> variate;  // per table
        std::vector<std::string> sostituite;     // tables replaced whole
    };
    void conta_variazioni(const std::string& tabella, const conteggio_variazioni& c);
    void sostituita(const std::string& tabella);
    void elenca_non_applicati(const std::string& ultimo_applicato);
    // Shows the report below the progress and saves it in the archive.
    void chiudi_resoconto(const std::string& esito);

    void ridisegna() { vista_.ridisegna(modello); }
    void aggiorna_tabelle();
    // The two phases; the first returns false on a refusal.
    bool verifica_e_prepara(std::string& prossimo, int& totale);
    void applica_pacchetti(std::string prossimo, int totale);
    void completa();
    // False when the settings file has no "aggiornamento" line to change.
    bool riscrivi_impostazioni();

    // Run backup of the tables directory.
    void inizia_ripristino();
    void proteggi(const std::string& nome);
    void scrivi_giornale();
    void copia_in_tabelle(const std::string& da, const std::string& nome);
    void copia_intera(const std::string& da, const std::string& a);
    void chiudi_ripristino();
    // What the pharmacist can do about a failure.
    enum class consiglio { ripetere, fornitore, correggere };
    std::string descrivi(const std::exception& e, consiglio& c) const;
    void interrompi(const std::string& problema, consiglio c);

    void attendi(double secondi);
    void svuota_e_rimuovi(const std::string& direttorio);

    piattaforma& p_;
    vista_aggiornamento& vista_;
    std::string pacchetto_corrente_;
    // What the run's journal holds; `giornale_attivo_` once it is on disk.
    giornale_ripristino giornale_;
    bool giornale_attivo_ = false;
    bool in_corso_ = false;
    resoconto_corsa resoconto_;
};

}  // namespace j8
