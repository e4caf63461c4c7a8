#pragma once
// The update form on the scripted stand-in, which plays the self-extractor:
// typed text is the folder, the first Enter unpacks and shows the success
// text, the third closes it.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "comune/testi_comuni.hpp"
#include "j8_form_aggiornamento/form_aggiornamento.hpp"
#include "j8_form_aggiornamento/prove/dati_prova.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8::prova {

inline std::string nome_pacchetto(int n) {
    const std::string cifre = std::to_string(n);
    return "j8" + std::string(6 - cifre.size(), '0') + cifre + ".exe";
}
inline bool contiene(const std::string& testo, const std::string& parte) { return testo.find(parte) != std::string::npos; }

// A file of the tables folder: bytes and attributes.
struct stato_file {
    std::string contenuto;
    std::uint32_t attributi;
    bool operator==(const stato_file&) const = default;
};
using stato_tabelle = std::map<std::string, stato_file>;

// Keeps a copy of the model at every redraw.
class vista_registrata : public vista_aggiornamento {
public:
    std::vector<modello_aggiornamento> ridisegni;
    void ridisegna(const modello_aggiornamento& m) override { ridisegni.push_back(m); }
    template <class F>
    bool ha_mostrato(F&& condizione) const { return std::any_of(ridisegni.begin(), ridisegni.end(), condizione); }
};

// Public, so a test can also build many independent runs (banco_libero).
class banco_prova : public ::testing::Test {
public:
    piattaforma_copione p;
    vista_registrata vista;
    valori_programma valori;
    form_aggiornamento form{p, vista, valori};

    const std::string file_bbs = "c:\\j8bbs\\j8_bbs_config.txt";
    std::string impostazioni_bbs_iniziali, farmaci_senza_doppi;
    std::map<std::string, std::map<std::string, std::string>> contenuti;  // by package name
    std::vector<std::string> estratti;
    // The self-extractor being driven, and its success message.
    maniglia estrattore_ = 0, messaggio_ = 0;
    std::uint32_t task_estrattore_ = 0;
    std::string pacchetto_aperto_, cartella_;
    int invii_ = 0;

    std::string impostazioni(const std::vector<std::string>& righe_chiare) {
        return componi_impostazioni("prova", righe_chiare, 4321.0f);
    }

    void SetUp() override {
        p.crea_cartelle("c:\\j8bbs\\da_bbs");
        p.crea_cartelle("c:\\farmacia\\tabelle");
        p.cambia_direttorio("c:\\j8bbs");
        valori.direttorio_configurazione = "c:\\j8bbs\\";
        valori.direttorio_da_bbs = "c:\\j8bbs\\da_bbs\\";
        valori.direttorio_archivio = "c:\\j8bbs\\archivio\\";
        valori.direttorio_tabelle = "c:\\sbagliato\\";
        valori.ultimo_aggiornamento = "j8000000";
        impostazioni_bbs_iniziali =
            impostazioni({"telefono=0612345", "utente=farmacia", "Aggiornamento=j8000000", "password=segreta"});
        p.scrivi_file(file_bbs, impostazioni_bbs_iniziali);
        p.scrivi_file("c:\\j8bbs\\j8_config.txt",
                      impostazioni({"altro=x", "direttorio tabelle=c:\\farmacia\\tabelle\\", "direttorio tabelle=no"}));

        const std::string uno = farmaco_tda("000000001", "ASPIRINA"), due = farmaco_tda("000000002", "BENAGOL");
        farmaci_senza_doppi = righe({uno, due});
        for (const auto& [nome, testo] : tabelle_iniziali({uno, uno, due}))
            p.scrivi_file("c:\\farmacia\\tabelle\\" + nome, testo);

        p.su_tasti = [this](const std::string& t) { tasti_all_estrattore(t); };
    }

    // Keys go to the focused window: the extractor or its success message.
    void tasti_all_estrattore(const std::string& t) {
        const maniglia attiva = p.finestra_attiva();
        if (!estrattore_) return;
        if (messaggio_ && attiva == messaggio_ && t == "{enter}") p.chiudi_finestra(std::exchange(messaggio_, 0));
        if (attiva != estrattore_) return;
        if (t != "{enter}") {
            cartella_ += t;
        } else if (++invii_ > 1) {
            p.chiudi_finestra(std::exchange(estrattore_, 0));
        } else {
            const auto& file = contenuti.at(pacchetto_aperto_);
            for (const auto& [nome, testo] : file) p.scrivi_file(cartella_ + "\\" + nome, testo);
            estratti.push_back(pacchetto_aperto_);
            p.aggiungi_figlio(estrattore_, std::to_string(file.size()) + " file(s) unzipped successfully");
            // The success message box takes the focus; Enter closes it.
            messaggio_ = p.apri_finestra("WinZip Self-Extractor", "#32770", task_estrattore_);
            p.aggiungi_figlio(messaggio_, "unzipped successfully");
        }
    }

    void metti_pacchetto(int n, const std::map<std::string, std::string>& file) {
        const std::string nome = nome_pacchetto(n);
        p.scrivi_file(valori.direttorio_da_bbs + nome, "MZ finto");
        contenuti[nome] = file;
        p.registra_programma(valori.direttorio_da_bbs + nome, [this, nome](std::uint32_t task) {
            estrattore_ = p.apri_finestra("WinZip Self-Extractor - " + nome, "#32770", task_estrattore_ = task);
            p.aggiungi_figlio(estrattore_, "Unzip to folder:");
            pacchetto_aperto_ = nome;
            cartella_.clear();
            invii_ = 0;
        });
    }

    stato_tabelle stato() {
        stato_tabelle s;
        for (const auto& nome : p.elenca_file("c:\\farmacia\\tabelle", "*.*")) {
            const std::string percorso = "c:\\farmacia\\tabelle\\" + nome;
            s[minuscolo(nome)] = {p.leggi_file(percorso), p.attributi(percorso)};
        }
        return s;
    }
    bool impostazioni_intatte() { return p.leggi_file(file_bbs) == impostazioni_bbs_iniziali; }

    std::string valore_aggiornamento() {
        return valore_impostazione(leggi_impostazioni(p, file_bbs, 1.0f), "aggiornamento").value_or("<assente>");
    }
    std::vector<std::string> messaggi() const {
        std::vector<std::string> testi;
        for (const auto& v : p.voci(piattaforma_copione::tipo::messaggio)) testi.push_back(v.testo);
        return testi;
    }
};

// The fixture outside gtest's own run: one per run of a table of cases.
struct banco_libero : banco_prova {
    banco_libero() { SetUp(); }
    void TestBody() override {}
};

}  // namespace j8::prova
