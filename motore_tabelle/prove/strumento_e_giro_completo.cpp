// The j8_tabelle tool on a real directory: a generated database that
// survives an update with empty files byte for byte, the contract on bad
// input (exit status 2, nothing written), and the local files' safe write.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "comune/file_locali.hpp"
#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;
namespace fs = std::filesystem;

namespace {

const char* const tabelle[] = {"farmaci.tda", "principi_attivi.tda", "atc.tda", "ditte.tda", "notessn.tda"};

class strumento : public ::testing::Test {
protected:
    fs::path dir = fs::temp_directory_path() /
                   ("j8_prova_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
                    ::testing::UnitTest::GetInstance()->current_test_info()->name());
    void SetUp() override {
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    std::string leggi(const std::string& nome) { return file_locali().leggi_file((dir / nome).string()); }
    void scrivi(const std::string& nome, const std::string& c) { file_locali().scrivi_file((dir / nome).string(), c); }
    std::map<std::string, std::string> tutte() {
        std::map<std::string, std::string> m;
        for (auto t : tabelle) m[t] = leggi(t);
        return m;
    }
    // The exit status; standard error and output into `errore`, `uscita`.
    int esegui(const std::string& argomenti, std::string* errore = nullptr, std::string* uscita = nullptr) {
        const std::string cmd = std::string(J8_TABELLE) + " " + argomenti + " >" + (dir / "out.txt").string() +
                                " 2>" + (dir / "err.txt").string();
        const int r = std::system(cmd.c_str());
        if (errore) *errore = leggi("err.txt");
        if (uscita) *uscita = leggi("out.txt");
        return WEXITSTATUS(r);
    }
    // A small database as the main application keeps it: sorted, with
    // normalised status codes.
    void genera(int n) {
        righe_testo f, p, a, d;
        for (int i = 0; i < n; ++i) {
            const std::string codice = std::to_string(1000000000 + (i * 7919) % 100000).substr(1);
            f.push_back(farmaco_prova{i % 3 ? "000" : "C0A", codice,
                                      "FARMACO " + std::to_string(100000 + i).substr(1) + " \x92", i % 3 ? " " : "S",
                                      "20200101", "B", "", "A10BA0" + std::to_string(i % 10)}
                            .riga());
        }
        for (int i = 0; i < n / 10 + 12; ++i) {
            const std::string k = std::to_string(10000 + i).substr(1), nome = "PA0" + k;
            p.push_back(pa("000", "00" + k, nome));
            a.push_back(atc("000", " 4X" + k, nome));
            d.push_back(ditta_("000", k, nome));
        }
        scrivi("farmaci.tda", righe(f));
        scrivi("principi_attivi.tda", righe(p));
        scrivi("atc.tda", righe(a));
        scrivi("ditte.tda", righe(d));
        scrivi("notessn.tda", righe(righe_testo(3, "00001X23" + std::string(50, 'c') + std::string(4000, 't'))));
    }
};

}  // namespace

TEST_F(strumento, giro_completo_input_errato_secondario_doppi_e_riduci) {
    const std::string d = dir.string();
    // No table: exit status 2, one line naming the file, no usage text.
    std::string errore;
    EXPECT_EQ(esegui("doppi " + d, &errore), 2);
    EXPECT_EQ(errore.rfind("j8_tabelle: " + d + "/farmaci.tda: ", 0), 0u) << errore;
    EXPECT_EQ(std::count(errore.begin(), errore.end(), '\n'), 1);
    EXPECT_EQ(esegui("secondario " + d), 2);
    EXPECT_FALSE(fs::exists(dir / "farmaci_secondario_completo.tda"));
    genera(3000);
    const auto prima = tutte();
    // Bad input: exit status 2, nothing written. The unknown name comes
    // last: nothing is applied before it is seen.
    scrivi("farmaci.faf", farmaco_prova{"", "000099999", "NUOVO"}.variazione() + "\r\n");
    scrivi("generici.faf", "x\r\n");
    const std::pair<std::string, std::string> casi[] = {
        {"aggiorna " + d + " farmaci.faf generici.faf", "generici.faf"},
        {"aggiorna " + d + " farmaci.faf atc.faf", "atc.faf"},
        {"aggiorna " + d + " --oggi 20231301 farmaci.faf", "20231301"},
        {"aggiorna " + d + " farmaci.faf --oggi", "--oggi"},
        {"aggiorna " + (dir / "manca").string() + " farmaci.faf", "manca"},
        {"aggiorna " + d, "nessun file"},
        {"ordina " + d, "ordina"},
        {"doppi", "argomenti mancanti"},
        {"doppi " + d + " x", "troppi argomenti"}};
    for (const auto& [argomenti, atteso] : casi) {
        EXPECT_EQ(esegui(argomenti, &errore), 2) << argomenti;
        EXPECT_NE(errore.find(atteso), std::string::npos) << argomenti << ": " << errore;
    }
    EXPECT_EQ(tutte(), prima);
    // Empty update files leave the tables identical byte for byte.
    for (auto v : {"FARMACI.FAF", "notessn.faf", "principi_attivi.faf", "atc.faf", "ditte.faf"}) scrivi(v, "");
    ASSERT_EQ(
        esegui("aggiorna " + d + " --oggi 20240101 FARMACI.FAF notessn.faf principi_attivi.faf atc.faf ditte.faf"), 0);
    EXPECT_EQ(tutte(), prima);
    // One new drug, one cancelled by its flag, one replaced.
    scrivi("farmaci.faf", righe({farmaco_prova{"", "000099999", "AAA NUOVO"}.variazione(),
                                 farmaco_prova{"", "000007919", "FARMACO 00001", "S"}.variazione(),
                                 farmaco_prova{"", "000015838", "FARMACO 00002"}.variazione()}));
    scrivi("ditte.faf", "0002ALTRA\n");
    std::string conteggi;
    ASSERT_EQ(esegui("aggiorna " + d + " --conteggi farmaci.faf ditte.faf", nullptr, &conteggi), 0);
    EXPECT_EQ(conteggi,
              "farmaci.faf: 1 aggiunte, 1 sostituite, 1 rimosse\n"
              "ditte.faf: 1 aggiunte, 0 sostituite, 1 rimosse\n");
    auto f = dividi(leggi("farmaci.tda"));
    ASSERT_EQ(f.size(), 3001u);
    ASSERT_EQ(esegui("secondario " + d), 0);
    // 2000 of 3000 are not "C", plus the new one, less the cancelled one.
    EXPECT_EQ(dividi(leggi("farmaci_secondario_completo.tda")).size(), 2000u);
    scrivi("farmaci.tda", righe({f[0], f[0], f[1]}));
    ASSERT_EQ(esegui("doppi " + d), 0);
    EXPECT_EQ(leggi("farmaci.tda"), righe({f[0], f[1]}));
    EXPECT_FALSE(fs::exists(dir / "farmaci.$$$"));
    // The reductions go to standard output, the tables untouched.
    std::string uscita;
    scrivi("farmaci.tda", farmaco_prova{"00A", "1", "X", " ", "", " ", "", "A10BA01", "000003"}.riga());
    ASSERT_EQ(esegui("riduci " + d, nullptr, &uscita), 0);
    auto r = dividi(uscita);
    ASSERT_EQ(r.size(), 2u * 312);
    EXPECT_EQ(uscita.find("\r\n"), 206u);
    EXPECT_EQ(r[3].substr(0, 9), "00A000003");
    EXPECT_EQ(leggi("atc.tda"), prima.at("atc.tda"));
}

// A write that fails half-way leaves the file as it was and no temporary
// file beside it.
TEST_F(strumento, scrittura_interrotta_lascia_il_file_com_era) {
    const std::string percorso = (dir / "farmaci.tda").string();
    file_locali file;
    file.scrivi_file(percorso, "vecchio\r\n");
    EXPECT_THROW(file.scrivi_a_blocchi(percorso,
                                       [](const file_tabelle::ricevi_blocco& scrivi) {
                                           scrivi("nuovo\r\n");
                                           throw errore_file("farmaci.faf", "riga illeggibile");
                                       }),
                 errore_file);
    EXPECT_EQ(file.leggi_file(percorso), "vecchio\r\n");
    EXPECT_FALSE(fs::exists(percorso + suffisso_scrittura));
}

// Room reserved for a size the content does not reach is given back: the
// file holds the content and no more, on the disk too.
TEST_F(strumento, spazio_riservato_e_non_usato_restituito) {
    file_locali file;
    const std::string percorso = (dir / "ditte.tda").string();
    file.scrivi_a_blocchi(percorso, [](const file_tabelle::ricevi_blocco& scrivi) { scrivi("0001ALFA\r\n"); }, 8 << 20);
    EXPECT_EQ(leggi("ditte.tda"), "0001ALFA\r\n");
    struct stat st {};
    ASSERT_EQ(stat(percorso.c_str(), &st), 0);
    EXPECT_LT(st.st_blocks * 512, 1 << 20);
}

// A whole file as leggi_file gives it: mapped when it can be, read when it
// says 0 bytes (as the system's own files do), refused when it is missing or
// a directory.
TEST_F(strumento, file_letto_intero_come_a_blocchi) {
    file_locali file;
    const std::string percorso = (dir / "farmaci.tda").string();
    for (const std::string& testo : {std::string("000123\r\n\0\xff", 10), std::string()}) {
        file.scrivi_file(percorso, testo);
        EXPECT_EQ(file.leggi_intero(percorso)->byte, testo);
    }
    EXPECT_EQ(file.leggi_intero("/proc/self/status")->byte.substr(0, 5), "Name:");
    for (const auto& [p, problema] : {std::pair{dir.string(), "e' un direttorio, non un file"},
                                      std::pair{(dir / "manca").string(), "impossibile leggere il file, file non trovato"}})
        try {
            file.leggi_intero(p);
            ADD_FAILURE() << p;
        } catch (const errore_file& e) {
            EXPECT_EQ(e.problema(), problema);
            EXPECT_EQ(e.percorso(), p);
        }
}

// The drug table and the side tables go on two engines side by side: a
// second drug file in one call finds the rows the first one sorted, and a
// table that cannot be written stops its own group only.
TEST_F(strumento, due_file_farmaci_in_una_chiamata_e_una_tabella_non_scrivibile) {
    genera(60);
    scrivi("farmaci.faf", righe({farmaco_prova{"", "000099999", "AAA NUOVO"}.variazione(),
                                 farmaco_prova{"", "000015838", "ZZZ RINOMINATO"}.variazione()}));
    scrivi("ditte.faf", "0002ALTRA\n");
    scrivi("notessn.faf", "");
    const auto prima = tutte();
    ASSERT_EQ(esegui("aggiorna " + dir.string() + " farmaci.faf"), 0);
    ASSERT_EQ(esegui("aggiorna " + dir.string() + " farmaci.faf"), 0);
    const std::string due_chiamate = leggi("farmaci.tda");
    for (const auto& [nome, testo] : prima) scrivi(nome, testo);
    std::string conteggi;
    ASSERT_EQ(esegui("aggiorna " + dir.string() + " --conteggi farmaci.faf farmaci.faf", nullptr, &conteggi), 0);
    EXPECT_EQ(conteggi,
              "farmaci.faf: 1 aggiunte, 1 sostituite, 0 rimosse\n"
              "farmaci.faf: 0 aggiunte, 2 sostituite, 0 rimosse\n");
    EXPECT_EQ(leggi("farmaci.tda"), due_chiamate);

    for (const auto& [nome, testo] : prima) scrivi(nome, testo);
    fs::create_directory(dir / ("notessn.tda" + std::string(suffisso_scrittura)));
    std::string errore;
    EXPECT_EQ(esegui("aggiorna " + dir.string() + " --conteggi notessn.faf farmaci.faf ditte.faf", &errore, &conteggi),
              2);
    EXPECT_NE(errore.find("notessn.tda: impossibile scrivere il file"), std::string::npos) << errore;
    EXPECT_EQ(conteggi, "farmaci.faf: 1 aggiunte, 1 sostituite, 0 rimosse\n");
    EXPECT_NE(leggi("farmaci.tda"), prima.at("farmaci.tda"));
    EXPECT_EQ(leggi("ditte.tda"), prima.at("ditte.tda"));
}
