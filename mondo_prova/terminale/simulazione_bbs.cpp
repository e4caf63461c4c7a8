#include "mondo_prova/terminale/simulazione_bbs.hpp"

#include <algorithm>

#include "comune/testi_comuni.hpp"

namespace j8::prova {

namespace {

// Older lines are dropped past this, as a terminal's scrollback does.
constexpr std::size_t massimo_schermo = 200000;
constexpr std::size_t massima_riga = 80;

const char* const a_capo = "\r\n";
const char* const richiesta_utente = "Altrimenti batti \"new\":";
const char* const richiesta_password = "Immetti la password:";
const char* const prompt_menu = "Immetti la tua scelta (T,I,F,E,L,A,P,D,R,Q,? per help, or X per uscire):";
const char* const prompt_area_file = "Immetti scelta, ? per help, o X per fine:";
const char* const prompt_posta_iniziale = "Scegli un'opzione (R,W,M,E,F,S,X per fine, o ? per info):";
const char* const prompt_posta = "E-mail (R,W,M,E,F,S,X per fine, o ? per menu):";
const char* const posta_vuota = "Spiacente non ci sono messaggi nella tua mailbox.";
const char* const chiede_file = "Desideri visualizzare o scaricare il file ora (S/N)?";
const char* const opzione_scarico = "Indica un'opzione di scaricamento (o 'X' per uscire):";
const char* const prompt_pausa = "(N)o-pausa, (S)top, o (C)ontinua?";
const char* const conferma_uscita = "Sei sicuro (S/N, o R per re-logon)?";

char maiuscola(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

std::string maiuscole(std::string s) {
    for (char& c : s) c = maiuscola(c);
    return s;
}

std::vector<std::string> parole(const std::string& s) {
    std::vector<std::string> risultato;
    std::size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && s[i] == ' ') ++i;
        const std::size_t inizio = i;
        while (i < s.size() && s[i] != ' ') ++i;
        if (i > inizio) risultato.push_back(s.substr(inizio, i - inizio));
    }
    return risultato;
}

bool stampabile(char c) { return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f; }

}  // namespace

void schermo_terminale::scrivi(std::string_view dati) {
    for (char c : dati) {
        if (c == '\n') {
            testo_ += a_capo;
        } else if (c == '\b') {
            if (!testo_.empty() && testo_.back() != '\n') testo_.pop_back();
        } else if (stampabile(c)) {
            testo_ += c;
        }
    }
    if (testo_.size() > massimo_schermo) {
        std::size_t taglio = testo_.find('\n', testo_.size() - massimo_schermo / 2);
        if (taglio == std::string::npos) taglio = testo_.size() - massimo_schermo / 2;
        testo_.erase(0, taglio + 1);
    }
}

simulazione_bbs::simulazione_bbs(scenario s) : scenario_(std::move(s)) {}

bool simulazione_bbs::connesso() const { return stato_ != stato::comandi; }

void simulazione_bbs::tasti(std::string_view testo) {
    for (char c : testo) tasto(c);
}

void simulazione_bbs::tasto(char c) {
    switch (stato_) {
        case stato::carico:
        case stato::scarico:
        case stato::attesa_carico:
            return;  // the line carries a transfer, or the BBS waits for one
        case stato::pausa: {
            const char scelta = maiuscola(c);
            if (scelta != 'N' && scelta != 'S' && scelta != 'C') return;
            scrivi(std::string(1, c) + a_capo);
            if (scelta == 'S') fine_messaggi();
            else continua(scelta == 'N');
            return;
        }
        default:
            tasto_riga(c);
    }
}

void simulazione_bbs::tasto_riga(char c) {
    if (c == '\r') {
        scrivi(a_capo);
        const std::string riga = riga_;
        riga_.clear();
        if (stato_ == stato::comandi) comando_modem(riga);
        else esegui_riga(riga);
    } else if (c == '\b' || c == 0x7f) {
        if (!riga_.empty()) {
            riga_.pop_back();
            scrivi("\b");
        }
    } else if (stampabile(c) && riga_.size() < massima_riga) {
        riga_ += c;
        scrivi(stato_ == stato::password ? "*" : std::string(1, c));
    }
}

void simulazione_bbs::comando_modem(const std::string& riga) {
    const std::string comando = maiuscole(senza_spazi(riga));
    if (comando.rfind("AT", 0) != 0) return;  // not for the modem
    if (comando.rfind("ATD", 0) != 0) {
        scrivi("OK\r\n");
        return;
    }
    switch (scenario_.stato_linea) {
        case linea::occupata:
            scrivi("BUSY\r\n");
            return;
        case linea::muta:
            scrivi("NO CARRIER\r\n");
            return;
        case linea::libera:
            break;
    }
    scrivi("CONNECT 33600\r\n\r\nBBS FORNITORE BANCA DATI FARMACI\r\n");
    stato_ = stato::menu;  // connected: any state but commands
    tentativi_ = 0;
    prima_volta_posta_ = true;
    richiesta_accesso();
}

bool simulazione_bbs::passo(const char* nome) {
    if (portante_usata_ || scenario_.portante_persa != nome) return true;
    portante_usata_ = true;
    cade_portante();
    return false;
}

void simulazione_bbs::cade_portante() {
    stato_ = stato::comandi;
    riga_.clear();
    scarico_.reset();
    scrivi("\r\nNO CARRIER\r\n");
}

void simulazione_bbs::riaggancia() {
    if (connesso()) cade_portante();
}

void simulazione_bbs::richiesta_accesso() {
    if (!passo("accesso")) return;
    scrivi("\r\nImmetti il tuo nome utente se sei gia' registrato.\r\n");
    scrivi(richiesta_utente);
    stato_ = stato::utente;
}

void simulazione_bbs::menu_principale(const std::string& prima) {
    if (!passo("menu")) return;
    scrivi(prima);
    scrivi("\r\n");
    scrivi(prompt_menu);
    stato_ = stato::menu;
}

void simulazione_bbs::prompt_email() {
    scrivi("\r\n");
    scrivi(prompt_posta);
    stato_ = stato::posta;
}

// One handler per state, given the line as typed or as a choice (trimmed,
// upper case).
void simulazione_bbs::esegui_riga(const std::string& riga) {
    const std::string scelta = maiuscole(senza_spazi(riga));
    switch (stato_) {
        case stato::utente: return riga_utente(scelta);
        case stato::password: return riga_password(riga);
        case stato::menu: return riga_menu(scelta);
        case stato::area_file: return riga_area_file(scelta);
        case stato::conferma_uscita: return riga_conferma_uscita(scelta);
        case stato::posta: return riga_posta(scelta);
        case stato::lettura: return riga_lettura(scelta);
        case stato::chiede_file: return riga_chiede_file(scelta);
        case stato::opzione_scarico: return riga_opzione_scarico(scelta);
        case stato::messaggio: return riga_messaggio(scelta);
        default: return;
    }
}

void simulazione_bbs::riga_utente(const std::string& scelta) {
    if (scelta.empty()) {
        scrivi(richiesta_utente);
    } else if (scelta == "NEW") {
        scrivi("\r\nLe nuove iscrizioni sono chiuse: chiama il fornitore.\r\n");
        richiesta_accesso();
    } else if (scelta == maiuscole(scenario_.utente)) {
        if (!passo("password")) return;
        scrivi(richiesta_password);
        stato_ = stato::password;
    } else {
        scrivi("\r\nUtente sconosciuto.\r\n");
        richiesta_accesso();
    }
}

void simulazione_bbs::riga_password(const std::string& riga) {
    if (riga == scenario_.password) {
        menu_principale("\r\nBenvenuto, " + maiuscole(scenario_.utente) + "!\r\n");
    } else if (++tentativi_ >= 3) {
        scrivi("\r\nTroppi tentativi errati.\r\n");
        cade_portante();
    } else {
        scrivi("\r\nPassword errata.\r\n");
        scrivi(richiesta_password);
    }
}

void simulazione_bbs::riga_menu(const std::string& scelta) {
    const std::vector<std::string> p = parole(scelta);
    if (scelta.empty()) {
        menu_principale();
    } else if (scelta == "E") {
        apri_posta();
    } else if (scelta == "X") {
        if (!passo("uscita")) return;
        scrivi("\r\n");
        scrivi(conferma_uscita);
        stato_ = stato::conferma_uscita;
    } else if (scelta == "F") {
        scrivi("\r\nArea file MAIN\r\n");
        scrivi(prompt_area_file);
        stato_ = stato::area_file;
    } else if (p.size() == 5 && p[0] == "LS" && p[2] == "U") {
        scrivi("\r\nArea file " + p[1] + "\r\n");
        if (p[4] == "Z") avvia_carico();
        else {
            scrivi("Protocollo non disponibile.\r\n");
            scrivi(prompt_area_file);
            stato_ = stato::area_file;
        }
    } else if (scelta == "?") {
        menu_principale("\r\nE = posta elettronica, F = area file, X = uscita\r\n");
    } else {
        menu_principale("\r\nFunzione non disponibile.\r\n");
    }
}

void simulazione_bbs::riga_area_file(const std::string& scelta) {
    if (scelta == "X") {
        menu_principale();
    } else if (scelta == "U") {
        avvia_carico();
    } else {
        if (!scelta.empty()) scrivi("\r\nFunzione non disponibile.\r\n");
        scrivi(prompt_area_file);
    }
}

void simulazione_bbs::riga_conferma_uscita(const std::string& scelta) {
    if (scelta == "S") {
        scrivi("\r\nGrazie per la chiamata, arrivederci.\r\n");
        cade_portante();
    } else if (scelta == "N") {
        menu_principale();
    } else if (scelta == "R") {
        richiesta_accesso();
    } else {
        scrivi(conferma_uscita);
    }
}

void simulazione_bbs::riga_posta(const std::string& scelta) {
    if (scelta == "R") {
        leggi_nuovi();
    } else if (scelta == "X") {
        menu_principale();
    } else if (scelta.empty()) {
        prompt_email();
    } else if (scelta == "?") {
        scrivi("\r\nR = leggi i messaggi nuovi, X = torna al menu principale\r\n");
        prompt_email();
    } else {
        scrivi("\r\nFunzione non disponibile.\r\n");
        prompt_email();
    }
}

void simulazione_bbs::riga_lettura(const std::string& scelta) {
    if (scelta.empty() || scelta == "F") {
        posizione_ = 0;
        mostra(da_leggere_.front());
    } else if (scelta == "L") {
        posizione_ = da_leggere_.size() - 1;
        mostra(da_leggere_.back());
    } else if (scelta == "X") {
        prompt_email();
    } else if (scelta.size() <= 4 && std::all_of(scelta.begin(), scelta.end(),
                                                 [](char c) { return c >= '0' && c <= '9'; }) &&
               std::stoul(scelta) >= 1 && std::stoul(scelta) <= scenario_.posta.size()) {
        const std::size_t indice = std::stoul(scelta) - 1;
        posizione_ = static_cast<std::size_t>(
            std::lower_bound(da_leggere_.begin(), da_leggere_.end(), indice) - da_leggere_.begin());
        mostra(indice);
    } else {
        scrivi("\r\nScelta non valida.\r\n");
        prompt_email();
    }
}

void simulazione_bbs::riga_chiede_file(const std::string& scelta) {
    if (scelta == "S") {
        scrivi("\r\nProtocolli: (K) Kermit, (Y) Ymodem, (Z) Zmodem\r\n");
        scrivi(opzione_scarico);
        stato_ = stato::opzione_scarico;
    } else if (scelta == "N") {
        prompt_messaggio(true);
    } else {
        scrivi(chiede_file);
    }
}

void simulazione_bbs::riga_opzione_scarico(const std::string& scelta) {
    if (scelta == "Z") {
        if (!passo("scarico")) return;
        const std::string& file = scenario_.posta[corrente_].file;
        scrivi("\r\nInizio scaricamento ZMODEM del file " + file + "\r\n");
        scarico_ = richiesta_scarico{file};
        stato_ = stato::scarico;
    } else if (scelta == "X") {
        prompt_messaggio(true);
    } else {
        if (!scelta.empty()) scrivi("\r\nProtocollo non disponibile.\r\n");
        scrivi(opzione_scarico);
    }
}

void simulazione_bbs::riga_messaggio(const std::string& scelta) {
    if (scelta == "E") {
        if (posizione_ + 1 < da_leggere_.size()) {
            scrivi("\r\n");
            scrivi(prompt_pausa);
            stato_ = stato::pausa;
        } else {
            fine_messaggi();
        }
    } else if (scelta == "N" || scelta == "P") {
        const bool avanti = scelta == "N";
        if (avanti ? corrente_ + 1 < scenario_.posta.size() : corrente_ > 0) {
            mostra(avanti ? corrente_ + 1 : corrente_ - 1);
        } else {
            scrivi("\r\nNon ci sono altri messaggi.\r\n");
            prompt_messaggio(true);
        }
    } else if (scelta == "X") {
        prompt_email();
    } else {
        if (!scelta.empty()) scrivi("\r\nFunzione non disponibile.\r\n");
        prompt_messaggio(true);
    }
}

void simulazione_bbs::avvia_carico() {
    if (!passo("carico")) return;
    scrivi("Inizio caricamento ZMODEM\r\n");
    stato_ = stato::attesa_carico;
}

void simulazione_bbs::apri_posta() {
    if (!passo("posta")) return;
    if (scenario_.posta.empty()) {
        // Back in the mail area without a prompt: X returns to the menu.
        scrivi("\r\n");
        scrivi(posta_vuota);
        scrivi("\r\n");
        stato_ = stato::posta;
        return;
    }
    const auto nuovi = std::count_if(scenario_.posta.begin(), scenario_.posta.end(),
                                     [](const messaggio_posta& m) { return m.nuovo; });
    scrivi("\r\nPosta elettronica: " + std::to_string(scenario_.posta.size()) + " messaggi, " +
           std::to_string(nuovi) + " nuovi.\r\n");
    if (prima_volta_posta_) {
        prima_volta_posta_ = false;
        scrivi("\r\n");
        scrivi(prompt_posta_iniziale);
        stato_ = stato::posta;
    } else {
        prompt_email();
    }
}

void simulazione_bbs::leggi_nuovi() {
    if (!passo("lettura")) return;
    da_leggere_.clear();
    for (std::size_t i = 0; i < scenario_.posta.size(); ++i)
        if (scenario_.posta[i].nuovo) da_leggere_.push_back(i);
    if (da_leggere_.empty()) {
        scrivi("\r\nNon ci sono nuovi messaggi.\r\n");
        prompt_email();
        return;
    }
    posizione_ = 0;
    scrivi("\r\nHai " + std::to_string(da_leggere_.size()) + " nuovi messaggi.\r\n");
    if (da_leggere_.size() < scenario_.posta.size())
        scrivi("(Premi ENTER per partire con i nuovi messaggi):");
    else
        scrivi("Immetti il numero del messaggio, F per il primo messaggio, L per l'ultimo, o ? per help:");
    stato_ = stato::lettura;
}

void simulazione_bbs::testo_messaggio(std::size_t indice) {
    messaggio_posta& m = scenario_.posta[indice];
    scrivi("\r\nMessaggio " + std::to_string(indice + 1) + " di " + std::to_string(scenario_.posta.size()) +
           (m.nuovo ? " (nuovo)" : "") + "\r\nDa: FORNITORE\r\nA: " + maiuscole(scenario_.utente) +
           "\r\nOggetto: " + m.oggetto + "\r\n");
    if (!m.file.empty()) scrivi("File allegato: " + m.file + "\r\n");
    m.nuovo = false;
    corrente_ = indice;
}

void simulazione_bbs::mostra(std::size_t indice) {
    if (!passo("messaggio")) return;
    testo_messaggio(indice);
    if (scenario_.posta[indice].file.empty()) {
        prompt_messaggio(true);
    } else {
        scrivi("\r\n");
        scrivi(chiede_file);
        stato_ = stato::chiede_file;
    }
}

void simulazione_bbs::prompt_messaggio(bool con_spazio) {
    scrivi("\r\nMessaggio " + std::to_string(corrente_ + 1) + ": (R)ispondi, (P)=precedente, o (N)=prossimo?");
    if (con_spazio) scrivi(" ");
    stato_ = stato::messaggio;
}

void simulazione_bbs::continua(bool senza_pausa) {
    while (++posizione_ < da_leggere_.size()) {
        const std::size_t indice = da_leggere_[posizione_];
        if (!senza_pausa && !scenario_.posta[indice].file.empty()) {
            mostra(indice);
            return;
        }
        if (!passo("messaggio")) return;
        testo_messaggio(indice);
    }
    fine_messaggi();
}

void simulazione_bbs::fine_messaggi() {
    scrivi("\r\nFine dei messaggi.\r\n");
    prompt_email();
}

std::optional<richiesta_scarico> simulazione_bbs::prendi_scarico() {
    std::optional<richiesta_scarico> r;
    r.swap(scarico_);
    return r;
}

bool simulazione_bbs::attende_caricamento() const { return stato_ == stato::attesa_carico; }

void simulazione_bbs::caricamento_avviato() {
    if (stato_ == stato::attesa_carico) stato_ = stato::carico;
}

void simulazione_bbs::trasferimento_concluso(bool riuscito, std::size_t numero_file) {
    if (stato_ == stato::carico) {
        if (riuscito)
            scrivi("\r\nCaricamento completato: " + std::to_string(numero_file) + " file ricevuti.\r\n");
        else
            scrivi("\r\nCaricamento non riuscito.\r\n");
        scrivi(prompt_area_file);
        stato_ = stato::area_file;
    } else if (stato_ == stato::scarico) {
        scarico_.reset();
        scrivi(riuscito ? "\r\nScaricamento completato.\r\n" : "\r\nScaricamento non riuscito.\r\n");
        prompt_messaggio(false);
    }
}

}  // namespace j8::prova
