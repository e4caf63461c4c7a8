#include "j8_form_aggiornamento/form_aggiornamento.hpp"

#include "comune/testi_comuni.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"

// The run's own copy of what it changes in the tables directory, and its
// journal (see giornale_ripristino.hpp), kept as the run goes.

namespace j8 {

void form_aggiornamento::inizia_ripristino() {
    giornale_ = {};
    giornale_attivo_ = false;
    const std::string d = direttorio_ripristino();
    // A journal left by a restore that could not finish holds the only
    // good copy of the tables: never overwrite it with a new run.
    if (p_.esiste_file(d + nome_giornale) && leggi_giornale(p_.leggi_file(d + nome_giornale))) {
        throw errore_file(d + nome_giornale,
                          "un aggiornamento precedente interrotto non \xE8" " ancora stato ripristinato "
                          "(riavviare il programma)");
    }
    svuota_e_rimuovi(d);
    const std::string j8 = valori.direttorio_archivio.substr(0, 3) + "j8";
    if (!p_.esiste_direttorio(j8)) p_.crea_direttorio(j8);
    if (!p_.esiste_direttorio(senza_barra(d))) p_.crea_direttorio(senza_barra(d));

    giornale_.tabelle = valori.direttorio_tabelle;
    giornale_.impostazioni = valori.direttorio_configurazione + std::string(file_configurazione_bbs);
    giornale_.vecchio = valore_impostazione(leggi_impostazioni(p_, giornale_.impostazioni,
                                                               p_.secondi_da_mezzanotte()),
                                            "aggiornamento")
                            .value_or("");
    for (const auto* elenco : {&tabelle_obbligatorie, &tabelle_facoltative}) {
        for (const std::string& nome : *elenco) {
            if (!p_.esiste_file(valori.direttorio_tabelle + nome)) continue;
            try {
                giornale_.attributi.emplace_back(nome, p_.attributi_file(valori.direttorio_tabelle + nome));
            } catch (const errore_file&) {
                // Attributes unknown: left as the run leaves them.
            }
        }
    }
    scrivi_giornale();
    giornale_attivo_ = true;
}

// Between writes the journal is held open, so nothing else (another start
// of the program above all) can delete it or restore from it mid-run.
void form_aggiornamento::scrivi_giornale() {
    const std::string percorso = direttorio_ripristino() + nome_giornale;
    p_.rilascia(percorso);
    p_.scrivi_file(percorso, componi_giornale(giornale_));
    p_.tieni_aperto(percorso);
}

// Saves a file of the tables directory the first time the run is about to
// change it; the journal says which files existed, so a restore also
// removes files the run created. The copy is made before the journal
// names it, and the journal is on disk before the file is changed.
void form_aggiornamento::proteggi(const std::string& nome) {
    const std::string chiave = minuscolo(nome);
    for (const auto& [n, c_era] : giornale_.file)
        if (n == chiave) return;
    const std::string d = direttorio_ripristino();
    const bool c_era = p_.esiste_file(valori.direttorio_tabelle + nome);
    if (c_era) {
        p_.copia_file(valori.direttorio_tabelle + nome, d + chiave);
        // A read-only copy could not be replaced or deleted later.
        try {
            p_.imposta_solo_archivio(d + chiave);
        } catch (const errore_file&) {
        }
    }
    giornale_.file.emplace_back(chiave, c_era);
    scrivi_giornale();
}

void form_aggiornamento::copia_in_tabelle(const std::string& da, const std::string& nome) {
    proteggi(nome);
    copia_intera(da, valori.direttorio_tabelle + nome);
}

// A copy cut short straight onto a table would leave it half-written: the
// copy is made beside it and takes its name in one step.
void form_aggiornamento::copia_intera(const std::string& da, const std::string& a) {
    const std::string provvisorio = a + suffisso_scrittura;
    p_.esegui_eventi();
    try {
        p_.copia_file(da, provvisorio);
        p_.sostituisci_file(provvisorio, a);
    } catch (const std::exception&) {
        try {
            if (p_.esiste_file(provvisorio)) p_.cancella_file(provvisorio);
        } catch (const errore_file&) {
        }
        throw;
    }
}

void form_aggiornamento::chiudi_ripristino() {
    p_.rilascia(direttorio_ripristino() + nome_giornale);
    elimina_ripristino(p_, direttorio_ripristino());
    giornale_attivo_ = false;
}

}  // namespace j8
