#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "mondo_prova/pacchetto/archivio_zip.hpp"
#include "mondo_prova/pacchetto/strumento_pacchetto.hpp"

namespace {

using j8::pacchetto::esegui_j8_pacchetto;
using j8::pacchetto::leggi_tutto;
using j8::pacchetto::leggi_zip;
using j8::pacchetto::scrivi_tutto;
namespace fs = std::filesystem;

const std::string finto_estrattore = std::string("MZ\x90\0finto estrattore", 20);

class strumento_j8_pacchetto : public ::testing::Test {
protected:
    void SetUp() override {
        radice_ = fs::temp_directory_path() /
                  ("prova_j8_pacchetto_" + std::to_string(std::random_device{}()));
        // Laid out as the repository's build folders: build/bin holds the
        // native tool, build-win/bin the Windows programs.
        programma_ = radice_ / "build" / "bin";
        fs::create_directories(programma_);
        fs::create_directories(radice_ / "build-win" / "bin");
        fs::create_directories(radice_ / "dati" / "altri");
        scrivi_tutto(radice_ / "dati" / "farmaci.faf", "012345678ASPIRINA\r\n");
        scrivi_tutto(radice_ / "dati" / "altri" / "atc.faf", std::string(3000, 'A'));
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(radice_, ec);
    }
    int esegui(std::vector<std::string> argomenti) {
        uscita_.str("");
        errori_.str("");
        return esegui_j8_pacchetto(argomenti, programma_, uscita_, errori_);
    }
    std::string percorso(const fs::path& p) const { return (radice_ / p).string(); }

    fs::path radice_, programma_;
    std::ostringstream uscita_, errori_;
};

TEST_F(strumento_j8_pacchetto, il_pacchetto_e_l_estrattore_seguito_dai_file_col_solo_nome) {
    scrivi_tutto(programma_ / "estrattore_pacchetto.exe", finto_estrattore);
    ASSERT_EQ(esegui({percorso("j8000123.exe"), percorso("dati/farmaci.faf"),
                      percorso("dati/altri/atc.faf")}),
              0)
        << errori_.str();
    const std::string pacchetto = leggi_tutto(radice_ / "j8000123.exe");
    EXPECT_EQ(pacchetto.substr(0, finto_estrattore.size()), finto_estrattore);
    const auto voci = leggi_zip(pacchetto);
    ASSERT_EQ(voci.size(), 2u);
    EXPECT_EQ(voci[0].nome, "farmaci.faf");
    EXPECT_EQ(voci[0].dati, "012345678ASPIRINA\r\n");
    EXPECT_EQ(voci[1].nome, "atc.faf");
    EXPECT_EQ(voci[1].dati, std::string(3000, 'A'));
    EXPECT_NE(uscita_.str().find("2 file"), std::string::npos);
}

TEST_F(strumento_j8_pacchetto, cerca_l_estrattore_nell_ordine_dell_uso) {
    // Only the Windows build has it: found through ../../build-win/bin.
    scrivi_tutto(radice_ / "build-win" / "bin" / "estrattore_pacchetto.exe", "WIN");
    ASSERT_EQ(esegui({percorso("p1.exe"), percorso("dati/farmaci.faf")}), 0) << errori_.str();
    EXPECT_EQ(leggi_tutto(radice_ / "p1.exe").substr(0, 3), "WIN");

    // One beside the tool comes first.
    scrivi_tutto(programma_ / "estrattore_pacchetto.exe", "ACCANTO");
    ASSERT_EQ(esegui({percorso("p2.exe"), percorso("dati/farmaci.faf")}), 0);
    EXPECT_EQ(leggi_tutto(radice_ / "p2.exe").substr(0, 7), "ACCANTO");

    // An explicit one beats both.
    scrivi_tutto(radice_ / "mio.exe", "MIO");
    ASSERT_EQ(esegui({"--estrattore", percorso("mio.exe"), percorso("p3.exe"), percorso("dati/farmaci.faf")}), 0);
    EXPECT_EQ(leggi_tutto(radice_ / "p3.exe").substr(0, 3), "MIO");
}

TEST_F(strumento_j8_pacchetto, errori_lasciano_intatto_cio_che_c_era) {
    // No extractor anywhere.
    EXPECT_EQ(esegui({percorso("p.exe"), percorso("dati/farmaci.faf")}), 1);
    EXPECT_NE(errori_.str().find("estrattore_pacchetto.exe"), std::string::npos);
    EXPECT_FALSE(fs::exists(radice_ / "p.exe"));

    scrivi_tutto(programma_ / "estrattore_pacchetto.exe", finto_estrattore);
    scrivi_tutto(radice_ / "j8000001.exe", "PACCHETTO PRECEDENTE");
    // A missing input: the old package stays as it was.
    EXPECT_EQ(esegui({percorso("j8000001.exe"), percorso("dati/farmaci.faf"), percorso("dati/manca.faf")}), 1);
    EXPECT_NE(errori_.str().find("manca.faf"), std::string::npos);
    EXPECT_EQ(leggi_tutto(radice_ / "j8000001.exe"), "PACCHETTO PRECEDENTE");

    // Two inputs with the same plain name would clobber each other.
    scrivi_tutto(radice_ / "dati" / "altri" / "FARMACI.FAF", "altro");
    EXPECT_EQ(esegui({percorso("j8000001.exe"), percorso("dati/farmaci.faf"),
                      percorso("dati/altri/FARMACI.FAF")}),
              1);
    EXPECT_NE(errori_.str().find("due volte"), std::string::npos);
    EXPECT_EQ(leggi_tutto(radice_ / "j8000001.exe"), "PACCHETTO PRECEDENTE");

    // The extractor itself is never overwritten.
    EXPECT_EQ(esegui({(programma_ / "estrattore_pacchetto.exe").string(), percorso("dati/farmaci.faf")}), 1);
    EXPECT_EQ(leggi_tutto(programma_ / "estrattore_pacchetto.exe"), finto_estrattore);
}

TEST_F(strumento_j8_pacchetto, argomenti_sbagliati_mostrano_l_uso) {
    EXPECT_EQ(esegui({}), 2);
    EXPECT_NE(errori_.str().find("Uso: j8_pacchetto"), std::string::npos);
    EXPECT_EQ(esegui({percorso("solo_uscita.exe")}), 2);
    EXPECT_EQ(esegui({"--estrattore"}), 2);
    EXPECT_NE(errori_.str().find("--estrattore"), std::string::npos);
    EXPECT_EQ(esegui({"--boh", "a.exe", "b"}), 2);
    EXPECT_NE(errori_.str().find("--boh"), std::string::npos);
    EXPECT_EQ(esegui({"--help"}), 0);
    EXPECT_NE(uscita_.str().find("build-win/bin"), std::string::npos);
    EXPECT_FALSE(fs::exists(radice_ / "solo_uscita.exe"));
}

}  // namespace
