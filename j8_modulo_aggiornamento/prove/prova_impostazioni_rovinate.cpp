// Missing, unreadable, damaged and foreign settings files at start-up: the
// whole message the user reads, and the j8_impostazioni tool on real files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
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

using righe_file = std::vector<std::string>;

righe_file righe_di(const std::string& testo) {
    righe_file righe;
    std::size_t inizio = 0, fine;
    while ((fine = testo.find("\r\n", inizio)) != std::string::npos) {
        righe.push_back(testo.substr(inizio, fine - inizio));
        inizio = fine + 2;
    }
    return righe;
}

std::string unisci(const righe_file& righe) {
    std::string testo;
    for (const auto& r : righe) testo += r + "\r\n";
    return testo;
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
    const std::string una_nota = componi_impostazioni(file, {"colore=blu", "Telefono BBS=06", "x=y"}, 5.0f);

    struct caso {
        const char* nome;
        std::function<void(righe_file&)> rovina;  // on the good file's lines
        std::string messaggio;  // the whole text; empty: read
        std::string letti;      // the data lines read, joined by "|"
        std::string dove = "C:\\j8bbs\\j8_bbs_config.txt";
        bool nessuna_chiave = false;  // read without known keys (j8_config.txt)
    };
    const std::vector<caso> casi = {
        {"buono", [](righe_file&) {}, "", tutte},
        {"mancante nei due posti", nullptr,
         "Il file delle impostazioni j8_bbs_config.txt non \xE8 stato trovato n\xE9 nella cartella "
         "C:\\j8bbs\\ n\xE9 in c:\\pippo\\.\r\nCopiare il file in una delle due cartelle (chiedere al "
         "fornitore del programma una nuova copia se non c'\xE8 pi\xF9).", "", pippo},
        {"illeggibile", [](righe_file&) {},
         "Impossibile leggere il file delle impostazioni " + file + " (accesso negato).\r\nVerificare che il "
         "file esista, che la sua cartella sia accessibile e che nessun altro programma lo tenga aperto.", ""},
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
         "Il file " + file + " non contiene impostazioni leggibili: nessuna delle 2 righe di dati contiene "
         "un'impostazione nota. Forse \xE8 cifrato con un'altra chiave o non \xE8 un file di impostazioni di "
         "j8_bbs" + nuova_copia, "colore=blu|finestra=grande"},
        {"estraneo di una riga", [&](righe_file& r) { r = righe_di(estraneo); r.pop_back(); },
         "Il file " + file + " non contiene impostazioni leggibili: l'unica riga di dati non contiene "
         "un'impostazione nota. Forse \xE8 cifrato con un'altra chiave o non \xE8 un file di impostazioni di "
         "j8_bbs" + nuova_copia, "colore=blu"},
        {"estraneo senza chiavi da cercare", [&](righe_file& r) { r = righe_di(estraneo); }, "",
         "colore=blu|finestra=grande", file, true},
        {"una chiave nota tra le ignote", [&](righe_file& r) { r = righe_di(una_nota); }, "",
         "colore=blu|Telefono BBS=06|x=y"},
        {"solo intestazione", [](righe_file& r) { r.resize(30); }, "", ""},
        {"carattere di controllo in un valore", [](righe_file& r) { r[32].insert(r[32].size() - 2, "\t"); },
         "", "aggiornamento=j8000007|userid bbs=farmacia|password bbs=ze\x1fta|x=1"},
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
        if (std::string(c.nome) == "illeggibile")
            p.regola_guasto = [](const piattaforma_copione::operazione_file&) {
                return std::optional<std::string>("accesso negato");
            };
        std::string letti;
        auto a = carica_impostazioni(p, file_configurazione_bbs,
                                     c.nessuna_chiave ? std::vector<std::string_view>{} : chiavi_bbs,
                                     [&](const riga_impostazione& r) {
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

    // Other seeds in the header: the data lines decipher to noise, with or
    // without an "=", and the start always ends with a message.
    prepara_chiave(1.0f);  // the seeds' positions, fixed by the key
    for (int altro = 1; altro <= 12; ++altro) {
        righe_file righe = righe_di(buono);
        for (int i = 1; i <= 12; ++i) {
            char& seme = righe[i - 1][posizioni[i] - 1];
            seme = static_cast<char>(32 + (seme - 32 + altro * 7) % 96);
        }
        piattaforma_copione p;
        p.crea_file("C:\\j8_bbs\\j8_bbs_config.txt", unisci(righe));
        auto a = carica_impostazioni(p, file_configurazione_bbs, chiavi_bbs, [](auto&) { return true; });
        EXPECT_EQ(a.esito, apertura_impostazioni::stato::illeggibili) << altro;
        EXPECT_EQ(a.posizione.percorso, "C:\\j8_bbs\\j8_bbs_config.txt");
    }
    // The folder is named with one separator however it is given.
    piattaforma_copione p;
    p.crea_file("d:\\j8_bbs_config.txt");
    EXPECT_EQ(cerca_impostazioni(p, "d:\\", file_configurazione_bbs).percorso, "d:\\j8_bbs_config.txt");
    EXPECT_EQ(spiega_impostazioni_mancanti("j8_config.txt", "D:\\prog"),
              spiega_impostazioni_mancanti("j8_config.txt", "D:\\prog\\"));
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
    const auto scrivi = [&](const std::string& nome, const std::vector<std::string>& righe) {
        std::ofstream(percorso(nome), std::ios::binary) << componi_impostazioni("x", righe, 9.0f);
        return percorso(nome);
    };

    // The module's message, one line per line, in UTF-8; nothing on stdout.
    EXPECT_EQ(esegui({"leggi", percorso("manca.txt")}), 2);
    EXPECT_THAT(errori, ::testing::StartsWith("j8_impostazioni: Impossibile leggere il file delle impostazioni " +
                                              percorso("manca.txt") + " (file non trovato).\nVerificare"));
    std::ofstream(percorso("vuoto.txt"));
    EXPECT_EQ(esegui({"leggi", percorso("vuoto.txt")}), 2);
    EXPECT_THAT(errori, ::testing::HasSubstr(" \xC3\xA8 danneggiato alla riga 1: il file \xC3\xA8 vuoto.\nChiedere"));
    const std::string estraneo = scrivi("estraneo.txt", {"colore=blu"}), prima = leggi("estraneo.txt");
    for (auto argomenti : {std::vector<std::string>{"leggi", estraneo},
                           std::vector<std::string>{"imposta", estraneo, "aggiornamento", "j8000004"}}) {
        EXPECT_EQ(esegui(argomenti), 2) << argomenti[0];
        EXPECT_THAT(errori, ::testing::HasSubstr("non contiene impostazioni leggibili")) << argomenti[0];
        EXPECT_EQ(uscita, "");
    }
    EXPECT_EQ(leggi("estraneo.txt"), prima);

    const std::string buono = percorso("buono.txt");
    for (const char* secondi : {"86400", "5x", "", "-1"}) {
        EXPECT_EQ(esegui({"crea", buono, "--orologio", secondi}, "aggiornamento=j8000003\n"), 2) << secondi;
        EXPECT_FALSE(std::filesystem::exists(buono)) << secondi;
    }
    EXPECT_EQ(esegui({"crea", percorso("ora.txt")}, "aggiornamento=j8000003\n"), 0);  // today's clock
    EXPECT_TRUE(std::filesystem::exists(percorso("ora.txt")));
    EXPECT_EQ(esegui({"crea", buono, "--orologio", "5"}, "aggiornamento=j8000003\r\nPassword BBS=z=et a\n"), 0);
    EXPECT_EQ(esegui({"imposta", buono, "aggiornamento", "j80\t0004"}), 2);
    EXPECT_EQ(errori,
              "j8_impostazioni: la riga \"chiave=valore\" contiene un carattere di controllo (codice 9 in "
              "posizione 18) che la cifratura non ammette; il file non \xC3\xA8 stato modificato\n");
    EXPECT_EQ(esegui({"leggi", buono}), 0);
    // The password only when asked for by name, never its length.
    EXPECT_EQ(uscita, "aggiornamento=j8000003\nPassword BBS=********\n");
    EXPECT_EQ(esegui({"imposta", buono, "aggiornamento", "j8000004"}), 0);
    EXPECT_EQ(esegui({"leggi", buono, "--mostra-password"}), 0);
    EXPECT_EQ(uscita, "aggiornamento=j8000004\nPassword BBS=z=et a\n");
    EXPECT_EQ(esegui({"leggi", buono, "--mostra"}), 2);
    EXPECT_EQ(uscita, "");
    std::filesystem::remove_all(cartella);
}

#endif  // J8_STRUMENTO_IMPOSTAZIONI

}  // namespace
}  // namespace j8
