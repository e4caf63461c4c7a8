// j8_pacchetto as a person runs it. The Wine tests make their packages
// with it (the extractor beside the tool) and extract them; here: where
// else the extractor is looked for, and mistakes that must change nothing.

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <tuple>

#include "mondo_prova/pacchetto/archivio_zip.hpp"
#include "mondo_prova/pacchetto/strumento_pacchetto.hpp"

namespace {

using namespace j8::pacchetto;
namespace fs = std::filesystem;

TEST(strumento_j8_pacchetto, cerca_l_estrattore_in_ordine_e_gli_sbagli_non_cambiano_nulla) {
    // Laid out as the repository's build folders: build/bin holds the
    // native tool, build-win/bin the Windows programs.
    const fs::path radice = fs::temp_directory_path() / ("prova_j8_pacchetto_" + std::to_string(std::random_device{}()));
    const fs::path programma = radice / "build" / "bin", estrattore = programma / "estrattore_pacchetto.exe";
    const auto in = [&](const fs::path& p) { return (radice / p).string(); };
    for (const char* d : {"build/bin", "build-win/bin", "dati/altri"}) fs::create_directories(radice / d);
    scrivi_tutto(radice / "dati" / "farmaci.faf", "012345678ASPIRINA\r\n");
    scrivi_tutto(radice / "dati" / "altri" / "atc.faf", std::string(3000, 'A'));
    scrivi_tutto(radice / "dati" / "altri" / "FARMACI.FAF", "altro");
    std::ostringstream uscita, errori;
    const auto esegui = [&](std::vector<std::string> argomenti) {
        uscita.str("");
        errori.str("");
        return esegui_j8_pacchetto(argomenti, programma, uscita, errori);
    };

    const std::string vecchio = in("j8000001.exe"), farmaci = in("dati/farmaci.faf");
    const std::tuple<std::vector<std::string>, int, std::string> sbagli[] = {
        {{vecchio, farmaci}, 1, "estrattore_pacchetto.exe"},  // none anywhere
        {{vecchio, farmaci, in("dati/manca.faf")}, 1, "manca.faf"},
        {{vecchio, farmaci, in("dati/altri/FARMACI.FAF")}, 1, "due volte"},  // one file on Windows
        {{estrattore.string(), farmaci}, 1, "estrattore"},
        {{}, 2, "Uso: j8_pacchetto"},
        {{vecchio}, 2, "Uso: j8_pacchetto"},
        {{"--estrattore"}, 2, "--estrattore"},
        {{"--boh", vecchio, farmaci}, 2, "--boh"},
    };
    for (const auto& [argomenti, codice, atteso] : sbagli) {
        scrivi_tutto(vecchio, "PACCHETTO PRECEDENTE");
        EXPECT_EQ(esegui(argomenti), codice) << atteso;
        EXPECT_NE(errori.str().find(atteso), std::string::npos) << errori.str();
        EXPECT_EQ(leggi_tutto(vecchio), "PACCHETTO PRECEDENTE") << atteso;
        if (!fs::exists(estrattore)) scrivi_tutto(estrattore, "ACCANTO");  // from the second case on
    }
    EXPECT_EQ(leggi_tutto(estrattore), "ACCANTO") << "the extractor is never overwritten";

    // Beside the tool first, else ../../build-win/bin; --estrattore beats both.
    const auto testa = [&](std::vector<std::string> argomenti) {
        argomenti.insert(argomenti.end(), {farmaci, in("dati/altri/atc.faf")});
        EXPECT_EQ(esegui(argomenti), 0) << errori.str();
        return leggi_tutto(argomenti[argomenti.size() - 3]).substr(0, 3);
    };
    scrivi_tutto(radice / "build-win" / "bin" / "estrattore_pacchetto.exe", "WIN");
    EXPECT_EQ(testa({in("p1.exe")}), "ACC");
    fs::remove(estrattore);
    EXPECT_EQ(testa({in("p2.exe")}), "WIN");
    scrivi_tutto(radice / "mio.exe", "MIO");
    EXPECT_EQ(testa({"--estrattore", in("mio.exe"), in("p3.exe")}), "MIO");
    const auto voci = leggi_zip(leggi_tutto(radice / "p3.exe"));  // under their plain names
    ASSERT_EQ(voci.size(), 2u);
    EXPECT_EQ(voci[1].nome, "atc.faf");
    EXPECT_EQ(voci[1].dati, std::string(3000, 'A'));
    fs::remove_all(radice);
}

}  // namespace
