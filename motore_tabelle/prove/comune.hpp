#pragma once
// Shared helpers of the engine's tests: an in-memory file store, builders
// of table and update lines, and the legacy sort as a reference.

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "motore_tabelle/motore_tabelle.hpp"
#include "motore_tabelle/prove/testo_protetto.hpp"

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
    // Handed over in pieces of 7 bytes, so lines and CR LF pairs straddle
    // them as they do a real file's blocks.
    void leggi_a_blocchi(const std::string& p, const ricevi_blocco& ricevi) override {
        const std::string dati = leggi_file(p);
        for (std::size_t i = 0; i < dati.size(); i += 7) ricevi(std::string_view(dati).substr(i, 7));
    }
    std::unique_ptr<const testo_intero> leggi_intero(const std::string& p) override {
        return testo_protetto(leggi_file(p));
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

using righe_testo = std::vector<std::string>;

inline std::string righe(const righe_testo& r) {
    std::string s;
    for (const auto& x : r) s += x + "\r\n";
    return s;
}

inline righe_testo dividi(const std::string& s) {
    righe_testo v;
    for (auto r : dividi_righe(s)) v.emplace_back(r);
    return v;
}

inline const std::string dir = "lav/";

// An engine on an in-memory "lav/" folder.
struct banco {
    file_memoria file;
    avanzamento_registrato av;
    std::int32_t oggi = 20240615;
    motore_tabelle motore{file, av, [this] { return oggi; }};
    righe_testo scritto(const std::string& nome) { return dividi(file.file.at(dir + nome)); }
};

struct farmaco_prova {
    std::string stato = "000", codice, nome, campo_12 = " ", data = "", campo_9 = " ", campo_14 = "", campo_4 = "",
                campo_8 = "";
    std::string riga() const {
        record_farmaco r;
        for (auto [f, v] : {std::pair{farmaco::stato, &stato}, {farmaco::codice, &codice}, {farmaco::data, &data},
                            {farmaco::descrizione, &nome}, {farmaco::campo_4, &campo_4}, {farmaco::campo_8, &campo_8},
                            {farmaco::campo_9, &campo_9}, {farmaco::campo_12, &campo_12},
                            {farmaco::campo_14, &campo_14}})
            r.imposta(f, *v);
        return std::string(r.riga());
    }
    // The same drug as an update line, with its change mark.
    std::string variazione(char tipo = ' ') const { return riga().substr(3) + tipo; }
};

// A side-table line: status, a code of LC characters, the description (for
// the notes the code runs up to the text).
template <std::size_t W, std::size_t LC>
std::string tre(std::string stato, const std::string& codice, const std::string& descrizione) {
    stato.resize(3, ' ');
    std::string r = stato + codice;
    r.resize(3 + LC, ' ');
    r += descrizione;
    r.resize(W, ' ');
    return r;
}
inline constexpr auto pa = &tre<206, 6>, atc = &tre<105, 8>, ditta_ = &tre<25, 4>, nota_ = &tre<nota::larghezza, 55>;

// The three counts of a merge, to compare in one go.
inline std::vector<std::int64_t> numeri(const conteggio_variazioni& c) { return {c.aggiunte, c.sostituite, c.rimosse}; }

// Keys with their row numbers in the order the plain legacy Shell sort
// leaves them, ascending.
using chiave_e_riga = std::pair<std::string, int>;
inline std::vector<chiave_e_riga> ordine_legacy(std::vector<chiave_e_riga> v, bool discendente = false) {
    avanzamento muto;
    ShellSortAny(std::span<chiave_e_riga>(v), discendente,
                 [](const chiave_e_riga& a, const chiave_e_riga& b) { return confronta_testi(a.first, b.first) > 0; },
                 muto);
    return v;
}

}  // namespace j8::prova
