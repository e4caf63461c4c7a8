#pragma once
// Shared helpers of the engine's tests: an in-memory file store and
// builders of table and update lines.

#include <map>
#include <string>
#include <vector>

#include "motore_tabelle/motore_tabelle.hpp"

namespace j8::prova {

class file_memoria : public file_tabelle {
public:
    std::map<std::string, std::string> file;
    std::vector<std::string> operazioni;

    bool esiste_file(const std::string& p) override { return file.count(p) > 0; }
    std::string leggi_file(const std::string& p) override {
        auto it = file.find(p);
        if (it == file.end()) throw errore_file(p, "file non trovato");
        return it->second;
    }
    void scrivi_file(const std::string& p, const std::string& c) override {
        operazioni.push_back("scrivi " + p);
        file[p] = c;
    }
    void cancella_file(const std::string& p) override {
        operazioni.push_back("cancella " + p);
        if (!file.erase(p)) throw errore_file(p, "file non trovato");
    }
    void rinomina_file(const std::string& da, const std::string& a) override {
        operazioni.push_back("rinomina " + da + " " + a);
        file[a] = leggi_file(da);
        file.erase(da);
    }
};

// Records what the engine shows.
class avanzamento_registrato : public avanzamento {
public:
    std::vector<std::string> eventi;
    std::vector<float> valori;
    int giri = 0;
    void barra_visibile(bool v) override { eventi.push_back(v ? "mostra" : "nascondi"); }
    void valore_barra(float p) override { valori.push_back(p); }
    void stato_lampeggiante(const std::string& t) override { eventi.push_back("stato " + t); }
    void lascia_girare() override { ++giri; }
};

inline std::string righe(const std::vector<std::string>& r) {
    std::string s;
    for (const auto& x : r) s += x + "\r\n";
    return s;
}

inline std::vector<std::string> dividi(const std::string& s) {
    std::vector<std::string> v;
    for (auto r : dividi_righe(s)) v.emplace_back(r);
    return v;
}

struct farmaco_prova {
    std::string stato = "000", codice, nome, campo_12 = " ", data = "", campo_9 = " ", campo_14 = "", campo_4 = "",
                campo_8 = "";
    std::string riga() const {
        record_farmaco r;
        r.imposta(farmaco::stato, stato);
        r.imposta(farmaco::codice, codice);
        r.imposta(farmaco::descrizione, nome);
        r.imposta(farmaco::campo_4, campo_4);
        r.imposta(farmaco::campo_8, campo_8);
        r.imposta(farmaco::campo_9, campo_9);
        r.imposta(farmaco::campo_12, campo_12);
        r.imposta(farmaco::data, data);
        r.imposta(farmaco::campo_14, campo_14);
        return std::string(r.riga());
    }
    // The same drug as an update line, with its change mark.
    std::string variazione(char tipo = ' ') const { return riga().substr(3) + tipo; }
};

inline std::string campo_di(const std::string& riga, campo f) {
    return riga.size() < f.posizione ? std::string() : riga.substr(f.posizione - 1u, f.larghezza);
}

}  // namespace j8::prova
