// The j8_tabelle tool on a real directory: a generated database that
// survives an update with empty files byte for byte, and the contract on
// bad input (exit status 2, nothing written).

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "motore_tabelle/prove/comune.hpp"

using namespace j8;
using namespace j8::prova;
namespace fs = std::filesystem;

namespace {

std::string leggi(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}
void scrivi(const fs::path& p, const std::string& c) { std::ofstream(p, std::ios::binary) << c; }

class strumento : public ::testing::Test {
protected:
    fs::path dir;
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("j8_prova_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    int esegui(const std::string& argomenti, std::string* errore = nullptr, std::string* uscita = nullptr) {
        std::string cmd = std::string(J8_TABELLE) + " " + argomenti + " >" + (dir / "out.txt").string() + " 2>" +
                          (dir / "err.txt").string();
        int r = std::system(cmd.c_str());
        if (errore) *errore = leggi(dir / "err.txt");
        if (uscita) *uscita = leggi(dir / "out.txt");
        fs::remove(dir / "out.txt");
        fs::remove(dir / "err.txt");
        return WEXITSTATUS(r);
    }

    // A small database as the main application keeps it: sorted, with
    // normalised status codes.
    void genera(int n) {
        std::vector<std::string> f, p, a, d, no;
        for (int i = 0; i < n; ++i) {
            char codice[16], nome[40];
            std::snprintf(codice, sizeof codice, "%09d", (i * 7919) % 100000);
            std::snprintf(nome, sizeof nome, "FARMACO %05d \x92", i);
            farmaco_prova x{i % 3 ? "000" : "C0A", codice, nome, i % 3 ? " " : "S", "20200101", "B"};
            x.campo_4 = "A10BA0" + std::to_string(i % 10);
            f.push_back(x.riga());
        }
        for (int i = 0; i < n / 10 + 12; ++i) {
            char c[16], nome[16];
            std::snprintf(c, sizeof c, "%06d", i);
            std::snprintf(nome, sizeof nome, "PA%05d", i);
            p.push_back("000" + std::string(c) + nome + std::string(197 - 7, ' '));
            std::snprintf(c, sizeof c, "4X%04d", i);
            a.push_back("000 " + std::string(c) + " " + nome + std::string(94 - 7, ' '));
            std::snprintf(c, sizeof c, "%04d", i);
            d.push_back("000" + std::string(c) + std::string(nome) + "           ");
        }
        for (int i = 1; i <= 3; ++i) no.push_back("00001X23" + std::string(50, 'c') + std::string(4000, 't'));
        scrivi(dir / "farmaci.tda", righe(f));
        scrivi(dir / "principi_attivi.tda", righe(p));
        scrivi(dir / "atc.tda", righe(a));
        scrivi(dir / "ditte.tda", righe(d));
        scrivi(dir / "notessn.tda", righe(no));
    }
};

const char* const tabelle[] = {"farmaci.tda", "principi_attivi.tda", "atc.tda", "ditte.tda", "notessn.tda"};

}  // namespace

TEST_F(strumento, giro_completo_con_file_vuoti_lascia_le_tabelle_identiche) {
    genera(3000);
    std::map<std::string, std::string> prima;
    for (auto t : tabelle) prima[t] = leggi(dir / t);
    for (auto v : {"FARMACI.FAF", "notessn.faf", "principi_attivi.faf", "atc.faf", "ditte.faf"}) scrivi(dir / v, "");
    ASSERT_EQ(esegui("aggiorna " + dir.string() + " --oggi 20240101 FARMACI.FAF notessn.faf principi_attivi.faf "
                     "atc.faf ditte.faf"),
              0);
    for (auto t : tabelle) EXPECT_EQ(leggi(dir / t), prima[t]) << t;
}

TEST_F(strumento, aggiornamento_secondario_doppi_e_riduci) {
    genera(50);
    // One new drug, one cancelled by its flag, one replaced.
    scrivi(dir / "farmaci.faf", righe({farmaco_prova{"", "000099999", "AAA NUOVO"}.variazione(),
                                       farmaco_prova{"", "000007919", "FARMACO 00001", "S"}.variazione(),
                                       farmaco_prova{"", "000015838", "FARMACO 00002"}.variazione()}));
    scrivi(dir / "ditte.faf", "0002ALTRA\n");
    std::string conteggi;
    ASSERT_EQ(esegui("aggiorna " + dir.string() + " --conteggi farmaci.faf ditte.faf", nullptr, &conteggi), 0);
    EXPECT_EQ(conteggi,
              "farmaci.faf: 1 aggiunte, 1 sostituite, 1 rimosse\n"
              "ditte.faf: 1 aggiunte, 0 sostituite, 1 rimosse\n");
    auto f = dividi(leggi(dir / "farmaci.tda"));
    ASSERT_EQ(f.size(), 51u);
    EXPECT_EQ(campo_di(f[0], farmaco::codice), "000099999");
    // The new name goes in front of the old "0002", which the write drops.
    auto d = dividi(leggi(dir / "ditte.tda"));
    ASSERT_EQ(d.size(), 17u);
    EXPECT_EQ(d[2], "0000002ALTRA" + std::string(13, ' '));

    ASSERT_EQ(esegui("secondario " + dir.string()), 0);
    auto s = dividi(leggi(dir / "farmaci_secondario_completo.tda"));
    EXPECT_EQ(s.size(), 33u);  // 33 of 50 are not "C", plus the new one, less the cancelled one
    EXPECT_EQ(s[0].size(), 23u);

    scrivi(dir / "farmaci.tda", righe({f[0], f[0], f[1]}));
    ASSERT_EQ(esegui("doppi " + dir.string()), 0);
    EXPECT_EQ(leggi(dir / "farmaci.tda"), righe({f[0], f[1]}));
    EXPECT_FALSE(fs::exists(dir / "farmaci.$$$"));

    std::string uscita;
    scrivi(dir / "farmaci.tda", farmaco_prova{"00A", "1", "X", " ", "", " ", "", "A10BA01", "000003"}.riga());
    ASSERT_EQ(esegui("riduci " + dir.string(), nullptr, &uscita), 0);
    auto r = dividi(uscita);
    ASSERT_EQ(r.size(), 2u * 17);
    EXPECT_EQ(uscita.find("\r\n"), 206u);
    EXPECT_EQ(r[3].substr(0, 9), "00A000003");
    // The missing ATC code made the scan visit every code and strip it.
    EXPECT_EQ(r[17 + 0].substr(0, 11), "0004X0000  ");
    EXPECT_EQ(leggi(dir / "atc.tda").substr(0, 11), "000 4X0000 ");
}

TEST_F(strumento, input_errato_esce_con_2_senza_scrivere_nulla) {
    genera(20);
    scrivi(dir / "farmaci.faf", farmaco_prova{"", "000099999", "NUOVO"}.variazione() + "\r\n");
    scrivi(dir / "generici.faf", "x\r\n");
    std::map<std::string, std::string> prima;
    for (auto t : tabelle) prima[t] = leggi(dir / t);
    std::string errore;
    // The unknown name comes last: nothing is applied before it is seen.
    EXPECT_EQ(esegui("aggiorna " + dir.string() + " farmaci.faf generici.faf", &errore), 2);
    EXPECT_NE(errore.find("generici.faf"), std::string::npos);
    EXPECT_EQ(std::count(errore.begin(), errore.end(), '\n'), 1);
    EXPECT_EQ(esegui("aggiorna " + dir.string() + " farmaci.faf atc.faf", &errore), 2);
    EXPECT_NE(errore.find("atc.faf"), std::string::npos);
    EXPECT_EQ(esegui("aggiorna " + dir.string() + " --oggi 20231301 farmaci.faf"), 2);
    EXPECT_EQ(esegui("aggiorna " + (dir / "manca").string() + " farmaci.faf", &errore), 2);
    EXPECT_NE(errore.find("manca"), std::string::npos);
    EXPECT_EQ(esegui("aggiorna " + dir.string()), 2);
    EXPECT_EQ(esegui("ordina " + dir.string()), 2);
    EXPECT_EQ(esegui("doppi"), 2);
    for (auto t : tabelle) EXPECT_EQ(leggi(dir / t), prima[t]) << t;
    fs::remove(dir / "farmaci.tda");
    EXPECT_EQ(esegui("doppi " + dir.string(), &errore), 2);
    EXPECT_NE(errore.find("farmaci.tda"), std::string::npos);
    EXPECT_EQ(esegui("secondario " + dir.string()), 2);
    EXPECT_FALSE(fs::exists(dir / "farmaci_secondario_completo.tda"));
}
