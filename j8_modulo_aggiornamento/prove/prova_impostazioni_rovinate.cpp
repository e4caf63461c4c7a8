// Damaged and foreign settings files: the reader's verdict, the rewrite of
// "aggiornamento" that must never spoil them, and the j8_impostazioni tool.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

const std::vector<std::string_view> chiavi_bbs(std::begin(chiavi_configurazione_bbs),
                                               std::end(chiavi_configurazione_bbs));

class impostazioni_rovinate : public ::testing::Test {
protected:
    piattaforma_copione p;
    const std::string file = "C:\\j8\\j8_bbs_config.txt";
    std::vector<std::string> scritture;  // every file operation that changes the disk

    void SetUp() override {
        p.crea_cartelle("C:\\j8");
        p.regola_guasto = [this](const piattaforma_copione::operazione_file& o) {
            if (o.nome != "leggi_file") scritture.push_back(o.nome + " " + o.percorso);
            return std::optional<std::string>();
        };
    }

    std::int64_t righe_lette(const std::vector<std::string_view>& chiavi) {
        std::int64_t n = 0;
        leggi_impostazioni(p, file, 1.0f, chiavi, [&](const riga_impostazione&) {
            ++n;
            return true;
        });
        return n;
    }
};

TEST_F(impostazioni_rovinate, file_estraneo_solo_se_nessuna_riga_ha_una_chiave_nota) {
    p.scrivi_file(file, componi_impostazioni(file, {"colore=blu", "lingua=it", "x="}, 3.0f));
    try {
        righe_lette(chiavi_bbs);
        ADD_FAILURE() << "letto";
    } catch (const errore_impostazioni_estranee& e) {
        EXPECT_EQ(e.righe_dati(), 3);
        EXPECT_EQ(e.riga(), 0);
        EXPECT_EQ(e.percorso(), file);
    }
    // Without known keys to look for, the same file is just read.
    EXPECT_EQ(righe_lette({}), 3);

    // One known key anywhere, whatever its case, makes it an ordinary file.
    p.scrivi_file(file, componi_impostazioni(file, {"colore=blu", "x=", "Password BBS=zeta"}, 3.0f));
    EXPECT_EQ(righe_lette(chiavi_bbs), 3);

    // The header alone sets nothing and is no foreign file.
    const std::string completo = p.leggi_file(file);
    std::size_t fine_intestazione = 0;
    for (int i = 0; i < righe_intestazione; ++i) fine_intestazione = completo.find("\r\n", fine_intestazione) + 2;
    p.scrivi_file(file, completo.substr(0, fine_intestazione));
    EXPECT_EQ(righe_lette(chiavi_bbs), 0);
}

TEST_F(impostazioni_rovinate, riscrittura_di_un_file_senza_la_chiave_non_scrive_nulla) {
    // A foreign file, here with LF line ends: the update run's rewrite of
    // "aggiornamento" finds nothing to change and leaves it byte for byte.
    std::string estraneo;
    for (char c : componi_impostazioni(file, {"colore=blu", "finestra=grande"}, 3.0f))
        if (c != '\r') estraneo += c;
    p.scrivi_file(file, estraneo);
    scritture.clear();
    EXPECT_EQ(riscrivi_impostazione(p, file, "aggiornamento", "j8000009", 5.0f), 0);
    EXPECT_EQ(p.leggi_file(file), estraneo);
    EXPECT_THAT(scritture, ::testing::Not(::testing::Contains("scrivi_file " + file)));
    EXPECT_FALSE(p.esiste_file("C:\\j8\\j8_bbs_config.tmp"));
}

TEST_F(impostazioni_rovinate, carattere_di_controllo_in_un_altra_riga_non_ferma_la_riscrittura) {
    p.scrivi_file(file, componi_impostazioni(
                            file, {"aggiornamento=j8000004", "password bbs=zeta", "telefono bbs=06"}, 3.0f));
    // A tab inside the enciphered password line: it deciphers to code 31,
    // which the cipher cannot take back, so the line is kept as it was.
    std::string testo = p.leggi_file(file);
    const std::size_t password = testo.rfind("\r\n", testo.rfind("\r\n", testo.size() - 3) - 1) + 2;
    testo.insert(password + 3, "\t");
    p.scrivi_file(file, testo);
    EXPECT_EQ(riscrivi_impostazione(p, file, "aggiornamento", "j8000005", 5.0f), 1);

    const std::string nuovo = p.leggi_file(file);
    EXPECT_EQ(nuovo.substr(password - 2), testo.substr(password - 2));  // password line on, unchanged
    auto righe = leggi_impostazioni(p, file, 1.0f);
    ASSERT_EQ(righe.size(), 3u);
    EXPECT_EQ(righe[0].testo, "aggiornamento=j8000005");
    EXPECT_EQ(righe[1].testo, "pas\x1fsword bbs=zeta");
    EXPECT_EQ(righe[2].testo, "telefono bbs=06");

    // The new value itself cannot hold one: nothing is written.
    EXPECT_THROW(riscrivi_impostazione(p, file, "aggiornamento", "j8\x01", 5.0f), errore_impostazioni);
    EXPECT_EQ(p.leggi_file(file), nuovo);
}

TEST_F(impostazioni_rovinate, messaggi_per_l_utente) {
    // The start tests check the full texts; here the wording for one line
    // and the folder named with its separator however it was given.
    EXPECT_THAT(spiega_errore_impostazioni(errore_impostazioni_estranee("C:\\j8\\a.txt", 1)),
                ::testing::HasSubstr("leggibili: l'unica riga di dati non contiene un'impostazione nota."));
    EXPECT_EQ(spiega_impostazioni_mancanti("j8_config.txt", "D:\\prog"),
              spiega_impostazioni_mancanti("j8_config.txt", "D:\\prog\\"));
    EXPECT_THAT(spiega_impostazioni_mancanti("j8_config.txt", "D:\\prog"),
                ::testing::StartsWith("Il file delle impostazioni j8_config.txt non \xE8 stato trovato "
                                      "n\xE9 nella cartella D:\\prog\\ n\xE9 in c:\\pippo\\."));
}

#ifdef J8_STRUMENTO_IMPOSTAZIONI

// The tool on real files in a folder of its own.
class strumento_impostazioni : public ::testing::Test {
protected:
    std::filesystem::path cartella;
    std::string uscita, errori;

    void SetUp() override {
        cartella = std::filesystem::temp_directory_path() /
                   ("j8_strumento_" + std::to_string(::getpid()) + "_" +
                    ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(cartella);
        std::filesystem::create_directories(cartella);
    }
    void TearDown() override { std::filesystem::remove_all(cartella); }

    std::string percorso(const std::string& nome) const { return (cartella / nome).string(); }
    void scrivi(const std::string& nome, const std::string& contenuto) const {
        std::ofstream(percorso(nome), std::ios::binary) << contenuto;
    }
    std::string leggi(const std::string& nome) const {
        std::ifstream f(percorso(nome), std::ios::binary);
        std::ostringstream s;
        s << f.rdbuf();
        return s.str();
    }
    // Runs the tool with arguments (each quoted); returns its exit status.
    int esegui(const std::vector<std::string>& argomenti) {
        std::string comando = "'" J8_STRUMENTO_IMPOSTAZIONI "'";
        for (const auto& a : argomenti) comando += " '" + a + "'";
        comando += " >'" + percorso("uscita") + "' 2>'" + percorso("errori") + "' </dev/null";
        const int stato = std::system(comando.c_str());
        uscita = leggi("uscita");
        errori = leggi("errori");
        return WIFEXITED(stato) ? WEXITSTATUS(stato) : -1;
    }
};

TEST_F(strumento_impostazioni, leggi_rifiuta_ogni_file_rovinato_con_un_errore_in_italiano) {
    const std::string buono =
        componi_impostazioni("x", {"aggiornamento=j8000003", "userid bbs=a", "Password BBS=z=et a"}, 9.0f);
    ASSERT_EQ(esegui({"leggi", percorso("manca.txt")}), 2);
    EXPECT_EQ(errori, "j8_impostazioni: Impossibile leggere il file delle impostazioni " + percorso("manca.txt") +
                          " (file non trovato).\nVerificare che il file esista, che la sua cartella sia "
                          "accessibile e che nessun altro programma lo tenga aperto.\n");
    EXPECT_EQ(uscita, "");

    struct caso {
        std::string nome, contenuto, atteso;
    };
    const std::vector<caso> casi = {
        {"corto.txt", buono.substr(0, buono.find("\r\n") + 2), "\xC3\xA8 danneggiato alla riga 2: il file finisce dopo 1 riga,"},
        {"vuoto.txt", "", "\xC3\xA8 danneggiato alla riga 1: il file \xC3\xA8 vuoto."},
        {"seme.txt", "abc\r\n" + buono.substr(buono.find("\r\n") + 2),
         "\xC3\xA8 danneggiato alla riga 1: riga di intestazione di 3 caratteri, troppo corta"},
        {"vuota.txt", buono + "\r\n", "alla riga 34: riga vuota (riga 4 dei dati)"},
        {"estraneo.txt", componi_impostazioni("x", {"colore=blu"}, 9.0f), "non contiene impostazioni leggibili"},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.nome);
        scrivi(c.nome, c.contenuto);
        EXPECT_EQ(esegui({"leggi", percorso(c.nome)}), 2);
        EXPECT_THAT(errori, ::testing::StartsWith("j8_impostazioni: "));
        EXPECT_THAT(errori, ::testing::HasSubstr(percorso(c.nome)));
        EXPECT_THAT(errori, ::testing::HasSubstr(c.atteso));
        EXPECT_THAT(errori, ::testing::HasSubstr("\nChiedere al fornitore"));
        EXPECT_EQ(uscita, "");
    }

    scrivi("buono.txt", buono);
    EXPECT_EQ(esegui({"leggi", percorso("buono.txt")}), 0);
    // The password only when asked for by name, never its length.
    EXPECT_EQ(uscita, "aggiornamento=j8000003\nuserid bbs=a\nPassword BBS=********\n");
    EXPECT_EQ(esegui({"leggi", percorso("buono.txt"), "--mostra-password"}), 0);
    EXPECT_EQ(uscita, "aggiornamento=j8000003\nuserid bbs=a\nPassword BBS=z=et a\n");
    EXPECT_EQ(esegui({"leggi", percorso("buono.txt"), "--mostra"}), 2);
    EXPECT_EQ(uscita, "");
}

TEST_F(strumento_impostazioni, imposta_non_tocca_un_file_estraneo_ne_accetta_caratteri_di_controllo) {
    const std::string estraneo = componi_impostazioni("x", {"colore=blu"}, 9.0f);
    scrivi("estraneo.txt", estraneo);
    EXPECT_EQ(esegui({"imposta", percorso("estraneo.txt"), "aggiornamento", "j8000004"}), 2);
    EXPECT_THAT(errori, ::testing::HasSubstr("non contiene impostazioni leggibili"));
    EXPECT_EQ(leggi("estraneo.txt"), estraneo);

    const std::string buono = componi_impostazioni("x", {"aggiornamento=j8000003"}, 9.0f);
    scrivi("buono.txt", buono);
    EXPECT_EQ(esegui({"imposta", percorso("buono.txt"), "aggiornamento", "j80\t0004"}), 2);
    EXPECT_EQ(errori,
              "j8_impostazioni: la riga \"chiave=valore\" contiene un carattere di controllo (codice 9 in "
              "posizione 18) che la cifratura non ammette; il file non \xC3\xA8 stato modificato\n");
    EXPECT_EQ(leggi("buono.txt"), buono);
    EXPECT_EQ(esegui({"imposta", percorso("buono.txt"), "aggiornamento", "j8000004"}), 0);
    EXPECT_EQ(esegui({"leggi", percorso("buono.txt")}), 0);
    EXPECT_EQ(uscita, "aggiornamento=j8000004\n");
}

#endif  // J8_STRUMENTO_IMPOSTAZIONI

}  // namespace
}  // namespace j8
