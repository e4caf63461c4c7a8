// j8_tabelle: the table engine from the command line, on a directory of
// tables, as the update run would apply one package.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif
#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

#include "comune/file_locali.hpp"
#include "comune/testi_comuni.hpp"
#include "motore_tabelle/motore_tabelle.hpp"

namespace {

const char* const uso =
    "uso: j8_tabelle aggiorna DIR [--oggi AAAAMMGG] [--conteggi] FILE...\n"
    "     j8_tabelle doppi DIR\n"
    "     j8_tabelle secondario DIR\n"
    "     j8_tabelle riduci DIR\n";

struct errore_uso {
    std::string testo;
};

int esci_con_errore(const std::string& testo) {
    std::cerr << "j8_tabelle: " << testo << "\n";
    return 2;
}

// The engine puts file names right after the directory.
std::string direttorio_con_separatore(const std::string& dir) {
    if (!std::filesystem::is_directory(dir)) throw j8::errore_file(dir, "direttorio non trovato");
    char ultimo = dir.back();
#ifdef _WIN32
    if (ultimo == '\\' || ultimo == '/') return dir;
    return dir + "\\";
#else
    if (ultimo == '/') return dir;
    return dir + "/";
#endif
}

// Each update file touches its own table only: the drug table, by far the
// largest, goes on one engine and the side tables on another, on a second
// core. Within each group the files keep their order; a failure stops its
// group only.
struct gruppo {
    std::vector<std::size_t> file;  // indices into the names given
    std::vector<j8::conteggio_variazioni> conti;
    std::exception_ptr errore;
    std::size_t fallito = 0;
};

void esegui_gruppo(gruppo& g, bool di_farmaci, const std::vector<std::string>& nomi, const std::string& dir,
                   j8::file_locali& file, const j8::motore_tabelle::fornitore_oggi& fornitore) {
    if (g.file.empty()) return;
    j8::avanzamento fermo;
    j8::motore_tabelle motore(file, fermo, fornitore);
    std::size_t fatti = 0;
    try {
        if (di_farmaci) {
            motore.carica_farmaci(dir + "farmaci.tda");
        } else {
            motore.carica_principi_attivi(dir + "principi_attivi.tda");
            motore.carica_notessn(dir + "notessn.tda");
            motore.carica_atc(dir + "atc.tda");
            motore.carica_ditte(dir + "ditte.tda");
        }
        g.conti.resize(g.file.size());
        for (; fatti < g.file.size(); ++fatti) motore.applica_aggiornamento(dir, nomi[g.file[fatti]], &g.conti[fatti]);
    } catch (...) {
        g.conti.resize(fatti);
        g.fallito = g.file[fatti];
        g.errore = std::current_exception();
    }
}

// aggiorna DIR FILE... [--oggi AAAAMMGG] [--conteggi]
int aggiorna(const std::vector<std::string>& arg, j8::file_locali& file) {
    std::int32_t oggi = 0;
    bool conteggi = false;
    std::vector<std::string> nomi;
    for (std::size_t i = 2; i < arg.size(); ++i) {
        if (arg[i] == "--conteggi") {
            conteggi = true;
        } else if (arg[i] == "--oggi") {
            if (i + 1 >= arg.size()) throw errore_uso{"--oggi senza data"};
            const std::string& d = arg[++i];
            if (!j8::data_valida(d))
                throw errore_uso{"data non valida dopo --oggi: " + d + " (attesa AAAAMMGG)"};
            oggi = std::stoi(d);
        } else {
            nomi.push_back(arg[i]);
        }
    }
    if (nomi.empty()) throw errore_uso{"nessun file di aggiornamento indicato"};
    // Every name is checked before anything is read or written.
    for (const auto& n : nomi)
        if (!j8::motore_tabelle::e_file_aggiornamento(n))
            throw j8::errore_file(n, "file di aggiornamento sconosciuto (attesi farmaci.faf, notessn.faf, "
                                     "principi_attivi.faf, atc.faf, ditte.faf)");
    const std::string dir = direttorio_con_separatore(arg[1]);
    for (const auto& n : nomi)
        if (!file.esiste_file(dir + n)) throw j8::errore_file(dir + n, "file di aggiornamento non trovato");
    const j8::motore_tabelle::fornitore_oggi fornitore =
        oggi ? j8::motore_tabelle::fornitore_oggi([oggi] { return oggi; })
             : j8::motore_tabelle::fornitore_oggi(j8::oggi_di_sistema);

    gruppo farmaci, laterali;
    for (std::size_t i = 0; i < nomi.size(); ++i)
        (j8::minuscolo(nomi[i]) == "farmaci.faf" ? farmaci : laterali).file.push_back(i);
    {
        std::thread secondo([&] { esegui_gruppo(laterali, false, nomi, dir, file, fornitore); });
        esegui_gruppo(farmaci, true, nomi, dir, file, fornitore);
        secondo.join();
    }
    if (conteggi) {
        // In the order given, up to each group's failure.
        std::vector<const j8::conteggio_variazioni*> conto(nomi.size(), nullptr);
        for (const gruppo* g : {&farmaci, &laterali})
            for (std::size_t k = 0; k < g->conti.size(); ++k) conto[g->file[k]] = &g->conti[k];
        for (std::size_t i = 0; i < nomi.size(); ++i)
            if (conto[i])
                std::cout << nomi[i] << ": " << conto[i]->aggiunte << " aggiunte, " << conto[i]->sostituite
                          << " sostituite, " << conto[i]->rimosse << " rimosse\n";
    }
    // The failure of the file named first is the one reported.
    if (farmaci.errore && (!laterali.errore || farmaci.fallito < laterali.fallito))
        std::rethrow_exception(farmaci.errore);
    if (laterali.errore) std::rethrow_exception(laterali.errore);
    return 0;
}

int esegui(const std::vector<std::string>& arg) {
    if (arg.size() < 2) throw errore_uso{"argomenti mancanti"};
    const std::string& comando = arg[0];
    if (arg[1].empty()) throw errore_uso{"direttorio vuoto"};
    j8::file_locali file;
    j8::avanzamento muto;

    if (comando == "aggiorna") return aggiorna(arg, file);
    if (arg.size() != 2) throw errore_uso{"troppi argomenti per " + comando};
    if (comando == "doppi") {
        j8::motore_tabelle motore(file, muto);
        motore.elimina_doppi_farmaci(direttorio_con_separatore(arg[1]));
        return 0;
    }
    if (comando == "secondario") {
        j8::motore_tabelle motore(file, muto);
        motore.crea_secondario(direttorio_con_separatore(arg[1]));
        return 0;
    }
    if (comando == "riduci") {
        const std::string dir = direttorio_con_separatore(arg[1]);
        j8::motore_tabelle motore(file, muto);
        motore.carica_farmaci(dir + "farmaci.tda");
        motore.carica_principi_attivi(dir + "principi_attivi.tda");
        motore.carica_atc(dir + "atc.tda");
        motore.riduci_principi_attivi();
        motore.riduci_atc();
        std::string testo = motore.testo_principi_attivi() + motore.testo_atc();
#ifdef _WIN32
        _setmode(_fileno(stdout), _O_BINARY);
#endif
        if (std::fwrite(testo.data(), 1, testo.size(), stdout) != testo.size() || std::fflush(stdout) != 0)
            throw j8::errore_file("standard output", "impossibile scrivere");
        return 0;
    }
    throw errore_uso{"comando sconosciuto: " + comando};
}

}  // namespace

int main(int argc, char** argv) {
#ifdef __GLIBC__
    // Large buffers come and go (rows, sort keys, the output's block):
    // keeping freed memory in the heap lets the next one reuse its pages
    // instead of faulting in fresh ones.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
#endif
    std::vector<std::string> arg(argv + 1, argv + argc);
    try {
        return esegui(arg);
    } catch (const errore_uso& e) {
        std::cerr << "j8_tabelle: " << e.testo << "\n" << uso;
        return 2;
    } catch (const j8::errore_file& e) {
        return esci_con_errore(e.percorso() + ": " + e.problema());
    } catch (const std::bad_alloc&) {
        return esci_con_errore("memoria insufficiente");
    } catch (const std::exception& e) {
        return esci_con_errore(std::string("errore: ") + e.what());
    }
}
