// Settings files on the scripted disk: a file written by another program
// read back, the rewrite of one key, new files.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

// Splits at CR LF, the ending of every line this system writes.
std::vector<std::string> righe_di(const std::string& testo) {
    std::vector<std::string> righe;
    std::size_t inizio = 0, fine;
    while ((fine = testo.find("\r\n", inizio)) != std::string::npos) {
        righe.push_back(testo.substr(inizio, fine - inizio));
        inizio = fine + 2;
    }
    if (inizio < testo.size()) righe.push_back(testo.substr(inizio));
    return righe;
}

// Header with seeds 40..51 at the key's fixed positions, and data lines
// enciphered by an independent implementation of the cipher.
std::string intestazione_nota(const std::string& fine_riga = "\r\n") {
    const int posizioni_note[12] = {462, 244, 892, 905, 178, 860, 5, 932, 250, 441, 118, 277};
    std::string testo;
    for (int i = 1; i <= 30; ++i) {
        std::string riga(i <= 12 ? 1000 : 10 + i, static_cast<char>('!' + i));
        if (i <= 12) riga[posizioni_note[i - 1] - 1] = static_cast<char>(39 + i);
        testo += riga + fine_riga;
    }
    return testo;
}

const char* const dati_noti[] = {
    "^ZZ'`zG^D)Gd`K:+8885]]",            // aggiornamento=j8000122
    "\x7f" "Nl7L.1g b[R",                // Lingua Bbs=1
    "f`2t['>OOW>gp",                     // lingua bbs =0
    "7|e|.4f4Ldd^}LWyG%pnYy\\\"L",       // telefono bbs= 0612345678 (blanks kept)
    "xKU*==tUKtYx)Y--;Vx^|K$|",          // direttorio da bbs=d:\in\ .
    "l:sf)zgAA:1L,)s;]s1\xe0",           // userid bbs=cliente=<a grave>
    "]!I/i2t+]^{^+]Is4/ja",              // chiave sconosciuta=x
    "KP", "E'", "qg", ",p", "~k",        // x= y= z= w= v=
    "\"NN?Rtv\"<Bv3RK:+8885]*",          // AGGIORNAMENTO=j8000123 (line 13, row 1)
};

std::string file_noto() {
    std::string testo = intestazione_nota();
    for (const char* riga : dati_noti) testo += std::string(riga) + "\r\n";
    return testo;
}

class impostazioni : public ::testing::Test {
protected:
    piattaforma_copione p;
    const std::string percorso = "C:\\j8\\j8_bbs_config.txt";
    const std::string provvisorio = "C:\\j8\\j8_bbs_config.tmp";
    std::vector<std::string> passi;  // every file operation, "nome percorso"
    std::set<std::string> guasti;    // the operations that fail

    void SetUp() override {
        p.crea_cartelle("C:\\j8");
        p.regola_guasto = [this](const piattaforma_copione::operazione_file& o) {
            passi.push_back(o.nome + " " + o.percorso);
            return guasti.count(passi.back()) ? std::optional<std::string>("disco pieno") : std::nullopt;
        };
    }
    std::vector<riga_impostazione> leggi() { return leggi_impostazioni(p, percorso, 1.0f); }
    int riscrivi(const std::string& valore, bool aggiungi = false, const std::string& chiave = "aggiornamento") {
        return riscrivi_impostazione(p, percorso, chiave, valore, 3.0f, aggiungi);
    }
};

TEST_F(impostazioni, legge_un_file_scritto_da_un_altro_programma) {
    p.crea_file(percorso, file_noto());
    auto righe = leggi_impostazioni(p, percorso, 5000.0f);
    ASSERT_EQ(righe.size(), 13u);
    EXPECT_EQ(righe[0].testo, "aggiornamento=j8000122");
    // Keys lower-cased, nothing trimmed, value split at the first "=".
    EXPECT_EQ(righe[1].chiave, "lingua bbs");
    EXPECT_EQ(righe[2].chiave, "lingua bbs ");
    EXPECT_EQ(righe[3].valore, " 0612345678 ");
    EXPECT_EQ(righe[5].chiave, "userid bbs");
    EXPECT_EQ(righe[5].valore, "cliente=\xe0");
    EXPECT_EQ(righe[12].testo, "AGGIORNAMENTO=j8000123");
    EXPECT_EQ(valore_impostazione(righe, "aggiornamento"), "j8000123");  // later line wins
    EXPECT_EQ(valore_impostazione(righe, "lingua bbs"), "1");  // "lingua bbs " is another key
    EXPECT_EQ(valore_impostazione(righe, "password bbs"), std::nullopt);

    // Reading stops when asked: a broken line after the one wanted is never looked at.
    p.crea_file(percorso, intestazione_nota() + dati_noti[0] + "\r\n" + "senza uguale\r\n");
    int viste = 0;
    leggi_impostazioni(p, percorso, 1.0f, [&](const riga_impostazione& r) {
        ++viste;
        return r.chiave != "aggiornamento";
    });
    EXPECT_EQ(viste, 1);
}

TEST_F(impostazioni, riscrittura_cambia_solo_la_riga_della_chiave) {
    const std::string originale = file_noto();
    p.crea_file(percorso, originale);
    EXPECT_EQ(riscrivi("j8000130"), 2);
    // Through the copy beside it, which is gone afterwards.
    EXPECT_EQ(passi, (std::vector<std::string>{"leggi_file " + percorso, "scrivi_file " + provvisorio,
                                               "leggi_file " + provvisorio, "scrivi_file " + percorso,
                                               "cancella_file " + provvisorio}));
    EXPECT_FALSE(p.esiste_file(provvisorio));

    const std::string nuovo = p.leggi_file(percorso);
    auto prima = righe_di(originale), dopo = righe_di(nuovo);
    ASSERT_EQ(dopo.size(), prima.size());
    for (std::size_t i : {0, 29, 31, 41}) EXPECT_EQ(dopo[i], prima[i]) << "riga " << i + 1;
    EXPECT_EQ(dopo[30], "^ZZ'`zG^D)Gd`K:+8885*8");  // line 1 enciphered with row 1
    EXPECT_EQ(nuovo.substr(nuovo.size() - 2), "\r\n");
    auto righe = leggi();
    EXPECT_EQ(righe[0].testo, "aggiornamento=j8000130");
    EXPECT_EQ(righe[12].testo, "AGGIORNAMENTO=j8000130");  // key kept as written
    EXPECT_EQ(valore_impostazione(righe, "lingua bbs"), "1");
}

TEST_F(impostazioni, riscrittura_aggiunge_solo_se_richiesto_e_copia_l_intestazione_com_e) {
    // LF and lone CR also end lines, the last line may have none: the
    // header is copied byte for byte, changed lines end in CR LF.
    std::string intestazione = intestazione_nota("\n");
    intestazione[3] = '\xff';
    const std::string strano = intestazione + dati_noti[0] + "\r" + dati_noti[1];
    p.crea_file(percorso, strano);
    EXPECT_EQ(riscrivi("zeta", false, "Password BBS"), 0);  // nothing to change: not written
    EXPECT_EQ(p.leggi_file(percorso), strano);
    riscrivi("0", false, "lingua bbs");
    EXPECT_EQ(p.leggi_file(percorso), intestazione + dati_noti[0] + "\r\n" + cifra_riga("Lingua Bbs=0", 2) + "\r\n");
    EXPECT_EQ(riscrivi("zeta", true, "Password BBS"), 1);
    ASSERT_EQ(leggi().size(), 3u);
    EXPECT_EQ(leggi()[2].testo, "Password BBS=zeta");

    // Only a header whose last line has no ending: one is added first.
    intestazione = intestazione_nota();
    intestazione.resize(intestazione.size() - 2);
    p.crea_file(percorso, intestazione);
    riscrivi("j8000001", true);
    EXPECT_EQ(p.leggi_file(percorso).substr(0, intestazione.size() + 2), intestazione + "\r\n");
    EXPECT_EQ(leggi().at(0).valore, "j8000001");

    // A tab inside another enciphered line deciphers to code 31, which the
    // cipher cannot take back: that line is kept as it was.
    std::string testo = componi_impostazioni(percorso, {"aggiornamento=j8000004", "password bbs=zeta"}, 3.0f);
    const std::size_t password = testo.rfind("\r\n", testo.size() - 3) + 2;
    testo.insert(password + 3, "\t");
    p.crea_file(percorso, testo);
    EXPECT_EQ(riscrivi("j8000005"), 1);
    EXPECT_EQ(p.leggi_file(percorso).substr(password - 2), testo.substr(password - 2));
    EXPECT_EQ(leggi()[0].testo, "aggiornamento=j8000005");
    EXPECT_EQ(leggi()[1].testo, "pas\x1fsword bbs=zeta");
}

TEST_F(impostazioni, riscrittura_fallita_lascia_il_file_com_era) {
    struct caso {
        const char* nome;
        std::string contenuto, valore, guasto;
        std::int64_t riga;  // of the errore_impostazioni; 0: errore_file
    };
    const std::vector<caso> casi = {
        {"riga rotta dopo", file_noto() + "KPK\r\n", "j8000130", "", 44},
        {"valore non cifrabile", file_noto(), "j8\t", "", 31},
        {"file non scrivibile", file_noto(), "j8000130", "scrivi_file " + percorso, 0},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.nome);
        p.crea_file(percorso, c.contenuto);
        guasti = {c.guasto};
        try {
            riscrivi(c.valore);
            ADD_FAILURE() << "riscritto";
        } catch (const errore_impostazioni& e) {
            EXPECT_EQ(std::string(e.what()).rfind(percorso + ", riga " + std::to_string(c.riga) + ": ", 0), 0u);
        } catch (const errore_file&) {
            EXPECT_EQ(c.riga, 0);
        }
        EXPECT_EQ(p.leggi_file(percorso), c.contenuto);
        EXPECT_FALSE(p.esiste_file(provvisorio));
    }

    // A copy that cannot be deleted does not spoil the rewrite.
    p.crea_file(percorso, file_noto());
    guasti = {"cancella_file " + provvisorio};
    EXPECT_EQ(riscrivi("j8000131"), 2);
    EXPECT_EQ(leggi()[0].valore, "j8000131");
    // A bare name: the copy sits in the current directory.
    p.cambia_direttorio("C:\\j8");
    riscrivi_impostazione(p, "j8_bbs_config.txt", "aggiornamento", "j8000132", 3.0f);
    EXPECT_EQ(passi[passi.size() - 3], "leggi_file j8_bbs_config.tmp");
}

TEST_F(impostazioni, file_creato_si_rilegge) {
    const std::vector<std::string> chiare{"aggiornamento=j8000001", "riga= \xe8\b~"};
    const std::string creato = componi_impostazioni(percorso, chiare, 40000.25f);
    EXPECT_EQ(creato, componi_impostazioni(percorso, chiare, 40000.25f));  // repeatable
    EXPECT_NE(creato, componi_impostazioni(percorso, chiare, 40001.25f));
    auto righe = righe_di(creato);
    ASSERT_EQ(righe.size(), 32u);
    for (int i = 0; i < 30; ++i) EXPECT_GE(righe[i].size(), i < 12 ? 1000u : 20u) << i;
    p.crea_file(percorso, creato);
    EXPECT_EQ(leggi()[1].testo, "riga= \xe8\x1f~");  // backspace comes back as 31
    // The line of the new file that cannot be written.
    for (auto [righe_chiare, riga] : {std::pair<std::vector<std::string>, int>{{"a=1", "b=2", "senza"}, 33},
                                      {{"a=1", "b=\t2"}, 32}}) {
        try {
            componi_impostazioni(percorso, righe_chiare, 1.0f);
            ADD_FAILURE() << riga;
        } catch (const errore_impostazioni& e) {
            EXPECT_EQ(e.riga(), riga);
        }
    }
}

}  // namespace
}  // namespace j8
