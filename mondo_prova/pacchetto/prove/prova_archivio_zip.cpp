#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "mondo_prova/pacchetto/archivio_zip.hpp"

namespace {

using j8::pacchetto::errore_zip;
using j8::pacchetto::estrai_voci;
using j8::pacchetto::leggi_tutto;
using j8::pacchetto::leggi_zip;
using j8::pacchetto::nome_ammesso;
using j8::pacchetto::scrivi_tutto;
using j8::pacchetto::scrivi_zip;
using j8::pacchetto::voce_zip;
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

std::vector<voce_zip> voci_tipiche() {
    return {{"farmaci.faf", ripetuti(3000)},
            {"vuoto.tda", ""},
            {"casuale.bin", casuali(5000, 7)},
            {"Ditte.NEW", std::string("a\0b\xff\r\n", 6)}};
}

// Same-length rewrite of a name in both headers, to forge archives a
// careful writer would never make.
std::string cambia_nome(std::string archivio, const std::string& da, const std::string& a) {
    EXPECT_EQ(da.size(), a.size());
    for (auto p = archivio.find(da); p != std::string::npos; p = archivio.find(da, p + 1))
        archivio.replace(p, da.size(), a);
    return archivio;
}

std::string messaggio_di(const std::string& dati) {
    try {
        leggi_zip(dati);
    } catch (const errore_zip& e) {
        return e.what();
    }
    return "(nessun errore)";
}

TEST(archivio_zip, andata_e_ritorno_conserva_nomi_ordine_e_byte) {
    const auto voci = voci_tipiche();
    const std::string archivio = scrivi_zip(voci);
    // The repetitive table is deflated, the random bytes are not made
    // bigger: the archive is smaller than its contents.
    std::size_t totale = 0;
    for (const auto& v : voci) totale += v.dati.size();
    EXPECT_LT(archivio.size(), totale);
    EXPECT_LT(archivio.size(), 5000 + 1000u);

    const auto lette = leggi_zip(archivio);
    ASSERT_EQ(lette.size(), voci.size());
    for (std::size_t i = 0; i < voci.size(); ++i) {
        EXPECT_EQ(lette[i].nome, voci[i].nome);
        EXPECT_EQ(lette[i].dati, voci[i].dati) << voci[i].nome;
    }
    EXPECT_TRUE(leggi_zip(scrivi_zip({})).empty());
    // Same files, same bytes: packages are reproducible.
    EXPECT_EQ(scrivi_zip(voci), archivio);
}

TEST(archivio_zip, trova_l_archivio_dopo_un_programma_e_con_un_commento) {
    const auto voci = voci_tipiche();
    std::string pacchetto = "MZ" + casuali(70000, 3) + scrivi_zip(voci);
    auto lette = leggi_zip(pacchetto);
    ASSERT_EQ(lette.size(), voci.size());
    EXPECT_EQ(lette[2].dati, voci[2].dati);

    // A comment after the end record: the record is found all the same.
    std::string commentato = scrivi_zip(voci);
    commentato[commentato.size() - 2] = 5;
    commentato += "ciao!";
    EXPECT_EQ(leggi_zip(commentato).size(), voci.size());
    // A comment length that does not reach the end is not an end record.
    commentato += "x";
    EXPECT_THROW(leggi_zip(commentato), errore_zip);
}

TEST(archivio_zip, legge_un_archivio_scritto_da_un_altro_programma) {
    // Made by another zip writer: deflated and stored entries, a comment,
    // "version made by" Unix.
    const std::string altro(
        "\x50\x4b\x03\x04\x14\x00\x00\x00\x08\x00\x00\x00\x21\x00\x43\xbb\x07\x23\x15"
        "\x00\x00\x00\x3c\x00\x00\x00\x08\x00\x00\x00\x6e\x6f\x74\x65\x2e\x74\x78\x74"
        "\x2b\xca\x4c\x4f\x54\x28\xcd\xcb\xe7\xe5\x2a\x02\xb1\x52\x4a\x53\xa1\x2c\x22"
        "\xc4\x00\x50\x4b\x03\x04\x14\x00\x00\x00\x00\x00\x00\x00\x21\x00\x00\x00\x00"
        "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x09\x00\x00\x00\x76\x75\x6f\x74\x6f\x2e"
        "\x66\x61\x66\x50\x4b\x01\x02\x14\x03\x14\x00\x00\x00\x08\x00\x00\x00\x21\x00"
        "\x43\xbb\x07\x23\x15\x00\x00\x00\x3c\x00\x00\x00\x08\x00\x00\x00\x00\x00\x00"
        "\x00\x00\x00\x00\x00\x80\x01\x00\x00\x00\x00\x6e\x6f\x74\x65\x2e\x74\x78\x74"
        "\x50\x4b\x01\x02\x14\x03\x14\x00\x00\x00\x00\x00\x00\x00\x21\x00\x00\x00\x00"
        "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x09\x00\x00\x00\x00\x00\x00\x00\x00\x00"
        "\x00\x00\x80\x01\x3b\x00\x00\x00\x76\x75\x6f\x74\x6f\x2e\x66\x61\x66\x50\x4b"
        "\x05\x06\x00\x00\x00\x00\x02\x00\x02\x00\x6d\x00\x00\x00\x62\x00\x00\x00\x08"
        "\x00\x63\x6f\x6d\x6d\x65\x6e\x74\x6f",
        237);
    const auto lette = leggi_zip(altro);
    ASSERT_EQ(lette.size(), 2u);
    EXPECT_EQ(lette[0].nome, "note.txt");
    EXPECT_EQ(lette[0].dati, "riga uno\r\nriga due\r\nriga uno\r\nriga due\r\nriga uno\r\nriga due\r\n");
    EXPECT_EQ(lette[1].nome, "vuoto.faf");
    EXPECT_EQ(lette[1].dati, "");

    // An empty file deflated rather than stored.
    const std::string vuoto_compresso(
        "\x50\x4b\x03\x04\x14\x00\x00\x00\x08\x00\x00\x00\x21\x00\x00\x00\x00\x00\x02"
        "\x00\x00\x00\x00\x00\x00\x00\x05\x00\x00\x00\x76\x75\x6f\x74\x6f\x03\x00\x50"
        "\x4b\x01\x02\x14\x03\x14\x00\x00\x00\x08\x00\x00\x00\x21\x00\x00\x00\x00\x00"
        "\x02\x00\x00\x00\x00\x00\x00\x00\x05\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
        "\x00\x80\x01\x00\x00\x00\x00\x76\x75\x6f\x74\x6f\x50\x4b\x05\x06\x00\x00\x00"
        "\x00\x01\x00\x01\x00\x33\x00\x00\x00\x25\x00\x00\x00\x00\x00",
        110);
    const auto vuoto = leggi_zip(vuoto_compresso);
    ASSERT_EQ(vuoto.size(), 1u);
    EXPECT_EQ(vuoto[0].nome, "vuoto");
    EXPECT_EQ(vuoto[0].dati, "");
}

TEST(archivio_zip, archivio_troncato_a_ogni_lunghezza_e_rifiutato) {
    const std::string archivio = scrivi_zip(voci_tipiche());
    for (std::size_t n = 0; n < archivio.size(); ++n) {
        EXPECT_THROW(leggi_zip(std::string_view(archivio).substr(0, n)), errore_zip) << n;
    }
    // Cut in the middle of the data, the end kept: offsets no longer agree.
    std::string senza_mezzo = archivio;
    senza_mezzo.erase(100, 50);
    EXPECT_THROW(leggi_zip(senza_mezzo), errore_zip);
}

TEST(archivio_zip, dati_rovinati_sono_rifiutati_con_messaggio_chiaro) {
    EXPECT_NE(messaggio_di("").find("danneggiato"), std::string::npos);
    EXPECT_NE(messaggio_di(casuali(4000, 11)).find("manca il record finale"), std::string::npos);

    // One byte changed in a stored file: only the CRC can tell.
    const std::string memorizzato = scrivi_zip({{"a.bin", casuali(300, 5)}});
    std::string cambiato = memorizzato;
    cambiato[30 + 5 + 100] ^= 0x01;
    EXPECT_NE(messaggio_di(cambiato).find("CRC di \"a.bin\""), std::string::npos) << messaggio_di(cambiato);

    // The CRC recorded in the central directory changed.
    std::string crc_sbagliato = memorizzato;
    crc_sbagliato[crc_sbagliato.size() - 22 - (46 + 5) + 16] ^= 0x10;
    EXPECT_THROW(leggi_zip(crc_sbagliato), errore_zip);

    // Every single-byte change inside deflated data is caught.
    const std::string compresso = scrivi_zip({{"farmaci.faf", ripetuti(500)}});
    const std::size_t inizio = 30 + 11;
    const std::size_t lung = compresso.size() - inizio - 46 - 11 - 22;
    for (std::size_t i = 0; i < lung; ++i) {
        std::string c = compresso;
        c[inizio + i] ^= 0x5a;
        EXPECT_THROW(leggi_zip(c), errore_zip) << i;
    }
}

TEST(archivio_zip, intestazioni_incoerenti_sono_rifiutate) {
    const std::string base = scrivi_zip({{"a.txt", ripetuti(50)}, {"b.txt", "bbb"}});
    const std::size_t centrale = base.size() - 22 - 2 * (46 + 5);

    std::string metodo = base;
    metodo[centrale + 10] = 12;  // bzip2
    EXPECT_NE(messaggio_di(metodo).find("metodo di compressione"), std::string::npos);

    std::string cifrato = base;
    cifrato[centrale + 8] = 1;
    EXPECT_NE(messaggio_di(cifrato).find("cifrato"), std::string::npos);

    std::string lunghezza = base;  // announced size larger than the real one
    lunghezza[centrale + 24] = static_cast<char>(lunghezza[centrale + 24] + 1);
    EXPECT_THROW(leggi_zip(lunghezza), errore_zip);

    std::string corta = base;  // announced size smaller than the real one
    corta[centrale + 24] = static_cast<char>(corta[centrale + 24] - 1);
    EXPECT_THROW(leggi_zip(corta), errore_zip);

    std::string conteggio = base;  // end record counts three entries
    conteggio[conteggio.size() - 12] = 3;
    conteggio[conteggio.size() - 14] = 3;
    EXPECT_THROW(leggi_zip(conteggio), errore_zip);

    std::string locale = base;  // first entry points at no local header
    locale[centrale + 42] = 7;
    EXPECT_THROW(leggi_zip(locale), errore_zip);

    std::string dischi = base;
    dischi[dischi.size() - 18] = 1;
    EXPECT_NE(messaggio_di(dischi).find("dischi"), std::string::npos);
}

TEST(archivio_zip, nomi_con_cartelle_o_assoluti_sono_rifiutati) {
    for (const char* buono : {"farmaci.faf", "j8000123.exe", "a", "nome con spazi.txt", "..x"})
        EXPECT_TRUE(nome_ammesso(buono)) << buono;
    for (const char* cattivo : {"", ".", "..", "../x", "..\\x", "/etc", "\\x", "c:x", "d/x", "a\tb"})
        EXPECT_FALSE(nome_ammesso(cattivo)) << cattivo;

    const std::string archivio = scrivi_zip({{"abcdef", "contenuto"}});
    for (const std::string cattivo : {"../pwd", "/etc/p", "c:\\pwd", "dir/ab", "..\\abc"}) {
        const std::string forgiato = cambia_nome(archivio, "abcdef", cattivo);
        EXPECT_NE(messaggio_di(forgiato).find("non ammesso"), std::string::npos) << cattivo;
    }

    EXPECT_THROW(scrivi_zip({{"../x", "a"}}), errore_zip);
    EXPECT_THROW(scrivi_zip({{"", "a"}}), errore_zip);
    // Two names that are one file on Windows.
    EXPECT_THROW(scrivi_zip({{"Atc.faf", "a"}, {"ATC.FAF", "b"}}), errore_zip);
    const std::string doppio = cambia_nome(scrivi_zip({{"x1", "a"}, {"x2", "b"}}), "x2", "X1");
    EXPECT_NE(messaggio_di(doppio).find("due volte"), std::string::npos);
}

class estrazione_zip : public ::testing::Test {
protected:
    void SetUp() override {
        radice_ = fs::temp_directory_path() /
                  ("prova_pacchetto_" + std::to_string(std::random_device{}()));
        fs::create_directories(radice_);
    }
    void TearDown() override {
        std::error_code ec;
        fs::permissions(radice_ / "dest" / "farmaci.faf", fs::perms::owner_write,
                        fs::perm_options::add, ec);
        fs::remove_all(radice_, ec);
    }
    fs::path radice_;
};

TEST_F(estrazione_zip, estrazione_crea_la_cartella_e_sovrascrive) {
    const auto voci = voci_tipiche();
    const fs::path dest = radice_ / "dest" / "sotto";
    EXPECT_EQ(estrai_voci(voci, dest), voci.size());
    for (const auto& v : voci) EXPECT_EQ(leggi_tutto(dest / v.nome), v.dati) << v.nome;

    // An older, longer and read-only copy is replaced whole.
    const fs::path vecchio = radice_ / "dest" / "farmaci.faf";
    scrivi_tutto(vecchio, std::string(100000, 'v'));
    fs::permissions(vecchio, fs::perms::owner_write, fs::perm_options::remove);
    estrai_voci({{"farmaci.faf", "nuovo"}}, radice_ / "dest");
    EXPECT_EQ(leggi_tutto(vecchio), "nuovo");
}

TEST_F(estrazione_zip, errori_di_file_nominano_il_file) {
    scrivi_tutto(radice_ / "un_file", "x");
    try {
        estrai_voci({{"a.txt", "a"}}, radice_ / "un_file");
        ADD_FAILURE() << "a file is not a folder";
    } catch (const errore_zip& e) {
        EXPECT_NE(std::string(e.what()).find("un_file"), std::string::npos);
    }
    try {
        leggi_tutto(radice_ / "manca.faf");
        ADD_FAILURE() << "missing file read";
    } catch (const errore_zip& e) {
        EXPECT_NE(std::string(e.what()).find("manca.faf"), std::string::npos);
    }
    EXPECT_THROW(leggi_tutto(radice_), errore_zip);
    // A hand-made entry cannot climb out of the folder either.
    EXPECT_THROW(estrai_voci({{"../fuori.txt", "x"}}, radice_ / "d"), errore_zip);
    EXPECT_FALSE(fs::exists(radice_ / "fuori.txt"));
}

}  // namespace
