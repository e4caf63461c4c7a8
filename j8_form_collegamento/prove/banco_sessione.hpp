#pragma once
// The connection form on the scripted stand-in. terminale_finto plays the
// terminal over the BBS simulation: keys reach the BBS, "copy" puts its
// screen on the clipboard, a ZMODEM transfer shows a "Zmodem" window for a
// while and moves the files. The update form is a recorder.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "j8_form_collegamento/form_collegamento.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"
#include "mondo_prova/terminale/simulazione_bbs.hpp"
#include "piattaforma/tasti.hpp"

namespace j8::prova {

inline const std::string percorso_terminale = "c:\\hyper\\hypertrm.exe";

class terminale_finto {
public:
    terminale_finto(piattaforma_copione& p, scenario s) : bbs(std::move(s)), p_(p) {
        cartella_ricezione = bbs.dati().direttorio_ricezione;
        p.registra_programma(percorso_terminale, [this](std::uint32_t task) {
            finestra_ = p_.apri_finestra("Connessione - HyperTerminal", "Session", task);
        });
        p.su_tasti = [this](const std::string& t) {
            for (const evento_tasto& e : analizza_tasti(t)) tasto(e);
        };
        p.fonte_appunti = [this] { return appunti; };
    }

    simulazione_bbs bbs;
    std::string appunti;
    std::string cartella_ricezione;  // as set in the receive dialog
    bool chiuso = false;

    void chiudi() {
        if (bbs.connesso()) bbs.riaggancia();
        chiuso = true;
        p_.chiudi_finestra(finestra_);
    }

private:
    enum class stato { terminale, menu_modifica, menu_trasferimento, menu_file, ricezione, invio, conferma };

    void tasto(const evento_tasto& e) {
        if (chiuso) return;
        const bool inglese = bbs.dati().inglese;
        const char c = char(std::tolower(static_cast<unsigned char>(e.carattere)));
        const bool invio = e.virtuale == vk::enter;
        switch (stato_) {
            case stato::terminale:
                if (e.alt) {
                    if (c == (inglese ? 'e' : 'm')) stato_ = stato::menu_modifica;
                    else if (c == 't') stato_ = stato::menu_trasferimento;
                    else if (c == 'f') stato_ = stato::menu_file;
                } else if (e.virtuale == vk::end) {
                    selezione_ = false;
                } else if (!in_corso_) {  // else the transfer window has the keyboard
                    if (invio) bbs.tasto('\r');
                    else if (e.virtuale == vk::bs) bbs.tasto('\b');
                    else if (e.virtuale == 0) bbs.tasto(e.carattere);
                    if (auto scarico = bbs.prendi_scarico()) trasferisci(false, scarico->file);
                }
                return;
            case stato::menu_modifica:
                stato_ = stato::terminale;
                if (c == 's' && !e.alt) selezione_ = true;  // select all
                else if (invio && selezione_) appunti = bbs.schermo();  // first item: copy
                return;
            case stato::menu_trasferimento:
                stato_ = c == 'r' ? stato::ricezione : c == 'v' ? stato::invio : stato::terminale;
                campo_ = 0;
                campo_testo_ = c == 'r' ? cartella_ricezione : "";
                return;
            case stato::menu_file:
                stato_ = c == (inglese ? 'x' : 'e') ? stato::conferma : stato::terminale;
                return;
            case stato::conferma:
                stato_ = stato::terminale;
                if (c == (inglese ? 'y' : 's')) chiudi();
                return;
            case stato::ricezione:
            case stato::invio:
                if (e.alt && c == 'c' && stato_ == stato::ricezione) {
                    cartella_ricezione = campo_testo_;
                    stato_ = stato::terminale;
                } else if (e.virtuale == vk::tab) {
                    ++campo_;
                } else if (e.virtuale == vk::end && e.maiuscolo && campo_ == 0) {
                    campo_testo_.clear();  // selected, then typed over
                } else if (e.virtuale == 0 && campo_ == 0) {
                    campo_testo_ += e.carattere;
                } else if (invio && stato_ == stato::invio) {
                    stato_ = stato::terminale;
                    if (bbs.attende_caricamento()) bbs.caricamento_avviato();
                    trasferisci(true, campo_testo_);
                }
                return;
        }
    }

    // Upload of the files matching `file` (folder\pattern), or download of
    // `file` from the BBS's file area.
    void trasferisci(bool invio, const std::string& file) {
        in_corso_ = true;
        const maniglia h = p_.apri_finestra(invio ? "Zmodem - invio file" : "Zmodem - ricezione file " + file);
        p_.dopo(bbs.dati().secondi_trasferimento, [this, h, invio, file] {
            p_.chiudi_finestra(h);
            in_corso_ = false;
            const auto& d = bbs.dati();
            if (!invio) {
                p_.copia_file(d.direttorio_file + "\\" + file, cartella_ricezione + "\\" + file);
                return bbs.trasferimento_concluso(true, 1);
            }
            const std::string cartella = file.substr(0, file.rfind('\\'));
            const auto nomi = p_.elenca_file(cartella, file.substr(file.rfind('\\') + 1));
            for (const std::string& nome : nomi) p_.copia_file(cartella + "\\" + nome, d.direttorio_carico + "\\" + nome);
            bbs.trasferimento_concluso(true, nomi.size());
        });
    }

    piattaforma_copione& p_;
    maniglia finestra_ = 0;
    stato stato_ = stato::terminale;
    bool selezione_ = false;
    bool in_corso_ = false;    // a transfer
    int campo_ = 0;            // field of the dialog that has the focus
    std::string campo_testo_;  // text typed in the dialog's first field
};

class aggiornamento_registrato : public collegamento_aggiornamento {
public:
    std::vector<std::string> chiamate;
    std::function<void()> al_caricamento;
    void carica_nascosto() override {
        chiamate.push_back("carica_nascosto");
        if (al_caricamento) al_caricamento();
    }
    void mostra() override { chiamate.push_back("mostra"); }
    void esegui_aggiornamento() override { chiamate.push_back("esegui_aggiornamento"); }
};

class banco_sessione : public ::testing::Test {
protected:
    std::optional<piattaforma_copione> p;
    std::optional<terminale_finto> terminale;
    aggiornamento_registrato aggiornamento;
    valori_programma valori;
    std::optional<form_collegamento> form;

    // A new world: disk, clock, terminal and form; `ritocco` changes the
    // BBS, which by default has two new packages in the mailbox.
    void prepara(const std::function<void(scenario&)>& ritocco = nullptr) {
        scenario s;
        s.direttorio_file = "c:\\bbs\\file";
        s.direttorio_carico = "c:\\bbs\\carico";
        s.direttorio_ricezione = "c:\\ricevuti";
        s.secondi_trasferimento = 4;
        s.posta = {{true, "j8000001.exe", "Aggiornamento banca dati 1"},
                   {true, "j8000002.exe", "Aggiornamento banca dati 2"}};
        if (ritocco) ritocco(s);
        form.reset();
        terminale.reset();
        p.emplace();
        terminale.emplace(*p, std::move(s));
        valori = {};
        aggiornamento.chiamate.clear();
        form.emplace(*p, aggiornamento, valori);
        // Far longer than any real session: the test stops it.
        p->dopo(4 * 3600, [] { throw std::runtime_error("sessione bloccata"); });
        for (const char* d : {"c:\\j8\\A_BBS", "c:\\j8\\DA_BBS", "c:\\j8\\archivio", "c:\\bbs\\carico",
                              "c:\\ricevuti"})
            p->crea_cartelle(d);
        p->crea_file("c:\\bbs\\file\\j8000001.exe", "pacchetto uno");
        p->crea_file("c:\\bbs\\file\\j8000002.exe", "pacchetto due");
    }

    // The settings file in the program's directory, then the form's load.
    void carica(const std::vector<std::string>& righe) {
        const std::string dir = p->direttorio_programma();
        p->crea_file(dir + "\\j8_bbs_config.txt", componi_impostazioni("prova", righe, 1234.0f));
        form->Form_Load();
    }

    static std::vector<std::string> impostazioni_standard(int lingua, const std::string& password = "zeta") {
        return {"aggiornamento=j8000000", "direttorio a bbs=c:\\j8\\A_BBS", "direttorio da bbs=c:\\j8\\DA_BBS\\",
                "direttorio archivio aggiornamenti=c:\\j8\\archivio\\", "telefono bbs= 0612345678 ",
                "userid bbs=cliente", "password bbs=" + password, "lingua bbs=" + std::to_string(lingua),
                "direttorio hyperterminal=" + percorso_terminale};
    }

    // Load, "Avvia Collegamento", and the first tick of Timer1.
    void sessione_completa(const std::vector<std::string>& righe) {
        carica(righe);
        form->Command1_Click();
        form->Timer1_Timer();
    }

    // Virtual seconds on the clock.
    double trascorsi() const { return p->orologio() * 86400; }
    // No message, and no file on the disk, shows the password or a part of it.
    void nessuna_traccia(const std::vector<std::string>& parti) {
        std::vector<std::string> testi = messaggi();
        for (const std::string& f : p->tutti_i_file()) testi.push_back(p->leggi_file(f));
        for (const std::string& t : testi)
            for (const std::string& parte : parti) EXPECT_EQ(t.find(parte), std::string::npos) << parte;
    }
    std::vector<std::string> messaggi() const {
        std::vector<std::string> v;
        for (const auto& m : p->voci(piattaforma_copione::tipo::messaggio)) v.push_back(m.testo);
        return v;
    }
    // Index of the first typed string equal to `t`, -1 if none.
    int primo(const std::string& t) const {
        const auto tasti = p->tasti_mandati();
        const auto i = std::find(tasti.begin(), tasti.end(), t);
        return i == tasti.end() ? -1 : int(i - tasti.begin());
    }
    int quanti(const std::string& t) const {
        const auto tasti = p->tasti_mandati();
        return int(std::count(tasti.begin(), tasti.end(), t));
    }
};

}  // namespace j8::prova
