// Side tables: the notes merge, the three ordered merges and the two
// reductions. Then all five tables on damaged files: long, short, empty
// lines are all taken, cut or padded at the layout (the fuzz target checks
// the written width).

#include <gtest/gtest.h>

#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;

TEST(fusioni_ordinate, tabella_scritta_e_conteggi) {
    struct caso {
        std::string nome;  // table and update file without extension
        righe_testo tabella, variazioni, attesa;
        conteggio_variazioni conta;
    };
    righe_testo t_atc, t_atc_30, t_ditte;
    for (char c = 'A'; c <= 'P'; ++c) t_atc.push_back(atc("00A", std::string("4X") + c, std::string("D") + c));
    t_atc.insert(t_atc.begin() + 5, atc("00A", "4ZZ", "DE"));  // a run of two "DE"
    for (int i = 0; i < 30; ++i) t_atc_30.push_back(atc("000", "C" + std::to_string(i), "M" + std::to_string(10 + i)));
    for (int i = 2; i <= 40; i += 2) {
        const std::string c = std::string(i < 10 ? "000" : "00") + std::to_string(i);
        t_ditte.push_back(ditta_("00A", c, "DITTA " + c));
    }
    // One run of 5000 equal keys over three blocks, 3300 new codes put in
    // front of its last row (so that block splits), one code replaced deep
    // inside it, one key below and one above all.
    righe_testo t_run, v_run{"C2500   D"}, a_run;
    for (int i = 0; i < 5000; ++i) {
        const std::string c = "C" + std::to_string(10000 + i).substr(1);
        t_run.push_back(atc("00A", c, "D"));
        a_run.push_back(i == 2500 ? atc("000", c, "D") : t_run.back());
    }
    for (int i = 0; i < 3300; ++i) {
        const std::string c = "N" + std::to_string(10000 + i).substr(1);
        v_run.push_back(c + "   D");
        a_run.insert(a_run.end() - 1, atc("000", c, "D"));
    }
    v_run.insert(v_run.end(), {"A       A", "Z       Z"});
    a_run.insert(a_run.begin(), atc("000", "A", "A"));
    a_run.push_back(atc("000", "Z", "Z"));
    auto con = [](righe_testo t, std::size_t da, std::size_t quante, righe_testo nuove) {
        t.erase(t.begin() + static_cast<std::ptrdiff_t>(da), t.begin() + static_cast<std::ptrdiff_t>(da + quante));
        t.insert(t.begin() + static_cast<std::ptrdiff_t>(da), nuove.begin(), nuove.end());
        return t;
    };
    const std::string campi = "01X23nuovo campo 5" + std::string(37, ' ');
    const caso casi[] = {
        // Only the first "01" changes, its text stripped of its blanks; "02"
        // full to its end is replaced by a shorter note; all written "000".
        {"notessn",
         {nota_("C00", "01", "uno"), "00002" + std::string(nota::larghezza - 5, 'D'), nota_("C00", "01", "uno bis")},
         {campi + "   testo nuovo  ", "09", "02Z"},
         {nota_("000", campi, "testo nuovo"), nota_("000", "02Z", ""), nota_("000", "01", "uno bis"),
          nota_("000", "09", "")},
         {1, 2, 0}},
        // Same stripped name and code: replaced, stato kept; "BB" sorts
        // before "BETA". Only the names the scan visits lose their blanks.
        {"principi_attivi",
         {pa("00A", "P00001", "  ACIDO"), pa("000", "P00002", " BETA"), pa("000", "P00003", "GAMMA")},
         {"P00002    BETA", "P00009BB"},
         {pa("00A", "P00001", "ACIDO"), pa("000", "P00009", "BB"), pa("000", "P00002", "BETA"),
          pa("000", "P00003", "GAMMA")},
         {1, 1, 0}},
        {"principi_attivi", {}, {"P00001  ZINCO"}, {pa("000", "P00001", "  ZINCO")}, {1, 0, 0}},
        {"principi_attivi", {pa("000", "P00001", "ALFA")}, {"P00002  BETA"},
         {pa("000", "P00001", "ALFA"), pa("000", "P00002", "BETA")}, {1, 0, 0}},
        {"principi_attivi",
         {pa("000", "P00001", "  ZINCO")},
         {"P00002ALFA"},
         {pa("000", "P00002", "ALFA"), pa("000", "P00001", "ZINCO")},
         {1, 0, 0}},
        // New code of an existing description "DE": in front of the last
        // "DE" met. Existing code "4XB" with a new description: inserted at
        // its place, the old record stays. "4XK" with its own description:
        // replaced, status "000".
        {"atc",
         t_atc,
         {"4NEW    DE", "4XB     DKK", "4XK     DK"},
         con(con(t_atc, 11, 1, {atc("000", "4XK", "DK"), atc("000", "4XB", "DKK")}), 5, 0, {atc("000", "4NEW", "DE")}),
         {2, 1, 0}},
        {"atc", t_atc_30, {"CZ      Z", "CA      A"},
         con(con(t_atc_30, 30, 0, {atc("000", "CZ", "Z")}), 0, 0, {atc("000", "CA", "A")}), {2, 0, 0}},
        {"atc", t_run, v_run, a_run, {3302, 1, 0}},
        // Ditte search by code. "0020" with another name goes in front of
        // it, and the write drops the old "0020" that follows; "0011" is
        // new; "0030" with its own name is replaced.
        {"ditte",
         t_ditte,
         {"0020ALTRO", "0011NUOVA", "0030DITTA 0030"},
         con(con(con(t_ditte, 14, 1, {ditta_("000", "0030", "DITTA 0030")}), 9, 1, {ditta_("000", "0020", "ALTRO")}), 5,
             0, {ditta_("000", "0011", "NUOVA")}),
         {2, 1, 1}},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.nome + " " + c.variazioni[0].substr(0, 20));
        banco b;
        b.file.file[dir + c.nome + ".tda"] = righe(c.tabella);
        b.file.file[dir + c.nome + ".faf"] = righe(c.variazioni);
        b.motore.carica_tabelle(dir);
        b.av.valori.clear();
        conteggio_variazioni conta;
        ASSERT_TRUE(b.motore.applica_aggiornamento(dir, c.nome + ".faf", &conta));
        EXPECT_EQ(b.scritto(c.nome + ".tda"), c.attesa);
        EXPECT_EQ(numeri(conta), numeri(c.conta));
        EXPECT_EQ(b.av.eventi, (righe_testo{"mostra", "nascondi"}));
        EXPECT_EQ(std::vector<float>(b.av.valori.end() - 2, b.av.valori.end()), (std::vector<float>{100, 0}));
        if (c.nome == "notessn") {  // the stored status stays in memory
            EXPECT_EQ(b.motore.tabella_notessn[0][nota::stato], "C00");
            EXPECT_EQ(b.motore.tabella_notessn[3][nota::stato], "   ");
        }
    }
}

TEST(riduci, principi_attivi_e_atc_dei_farmaci_in_uso) {
    banco b;
    farmaco_prova x{"C0A", "1", "X", " ", "", " ", "", "A10BA02", "P1"},
        y{"000", "2", "Y", " ", "", " ", "", "B01AC06", "P2"}, z{"00A", "3", "Z", " ", "", " ", "", "N02"};
    b.motore.tabella_farmaci = {record_farmaco(x.riga()), record_farmaco(y.riga()), record_farmaco(z.riga())};
    // Principles: only the first record of a code used by a drug with "A".
    b.motore.tabella_principi_attivi = {record_principio_attivo(pa("000", "P2", "B")),
                                        record_principio_attivo(pa("000", "P1", "A")),
                                        record_principio_attivo(pa("C00", "P1", "C"))};
    b.motore.tabella_atc = {record_atc(atc("000", "4A10BA02", "a")), record_atc(atc("000", " 3A10BA", "b")),
                            record_atc(atc("000", "1A10", "d")),     record_atc(atc("000", "0A", "e")),
                            record_atc(atc("000", "0A", "e2")),      record_atc(atc("000", "4B01AC06", "f")),
                            record_atc(atc("000", "  0N", "g"))};
    b.motore.riduci_principi_attivi();
    b.motore.riduci_atc();
    EXPECT_EQ(b.motore.testo_principi_attivi(),
              righe({pa("000", "P2", "B"), pa("00A", "P1", "A"), pa("C00", "P1", "C")}));
    // "2A10B" is missing: nothing marked for it, the walk goes on. "N02"
    // taken with its blanks walks "4N02    " -> "3N02  " -> "2N02 " ->
    // "1N02" -> "0N": the last one matches once stripped.
    EXPECT_EQ(b.motore.testo_atc(),
              righe({atc("00A", "4A10BA02", "a"), atc("00A", "3A10BA", "b"), atc("00A", "1A10", "d"),
                     atc("00A", "0A", "e"), atc("000", "0A", "e2"), atc("000", "4B01AC06", "f"),
                     atc("00A", "0N", "g")}));
}

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

// The update run's two steps on a table and its update file: load the
// tables, apply the update. Returns the table as written.
std::string aggiorna(banco& b, const tipo& t, const std::string& tabella, const std::string& variazioni) {
    b.file.file[dir + t.tabella] = tabella;
    b.file.file[dir + t.aggiornamento] = variazioni;
    b.motore.carica_tabelle(dir);
    b.motore.applica_aggiornamento(dir, t.aggiornamento);
    return b.file.file[dir + t.tabella];
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
            return aggiorna(b, t,
                            righe({in_forma(riga_valida(t, 1), t.larghezza, f), blanca,
                                   in_forma(riga_valida(t, 2).substr(0, 20), t.larghezza, f), blanca}) +
                                in_forma(riga_valida(t, 4), t.larghezza, f),  // no line end
                            righe({in_forma(riga_valida(t, 3).substr(3), larghezza_variazione, f),
                                   in_forma(riga_valida(t, 1).substr(3, 12), larghezza_variazione, f),
                                   in_forma("", larghezza_variazione, f)}));
        };
        const std::string attesa = prova(forma::piena);
        EXPECT_EQ(prova(forma::accorciata), attesa);
        EXPECT_EQ(prova(forma::lunga), attesa);
        banco v;  // empty table and update: an empty table, the only write
        EXPECT_EQ(aggiorna(v, t, "", ""), "");
        EXPECT_EQ(v.file.operazioni, righe_testo{"scrivi " + dir + t.tabella});
        banco b;
        auto scritte =
            dividi(aggiorna(b, t, righe({riga_valida(t, 1)}) + std::string(1000, '\n'), std::string(1000, '\n')));
        EXPECT_EQ(scritte.size(), attese[i]);
        EXPECT_EQ(std::count(scritte.begin(), scritte.end(), riga_valida(t, 1)), 1);
    }
    banco b;  // an empty drug table: nothing to remove, an empty secondary table
    b.file.file[dir + "farmaci.tda"] = "";
    b.motore.elimina_doppi_farmaci(dir);
    b.motore.crea_secondario(dir);
    EXPECT_EQ(b.file.file[dir + "farmaci.tda"] + b.file.file[dir + "farmaci_secondario_completo.tda"], "");
}
