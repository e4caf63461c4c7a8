#include "mondo_prova/terminale/scenario.hpp"

#include <algorithm>

namespace j8::prova {

namespace {

std::string pulito(std::string s) {
    const auto spazio = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!s.empty() && spazio(s.back())) s.pop_back();
    std::size_t i = 0;
    while (i < s.size() && spazio(s[i])) ++i;
    return s.substr(i);
}

[[noreturn]] void errore(int riga, const std::string& cosa) {
    throw errore_scenario("Scenario, riga " + std::to_string(riga) + ": " + cosa);
}

messaggio_posta leggi_messaggio(const std::string& valore, int riga) {
    std::vector<std::string> parti;
    std::size_t inizio = 0;
    for (;;) {
        const std::size_t barra = valore.find('|', inizio);
        parti.push_back(pulito(valore.substr(inizio, barra - inizio)));
        if (barra == std::string::npos) break;
        inizio = barra + 1;
    }
    if (parti.size() != 3) errore(riga, "il messaggio vuole stato | file | oggetto");
    messaggio_posta m;
    if (parti[0] == "nuovo") m.nuovo = true;
    else if (parti[0] == "letto") m.nuovo = false;
    else errore(riga, "stato del messaggio \"" + parti[0] + "\" sconosciuto (nuovo o letto)");
    if (parti[1].find_first_of("\\/:*?") != std::string::npos)
        errore(riga, "il file allegato va indicato senza direttorio");
    m.file = parti[1];
    m.oggetto = parti[2];
    return m;
}

}  // namespace

const std::vector<std::string>& passi_bbs() {
    static const std::vector<std::string> passi = {"accesso", "password", "menu",     "carico", "posta",
                                                   "lettura", "messaggio", "scarico", "uscita"};
    return passi;
}

scenario leggi_scenario(const std::string& testo) {
    scenario s;
    int numero = 0;
    std::size_t inizio = 0;
    while (inizio < testo.size()) {
        std::size_t fine = testo.find('\n', inizio);
        if (fine == std::string::npos) fine = testo.size();
        const std::string riga = pulito(testo.substr(inizio, fine - inizio));
        inizio = fine + 1;
        ++numero;
        if (riga.empty() || riga[0] == '#') continue;
        const std::size_t uguale = riga.find('=');
        if (uguale == std::string::npos) errore(numero, "manca \"=\"");
        const std::string chiave = pulito(riga.substr(0, uguale));
        const std::string valore = pulito(riga.substr(uguale + 1));
        if (chiave == "utente") s.utente = valore;
        else if (chiave == "password") s.password = valore;
        else if (chiave == "linea") {
            if (valore == "libera") s.stato_linea = linea::libera;
            else if (valore == "occupata") s.stato_linea = linea::occupata;
            else if (valore == "muta") s.stato_linea = linea::muta;
            else errore(numero, "linea \"" + valore + "\" sconosciuta (libera, occupata o muta)");
        } else if (chiave == "portante_persa") {
            const auto& passi = passi_bbs();
            if (!valore.empty() && std::find(passi.begin(), passi.end(), valore) == passi.end())
                errore(numero, "passo \"" + valore + "\" sconosciuto");
            s.portante_persa = valore;
        } else if (chiave == "direttorio_file") s.direttorio_file = valore;
        else if (chiave == "direttorio_carico") s.direttorio_carico = valore;
        else if (chiave == "direttorio_ricezione") s.direttorio_ricezione = valore;
        else if (chiave == "secondi_trasferimento") {
            const bool cifre = !valore.empty() && valore.size() <= 4 &&
                               std::all_of(valore.begin(), valore.end(), [](char c) { return c >= '0' && c <= '9'; });
            if (!cifre) errore(numero, "secondi_trasferimento vuole un numero da 0 a 9999");
            s.secondi_trasferimento = std::stoi(valore);
        } else if (chiave == "lingua") {
            if (valore != "italiano" && valore != "inglese")
                errore(numero, "lingua \"" + valore + "\" sconosciuta (italiano o inglese)");
            s.inglese = valore == "inglese";
        } else if (chiave == "messaggio") s.posta.push_back(leggi_messaggio(valore, numero));
        else errore(numero, "chiave \"" + chiave + "\" sconosciuta");
    }
    if (s.utente.empty() || s.password.empty()) throw errore_scenario("Scenario: utente e password non possono essere vuoti");
    return s;
}

}  // namespace j8::prova
