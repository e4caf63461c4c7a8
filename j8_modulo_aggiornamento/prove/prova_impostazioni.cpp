#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

// A disk in memory whose single steps can be made to fail.
class disco_memoria : public file_tabelle {
public:
    std::map<std::string, std::string> file;
    std::set<std::string> scrittura_fallisce, cancellazione_fallisce;
    std::vector<std::string> passi;

    bool esiste_file(const std::string& p) override { return file.count(p) > 0; }
    std::string leggi_file(const std::string& p) override {
        passi.push_back("leggi " + p);
        auto f = file.find(p);
        if (f == file.end()) throw errore_file(p, "file non trovato");
        return f->second;
    }
    void scrivi_file(const std::string& p, const std::string& c) override {
        passi.push_back("scrivi " + p);
        if (scrittura_fallisce.count(p)) throw errore_file(p, "disco pieno");
        file[p] = c;
    }
    void cancella_file(const std::string& p) override {
        passi.push_back("cancella " + p);
        if (cancellazione_fallisce.count(p) || !file.erase(p)) throw errore_file(p, "file non trovato");
    }
    void rinomina_file(const std::string& da, const std::string& a) override {
        file[a] = leggi_file(da);
        file.erase(da);
    }
};

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
    disco_memoria disco;
    const std::string percorso = "c:\\j8\\j8_bbs_config.txt";
    const std::string provvisorio = "c:\\j8\\j8_bbs_config.tmp";

    errore_impostazioni errore_lettura(const std::string& contenuto) {
        disco.file[percorso] = contenuto;
        try {
            leggi_impostazioni(disco, percorso, 100.0f);
        } catch (const errore_impostazioni& e) {
            return e;
        }
        ADD_FAILURE() << "letto senza errori";
        return errore_impostazioni("", 0, "");
    }
};

TEST_F(impostazioni, legge_un_file_scritto_da_un_altro_programma) {
    disco.file[percorso] = file_noto();
    auto righe = leggi_impostazioni(disco, percorso, 5000.0f);
    ASSERT_EQ(righe.size(), 13u);
    EXPECT_EQ(righe[0].testo, "aggiornamento=j8000122");
    // Keys lower-cased, nothing trimmed, value split at the first "=".
    EXPECT_EQ(righe[1].chiave, "lingua bbs");
    EXPECT_EQ(righe[1].testo, "Lingua Bbs=1");
    EXPECT_EQ(righe[2].chiave, "lingua bbs ");
    EXPECT_EQ(righe[3].valore, " 0612345678 ");
    EXPECT_EQ(righe[4].valore, "d:\\in\\");
    EXPECT_EQ(righe[5].chiave, "userid bbs");
    EXPECT_EQ(righe[5].valore, "cliente=\xe0");
    EXPECT_EQ(righe[12].testo, "AGGIORNAMENTO=j8000123");

    EXPECT_EQ(valore_impostazione(righe, "aggiornamento"), "j8000123");  // later line wins
    EXPECT_EQ(valore_impostazione(righe, "lingua bbs"), "1");  // "lingua bbs " is another key
    EXPECT_EQ(valore_impostazione(righe, "password bbs"), std::nullopt);
}

TEST_F(impostazioni, solo_intestazione_nessuna_impostazione) {
    disco.file[percorso] = intestazione_nota();
    EXPECT_TRUE(leggi_impostazioni(disco, percorso, 1.0f).empty());
}

TEST_F(impostazioni, la_lettura_si_ferma_quando_richiesto) {
    // A broken line after the one wanted is never looked at.
    disco.file[percorso] = intestazione_nota() + dati_noti[0] + "\r\n" + "senza uguale\r\n";
    int viste = 0;
    leggi_impostazioni(disco, percorso, 1.0f, [&](const riga_impostazione& r) {
        ++viste;
        return r.chiave != "aggiornamento";
    });
    EXPECT_EQ(viste, 1);
}

TEST_F(impostazioni, file_rovinati_errore_con_file_e_riga) {
    std::string intestazione = intestazione_nota();
    auto righe = righe_di(intestazione);

    std::string corto;
    for (int i = 0; i < 29; ++i) corto += righe[i] + "\r\n";
    auto e = errore_lettura(corto);
    EXPECT_EQ(e.riga(), 30);
    EXPECT_EQ(e.percorso(), percorso);
    EXPECT_NE(std::string(e.what()).find("c:\\j8\\j8_bbs_config.txt, riga 30"), std::string::npos);
    EXPECT_EQ(errore_lettura("").riga(), 1);

    // Line 7 carries its seed at position 5: four characters are too few.
    std::string troncato = intestazione;
    troncato.replace(6 * 1002, 1000, "abcd");
    EXPECT_EQ(errore_lettura(troncato).riga(), 7);
    // Line 9 must reach position 250 exactly.
    std::string al_limite = intestazione;
    al_limite.replace(8 * 1002 + 250, 750, "");
    disco.file[percorso] = al_limite;
    EXPECT_NO_THROW(leggi_impostazioni(disco, percorso, 1.0f));
    al_limite.erase(8 * 1002 + 249, 1);
    EXPECT_EQ(errore_lettura(al_limite).riga(), 9);

    // Blank lines and lines without "=" after deciphering.
    EXPECT_EQ(errore_lettura(intestazione + dati_noti[0] + "\r\n\r\n" + dati_noti[1]).riga(), 32);
    EXPECT_EQ(errore_lettura(intestazione + "KP\r\nKPK\r\n").riga(), 32);

    EXPECT_THROW(leggi_impostazioni(disco, "c:\\j8\\manca.txt", 1.0f), errore_file);
}

TEST_F(impostazioni, file_creato_si_rilegge) {
    std::vector<std::string> chiare{"aggiornamento=j8000001", "telefono bbs=0612345678"};
    for (int i = 0; i < 14; ++i) chiare.push_back("riga " + std::to_string(i) + "= \xe8\b~");
    std::string creato = componi_impostazioni(percorso, chiare, 40000.25f);
    EXPECT_EQ(creato, componi_impostazioni(percorso, chiare, 40000.25f));  // repeatable
    EXPECT_NE(creato, componi_impostazioni(percorso, chiare, 40001.25f));
    auto righe = righe_di(creato);
    ASSERT_EQ(righe.size(), 30 + chiare.size());
    for (int i = 0; i < 12; ++i) EXPECT_GE(righe[i].size(), 1000u);
    disco.file[percorso] = creato;
    auto lette = leggi_impostazioni(disco, percorso, 7.0f);
    ASSERT_EQ(lette.size(), chiare.size());
    for (std::size_t i = 0; i < chiare.size(); ++i) {
        std::string attesa = chiare[i];
        std::replace(attesa.begin(), attesa.end(), '\b', '\x1f');  // backspace comes back as 31
        EXPECT_EQ(lette[i].testo, attesa);
    }

    try {
        componi_impostazioni(percorso, {"a=1", "b=2", "senza"}, 1.0f);
        ADD_FAILURE();
    } catch (const errore_impostazioni& e) {
        EXPECT_EQ(e.riga(), 33);
    }
    try {
        componi_impostazioni(percorso, {"a=1", "b=\t2"}, 1.0f);
        ADD_FAILURE();
    } catch (const errore_impostazioni& e) {
        EXPECT_EQ(e.riga(), 32);
    }
}

TEST_F(impostazioni, riscrittura_cambia_solo_la_riga_della_chiave) {
    const std::string originale = file_noto();
    disco.file[percorso] = originale;
    EXPECT_EQ(riscrivi_impostazione(disco, percorso, "aggiornamento", "j8000130", 3.0f), 2);
    // Through the copy beside it, which is gone afterwards.
    EXPECT_EQ(disco.file.count(provvisorio), 0u);
    EXPECT_EQ(disco.passi, (std::vector<std::string>{
                               "leggi " + percorso, "scrivi " + provvisorio, "leggi " + provvisorio,
                               "scrivi " + percorso, "cancella " + provvisorio}));

    const std::string& nuovo = disco.file[percorso];
    const std::size_t lunghezza_intestazione = intestazione_nota().size();
    EXPECT_EQ(nuovo.substr(0, lunghezza_intestazione), originale.substr(0, lunghezza_intestazione));
    auto prima = righe_di(originale), dopo = righe_di(nuovo);
    ASSERT_EQ(dopo.size(), prima.size());
    for (std::size_t i = 30; i < prima.size(); ++i) {
        if (i == 30 || i == 42) continue;
        EXPECT_EQ(dopo[i], prima[i]) << "riga " << i + 1;
    }
    EXPECT_EQ(dopo[30], "^ZZ'`zG^D)Gd`K:+8885*8");  // line 1 enciphered with row 1
    EXPECT_EQ(nuovo.substr(nuovo.size() - 2), "\r\n");

    auto righe = leggi_impostazioni(disco, percorso, 1.0f);
    EXPECT_EQ(righe[0].testo, "aggiornamento=j8000130");
    EXPECT_EQ(righe[12].testo, "AGGIORNAMENTO=j8000130");  // key kept as written
    EXPECT_EQ(valore_impostazione(righe, "lingua bbs"), "1");
}

TEST_F(impostazioni, riscrittura_aggiunge_solo_se_richiesto) {
    disco.file[percorso] = file_noto();
    EXPECT_EQ(riscrivi_impostazione(disco, percorso, "Password BBS", "zeta", 3.0f), 0);
    EXPECT_EQ(disco.file[percorso], file_noto());
    EXPECT_EQ(riscrivi_impostazione(disco, percorso, "Password BBS", "zeta", 3.0f, true), 1);
    auto righe = leggi_impostazioni(disco, percorso, 1.0f);
    ASSERT_EQ(righe.size(), 14u);
    EXPECT_EQ(righe[13].testo, "Password BBS=zeta");

    // Only a header whose last line has no ending: one is added first.
    std::string intestazione = intestazione_nota();
    intestazione.resize(intestazione.size() - 2);
    disco.file[percorso] = intestazione;
    riscrivi_impostazione(disco, percorso, "aggiornamento", "j8000001", 3.0f);
    EXPECT_EQ(disco.file[percorso], intestazione);
    riscrivi_impostazione(disco, percorso, "aggiornamento", "j8000001", 3.0f, true);
    EXPECT_EQ(disco.file[percorso].substr(0, intestazione.size() + 2), intestazione + "\r\n");
    EXPECT_EQ(leggi_impostazioni(disco, percorso, 1.0f).at(0).valore, "j8000001");
}

// LF and lone CR also end lines; the last line may have no ending.
TEST_F(impostazioni, intestazione_copiata_byte_per_byte_anche_con_a_capo_strani) {
    std::string intestazione = intestazione_nota("\n");
    intestazione[1002 * 0 + 3] = '\xff';
    disco.file[percorso] = intestazione + dati_noti[0] + "\r" + dati_noti[1];
    riscrivi_impostazione(disco, percorso, "lingua bbs", "0", 3.0f);
    const std::string& nuovo = disco.file[percorso];
    EXPECT_EQ(nuovo.substr(0, intestazione.size()), intestazione);
    auto righe = leggi_impostazioni(disco, percorso, 1.0f);
    ASSERT_EQ(righe.size(), 2u);
    EXPECT_EQ(righe[1].testo, "Lingua Bbs=0");
    EXPECT_EQ(nuovo.substr(intestazione.size()),
              std::string(dati_noti[0]) + "\r\n" + cifra_riga("Lingua Bbs=0", 2) + "\r\n");
}

TEST_F(impostazioni, riscrittura_fallita_lascia_il_file_com_era) {
    const std::string rotto = file_noto() + "KPK\r\n";
    disco.file[percorso] = rotto;
    try {
        riscrivi_impostazione(disco, percorso, "aggiornamento", "j8000130", 3.0f);
        ADD_FAILURE();
    } catch (const errore_impostazioni& e) {
        EXPECT_EQ(e.riga(), 44);
        EXPECT_EQ(e.percorso(), percorso);
    }
    EXPECT_EQ(disco.file[percorso], rotto);
    EXPECT_EQ(disco.file.count(provvisorio), 0u);

    // A value the cipher cannot take.
    disco.file[percorso] = file_noto();
    EXPECT_THROW(riscrivi_impostazione(disco, percorso, "aggiornamento", "j8\t", 3.0f),
                 errore_impostazioni);
    EXPECT_EQ(disco.file[percorso], file_noto());

    // The file itself cannot be written.
    disco.scrittura_fallisce.insert(percorso);
    EXPECT_THROW(riscrivi_impostazione(disco, percorso, "aggiornamento", "j8000130", 3.0f),
                 errore_file);
    EXPECT_EQ(disco.file[percorso], file_noto());
    EXPECT_EQ(disco.file.count(provvisorio), 0u);
}

TEST_F(impostazioni, copia_provvisoria_non_cancellabile_ignorata) {
    disco.file[percorso] = file_noto();
    disco.cancellazione_fallisce.insert(provvisorio);
    EXPECT_EQ(riscrivi_impostazione(disco, percorso, "aggiornamento", "j8000130", 3.0f), 2);
    EXPECT_EQ(leggi_impostazioni(disco, percorso, 1.0f)[0].valore, "j8000130");

    // A bare name: the copy sits in the current directory.
    disco.file["j8_bbs_config.txt"] = file_noto();
    riscrivi_impostazione(disco, "j8_bbs_config.txt", "aggiornamento", "j8000131", 3.0f);
    EXPECT_EQ(disco.passi[disco.passi.size() - 3], "leggi j8_bbs_config.tmp");
}

TEST_F(impostazioni, ricerca_nel_direttorio_corrente_poi_in_pippo) {
    auto trovato = cerca_impostazioni(disco, "c:\\programmi\\j8", file_configurazione_bbs);
    EXPECT_EQ(trovato.percorso, "c:\\pippo\\j8_bbs_config.txt");
    EXPECT_EQ(trovato.direttorio, "c:\\pippo\\");
    EXPECT_FALSE(trovato.esiste);

    disco.file["c:\\pippo\\j8_config.txt"] = "x";
    trovato = cerca_impostazioni(disco, "c:\\programmi\\j8", file_configurazione);
    EXPECT_EQ(trovato.percorso, "c:\\pippo\\j8_config.txt");
    EXPECT_TRUE(trovato.esiste);

    disco.file["c:\\programmi\\j8\\j8_config.txt"] = "x";
    trovato = cerca_impostazioni(disco, "c:\\programmi\\j8", file_configurazione);
    EXPECT_EQ(trovato.percorso, "c:\\programmi\\j8\\j8_config.txt");
    EXPECT_EQ(trovato.direttorio, "c:\\programmi\\j8\\");
    EXPECT_TRUE(trovato.esiste);

    disco.file["d:\\j8_bbs_config.txt"] = "x";
    EXPECT_EQ(cerca_impostazioni(disco, "d:\\", file_configurazione_bbs).direttorio, "d:\\");
}

TEST(impostazioni_piattaforma, ricerca_e_riscrittura_nel_direttorio_del_programma) {
    piattaforma_copione p;
    p.imposta_direttorio_programma("c:\\programmi\\j8");
    p.cambia_direttorio("c:\\programmi\\j8");
    p.crea_file("c:\\pippo\\j8_bbs_config.txt", "altro");
    EXPECT_EQ(cerca_impostazioni(p, file_configurazione_bbs).direttorio, "c:\\pippo\\");

    p.crea_file("c:\\programmi\\j8\\J8_BBS_CONFIG.TXT", file_noto());
    auto trovato = cerca_impostazioni(p, file_configurazione_bbs);
    EXPECT_EQ(trovato.direttorio, p.direttorio_corrente() + "\\");
    ASSERT_TRUE(trovato.esiste);
    riscrivi_impostazione(p, trovato.percorso, "aggiornamento", "j8000124", p.secondi_da_mezzanotte());
    EXPECT_EQ(leggi_impostazioni(p, trovato.percorso, 1.0f)[0].valore, "j8000124");
    EXPECT_FALSE(p.esiste_file("c:\\programmi\\j8\\j8_bbs_config.tmp"));
    EXPECT_EQ(p.leggi_file("c:\\pippo\\j8_bbs_config.txt"), "altro");
}

TEST_F(impostazioni, contenuti_a_caso_non_fanno_danni) {
    // Mutations of a good file: every outcome is a result or our error.
    const std::string buono = file_noto();
    std::mt19937 caso(12345);
    for (int prova = 0; prova < 300; ++prova) {
        std::string t = buono;
        int modifiche = 1 + static_cast<int>(caso() % 8);
        for (int m = 0; m < modifiche; ++m) {
            std::size_t dove = caso() % (t.size() + 1);
            switch (caso() % 3) {
                case 0: t.insert(dove, 1, static_cast<char>(caso())); break;
                case 1: if (dove < t.size()) t.erase(dove, 1 + caso() % 3000); break;
                default: if (dove < t.size()) t[dove] = static_cast<char>(caso()); break;
            }
        }
        disco.file[percorso] = t;
        try {
            leggi_impostazioni(disco, percorso, 1.0f);
            riscrivi_impostazione(disco, percorso, "aggiornamento", "j8000001", 1.0f, true);
        } catch (const errore_impostazioni&) {
            EXPECT_EQ(disco.file[percorso], t);
        }
    }
}

}  // namespace
}  // namespace j8
