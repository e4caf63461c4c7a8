// Storage of the tables, their loading and writing, and the choice of the
// merge an update file names.
#include "comune/testi_comuni.hpp"
#include "motore_tabelle/interno.hpp"

namespace j8 {

using namespace interno;

char* arena_righe::prendi(std::size_t n) {
    if (libero_ < n || !cima_) {
        // Blocks grow with the table, so the unused tail of the last one
        // stays a small share of it.
        std::size_t dim = std::clamp<std::size_t>(totale_ / 16, std::size_t{1} << 16, std::size_t{1} << 23);
        if (dim < n) dim = n;
        blocchi_.emplace_back(new char[dim]);
        cima_ = blocchi_.back().get();
        libero_ = dim;
        totale_ += dim;
    }
    char* p = cima_;
    cima_ += n;
    libero_ -= n;
    return p;
}

void arena_righe::svuota() {
    std::vector<std::unique_ptr<char[]>>().swap(blocchi_);
    cima_ = nullptr;
    libero_ = totale_ = 0;
}

namespace interno {

void stringi_voci(std::vector<voce_riga>& voci) {
    const std::size_t tenute = voci.size() + voci.size() / 16;
    if (voci.capacity() > tenute + 1024) {
        std::vector<voce_riga> strette;
        strette.reserve(tenute);
        strette.assign(voci.begin(), voci.end());
        voci.swap(strette);
    }
}

void uscita_blocchi::testo(std::string_view t) {
    if (usati_ + t.size() > capacita) svuota();
    if (t.size() > capacita) {
        scrivi_(t);
        return;
    }
    if (!t.empty()) std::memcpy(buf_.data() + usati_, t.data(), t.size());
    usati_ += t.size();
}

}  // namespace interno

motore_tabelle::motore_tabelle(file_tabelle& file, avanzamento& av, fornitore_oggi oggi)
    : file_(file), av_(av), oggi_(std::move(oggi)) {}

void motore_tabelle::carica_farmaci(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_farmaci); }
void motore_tabelle::carica_notessn(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_notessn); }
void motore_tabelle::carica_principi_attivi(const std::string& percorso) {
    leggi_se_esiste(file_, percorso, tabella_principi_attivi);
}
void motore_tabelle::carica_atc(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_atc); }
void motore_tabelle::carica_ditte(const std::string& percorso) { leggi_se_esiste(file_, percorso, tabella_ditte); }

void motore_tabelle::carica_tabelle(const std::string& direttorio) {
    // Each table is read straight into its records; the bar, which needs
    // the total size, follows once all are in.
    std::uint64_t byte[5];
    byte[0] = leggi_se_esiste(file_, direttorio + "farmaci.tda", tabella_farmaci);
    byte[1] = leggi_se_esiste(file_, direttorio + "principi_attivi.tda", tabella_principi_attivi);
    byte[2] = leggi_se_esiste(file_, direttorio + "notessn.tda", tabella_notessn);
    byte[3] = leggi_se_esiste(file_, direttorio + "atc.tda", tabella_atc);
    byte[4] = leggi_se_esiste(file_, direttorio + "ditte.tda", tabella_ditte);
    costruisci_indice_codici();
    double totale = 0;
    for (auto b : byte) totale += static_cast<double>(b);
    double valore = 0;
    for (auto b : byte) {
        if (totale > 0) {
            valore += 100.0 * static_cast<double>(b) / totale;
            av_.valore_barra(static_cast<float>(valore));
        }
    }
}

bool motore_tabelle::e_file_aggiornamento(std::string_view nome_file) {
    const std::string n = minuscolo(std::string(nome_file));
    return n == "farmaci.faf" || n == "notessn.faf" || n == "principi_attivi.faf" || n == "atc.faf" ||
           n == "ditte.faf";
}

bool motore_tabelle::applica_aggiornamento(const std::string& direttorio, const std::string& nome_file,
                                           conteggio_variazioni* conteggio) {
    const std::string n = minuscolo(nome_file);
    conteggio_variazioni conta;
    if (n == "farmaci.faf")
        conta = aggiorna_farmaci(direttorio, nome_file);
    else if (n == "notessn.faf")
        conta = aggiorna_notessn(direttorio, nome_file);
    else if (n == "principi_attivi.faf")
        conta = aggiorna_principi_attivi(direttorio, nome_file);
    else if (n == "atc.faf")
        conta = aggiorna_atc(direttorio, nome_file);
    else if (n == "ditte.faf")
        conta = aggiorna_ditte(direttorio, nome_file);
    else
        return false;
    if (conteggio) *conteggio = conta;
    return true;
}

std::string motore_tabelle::testo_principi_attivi() const { return testo_tabella(tabella_principi_attivi); }
std::string motore_tabelle::testo_atc() const { return testo_tabella(tabella_atc); }

}  // namespace j8
