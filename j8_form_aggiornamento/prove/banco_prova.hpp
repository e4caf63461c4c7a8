#pragma once
// The update form on the scripted stand-in, with a layer in between that
// plays the packages' self-extractor (files appear in the typed folder when
// Enter is pressed, its window reports success), records keystrokes,
// messages and waits, and fails chosen file steps.

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "j8_form_aggiornamento/form_aggiornamento.hpp"
#include "j8_form_aggiornamento/prove/dati_prova.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "piattaforma/piattaforma_copione.hpp"

namespace j8::prova {

inline std::string senza_barra(const std::string& d) {
    return !d.empty() && d.back() == '\\' ? d.substr(0, d.size() - 1) : d;
}

inline std::string nome_pacchetto(int n) {
    char nome[16];
    std::snprintf(nome, sizeof nome, "j8%06d.exe", n);
    return nome;
}

inline std::string minuscolo(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

class piattaforma_prova : public piattaforma {
public:
    explicit piattaforma_prova(piattaforma& dentro) : d_(dentro) {}

    // What each package holds, by lower-case file name.
    std::map<std::string, std::map<std::string, std::string>> contenuti;
    std::vector<std::string> estratti;
    std::vector<std::string> tasti;
    std::vector<std::string> messaggi;
    double secondi_attesi = 0;

    // Fails the `volta`-th copy to `a` (1-based; 0: every one).
    struct guasto {
        std::string bersaglio;
        int volta = 0;
        std::string problema;
        bool scrittura = false;
        int viste = 0;
    };
    std::optional<guasto> guasto_attivo;

    std::uint32_t avvia_programma(const std::string& percorso) override {
        const std::size_t barra = percorso.rfind('\\');
        const std::string nome = minuscolo(percorso.substr(barra == std::string::npos ? 0 : barra + 1));
        if (!d_.esiste_file(percorso) || !contenuti.count(nome)) {
            throw errore_avvio("programma non trovato: " + percorso);
        }
        in_corso_ = nome;
        cartella_.clear();
        invii_ = 0;
        return 4242;
    }
    bool attiva_task(std::uint32_t id) override { return id == 4242 && !in_corso_.empty(); }
    bool attiva_titolo(const std::string& t) override { return d_.attiva_titolo(t); }
    void manda_tasti(const std::string& t) override {
        tasti.push_back(t);
        if (in_corso_.empty()) return;
        if (t != "{enter}") {
            cartella_ += t;
            return;
        }
        if (++invii_ == 1) {
            // The unzip button: the files land in the destination folder.
            for (const auto& [nome, testo] : contenuti.at(in_corso_)) d_.scrivi_file(cartella_ + "\\" + nome, testo);
            estratti.push_back(in_corso_);
        } else if (invii_ == 3) {
            in_corso_.clear();
        }
    }
    std::string leggi_appunti() override { return d_.leggi_appunti(); }
    std::vector<finestra> finestre() override {
        auto elenco = d_.finestre();
        if (!in_corso_.empty() && invii_ >= 1) elenco.push_back({9001, "WinZip Self-Extractor - " + in_corso_, "#32770"});
        return elenco;
    }
    std::vector<finestra> figli(maniglia padre) override {
        if (padre == 9001) return {{9002, "Unzip", "Button"}, {9003, "3 file(s) unzipped successfully", "Static"}};
        return d_.figli(padre);
    }
    void esegui_eventi() override { d_.esegui_eventi(); }
    float secondi_da_mezzanotte() override { return d_.secondi_da_mezzanotte(); }
    data_ora adesso() override { return d_.adesso(); }
    void pausa(double s) override {
        secondi_attesi += s;
        d_.pausa(s);
    }
    void messaggio(const std::string& testo, const std::string& titolo) override {
        messaggi.push_back(testo);
        d_.messaggio(testo, titolo);
    }

    bool esiste_file(const std::string& p) override { return d_.esiste_file(p); }
    std::string leggi_file(const std::string& p) override { return d_.leggi_file(p); }
    void scrivi_file(const std::string& p, const std::string& c) override {
        if (guasto_attivo && guasto_attivo->scrittura && minuscolo(p) == minuscolo(guasto_attivo->bersaglio)) {
            throw errore_file(p, guasto_attivo->problema);
        }
        d_.scrivi_file(p, c);
    }
    void cancella_file(const std::string& p) override { d_.cancella_file(p); }
    void rinomina_file(const std::string& da, const std::string& a) override { d_.rinomina_file(da, a); }
    std::vector<std::string> elenca_file(const std::string& d, const std::string& m) override {
        return d_.elenca_file(d, m);
    }
    bool esiste_direttorio(const std::string& p) override { return d_.esiste_direttorio(p); }
    void copia_file(const std::string& da, const std::string& a) override {
        if (guasto_attivo && !guasto_attivo->scrittura && minuscolo(a) == minuscolo(guasto_attivo->bersaglio)) {
            const int n = ++guasto_attivo->viste;
            if (guasto_attivo->volta == 0 || guasto_attivo->volta == n) throw errore_file(a, guasto_attivo->problema);
        }
        d_.copia_file(da, a);
    }
    std::int64_t lunghezza_file(const std::string& p) override { return d_.lunghezza_file(p); }
    void crea_direttorio(const std::string& p) override { d_.crea_direttorio(p); }
    void rimuovi_direttorio(const std::string& p) override { d_.rimuovi_direttorio(p); }
    void imposta_solo_archivio(const std::string& p) override { d_.imposta_solo_archivio(p); }
    std::string direttorio_corrente() override { return d_.direttorio_corrente(); }
    void cambia_direttorio(const std::string& p) override { d_.cambia_direttorio(p); }
    std::string direttorio_programma() override { return d_.direttorio_programma(); }

private:
    piattaforma& d_;
    std::string in_corso_;
    std::string cartella_;
    int invii_ = 0;
};

// Keeps a copy of the model at every redraw.
class vista_registrata : public vista_aggiornamento {
public:
    std::vector<modello_aggiornamento> ridisegni;
    void ridisegna(const modello_aggiornamento& m) override { ridisegni.push_back(m); }

    template <class F>
    bool ha_mostrato(F&& condizione) const {
        for (const auto& m : ridisegni)
            if (condizione(m)) return true;
        return false;
    }
    // Label1's caption at each redraw where it changed.
    std::vector<std::string> stati_label1() const {
        std::vector<std::string> esito;
        for (const auto& m : ridisegni)
            if (esito.empty() || esito.back() != m.Label1.caption) esito.push_back(m.Label1.caption);
        return esito;
    }
};

class banco_prova : public ::testing::Test {
protected:
    piattaforma_copione copione;
    piattaforma_prova p{copione};
    vista_registrata vista;
    form_aggiornamento form{p, vista};

    const std::string file_bbs = "c:\\j8bbs\\j8_bbs_config.txt";
    std::string impostazioni_bbs_iniziali;
    std::string farmaci_senza_doppi;

    std::string impostazioni(const std::vector<std::string>& righe_chiare) {
        return componi_impostazioni("prova", righe_chiare, 4321.0f);
    }

    void SetUp() override {
        for (const char* d : {"c:\\j8bbs", "c:\\j8bbs\\da_bbs", "c:\\farmacia", "c:\\farmacia\\tabelle"}) {
            if (!p.esiste_direttorio(d)) p.crea_direttorio(d);
        }
        p.cambia_direttorio("c:\\j8bbs");
        direttorio_configurazione = "c:\\j8bbs\\";
        direttorio_da_bbs = "c:\\j8bbs\\da_bbs\\";
        direttorio_archivio = "c:\\j8bbs\\archivio\\";
        direttorio_tabelle = "c:\\sbagliato\\";
        direttorio_lavoro.clear();
        direttorio_ultime_tabelle.clear();
        ultimo_aggiornamento = "j8000000";
        a_capo = "\r\n";
        impostazioni_bbs_iniziali =
            impostazioni({"telefono=0612345", "utente=farmacia", "Aggiornamento=j8000000", "password=segreta"});
        p.scrivi_file(file_bbs, impostazioni_bbs_iniziali);
        p.scrivi_file("c:\\j8bbs\\j8_config.txt",
                      impostazioni({"altro=x", "direttorio tabelle=c:\\farmacia\\tabelle\\", "direttorio tabelle=no"}));

        const std::string t = "c:\\farmacia\\tabelle\\";
        const std::string uno = farmaco_tda("000000001", "ASPIRINA");
        const std::string due = farmaco_tda("000000002", "BENAGOL");
        p.scrivi_file(t + "farmaci.tda", righe({uno, uno, due}));
        farmaci_senza_doppi = righe({uno, due});
        p.scrivi_file(t + "farmaci_secondario_completo.tda", "vecchio secondario\r\n");
        p.scrivi_file(t + "principi_attivi.tda", righe({principio_tda("000001", "ACIDO ACETILSALICILICO")}));
        p.scrivi_file(t + "notessn.tda", righe({nota_tda("01", "NOTA")}));
        p.scrivi_file(t + "atc.tda", righe({atc_tda("4A01AA01", "FLUORURO")}));
        p.scrivi_file(t + "ditte.tda", righe({ditta_tda("0001", "DITTA")}));
        p.scrivi_file(t + "generici.tda", "generici vecchi\r\n");
    }

    void metti_pacchetto(int n, const std::map<std::string, std::string>& file) {
        p.scrivi_file(direttorio_da_bbs + nome_pacchetto(n), "MZ finto");
        p.contenuti[nome_pacchetto(n)] = file;
    }

    std::map<std::string, std::string> istantanea_tabelle() {
        std::map<std::string, std::string> esito;
        for (const auto& nome : p.elenca_file("c:\\farmacia\\tabelle", "*.*"))
            esito[minuscolo(nome)] = p.leggi_file("c:\\farmacia\\tabelle\\" + nome);
        return esito;
    }

    std::string valore_aggiornamento() {
        const auto righe_lette = leggi_impostazioni(p, file_bbs, 1.0f);
        return valore_impostazione(righe_lette, "aggiornamento").value_or("<assente>");
    }

    static std::string intestazione(const std::string& file) {
        std::size_t pos = 0;
        for (int i = 0; i < righe_intestazione && pos != std::string::npos; ++i) {
            pos = file.find('\n', pos);
            if (pos != std::string::npos) ++pos;
        }
        return file.substr(0, pos);
    }

    void guasto_alla_copia(const std::string& a, int volta, const std::string& problema) {
        p.guasto_attivo = piattaforma_prova::guasto{a, volta, problema, false, 0};
    }
    void guasto_alla_scrittura(const std::string& a, const std::string& problema) {
        p.guasto_attivo = piattaforma_prova::guasto{a, 0, problema, true, 0};
    }
    void nessun_guasto() { p.guasto_attivo.reset(); }

    const std::vector<std::string>& messaggi() const { return p.messaggi; }
    const std::vector<std::string>& estratti() const { return p.estratti; }
    const std::vector<std::string>& tasti_mandati() const { return p.tasti; }
    double secondi_attesi() const { return p.secondi_attesi; }
};

}  // namespace j8::prova
