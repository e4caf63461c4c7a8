// Start-up and the two buttons of the connection form.

#include "form_collegamento.hpp"

#include <cstdlib>
#include <iterator>

#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"

namespace j8 {

namespace {

void barra_finale(std::string& direttorio) {
    if (direttorio.empty() || direttorio.back() != '\\') direttorio += '\\';
}

// The decimal number a text starts with (sign, point, exponent as strtod
// reads them), 0 when there is none.
double numero_decimale_iniziale(const std::string& testo) {
    const char* inizio = testo.c_str();
    while (*inizio == ' ' || *inizio == '\t') ++inizio;
    char* fine = nullptr;
    const double v = std::strtod(inizio, &fine);
    return fine == inizio ? 0 : v;
}

}  // namespace

std::string nascondi_password(std::string testo, const std::string& password) {
    const std::string cercata = senza_spazi(password);
    if (cercata.empty()) return testo;
    const std::string maschera = password_nascosta;
    for (std::size_t da = testo.find(cercata); da != std::string::npos;
         da = testo.find(cercata, da + maschera.size()))
        testo.replace(da, cercata.size(), maschera);
    return testo;
}

bool form_collegamento::Form_Load() {
    p_.cambia_direttorio(p_.direttorio_programma());
    // A missing, damaged or foreign settings file: one message, then the
    // program ends before the update form's load touches the disk.
    const apertura_impostazioni aperte = carica_impostazioni(
        p_, file_configurazione_bbs,
        {std::begin(chiavi_configurazione_bbs), std::end(chiavi_configurazione_bbs)},
        [this](const riga_impostazione& r) {
            imposta(r.chiave, r.valore);
            return true;
        });
    if (!aperte.messaggio.empty()) {
        p_.messaggio(aperte.messaggio, titolo_messaggi);
        return false;
    }
    valori.direttorio_configurazione = aperte.posizione.direttorio;
    limite_zmodem = 180;
    limite_risposta = 100;
    aggiornamento_.carica_nascosto();
    return true;
}

void form_collegamento::imposta(const std::string& chiave, const std::string& valore) {
    if (chiave == "aggiornamento") {
        valori.ultimo_aggiornamento = valore;
    } else if (chiave == "direttorio a bbs") {
        modello.direttorio_origine = valore;
    } else if (chiave == "direttorio da bbs") {
        valori.direttorio_da_bbs = valore;
        // The box shows it without its final separator.
        modello.direttorio_deposito = valore.substr(0, valore.empty() ? 0 : valore.size() - 1);
    } else if (chiave == "direttorio archivio aggiornamenti") {
        valori.direttorio_archivio = valore;
        modello.t_direttorio_archivio = valore;
    } else if (chiave == "telefono bbs") {
        modello.telefono = valore;
    } else if (chiave == "userid bbs") {
        modello.utente = valore;
    } else if (chiave == "password bbs") {
        modello.password = valore;
    } else if (chiave == "lingua bbs") {
        const double lingua = numero_decimale_iniziale(valore);
        if (lingua == 0) modello.scegli_italiano();
        if (lingua == 1) modello.scegli_inglese();
    } else if (chiave == "direttorio hyperterminal") {
        modello.direttorio_hptrm = valore;
    }
}

void form_collegamento::Command1_Click() {
    if (modello.direttorio_deposito.empty() || !p_.esiste_direttorio(modello.direttorio_deposito)) {
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
