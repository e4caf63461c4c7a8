// The generator and the cipher against an independent implementation; on
// the scripted disk a file written by another program read back, rewrites,
// new files, every file start-up cannot use with the whole message; window
// lists; the j8_impostazioni tool on real files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "comune/file_locali.hpp"
#include "j8_modulo_aggiornamento/cifrario.hpp"
#include "j8_modulo_aggiornamento/finestre.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

namespace j8 {
namespace {

using ::testing::HasSubstr;
using ::testing::Property;
using ::testing::StartsWith;
using ::testing::Throws;
using ::testing::ThrowsMessage;
using righe_file = std::vector<std::string>;

TEST(generatore, valore_noto_e_zero_che_ripete_l_ultimo) {
    EXPECT_FLOAT_EQ(numero_casuale(-1.0f), 0.2240070f);
    EXPECT_FLOAT_EQ(numero_casuale(0.0f), 0.2240070f);  // zero: the last number again
}

TEST(chiave, semi_dall_orologio_in_singola_precisione) {
    prepara_chiave(12345.5f);
    const std::array<int, 12> semi_attesi{45, 62, 106, 93, 105, 117, 123, 97, 46, 76, 62, 89};
    EXPECT_TRUE(std::equal(semi_attesi.begin(), semi_attesi.end(), semi.begin() + 1));
    // At this clock draw 8 times 96 rounds up to a whole number in single
    // precision (seed 70); wider arithmetic stays below it (69).
    prepara_chiave(592.62f);
    EXPECT_EQ(semi[8], 70);
    EXPECT_EQ(semi[12], 57);
}

// Every character on every row, both ways.
TEST(cifra, andata_e_ritorno_e_caratteri_di_controllo) {
    const std::array<int, 12> semi_prova{32, 127, 33, 90, 100, 64, 77, 81, 99, 120, 35, 36};
    std::copy(semi_prova.begin(), semi_prova.end(), semi.begin() + 1);
    prepara_tabelle();
    std::string tutti;
    for (int c = 32; c <= 255; ++c) tutti += static_cast<char>(c);
    for (int riga = 1; riga <= 24; ++riga) {
        const std::string cifrato = cifra_riga(tutti, riga);
        EXPECT_EQ(decifra_riga(cifrato, riga), tutti) << "riga " << riga;
        EXPECT_EQ(cifrato.substr(96), tutti.substr(96));  // codes 128..255 pass through untouched
    }

    // Backspace alone is exempt from enciphering, and comes back as 31.
    EXPECT_EQ(cifra_riga("a\bb", 3).substr(1, 1), "\b");
    EXPECT_EQ(decifra_riga(std::string("\b\x01\x1f\t", 4), 3), std::string(4, '\x1f'));
    for (int c : {0, 1, 7, 9, 10, 13, 31})
        EXPECT_THROW(cifra_riga(std::string("ab") + static_cast<char>(c), 5), errore_cifratura) << c;
}

// Splits at CR LF, the ending of every line this system writes.
righe_file righe_di(const std::string& testo) {
    righe_file righe;
    std::size_t inizio = 0, fine;
    while ((fine = testo.find("\r\n", inizio)) != std::string::npos) {
        righe.push_back(testo.substr(inizio, fine - inizio));
        inizio = fine + 2;
    }
    if (inizio < testo.size()) righe.push_back(testo.substr(inizio));
    return righe;
}

std::string unisci(const righe_file& righe) {
    std::string testo;
    for (const auto& r : righe) testo += r + "\r\n";
    return testo;
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
    std::string guasto;              // the operation that fails

    void SetUp() override {
        p.crea_cartelle("C:\\j8");
        p.regola_guasto = [this](const piattaforma_copione::operazione_file& o) {
            passi.push_back(o.nome + " " + o.percorso);
            return passi.back() == guasto ? std::optional<std::string>("disco pieno") : std::nullopt;
        };
    }
    std::vector<riga_impostazione> leggi() { return leggi_impostazioni(p, percorso, 1.0f); }
    int riscrivi(const std::string& valore, bool aggiungi = false, const std::string& chiave = "aggiornamento") {
        return riscrivi_impostazione(p, percorso, chiave, valore, 3.0f, aggiungi);
    }
};

TEST_F(impostazioni, legge_un_file_scritto_da_un_altro_programma_e_uno_nuovo) {
    p.crea_file(percorso, file_noto());
    auto righe = leggi_impostazioni(p, percorso, 5000.0f);
    ASSERT_EQ(righe.size(), 13u);
    EXPECT_EQ(righe[0].testo, "aggiornamento=j8000122");
    // Keys lower-cased, nothing trimmed, value split at the first "=".
    EXPECT_EQ(righe[1].chiave, "lingua bbs");
    EXPECT_EQ(righe[2].chiave, "lingua bbs ");
    EXPECT_EQ(righe[3].valore, " 0612345678 ");
    EXPECT_EQ(righe[5].valore, "cliente=\xe0");
    EXPECT_EQ(valore_impostazione(righe, "aggiornamento"), "j8000123");  // later line wins, row 1 again
    EXPECT_EQ(valore_impostazione(righe, "lingua bbs"), "1");  // "lingua bbs " is another key

    // A file of ours read back.
    const std::vector<std::string> chiare{"aggiornamento=j8000001", "riga= \xe8\b~"};
    const std::string creato = componi_impostazioni(percorso, chiare, 40000.25f);
    EXPECT_NE(creato, componi_impostazioni(percorso, chiare, 40001.25f));  // seeds from the clock
    p.crea_file(percorso, creato);
    EXPECT_EQ(leggi()[1].testo, "riga= \xe8\x1f~");  // backspace comes back as 31
    // The line of the new file that cannot be written.
    for (const auto& caso : {std::pair<std::vector<std::string>, int>{{"a=1", "b=2", "senza"}, 33},
                             {{"a=1", "b=\t2"}, 32}})
        EXPECT_THAT([&] { componi_impostazioni(percorso, caso.first, 1.0f); },
                    Throws<errore_impostazioni>(Property(&errore_impostazioni::riga, caso.second)));
}

TEST_F(impostazioni, riscrittura_cambia_solo_la_riga_della_chiave) {
    const std::string originale = file_noto();
    p.crea_file(percorso, originale);
    EXPECT_EQ(riscrivi("j8000130"), 2);
    // Through the copy beside it, which is gone afterwards.
    EXPECT_EQ(passi, (std::vector<std::string>{"leggi_file " + percorso, "scrivi_file " + provvisorio,
                                               "leggi_file " + provvisorio, "scrivi_file " + percorso,
                                               "cancella_file " + provvisorio}));

    const std::string nuovo = p.leggi_file(percorso);
    auto prima = righe_di(originale), dopo = righe_di(nuovo);
    ASSERT_EQ(dopo.size(), prima.size());
    for (std::size_t i : {0, 29, 31, 41}) EXPECT_EQ(dopo[i], prima[i]) << "riga " << i + 1;
    EXPECT_EQ(dopo[30], "^ZZ'`zG^D)Gd`K:+8885*8");  // line 1 enciphered with row 1
    EXPECT_EQ(leggi()[12].testo, "AGGIORNAMENTO=j8000130");  // key kept as written
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
    EXPECT_EQ(leggi().at(2).testo, "Password BBS=zeta");

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
}

TEST_F(impostazioni, riscrittura_fallita_lascia_il_file_com_era) {
    // A broken line after the key's, a value the cipher cannot take.
    for (const auto& [contenuto, valore, riga] : {std::tuple<std::string, std::string, int>{
             file_noto() + "KPK\r\n", "j8000130", 44}, {file_noto(), "j8\t", 31}}) {
        p.crea_file(percorso, contenuto);
        EXPECT_THAT([&] { riscrivi(valore); }, ThrowsMessage<errore_impostazioni>(StartsWith(
                                                   percorso + ", riga " + std::to_string(riga) + ": ")));
        EXPECT_EQ(p.leggi_file(percorso), contenuto);
        EXPECT_FALSE(p.esiste_file(provvisorio));
    }

    // A copy that cannot be deleted does not spoil the rewrite.
    p.crea_file(percorso, file_noto());
    guasto = "cancella_file " + provvisorio;
    EXPECT_EQ(riscrivi("j8000131"), 2);
    EXPECT_EQ(leggi()[0].valore, "j8000131");
    // A bare name: the copy sits in the current directory.
    p.cambia_direttorio("C:\\j8");
    riscrivi_impostazione(p, "j8_bbs_config.txt", "aggiornamento", "j8000132", 3.0f);
    EXPECT_EQ(passi[passi.size() - 3], "leggi_file j8_bbs_config.tmp");
}


TEST(impostazioni_rovinate, messaggio_di_avvio_per_ogni_file_che_non_si_puo_usare) {
    const std::string cartella = "C:\\j8bbs", file = "C:\\j8bbs\\j8_bbs_config.txt";
    const std::string pippo = "c:\\pippo\\j8_bbs_config.txt";
    const std::string danneggiato = "Il file delle impostazioni " + file + " \xE8 danneggiato alla riga ";
    const std::string nuova_copia =
        ".\r\nChiedere al fornitore del programma una nuova copia del file e metterla al posto di questa.";
    const std::string fine = "\r\n\r\nIl programma viene chiuso senza modificare nulla.";
    const std::vector<std::string_view> chiavi_bbs(std::begin(chiavi_configurazione_bbs),
                                                   std::end(chiavi_configurazione_bbs));
    const std::string buono = componi_impostazioni(
        file, {"aggiornamento=j8000007", "userid bbs=farmacia", "password bbs=zeta", "x=1"}, 100.0f);
    const std::string senza_uguale = cifra_riga("userid bbs farmacia", 2);
    const std::string estraneo = componi_impostazioni(file, {"colore=blu", "finestra=grande"}, 5.0f);
    const std::string tutte = "aggiornamento=j8000007|userid bbs=farmacia|password bbs=zeta|x=1";
    const std::string forse = " un'impostazione nota. Forse \xE8 cifrato con un'altra chiave o non \xE8 un file "
                              "di impostazioni di j8_bbs" + nuova_copia;

    struct caso {
        const char* nome;
        std::function<void(righe_file&)> rovina;  // on the good file's lines
        std::string messaggio;  // the whole text; empty: read
        std::string letti;      // the data lines read, joined by "|"
        std::string dove = "C:\\j8bbs\\j8_bbs_config.txt";
    };
    const std::vector<caso> casi = {
        {"mancante nei due posti", nullptr,
         "Il file delle impostazioni j8_bbs_config.txt non \xE8 stato trovato n\xE9 nella cartella "
         "C:\\j8bbs\\ n\xE9 in c:\\pippo\\.\r\nCopiare il file in una delle due cartelle (chiedere al "
         "fornitore del programma una nuova copia se non c'\xE8 pi\xF9).", "", pippo},
        {"corto, solo in pippo", [](righe_file& r) { r.resize(17); },
         "Il file delle impostazioni " + pippo + " \xE8 danneggiato alla riga 18: il file finisce dopo 17 "
         "righe, l'intestazione ne richiede 30" + nuova_copia, "", pippo},
        {"una riga", [](righe_file& r) { r.resize(1); },
         danneggiato + "2: il file finisce dopo 1 riga, l'intestazione ne richiede 30" + nuova_copia, ""},
        {"vuoto", [](righe_file& r) { r.clear(); }, danneggiato + "1: il file \xE8 vuoto" + nuova_copia, ""},
        {"seme all'ultimo carattere", [](righe_file& r) { r[8].resize(250); }, "", tutte},
        {"seme appena oltre", [](righe_file& r) { r[8].resize(249); },
         danneggiato + "9: riga di intestazione di 249 caratteri, troppo corta: la chiave richiede il "
         "carattere in posizione 250" + nuova_copia, ""},
        {"seme nullo", [](righe_file& r) { r[6][4] = '\0'; },
         danneggiato + "7: intestazione danneggiata: il carattere in posizione 5 \xE8 nullo (codice 0)" +
             nuova_copia, ""},
        {"riga senza uguale", [&](righe_file& r) { r[31] = senza_uguale; },
         danneggiato + "32: la riga, decifrata, non contiene il segno \"=\" (riga 2 dei dati)" + nuova_copia,
         "aggiornamento=j8000007"},
        {"riga vuota", [](righe_file& r) { r.insert(r.begin() + 32, ""); },
         danneggiato + "33: riga vuota (riga 3 dei dati): ogni riga dopo l'intestazione deve contenere "
         "un'impostazione \"chiave=valore\"" + nuova_copia, "aggiornamento=j8000007|userid bbs=farmacia"},
        {"estraneo", [&](righe_file& r) { r = righe_di(estraneo); },
         "Il file " + file + " non contiene impostazioni leggibili: nessuna delle 2 righe di dati contiene" +
             forse, "colore=blu|finestra=grande"},
        {"estraneo di una riga", [&](righe_file& r) { r = righe_di(estraneo); r.pop_back(); },
         "Il file " + file + " non contiene impostazioni leggibili: l'unica riga di dati non contiene" + forse,
         "colore=blu"},
        {"solo intestazione", [](righe_file& r) { r.resize(30); }, "", ""},
    };
    for (const caso& c : casi) {
        SCOPED_TRACE(c.nome);
        piattaforma_copione p;
        p.imposta_direttorio_programma(cartella);
        p.cambia_direttorio(cartella);
        p.crea_cartelle("c:\\pippo");
        righe_file righe = righe_di(buono);
        if (c.rovina) {
            c.rovina(righe);
            p.crea_file(c.dove, unisci(righe));
        }
        std::string letti;
        auto a = carica_impostazioni(p, file_configurazione_bbs, chiavi_bbs, [&](const riga_impostazione& r) {
            letti += (letti.empty() ? "" : "|") + r.testo;
            return true;
        });
        EXPECT_EQ(a.messaggio, c.messaggio.empty() ? "" : c.messaggio + fine);
        EXPECT_EQ(a.esito, c.messaggio.empty() ? apertura_impostazioni::stato::lette
                           : c.rovina         ? apertura_impostazioni::stato::illeggibili
                                              : apertura_impostazioni::stato::mancanti);
        EXPECT_EQ(letti, c.letti);
        EXPECT_EQ(a.posizione.percorso, c.dove);
        EXPECT_EQ(a.posizione.direttorio, c.dove.substr(0, c.dove.rfind('\\') + 1));
    }

    // The folder is named with one separator however it is given.
    piattaforma_copione p;
    p.crea_file("d:\\j8_bbs_config.txt");
    EXPECT_EQ(cerca_impostazioni(p, "d:\\", file_configurazione_bbs).percorso, "d:\\j8_bbs_config.txt");
    EXPECT_EQ(spiega_impostazioni_mancanti("j8_config.txt", "D:\\prog"),
              spiega_impostazioni_mancanti("j8_config.txt", "D:\\prog\\"));
}

// The forms' tests use the lists throughout; here, the cut at 255 they never meet.
TEST(enumera_finestre, testi_tagliati_a_255_ed_elenchi_ricostruiti_a_ogni_chiamata) {
    piattaforma_copione p;
    p.apri_finestra(std::string(255, 'a') + "FINE", std::string(300, 'c'));
    const maniglia b = p.apri_finestra(std::string(255, 'b'), "ClasseB");
    p.aggiungi_figlio(b, std::string(260, 'x'), "Edit");
    enumera_finestre(p);
    enumera_figli(p, b);
    ASSERT_EQ(conteggio_finestre, 2);
    EXPECT_EQ(elenco_finestre[0].titolo, std::string(255, 'b'));  // exactly 255: whole
    EXPECT_EQ(elenco_finestre[1].titolo, std::string(255, 'a'));
    EXPECT_EQ(elenco_finestre[1].classe, std::string(255, 'c'));
    EXPECT_EQ(elenco_figli.at(0).titolo, std::string(255, 'x'));

    p.chiudi_finestra(b);
    enumera_finestre(p);
    EXPECT_EQ(conteggio_finestre, 1);
    EXPECT_EQ(elenco_finestre.size(), 1u);
}

#ifdef J8_STRUMENTO_IMPOSTAZIONI

// The tool on real files: exit status, what it prints, files left alone.
TEST(strumento_impostazioni, legge_imposta_e_rifiuta_senza_toccare_nulla) {
    const auto cartella = std::filesystem::temp_directory_path() / ("j8_strumento_" + std::to_string(::getpid()));
    std::filesystem::create_directories(cartella);
    const auto percorso = [&](const std::string& nome) { return (cartella / nome).string(); };
    const auto leggi = [&](const std::string& nome) {
        std::ostringstream s;
        s << std::ifstream(percorso(nome), std::ios::binary).rdbuf();
        return s.str();
    };
    std::string uscita, errori;
    const auto esegui = [&](const std::vector<std::string>& argomenti, const std::string& ingresso = "") {
        std::ofstream(percorso("ingresso"), std::ios::binary) << ingresso;
        std::string comando = "'" J8_STRUMENTO_IMPOSTAZIONI "'";
        for (const auto& a : argomenti) comando += " '" + a + "'";
        const int stato = std::system((comando + " >'" + percorso("uscita") + "' 2>'" + percorso("errori") +
                                       "' <'" + percorso("ingresso") + "'").c_str());
        uscita = leggi("uscita");
        errori = leggi("errori");
        return WIFEXITED(stato) ? WEXITSTATUS(stato) : -1;
    };

    // The module's message, one line per line, in UTF-8; nothing on stdout.
    EXPECT_EQ(esegui({"leggi", percorso("manca.txt")}), 2);
    EXPECT_EQ(errori, "j8_impostazioni: Impossibile leggere il file delle impostazioni " + percorso("manca.txt") +
                          " (file non trovato).\nVerificare che il file esista, che la sua cartella sia accessibile "
                          "e che nessun altro programma lo tenga aperto.\n");
    const std::string estraneo = percorso("estraneo.txt");
    std::ofstream(estraneo, std::ios::binary) << componi_impostazioni("x", {"colore=blu"}, 9.0f);
    const std::string prima = leggi("estraneo.txt");
    EXPECT_EQ(esegui({"imposta", estraneo, "aggiornamento", "j8000004"}), 2);
    EXPECT_THAT(errori, HasSubstr("non contiene impostazioni leggibili"));
    EXPECT_EQ(leggi("estraneo.txt"), prima);

    const std::string buono = percorso("buono.txt");
    for (const char* secondi : {"86400", "5x", "", "-1"}) {
        EXPECT_EQ(esegui({"crea", buono, "--orologio", secondi}, "aggiornamento=j8000003\n"), 2) << secondi;
        EXPECT_EQ(errori, "j8_impostazioni: secondi da mezzanotte non validi: " + std::string(secondi) +
                              " (da 0 a 86399)\n");
        EXPECT_FALSE(std::filesystem::exists(buono)) << secondi;
    }
    // Today's clock; the tables' settings file is not foreign either.
    EXPECT_EQ(esegui({"crea", percorso("ora.txt")}, "direttorio tabelle=c:\\t\\\n"), 0);
    EXPECT_EQ(esegui({"leggi", percorso("ora.txt")}), 0);
    EXPECT_EQ(esegui({"crea", buono, "--orologio", "5"}, "aggiornamento=j8000003\r\nPassword BBS=z=et a\n"), 0);
    EXPECT_EQ(esegui({"imposta", buono, "aggiornamento", "j80\t0004"}), 2);
    EXPECT_EQ(errori,
              "j8_impostazioni: la riga \"chiave=valore\" contiene un carattere di controllo (codice 9 in "
              "posizione 18) che la cifratura non ammette; il file non \xC3\xA8 stato modificato\n");
    EXPECT_EQ(esegui({"imposta", buono, "a=b", "x"}), 2);  // would be read as key "a"
    EXPECT_EQ(esegui({"leggi", buono}), 0);
    // The password only when asked for by name, never its length.
    EXPECT_EQ(uscita, "aggiornamento=j8000003\nPassword BBS=********\n");
    EXPECT_EQ(esegui({"imposta", buono, "aggiornamento", "j8000004"}), 0);
    EXPECT_EQ(esegui({"leggi", buono, "--mostra-password"}), 0);
    EXPECT_EQ(uscita, "aggiornamento=j8000004\nPassword BBS=z=et a\n");
    EXPECT_EQ(esegui({"leggi", buono, "--mostra"}), 2);
    EXPECT_EQ(uscita, "");

    // A disk found full only when the data is flushed: the file stays, the
    // message says why (a failing fsync would say something else).
    const std::string scritto = leggi("buono.txt");
    std::filesystem::create_symlink("/dev/full", buono + suffisso_scrittura);
    EXPECT_THAT([&] { file_locali().scrivi_file(buono, "x"); },
                Throws<errore_file>(Property(&errore_file::problema, "impossibile scrivere il file, disco pieno")));
    EXPECT_EQ(leggi("buono.txt"), scritto);
    std::filesystem::remove_all(cartella);
}

#endif  // J8_STRUMENTO_IMPOSTAZIONI

}  // namespace
}  // namespace j8
