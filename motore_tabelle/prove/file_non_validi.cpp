// The engine on damaged tables and update files: what it accepts and how,
// what it refuses, and that a refused file never changes a table.

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

// The engine's error must name the file and say what is wrong.
void rifiutato(banco& b, const tipo& t, const std::string& file_atteso, const std::string& problema) {
    SCOPED_TRACE(t.tabella);
    const std::string prima = b.file.file[dir + t.tabella];
    try {
        b.aggiorna(t);
        ADD_FAILURE() << "accettato";
    } catch (const errore_file& e) {
        EXPECT_EQ(e.percorso(), dir + file_atteso);
        EXPECT_NE(e.problema().find(problema), std::string::npos) << e.problema();
    }
    EXPECT_EQ(b.file.file[dir + t.tabella], prima);
    EXPECT_EQ(b.file.operazioni, std::vector<std::string>{});
}

}  // namespace

TEST(file_non_validi, righe_troppo_lunghe_rifiutate_in_tabelle_e_aggiornamenti) {
    for (const tipo& t : tipi) {
        // In the table: its second line has text past the layout.
        banco b;
        b.file.file[dir + t.tabella] = righe({riga_valida(t, 1), riga_valida(t, 2) + "X"});
        b.file.file[dir + t.aggiornamento] = "";
        rifiutato(b, t, t.tabella, "riga 2 troppo lunga (" + std::to_string(t.larghezza + 1) + " caratteri");

        // In the update file: one character more than its layout.
        banco c;
        c.file.file[dir + t.tabella] = righe({riga_valida(t, 1)});
        std::size_t larghezza_variazione = t.larghezza - (std::string(t.tabella) == "farmaci.tda" ? 2 : 3);
        c.file.file[dir + t.aggiornamento] = std::string(larghezza_variazione, '7') + "Z\r\n";
        rifiutato(c, t, t.aggiornamento, "riga 1 troppo lunga");
    }
    // crea_secondario reads farmaci.tda with the same rule.
    banco b;
    b.file.file[dir + "farmaci.tda"] = std::string(200, 'x');
    EXPECT_THROW(b.motore.crea_secondario(dir), errore_file);
    EXPECT_FALSE(b.file.esiste_file(dir + "farmaci_secondario_completo.tda"));
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
    // A file with CR alone as line end is one long line, refused.
    banco c;
    c.file.file[dir + t.tabella] = riga_valida(t, 1) + "\r" + riga_valida(t, 2) + "\r";
    c.file.file[dir + t.aggiornamento] = "";
    rifiutato(c, t, t.tabella, "riga 1 troppo lunga");
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

TEST(file_non_validi, righe_vuote_a_migliaia_rifiutate_qualche_riga_vuota_accettata) {
    for (const tipo& t : tipi) {
        SCOPED_TRACE(t.tabella);
        // 1 MB of line ends would be a record per byte: far more memory than
        // the file is worth.
        banco b;
        b.file.file[dir + t.tabella] = std::string(1 << 20, '\n');
        b.file.file[dir + t.aggiornamento] = "";
        rifiutato(b, t, t.tabella, "troppe righe vuote o corte");
        banco c;
        c.file.file[dir + t.tabella] = righe({riga_valida(t, 1)});
        c.file.file[dir + t.aggiornamento] = std::string(1 << 20, '\n');
        rifiutato(c, t, t.aggiornamento, "troppe righe vuote o corte");
        // A few empty lines are short lines like any other: blank records.
        banco d;
        d.file.file[dir + t.tabella] = righe({riga_valida(t, 1), "", ""});
        d.file.file[dir + t.aggiornamento] = "";
        d.aggiorna(t);
        // (ditte writes only the first of the two blank codes in a row)
        EXPECT_EQ(dividi(d.file.file[dir + t.tabella]).size(), std::string(t.tabella) == "ditte.tda" ? 2u : 3u);
    }
}
