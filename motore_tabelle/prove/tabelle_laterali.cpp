// Side tables: the notes merge, the three ordered merges and the two
// reductions.

#include <gtest/gtest.h>

#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;

namespace {

const std::string dir = "lav/";

template <std::size_t W>
std::string tre(const std::string& stato, const std::string& codice, std::size_t lc, const std::string& descr) {
    riga_fissa<W> r;
    r.imposta(campo{1, 3}, stato);
    r.imposta(campo{4, static_cast<std::uint16_t>(lc)}, codice);
    r.imposta(campo{static_cast<std::uint16_t>(4 + lc), static_cast<std::uint16_t>(W - 3 - lc)}, descr);
    return std::string(r.riga());
}
std::string pa(const std::string& s, const std::string& c, const std::string& d) { return tre<206>(s, c, 6, d); }
std::string atc(const std::string& s, const std::string& c, const std::string& d) { return tre<105>(s, c, 8, d); }
std::string ditta_(const std::string& s, const std::string& c, const std::string& d) { return tre<25>(s, c, 4, d); }

struct banco {
    file_memoria file;
    avanzamento_registrato av;
    motore_tabelle motore{file, av, [] { return 20240101; }};
    std::vector<std::string> scritto(const std::string& nome) { return dividi(file.file.at(dir + nome)); }
};

}  // namespace

TEST(aggiorna_notessn, primo_codice_sostituito_nuove_in_coda_sempre_000) {
    banco b;
    auto nota_ = [](std::string stato, std::string codice, std::string testo) {
        record_nota r;
        r.imposta(nota::stato, stato);
        r.imposta(nota::codice, codice);
        r.imposta(nota::testo, testo);
        return std::string(r.riga());
    };
    b.file.file[dir + "notessn.tda"] = righe({nota_("C00", "01", "uno"), nota_("000", "02", "due"),
                                              nota_("C00", "01", "uno bis")});
    b.file.file[dir + "notessn.faf"] =
        righe({"01X23nuovo campo 5" + std::string(37, ' ') + "   testo nuovo  ", "09"});
    b.motore.carica_tabelle(dir);
    b.av.valori.clear();
    b.motore.aggiorna_notessn(dir, "notessn.faf");
    auto t = b.scritto("notessn.tda");
    ASSERT_EQ(t.size(), 4u);
    for (const auto& r : t) EXPECT_EQ(r.size(), 4058u);
    EXPECT_EQ(t[0].substr(0, 9), "00001X23n");
    EXPECT_EQ(t[0].substr(58, 13), "testo nuovo  ");  // stripped of its leading blanks
    EXPECT_EQ(t[2], nota_("000", "01", "uno bis"));  // only the first "01" changes
    EXPECT_EQ(t[3], nota_("000", "09", ""));
    EXPECT_EQ(b.motore.tabella_notessn[0][nota::stato], "C00");  // kept in memory
    EXPECT_EQ(b.motore.tabella_notessn[3][nota::stato], "   ");
    EXPECT_EQ(b.av.eventi, (std::vector<std::string>{"mostra", "nascondi"}));
    EXPECT_EQ(b.av.valori, (std::vector<float>{50, 100, 0}));
}

TEST(aggiorna_principi_attivi, nomi_visitati_salvati_senza_spazi) {
    banco b;
    b.file.file[dir + "principi_attivi.tda"] =
        righe({pa("00A", "P00001", "  ACIDO"), pa("000", "P00002", " BETA"), pa("000", "P00003", "GAMMA")});
    // Same stripped name and code: replaced, stato kept. "BB" sorts before
    // "BETA".
    b.file.file[dir + "principi_attivi.faf"] = righe({"P00002    BETA", "P00009BB"});
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_principi_attivi(dir, "principi_attivi.faf");
    EXPECT_EQ(b.scritto("principi_attivi.tda"),
              (std::vector<std::string>{pa("00A", "P00001", "ACIDO"), pa("000", "P00009", "BB"),
                                        pa("000", "P00002", "BETA"), pa("000", "P00003", "GAMMA")}));
}

TEST(aggiorna_principi_attivi, solo_i_nomi_visitati_perdono_gli_spazi) {
    banco b;
    b.file.file[dir + "principi_attivi.faf"] = righe({"P00001  ZINCO"});
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_principi_attivi(dir, "principi_attivi.faf");
    // Into an empty table: no record met, the blanks stay.
    EXPECT_EQ(b.scritto("principi_attivi.tda"), (std::vector<std::string>{pa("000", "P00001", "  ZINCO")}));
    // The next update's scan visits it and stores it back stripped.
    b.file.file[dir + "principi_attivi.faf"] = righe({"P00002ALFA"});
    b.motore.aggiorna_principi_attivi(dir, "principi_attivi.faf");
    EXPECT_EQ(b.scritto("principi_attivi.tda"),
              (std::vector<std::string>{pa("000", "P00002", "ALFA"), pa("000", "P00001", "ZINCO")}));
}

TEST(aggiorna_atc, stessa_descrizione_codice_nuovo_e_codice_con_descrizione_nuova) {
    banco b;
    std::vector<std::string> t;
    for (char c = 'A'; c <= 'P'; ++c) t.push_back(atc("00A", std::string("4X") + c, std::string("D") + c));
    t.insert(t.begin() + 5, atc("00A", "4ZZ", "DE"));  // a run of two "DE"
    b.file.file[dir + "atc.tda"] = righe(t);
    // New code, existing description "DE": in front of the last "DE" met.
    // Existing code "4XB" with a new description: inserted at its place,
    // the old record stays. "4XK" with its own description: replaced.
    b.file.file[dir + "atc.faf"] = righe({"4NEW    DE", "4XB     DKK", "4XK     DK"});
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_atc(dir, "atc.faf");
    auto s = b.scritto("atc.tda");
    ASSERT_EQ(s.size(), 19u);
    EXPECT_EQ(s[4], t[4]);
    EXPECT_EQ(s[5], atc("000", "4NEW", "DE"));
    EXPECT_EQ(s[6], t[5]);
    EXPECT_EQ(s[1], t[1]);
    EXPECT_EQ(s[12], atc("000", "4XK", "DK"));
    EXPECT_EQ(s[13], atc("000", "4XB", "DKK"));
    EXPECT_EQ(s[14], t[12]);
}

TEST(aggiorna_atc, chiave_piu_grande_in_coda_piu_piccola_in_testa) {
    banco b;
    std::vector<std::string> t;
    for (int i = 0; i < 30; ++i) t.push_back(atc("000", "C" + std::to_string(i), "M" + std::to_string(10 + i)));
    b.file.file[dir + "atc.tda"] = righe(t);
    b.file.file[dir + "atc.faf"] = righe({"CZ      Z", "CA      A"});
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_atc(dir, "atc.faf");
    auto s = b.scritto("atc.tda");
    ASSERT_EQ(s.size(), 32u);
    EXPECT_EQ(s.front(), atc("000", "CA", "A"));
    EXPECT_EQ(s.back(), atc("000", "CZ", "Z"));
}

TEST(aggiorna_ditte, ricerca_per_codice_e_doppi_consecutivi_non_scritti) {
    banco b;
    std::vector<std::string> t;
    for (int i = 1; i <= 20; ++i) {
        char c[16];
        std::snprintf(c, sizeof c, "%04d", i * 2);
        t.push_back(ditta_("00A", c, std::string("DITTA ") + c));
    }
    b.file.file[dir + "ditte.tda"] = righe(t);
    // "0020" exists with another name: inserted in front of it, then the
    // write drops the second of the two "0020". "0011" is new; "0030" with
    // its own name is replaced and gets "000".
    b.file.file[dir + "ditte.faf"] = righe({"0020ALTRO", "0011NUOVA", "0030DITTA 0030"});
    b.motore.carica_tabelle(dir);
    b.motore.aggiorna_ditte(dir, "ditte.faf");
    EXPECT_EQ(b.motore.tabella_ditte.size(), 22u);
    EXPECT_EQ(b.motore.tabella_ditte[10].riga(), ditta_("000", "0020", "ALTRO"));
    EXPECT_EQ(b.motore.tabella_ditte[11].riga(), t[9]);
    auto s = b.scritto("ditte.tda");
    ASSERT_EQ(s.size(), 21u);
    EXPECT_EQ(s[5], ditta_("000", "0011", "NUOVA"));
    EXPECT_EQ(s[10], ditta_("000", "0020", "ALTRO"));
    EXPECT_EQ(s[11], t[10]);
    EXPECT_EQ(s[15], ditta_("000", "0030", "DITTA 0030"));
}

TEST(riduci, principi_attivi_solo_il_primo_del_codice_usato_da_farmaci_A) {
    banco b;
    b.motore.tabella_farmaci = {record_farmaco(farmaco_prova{"00A", "1", "X", " ", "", " ", "", "", "P1"}.riga()),
                                record_farmaco(farmaco_prova{"000", "2", "Y", " ", "", " ", "", "", "P2"}.riga())};
    b.motore.tabella_principi_attivi = {record_principio_attivo(pa("000", "P2", "B")),
                                        record_principio_attivo(pa("000", "P1", "A")),
                                        record_principio_attivo(pa("C00", "P1", "C"))};
    b.motore.riduci_principi_attivi();
    EXPECT_EQ(b.motore.testo_principi_attivi(), righe({pa("000", "P2", "B"), pa("00A", "P1", "A"), pa("C00", "P1", "C")}));
}

TEST(riduci, atc_livelli_codici_mancanti_e_spazi) {
    banco b;
    b.motore.tabella_farmaci = {
        record_farmaco(farmaco_prova{"C0A", "1", "X", " ", "", " ", "", "A10BA02"}.riga()),
        record_farmaco(farmaco_prova{"000", "2", "Y", " ", "", " ", "", "B01AC06"}.riga()),
        record_farmaco(farmaco_prova{"00A", "3", "Z", " ", "", " ", "", "N02"}.riga())};
    b.motore.tabella_atc = {record_atc(atc("000", "4A10BA02", "a")), record_atc(atc("000", " 3A10BA", "b")),
                            record_atc(atc("000", "1A10", "d")),     record_atc(atc("000", "0A", "e")),
                            record_atc(atc("000", "0A", "e2")),      record_atc(atc("000", "4B01AC06", "f")),
                            record_atc(atc("000", "  0N", "g"))};
    b.motore.riduci_atc();
    // "2A10B" is missing: nothing marked for it, the walk goes on. "N02"
    // taken with its blanks walks "4N02    " -> "3N02  " -> "2N02 " ->
    // "1N02" -> "0N": the last one matches once stripped.
    EXPECT_EQ(b.motore.testo_atc(),
              righe({atc("00A", "4A10BA02", "a"), atc("00A", "3A10BA", "b"), atc("00A", "1A10", "d"),
                     atc("00A", "0A", "e"), atc("000", "0A", "e2"), atc("000", "4B01AC06", "f"),
                     atc("00A", "0N", "g")}));
}
