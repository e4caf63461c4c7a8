// The engine on damaged tables and update files: long, short, empty lines
// are all taken, cut or padded at the layout (the fuzz target checks the
// written width).

#include <gtest/gtest.h>

#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;

namespace {

struct tipo {
    const char* tabella;
    const char* aggiornamento;
    std::size_t larghezza;
};
const tipo tipi[] = {
    {"farmaci.tda", "farmaci.faf", farmaco::larghezza},
    {"notessn.tda", "notessn.faf", nota::larghezza},
    {"principi_attivi.tda", "principi_attivi.faf", principio_attivo::larghezza},
    {"atc.tda", "atc.faf", classe_atc::larghezza},
    {"ditte.tda", "ditte.faf", ditta::larghezza},
};

// A valid table line of the layout: status, then a code that differs in
// its first character, then a name.
std::string riga_valida(const tipo& t, int n) {
    std::string r = "000" + std::string(t.larghezza - 3, ' ');
    std::string testo = std::string(1, static_cast<char>('0' + n)) + "00000000 NOME";
    r.replace(3, testo.size(), testo);
    return r;
}

// The update run's two steps: load the tables, apply one update file.
void aggiorna(banco& b, const tipo& t) {
    b.motore.carica_tabelle(dir);
    b.motore.applica_aggiornamento(dir, t.aggiornamento);
}

}  // namespace

// The same lines padded to the layout, trimmed of their trailing blanks,
// with text past the layout, or (for blank lines) empty.
enum class forma { piena, accorciata, lunga };
std::string in_forma(std::string r, std::size_t larghezza, forma f) {
    r.resize(larghezza, ' ');
    if (f == forma::accorciata) r.erase(r.find_last_not_of(' ') + 1);
    if (f == forma::lunga) r += "CODA OLTRE IL TRACCIATO 123";
    return r;
}

TEST(file_non_validi, righe_lunghe_corte_vuote_a_migliaia_e_file_vuoti) {
    // Lines written from a table of one valid line and a thousand blank
    // ones: the blank update replaces a blank record, except in atc and
    // ditte where the back-scan over the equal blank keys stops on the valid
    // first line and the blank record goes in front of it; ditte then writes
    // only the first of the run of blank codes.
    const std::size_t attese[] = {1001, 1001, 1001, 1002, 3};
    for (std::size_t i = 0; i < std::size(tipi); ++i) {
        const tipo& t = tipi[i];
        SCOPED_TRACE(t.tabella);
        const std::size_t larghezza_variazione = t.larghezza - (i == 0 ? 2 : 3);  // farmaci has a change mark
        auto prova = [&](forma f) {
            banco b;
            std::string blanca = in_forma("", t.larghezza, f);
            b.file.file[dir + t.tabella] =
                righe({in_forma(riga_valida(t, 1), t.larghezza, f), blanca,
                       in_forma(riga_valida(t, 2).substr(0, 20), t.larghezza, f), blanca}) +
                in_forma(riga_valida(t, 4), t.larghezza, f);  // no line end
            b.file.file[dir + t.aggiornamento] =
                righe({in_forma(riga_valida(t, 3).substr(3), larghezza_variazione, f),
                       in_forma(riga_valida(t, 1).substr(3, 12), larghezza_variazione, f),
                       in_forma("", larghezza_variazione, f)});
            aggiorna(b, t);
            return b.file.file[dir + t.tabella];
        };
        const std::string attesa = prova(forma::piena);
        EXPECT_EQ(prova(forma::accorciata), attesa);
        EXPECT_EQ(prova(forma::lunga), attesa);
        banco v;  // empty table and update: an empty table, the only write
        v.file.file[dir + t.tabella] = "";
        v.file.file[dir + t.aggiornamento] = "";
        aggiorna(v, t);
        EXPECT_EQ(v.file.file[dir + t.tabella], "");
        EXPECT_EQ(v.file.operazioni, righe_testo{"scrivi " + dir + t.tabella});
        banco b;
        b.file.file[dir + t.tabella] = righe({riga_valida(t, 1)}) + std::string(1000, '\n');
        b.file.file[dir + t.aggiornamento] = std::string(1000, '\n');
        aggiorna(b, t);
        auto scritte = dividi(b.file.file[dir + t.tabella]);
        EXPECT_EQ(scritte.size(), attese[i]);
        EXPECT_EQ(std::count(scritte.begin(), scritte.end(), riga_valida(t, 1)), 1);
    }
    banco b;  // an empty drug table: nothing to remove, an empty secondary table
    b.file.file[dir + "farmaci.tda"] = "";
    b.motore.elimina_doppi_farmaci(dir);
    b.motore.crea_secondario(dir);
    EXPECT_EQ(b.file.file[dir + "farmaci.tda"] + b.file.file[dir + "farmaci_secondario_completo.tda"], "");
}
