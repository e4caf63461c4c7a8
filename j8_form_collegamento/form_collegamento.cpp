// Start-up and the two buttons of the connection form.

#include "form_collegamento.hpp"

namespace j8 {

namespace {

void barra_finale(std::string& direttorio) {
    if (direttorio.empty() || direttorio.back() != '\\') direttorio += '\\';
}

}  // namespace

std::string senza_spazi(const std::string& testo) {
    const auto inizio = testo.find_first_not_of(' ');
    if (inizio == std::string::npos) return "";
    return testo.substr(inizio, testo.find_last_not_of(' ') - inizio + 1);
}

void form_collegamento::Command1_Click() {
    if (!p_.esiste_direttorio(modello.direttorio_deposito)) {
        p_.messaggio(msg_deposito_non_valido, titolo_messaggi);
        return;
    }
    if (senza_spazi(modello.utente).empty() || senza_spazi(modello.password).empty()) {
        p_.messaggio(msg_utente_password, titolo_messaggi);
        return;
    }
    id_terminale = p_.avvia_programma(modello.direttorio_hptrm);
    modello.Timer1.abilitato = true;
}

void form_collegamento::Command2_Click() {
    if (!p_.esiste_direttorio(modello.t_direttorio_archivio))
        p_.crea_direttorio(modello.t_direttorio_archivio);
    barra_finale(modello.t_direttorio_tabelle);
    barra_finale(modello.t_direttorio_archivio);
    barra_finale(modello.direttorio_deposito);
    aggiornamento_.mostra();
    aggiornamento_.esegui_aggiornamento();
}

}  // namespace j8
