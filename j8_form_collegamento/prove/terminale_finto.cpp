#include "terminale_finto.hpp"

#include <cctype>

namespace j8::prova {

namespace {

char minuscola(char c) { return char(std::tolower(static_cast<unsigned char>(c))); }

std::string unisci(const std::string& direttorio, const std::string& nome) {
    if (!direttorio.empty() && direttorio.back() == '\\') return direttorio + nome;
    return direttorio + "\\" + nome;
}

}  // namespace

void terminale_finto::tasti(const std::string& notazione) {
    for (const evento_tasto& e : analizza_tasti(notazione)) tasto(e);
}

void terminale_finto::tasto(const evento_tasto& e) {
    if (chiuso) return;
    const char c = minuscola(e.carattere);
    const bool invio = e.virtuale == vk::enter;
    switch (stato_) {
        case stato::terminale:
            if (e.alt) {
                if (c == (inglese_ ? 'e' : 'm')) stato_ = stato::menu_modifica;
                else if (c == 't') stato_ = stato::menu_trasferimento;
                else if (c == 'f') stato_ = stato::menu_file;
                return;
            }
            if (e.virtuale == vk::end) {
                selezione_ = false;
                return;
            }
            if (trasferimento_in_corso()) return;  // the transfer window has the keyboard
            if (invio) bbs.tasto('\r');
            else if (e.virtuale == vk::bs) bbs.tasto('\b');
            else if (e.virtuale == 0) bbs.tasto(e.carattere);
            if (auto scarico = bbs.prendi_scarico()) inizia_trasferimento(false, scarico->file);
            return;
        case stato::menu_modifica:
            stato_ = stato::terminale;
            if (c == 's' && !e.alt) selezione_ = true;  // select all
            else if (invio && selezione_) appunti = bbs.schermo();  // first item: copy
            return;
        case stato::menu_trasferimento:
            stato_ = stato::terminale;
            campo_ = 0;
            campo_selezionato_ = false;
            if (c == 'r') {
                stato_ = stato::ricezione;
                campo_testo_ = cartella_ricezione;
            } else if (c == 'v') {
                stato_ = stato::invio;
                campo_testo_.clear();
            }
            return;
        case stato::menu_file:
            stato_ = (c == (inglese_ ? 'x' : 'e')) ? stato::conferma : stato::terminale;
            return;
        case stato::conferma:
            if (minuscola(e.carattere) == (inglese_ ? 'y' : 's')) {
                if (bbs.connesso()) bbs.riaggancia();
                chiuso = true;
            } else {
                stato_ = stato::terminale;
            }
            return;
        case stato::ricezione:
        case stato::invio:
            if (e.alt && c == 'c' && stato_ == stato::ricezione) {
                cartella_ricezione = campo_testo_;
                stato_ = stato::terminale;
            } else if (e.virtuale == vk::tab) {
                ++campo_;
            } else if (e.virtuale == vk::end && e.maiuscolo && campo_ == 0) {
                campo_selezionato_ = true;
            } else if (e.virtuale == 0 && campo_ == 0) {
                if (campo_selezionato_) campo_testo_.clear();
                campo_selezionato_ = false;
                campo_testo_ += e.carattere;
            } else if (invio && stato_ == stato::invio) {
                stato_ = stato::terminale;
                const auto barra = campo_testo_.rfind('\\');
                direttorio_invio_ = campo_testo_.substr(0, barra);
                const std::string modello = campo_testo_.substr(barra + 1);
                da_inviare_ = disco_.elenca_file(direttorio_invio_, modello);
                if (bbs.attende_caricamento()) bbs.caricamento_avviato();
                inizia_trasferimento(true, "");
            }
            return;
    }
}

void terminale_finto::inizia_trasferimento(bool invio, std::string file) {
    invio_ = invio;
    file_trasferito_ = std::move(file);
    restante_ = bbs.dati().secondi_trasferimento;
    if (restante_ <= 0) restante_ = 0.001;
}

void terminale_finto::avanza(double secondi) {
    if (!trasferimento_in_corso()) return;
    restante_ -= secondi;
    if (restante_ <= 0) concludi_trasferimento();
}

void terminale_finto::concludi_trasferimento() {
    restante_ = 0;
    if (invio_) {
        for (const std::string& nome : da_inviare_)
            disco_.copia_file(unisci(direttorio_invio_, nome), unisci(bbs.dati().direttorio_carico, nome));
        bbs.trasferimento_concluso(true, da_inviare_.size());
    } else {
        disco_.copia_file(unisci(bbs.dati().direttorio_file, file_trasferito_),
                          unisci(cartella_ricezione, file_trasferito_));
        bbs.trasferimento_concluso(true, 1);
    }
}

std::string terminale_finto::titolo_trasferimento() const {
    if (!trasferimento_in_corso()) return "";
    return (invio_ ? "Zmodem - invio file" : "Zmodem - ricezione file ") + file_trasferito_;
}

}  // namespace j8::prova
