// The zip library under the test world's packages. Packages made with
// j8_pacchetto and run by the update are checked end to end under Wine
// (prove_win here and in j8_form_aggiornamento: a missing folder made, an
// older read-only copy replaced, a damaged package refused); here, what
// those cannot reach: every kind of damage, names that would escape.

#include <gtest/gtest.h>

#include <random>

#include "mondo_prova/pacchetto/archivio_zip.hpp"

namespace {

using namespace j8::pacchetto;
namespace fs = std::filesystem;

std::string casuali(std::size_t n, unsigned seme) {
    std::mt19937 g(seme);
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(g());
    return s;
}

std::string ripetuti(std::size_t righe) {
    std::string s;
    for (std::size_t i = 0; i < righe; ++i) s += "012345678 FARMACO DI PROVA " + std::to_string(i % 7) + "\r\n";
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

TEST(archivio_zip, andata_e_ritorno_conserva_nomi_ordine_e_byte) {
    const std::vector<voce_zip> voci = {{"farmaci.faf", ripetuti(3000)}, {"vuoto.tda", ""},
                                        {"casuale.bin", casuali(5000, 7)}, {"Ditte.NEW", std::string("a\0\xff\r\n", 5)}};
    const std::string archivio = scrivi_zip(voci);
    EXPECT_LT(archivio.size(), 5000 + 1000u) << "the table deflated, the random bytes not grown";
    EXPECT_EQ(scrivi_zip(voci), archivio) << "same files, same package";
    EXPECT_TRUE(leggi_zip(scrivi_zip({})).empty());
    const auto lette = leggi_zip("MZ" + casuali(70000, 3) + archivio);  // after the extractor program
    ASSERT_EQ(lette.size(), voci.size());
    for (std::size_t i = 0; i < voci.size(); ++i)
        EXPECT_TRUE(lette[i].nome == voci[i].nome && lette[i].dati == voci[i].dati) << voci[i].nome;
}

TEST(archivio_zip, ogni_danno_e_rifiutato_con_messaggio_chiaro) {
    const std::string compresso = scrivi_zip({{"farmaci.faf", ripetuti(500)}});
    for (std::size_t n = 0; n < compresso.size(); ++n)
        EXPECT_NE(messaggio_di(std::string_view(compresso).substr(0, n)), "") << "cut at " << n;
    for (std::size_t i = 30 + 11; i < compresso.size() - 46 - 11 - 22; ++i) {
        std::string c = compresso;
        c[i] ^= 0x5a;
        EXPECT_NE(messaggio_di(c), "") << "deflated byte " << i;
    }

    // One byte changed, in a stored file or in the headers of two entries.
    const auto cambiato = [](std::string d, std::size_t dove, int piu) {
        d[dove] = static_cast<char>(d[dove] + piu);
        return d;
    };
    const std::string uno = scrivi_zip({{"a.bin", casuali(300, 5)}});
    const std::string due = scrivi_zip({{"a.txt", ripetuti(50)}, {"b.txt", "bbb"}});
    const std::size_t centrale = due.size() - 22 - 2 * (46 + 5);
    const std::pair<std::string, std::string> casi[] = {
        {cambiato(uno, 30 + 5 + 100, 1), "CRC di \"a.bin\""},
        {cambiato(uno, uno.size() - 22 - 51 + 16, 1), "CRC di \"a.bin\""},  // the recorded one
        {cambiato(due, centrale + 10, 12 - 8), "metodo di compressione"},  // bzip2
        {cambiato(due, centrale + 8, 1), "cifrato"},
        {cambiato(due, centrale + 24, 1), "danneggiato"},  // size
        {cambiato(due, centrale + 42, 7), "danneggiato"},  // local header offset
        {cambiato(cambiato(due, due.size() - 14, 1), due.size() - 12, 1), "danneggiato"},  // entry count
        {cambiato(due, due.size() - 18, 1), "dischi"},
        {due.substr(0, 100) + due.substr(150), "danneggiato"},
        {casuali(4000, 11), "manca il record finale"},
    };
    for (const auto& [dati, atteso] : casi)
        EXPECT_NE(messaggio_di(dati).find(atteso), std::string::npos) << atteso << ": " << messaggio_di(dati);
}

TEST(archivio_zip, nomi_che_uscirebbero_dalla_cartella_sono_rifiutati) {
    for (const char* buono : {"farmaci.faf", "a", "nome con spazi.txt", "..x"})
        EXPECT_TRUE(nome_ammesso(buono)) << buono;
    for (const char* cattivo : {"", ".", "..", "../x", "..\\x", "/etc", "\\x", "c:x", "d/x", "a\tb"})
        EXPECT_FALSE(nome_ammesso(cattivo)) << cattivo;

    // Forged archives: a name rewritten in both headers, same length.
    const auto forgiato = [](std::string archivio, const std::string& da, const std::string& a) {
        for (auto p = archivio.find(da); p != std::string::npos; p = archivio.find(da, p + 1))
            archivio.replace(p, da.size(), a);
        return messaggio_di(archivio);
    };
    for (const std::string cattivo : {"../pwd", "/etc/p", "c:\\pwd", "dir/ab", "..\\abc"})
        EXPECT_NE(forgiato(scrivi_zip({{"abcdef", "x"}}), "abcdef", cattivo).find("non ammesso"), std::string::npos)
            << cattivo;
    // Two names that are one file on Windows.
    EXPECT_NE(forgiato(scrivi_zip({{"x1", "a"}, {"x2", "b"}}), "x2", "X1").find("due volte"), std::string::npos);
    EXPECT_THROW(scrivi_zip({{"Atc.faf", "a"}, {"ATC.FAF", "b"}}), errore_zip);
    EXPECT_THROW(scrivi_zip({{"../x", "a"}}), errore_zip);

    // An entry built by hand cannot climb out of the folder either.
    const fs::path radice = fs::temp_directory_path() / ("prova_zip_" + std::to_string(std::random_device{}()));
    EXPECT_THROW(estrai_voci({{"../fuori.txt", "x"}}, radice / "d"), errore_zip);
    EXPECT_FALSE(fs::exists(radice / "fuori.txt"));
    fs::remove_all(radice);
}

}  // namespace
