#pragma once
// The connection form on the scripted stand-in: disk and clock are the
// stand-in's; the terminal program is played by terminale_finto over the
// BBS simulation; the update form is a recorder.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "j8_form_collegamento/form_collegamento.hpp"
#include "j8_form_collegamento/prove/terminale_finto.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "mondo_prova/terminale/scenario.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8::prova {

// The session waited far longer than any real one: the test stops it.
struct sessione_bloccata : std::runtime_error {
    sessione_bloccata() : std::runtime_error("sessione bloccata") {}
};

inline constexpr std::uint32_t id_hyperterminal = 4242;

class piattaforma_sessione : public piattaforma {
public:
    piattaforma_sessione(piattaforma_copione& dentro, terminale_finto& terminale)
        : d_(dentro), t_(terminale), inizio_(dentro.orologio()) {}

    std::string percorso_terminale = "c:\\hyper\\hypertrm.exe";
    std::vector<std::string> avviati;
    std::vector<std::string> tasti;       // every string typed
    std::vector<std::string> messaggi;    // message boxes shown
    int attivazioni = 0;
    // When set, the clipboard holds this screen instead of the terminal's.
    std::function<std::string(double secondi)> schermo_copione;
    // Windows of other programs, besides the terminal's own.
    std::function<std::vector<std::string>(double secondi)> altre_finestre;
    // Virtual seconds since the world was built.
    double trascorsi() const { return (d_.orologio() - inizio_) * 86400; }
    double secondi_massimi = 4 * 3600;  // beyond this the session is stuck

    std::uint32_t avvia_programma(const std::string& percorso) override {
        if (percorso != percorso_terminale) throw errore_avvio("File non trovato: " + percorso);
        avviati.push_back(percorso);
        return id_hyperterminal;
    }
    bool attiva_task(std::uint32_t id) override {
        ++attivazioni;
        return id == id_hyperterminal && !t_.chiuso;
    }
    bool attiva_titolo(const std::string&) override { return false; }
    void manda_tasti(const std::string& t) override {
        tasti.push_back(t);
        t_.tasti(t);
    }
    std::string leggi_appunti() override {
        return schermo_copione ? schermo_copione(trascorsi()) : t_.appunti;
    }
    std::vector<finestra> finestre() override {
        std::vector<finestra> v;
        maniglia h = 100;
        v.push_back({++h, "j8_bbs - Collegamento BBS", "j8_form_collegamento"});
        if (!t_.chiuso) v.push_back({++h, "Connessione - HyperTerminal", "Session"});
        if (t_.trasferimento_in_corso()) v.push_back({++h, t_.titolo_trasferimento(), "#32770"});
        if (altre_finestre)
            for (const auto& titolo : altre_finestre(trascorsi())) v.push_back({++h, titolo, "#32770"});
        return v;
    }
    std::vector<finestra> figli(maniglia) override { return {}; }
    void esegui_eventi() override { d_.esegui_eventi(); }
    float secondi_da_mezzanotte() override { return d_.secondi_da_mezzanotte(); }
    data_ora adesso() override { return d_.adesso(); }
    void pausa(double secondi) override {
        const double prima = trascorsi();
        d_.pausa(secondi);
        t_.avanza(trascorsi() - prima);
        if (trascorsi() > secondi_massimi) throw sessione_bloccata();
    }
    void messaggio(const std::string& testo, const std::string&) override { messaggi.push_back(testo); }

    bool esiste_file(const std::string& x) override { return d_.esiste_file(x); }
    std::string leggi_file(const std::string& x) override { return d_.leggi_file(x); }
    void scrivi_file(const std::string& x, const std::string& c) override { d_.scrivi_file(x, c); }
    void cancella_file(const std::string& x) override { d_.cancella_file(x); }
    void rinomina_file(const std::string& a, const std::string& b) override { d_.rinomina_file(a, b); }
    std::vector<std::string> elenca_file(const std::string& d, const std::string& m) override {
        return d_.elenca_file(d, m);
    }
    bool esiste_direttorio(const std::string& x) override { return d_.esiste_direttorio(x); }
    void copia_file(const std::string& a, const std::string& b) override { d_.copia_file(a, b); }
    std::int64_t lunghezza_file(const std::string& x) override { return d_.lunghezza_file(x); }
    void crea_direttorio(const std::string& x) override { d_.crea_direttorio(x); }
    void rimuovi_direttorio(const std::string& x) override { d_.rimuovi_direttorio(x); }
    void imposta_solo_archivio(const std::string& x) override { d_.imposta_solo_archivio(x); }
    std::string direttorio_corrente() override { return d_.direttorio_corrente(); }
    void cambia_direttorio(const std::string& x) override { d_.cambia_direttorio(x); }
    std::string direttorio_programma() override { return d_.direttorio_programma(); }

    // Index of the first typed string equal to `t`, -1 if none.
    int primo(const std::string& t) const {
        const auto i = std::find(tasti.begin(), tasti.end(), t);
        return i == tasti.end() ? -1 : int(i - tasti.begin());
    }
    int quanti(const std::string& t) const { return int(std::count(tasti.begin(), tasti.end(), t)); }

private:
    piattaforma_copione& d_;
    terminale_finto& t_;
    data_ora inizio_;
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

inline scenario scenario_base() {
    scenario s;
    s.direttorio_file = "c:\\bbs\\file";
    s.direttorio_carico = "c:\\bbs\\carico";
    s.direttorio_ricezione = "c:\\ricevuti";
    s.secondi_trasferimento = 4;
    s.posta = {{true, "j8000001.exe", "Aggiornamento banca dati 1"},
               {true, "j8000002.exe", "Aggiornamento banca dati 2"}};
    return s;
}

class banco_sessione : public ::testing::Test {
protected:
    piattaforma_copione copione;
    std::optional<terminale_finto> terminale;
    std::optional<piattaforma_sessione> p;
    aggiornamento_registrato aggiornamento;
    valori_programma valori;
    std::optional<form_collegamento> form;

    // Builds the world around a scenario; `inglese` is the terminal's
    // language (the form's option is set apart).
    void prepara(scenario s, bool inglese = false) {
        terminale.emplace(std::move(s), inglese, copione);
        terminale->cartella_ricezione = terminale->bbs.dati().direttorio_ricezione;
        p.emplace(copione, *terminale);
        form.emplace(*p, aggiornamento, valori);
        for (const char* d : {"c:\\j8", "c:\\j8\\A_BBS", "c:\\j8\\DA_BBS", "c:\\j8\\archivio", "c:\\bbs",
                              "c:\\bbs\\file", "c:\\bbs\\carico", "c:\\ricevuti", "c:\\pippo"})
            if (!copione.esiste_direttorio(d)) copione.crea_direttorio(d);
        copione.crea_cartelle(copione.direttorio_programma());
        copione.scrivi_file("c:\\bbs\\file\\j8000001.exe", "pacchetto uno");
        copione.scrivi_file("c:\\bbs\\file\\j8000002.exe", "pacchetto due");
    }

    // The settings file in the program's directory, then the form's load.
    void carica(const std::vector<std::string>& righe) {
        const std::string dir = copione.direttorio_programma();
        copione.crea_file(dir + "\\j8_bbs_config.txt", componi_impostazioni("prova", righe, 1234.0f));
        form->Form_Load();
    }

    std::vector<std::string> impostazioni_standard(int lingua) {
        return {"aggiornamento=j8000000",
                "direttorio a bbs=c:\\j8\\A_BBS",
                "direttorio da bbs=c:\\j8\\DA_BBS\\",
                "direttorio archivio aggiornamenti=c:\\j8\\archivio\\",
                "telefono bbs= 0612345678 ",
                "userid bbs=cliente",
                "password bbs=zeta",
                "lingua bbs=" + std::to_string(lingua),
                "direttorio hyperterminal=c:\\hyper\\hypertrm.exe"};
    }

    // Load, "Avvia Collegamento", and the first tick of Timer1.
    void sessione_completa(int lingua) {
        carica(impostazioni_standard(lingua));
        form->Command1_Click();
        form->Timer1_Timer();
    }
};

}  // namespace j8::prova
