// The zip library under the test world's packages. Good packages go through
// the real extractor in the update form's Wine tests; here, what those never
// meet: damaged archives and names that would escape the folder.

#include <gtest/gtest.h>

#include <random>

#include "mondo_prova/pacchetto/archivio_zip.hpp"

namespace {

using namespace j8::pacchetto;

std::string casuali(std::size_t n, unsigned seme) {
    std::mt19937 g(seme);
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(g());
    return s;
}

// The reader's message, or "" when it accepts the archive.
std::string messaggio_di(std::string_view dati) {
    try {
        leggi_zip(dati);
    } catch (const errore_zip& e) {
        return e.what();
    }
    return "";
}

TEST(archivio_zip, ogni_danno_e_ogni_nome_che_uscirebbe_dalla_cartella_rifiutati) {
    const std::string uno = scrivi_zip({{"a.bin", casuali(300, 5)}});
    for (std::size_t n = 0; n < uno.size(); ++n)
        EXPECT_NE(messaggio_di(std::string_view(uno).substr(0, n)), "") << "cut at " << n;
    std::string cambiato = uno;
    cambiato[30 + 5 + 100] ^= 1;
    EXPECT_NE(messaggio_di(cambiato).find("CRC di \"a.bin\""), std::string::npos);

    // Names that would escape the folder.
    const auto forgiato = [](std::string archivio, const std::string& da, const std::string& a) {
        for (auto p = archivio.find(da); p != std::string::npos; p = archivio.find(da, p + 1))
            archivio.replace(p, da.size(), a);
        return messaggio_di(archivio);
    };
    for (const std::string cattivo : {"../pwd", "/etc/p", "c:\\pwd", "..\\abc"})
        EXPECT_NE(forgiato(scrivi_zip({{"abcdef", "x"}}), "abcdef", cattivo).find("non ammesso"), std::string::npos)
            << cattivo;
    // Two names that are one file on Windows.
    EXPECT_NE(forgiato(scrivi_zip({{"x1", "a"}, {"x2", "b"}}), "x2", "X1").find("due volte"), std::string::npos);
    EXPECT_TRUE(nome_ammesso("..x"));
}

}  // namespace
