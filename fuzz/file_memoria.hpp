#pragma once
// What the fuzz targets share: an in-memory file store and the split of one
// fuzz input into parts.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "comune/file_tabelle.hpp"
#include "motore_tabelle/prove/testo_protetto.hpp"

namespace j8::fuzz {

class file_memoria : public file_tabelle {
public:
    std::map<std::string, std::string> file;

    bool esiste_file(const std::string& p) override { return file.count(p) > 0; }
    std::string leggi_file(const std::string& p) override {
        auto it = file.find(p);
        if (it == file.end()) throw errore_file(p, "file non trovato");
        return it->second;
    }
    std::unique_ptr<const testo_intero> leggi_intero(const std::string& p) override {
        return prova::testo_protetto(leggi_file(p));
    }
    void scrivi_file(const std::string& p, const std::string& c) override { file[p] = c; }
    void cancella_file(const std::string& p) override {
        if (!file.erase(p)) throw errore_file(p, "file non trovato");
    }
    void rinomina_file(const std::string& da, const std::string& a) override {
        file[a] = leggi_file(da);
        file.erase(da);
    }
};

// The parts of an input are divided by this line; a rare text, so the
// fuzzer's mutations seldom make or break it by chance.
inline constexpr std::string_view separatore = "\n@@j8@@\n";

// At most `quante` parts; the last one takes the rest.
inline std::vector<std::string> dividi_parti(std::string_view dati, std::size_t quante) {
    std::vector<std::string> parti;
    while (parti.size() + 1 < quante) {
        std::size_t s = dati.find(separatore);
        if (s == std::string_view::npos) break;
        parti.emplace_back(dati.substr(0, s));
        dati.remove_prefix(s + separatore.size());
    }
    parti.emplace_back(dati);
    parti.resize(quante);
    return parti;
}

// Stops the run like a sanitizer would: a broken invariant is a finding.
[[noreturn]] void violazione(const char* cosa);

}  // namespace j8::fuzz
