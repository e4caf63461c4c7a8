// The engine on damaged tables and update files: long, short, empty lines
// and odd bytes are all taken, cut or padded at the layout.

#include <gtest/gtest.h>

#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;

namespace {

const std::string dir = "lav/";

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

struct banco {
    file_memoria file;
    avanzamento muto;
    motore_tabelle motore{file, muto, [] { return 20240615; }};

    // The update run's two steps: load the tables, apply one update file.
    void aggiorna(const tipo& t) {
        motore.carica_tabelle(dir);
        motore.applica_aggiornamento(dir, t.aggiornamento);
    }
};

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

TEST(file_non_validi, righe_lunghe_corte_vuote_danno_i_record_tagliati_e_completati) {
    for (const tipo& t : tipi) {
        SCOPED_TRACE(t.tabella);
        const bool farmaci = std::string(t.tabella) == "farmaci.tda";
        const std::size_t larghezza_variazione = t.larghezza - (farmaci ? 2 : 3);
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
            b.aggiorna(t);
            std::string scritta = b.file.file[dir + t.tabella];
            if (farmaci) {
                b.motore.elimina_doppi_farmaci(dir);
                b.motore.crea_secondario(dir);
                scritta += b.file.file[dir + "farmaci_secondario_completo.tda"];
            }
            return scritta;
        };
        const std::string attesa = prova(forma::piena);
        EXPECT_EQ(prova(forma::accorciata), attesa);
        EXPECT_EQ(prova(forma::lunga), attesa);
        EXPECT_GE(dividi(attesa).size(), 5u);
    }
}

TEST(file_non_validi, spazi_oltre_il_tracciato_e_righe_corte_accettati) {
    for (const tipo& t : tipi) {
        SCOPED_TRACE(t.tabella);
        banco b;
        // Trailing blanks past the layout, a short line, a last line
        // without line end.
        b.file.file[dir + t.tabella] =
            riga_valida(t, 1) + "     \r\n" + riga_valida(t, 2).substr(0, 12) + "\r\n" + riga_valida(t, 3);
        b.file.file[dir + t.aggiornamento] = "";
        b.aggiorna(t);
        std::vector<std::string> scritte = dividi(b.file.file[dir + t.tabella]);
        ASSERT_EQ(scritte.size(), 3u);
        for (const auto& r : scritte) EXPECT_EQ(r.size(), t.larghezza);
        EXPECT_EQ(b.file.file[dir + t.tabella].substr(b.file.file[dir + t.tabella].size() - 2), "\r\n");
        // The short line came back blank-padded to the full width.
        bool trovata = false;
        for (const auto& r : scritte)
            if (r.substr(3, 9) == riga_valida(t, 2).substr(3, 9))
                trovata = r.find_first_not_of(' ', 12) == std::string::npos;
        EXPECT_TRUE(trovata);
    }
}

TEST(file_non_validi, caratteri_di_controllo_passano_invariati) {
    banco b;
    const tipo& t = tipi[0];
    std::string r = riga_valida(t, 1);
    r[13] = '\0';
    r[14] = '\t';
    r[15] = '\x1a';
    r[16] = '\r';  // a lone CR is not a line end
    b.file.file[dir + t.tabella] = r + "\r\n";
    b.file.file[dir + t.aggiornamento] = "";
    b.aggiorna(t);
    EXPECT_EQ(b.file.file[dir + t.tabella], r + "\r\n");
    // A file with CR alone as line end is one long line, cut at the layout.
    banco c;
    c.file.file[dir + t.tabella] = riga_valida(t, 1) + "\r" + riga_valida(t, 2) + "\r";
    c.file.file[dir + t.aggiornamento] = "";
    c.aggiorna(t);
    EXPECT_EQ(c.file.file[dir + t.tabella], riga_valida(t, 1) + "\r\n");
}

TEST(file_non_validi, file_vuoti) {
    for (const tipo& t : tipi) {
        SCOPED_TRACE(t.tabella);
        // Empty table, empty update: an empty table is written.
        banco b;
        b.file.file[dir + t.tabella] = "";
        b.file.file[dir + t.aggiornamento] = "";
        b.aggiorna(t);
        EXPECT_EQ(b.file.file[dir + t.tabella], "");
        // Empty update on a table: every record kept, the table rewritten.
        banco c;
        c.file.file[dir + t.tabella] = righe({riga_valida(t, 1), riga_valida(t, 2)});
        c.file.file[dir + t.aggiornamento] = "";
        c.aggiorna(t);
        EXPECT_EQ(c.file.operazioni, std::vector<std::string>{"scrivi " + dir + t.tabella});
        EXPECT_EQ(dividi(c.file.file[dir + t.tabella]).size(), 2u);
    }
    banco b;
    b.file.file[dir + "farmaci.tda"] = "";
    b.motore.elimina_doppi_farmaci(dir);
    EXPECT_EQ(b.file.file[dir + "farmaci.tda"], "");
    b.motore.crea_secondario(dir);
    EXPECT_EQ(b.file.file[dir + "farmaci_secondario_completo.tda"], "");
}

TEST(file_non_validi, righe_vuote_a_migliaia_sono_record_vuoti) {
    // Lines written: the blank update replaces a blank record, except in atc
    // and ditte where the back-scan over the equal blank keys stops on the
    // valid first line and the blank record goes in front of it; ditte then
    // writes only the first of the run of blank codes.
    const std::size_t attese[] = {1001, 1001, 1001, 1002, 3};
    for (std::size_t i = 0; i < std::size(tipi); ++i) {
        const tipo& t = tipi[i];
        SCOPED_TRACE(t.tabella);
        banco b;
        b.file.file[dir + t.tabella] = righe({riga_valida(t, 1)}) + std::string(1000, '\n');
        b.file.file[dir + t.aggiornamento] = std::string(1000, '\n');
        b.aggiorna(t);
        auto scritte = dividi(b.file.file[dir + t.tabella]);
        EXPECT_EQ(scritte.size(), attese[i]);
        EXPECT_EQ(std::count(scritte.begin(), scritte.end(), riga_valida(t, 1)), 1);
    }
}
