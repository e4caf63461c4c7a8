// Drives terminale_prova.exe from another process with the connection
// session's own keystrokes, reading its screen back through the clipboard.
#include <windows.h>

#include <gtest/gtest.h>

#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace j8 {
namespace {

using wine::entro;

const std::string cancella = "{bs}{bs}{bs}{bs}{bs}";
const std::string menu = "Immetti la tua scelta (T,I,F,E,L,A,P,D,R,Q,? per help, or X per uscire):";
const std::string email = "E-mail (R,W,M,E,F,S,X per fine, o ? per menu):";

bool finisce(const std::string& s, const std::string& fine) {
    return s.size() >= fine.size() && s.compare(s.size() - fine.size(), fine.size(), fine) == 0;
}

class terminale : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        char temp[MAX_PATH];
        GetTempPathA(MAX_PATH, temp);
        base = std::string(temp) + "j8_terminale_" + std::to_string(GetCurrentProcessId()) +
               (inglese() ? "_en" : "_it");
        pulisci();
        for (const char* d : {"", "\\file", "\\carico", "\\ricevuti", "\\da_inviare"})
            p.crea_direttorio(base + d);
        p.scrivi_file(base + "\\file\\j8000001.exe", "pacchetto 1\r\n");
        p.scrivi_file(base + "\\da_inviare\\ordini.txt", "ordine\r\n");
        p.scrivi_file(base + "\\da_inviare\\resi.txt", "reso\r\n");
        p.copia_file(p.direttorio_programma() + "\\terminale_prova.exe", base + "\\terminale_prova.exe");
        p.scrivi_file(base + "\\terminale_prova.txt",
                      "direttorio_file = " + base + "\\file\r\n" + "direttorio_carico = " + base +
                          "\\carico\r\n" + "secondi_trasferimento = 2\r\n" +
                          "lingua = " + (inglese() ? "inglese" : "italiano") + "\r\n" +
                          "messaggio = letto | | Benvenuto\r\n"
                          "messaggio = nuovo | j8000001.exe | Aggiornamento banca dati\r\n");
        task = p.avvia_programma(base + "\\terminale_prova.exe");
        ASSERT_TRUE(p.attiva_task(task));
    }
    void TearDown() override {
        if (HANDLE h = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, task)) {
            if (WaitForSingleObject(h, 0) == WAIT_TIMEOUT) TerminateProcess(h, 1);
            WaitForSingleObject(h, 5000);
            CloseHandle(h);
        }
        pulisci();
    }
    void pulisci() {
        for (const char* d : {"\\file", "\\carico", "\\ricevuti", "\\da_inviare", ""}) {
            if (!p.esiste_direttorio(base + d)) continue;
            for (const std::string& f : p.elenca_file(base + d, "*.*")) DeleteFileA((base + d + "\\" + f).c_str());
            RemoveDirectoryA((base + d).c_str());
        }
    }
    bool inglese() const { return GetParam(); }
    bool in_vita() {
        HANDLE h = OpenProcess(SYNCHRONIZE, FALSE, task);
        if (!h) return false;
        const bool vivo = WaitForSingleObject(h, 0) == WAIT_TIMEOUT;
        CloseHandle(h);
        return vivo;
    }

    // As the session reads the screen: select all, copy, trailing line ends off.
    std::string schermo() {
        p.attiva_task(task);
        p.manda_tasti(inglese() ? "%es" : "%ms");
        p.manda_tasti(inglese() ? "%e{enter}{end}" : "%m{enter}{end}");
        std::string s = p.leggi_appunti();
        while (finisce(s, "\r\n")) s.resize(s.size() - 2);
        return s;
    }
    // Sends `testo` and waits (at most 20 s) for the screen to end with `atteso`.
    ::testing::AssertionResult risposta(const std::string& testo, const std::string& atteso) {
        p.attiva_task(task);
        p.manda_tasti(testo);
        std::string s;
        if (entro(20, [&] { return finisce(s = schermo(), atteso); })) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "after " << testo << " the screen ends ["
                                             << s.substr(s.size() > 150 ? s.size() - 150 : 0) << "]";
    }
    bool finestra_zmodem() {
        for (const finestra& f : p.finestre())
            if (f.titolo.rfind("Zmodem", 0) == 0) return true;
        return false;
    }
    void aspetta_trasferimento() {
        ASSERT_TRUE(entro(20, [&] { return finestra_zmodem(); })) << "no transfer window";
        ASSERT_TRUE(entro(20, [&] { return !finestra_zmodem(); })) << "the transfer window stays";
    }
    void accesso() {
        ASSERT_TRUE(risposta("at{enter}", "at\r\nOK"));
        ASSERT_TRUE(risposta("atx3s7=60{enter}", "atx3s7=60\r\nOK"));
        ASSERT_TRUE(risposta("atdt0612345678{enter}", "Altrimenti batti \"new\":"));
        ASSERT_TRUE(risposta(cancella + "cliente{enter}", "Immetti la password:"));
        ASSERT_TRUE(risposta("zeta{enter}", menu));
    }
    void esci_confermando() {
        p.attiva_task(task);
        p.manda_tasti(inglese() ? "%fx" : "%fe");
        Sleep(1000);
        p.attiva_task(task);
        p.manda_tasti(inglese() ? "Y" : "S");
        EXPECT_TRUE(entro(10, [&] { return !in_vita(); })) << "the terminal is still running";
    }

    piattaforma_win32 p;
    std::string base;
    std::uint32_t task = 0;
};

TEST_P(terminale, sessione_con_invio_ricezione_e_uscita) {
    // Receive settings through the dialog, kept by closing it.
    p.attiva_task(task);
    p.manda_tasti("{esc}");
    p.manda_tasti("%tr");
    p.manda_tasti("+{end}");
    p.manda_tasti(base + "\\ricevuti{tab}{tab}Z");
    p.attiva_task(task);
    p.manda_tasti("%c");
    Sleep(500);

    accesso();
    ASSERT_TRUE(risposta(cancella + "LS MAIN U * Z{enter}", "Inizio caricamento ZMODEM"));
    p.attiva_task(task);
    p.manda_tasti("%tv" + base + "\\da_inviare\\*.*{tab}{tab}Z{tab}{enter}");
    aspetta_trasferimento();
    ASSERT_TRUE(risposta("", "Caricamento completato: 2 file ricevuti.\r\nImmetti scelta, ? per help, o X per fine:"));
    EXPECT_EQ(p.leggi_file(base + "\\carico\\ordini.txt"), "ordine\r\n");
    EXPECT_EQ(p.leggi_file(base + "\\carico\\resi.txt"), "reso\r\n");
    ASSERT_TRUE(risposta(cancella + "X{enter}", menu));

    ASSERT_TRUE(risposta(cancella + "E{enter}", "Scegli un'opzione (R,W,M,E,F,S,X per fine, o ? per info):"));
    ASSERT_TRUE(risposta(cancella + "R{enter}", "(Premi ENTER per partire con i nuovi messaggi):"));
    ASSERT_TRUE(risposta(cancella + "F{enter}", "Desideri visualizzare o scaricare il file ora (S/N)?"));
    ASSERT_TRUE(risposta(cancella + "S{enter}", "Indica un'opzione di scaricamento (o 'X' per uscire):"));
    p.attiva_task(task);
    p.manda_tasti(cancella + "Z{enter}");
    aspetta_trasferimento();
    EXPECT_EQ(p.leggi_file(base + "\\ricevuti\\j8000001.exe"), "pacchetto 1\r\n");
    ASSERT_TRUE(risposta("", "Scaricamento completato.\r\n\r\nMessaggio 2: (R)ispondi, (P)=precedente, o (N)=prossimo?"));
    ASSERT_TRUE(risposta(cancella + "E{enter}", email));
    ASSERT_TRUE(risposta(cancella + "X{enter}", menu));
    ASSERT_TRUE(risposta(cancella + "X{enter}", "Sei sicuro (S/N, o R per re-logon)?"));
    ASSERT_TRUE(risposta(cancella + "S{enter}", "NO CARRIER"));
    // The whole scrollback went to the clipboard, from the first command on.
    EXPECT_EQ(schermo().rfind("at\r\nOK\r\natx3s7=60\r\nOK\r\natdt0612345678\r\nCONNECT", 0), 0u);
    p.attiva_task(task);
    p.manda_tasti(inglese() ? "%fx" : "%fe");
    EXPECT_TRUE(entro(10, [&] { return !in_vita(); })) << "not connected: quits without asking";
}

TEST_P(terminale, uscita_da_collegato_chiede_conferma) {
    accesso();
    p.attiva_task(task);
    p.manda_tasti(inglese() ? "%fx" : "%fe");
    Sleep(1000);
    ASSERT_TRUE(in_vita()) << "a connected terminal asks first";
    p.attiva_task(task);
    p.manda_tasti(inglese() ? "S" : "Y");  // the other language's answer does nothing
    Sleep(500);
    ASSERT_TRUE(in_vita());
    p.attiva_task(task);
    p.manda_tasti(inglese() ? "Y" : "S");
    EXPECT_TRUE(entro(10, [&] { return !in_vita(); })) << "the terminal is still running";
}

INSTANTIATE_TEST_SUITE_P(lingue, terminale, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "inglese" : "italiano"; });

}  // namespace
}  // namespace j8
