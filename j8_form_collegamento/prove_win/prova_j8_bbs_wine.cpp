// j8_bbs.exe from start to finish with real windows: it drives the terminal
// stand-in through a whole BBS session, uploads, downloads two packages
// attached to mail, logs out, closes the terminal and applies the packages.
// The other ways a session ends, and the English menus, are checked on the
// native stand-in.

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <sstream>
#include <thread>
#include <vector>

#include "j8_form_aggiornamento/prove/dati_prova.hpp"
#include "mondo_prova/regia/regia.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "mondo_prova/pacchetto/strumento_pacchetto.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "risorse/versione.h"

namespace fs = std::filesystem;
using namespace j8;
using namespace j8::wine;

namespace {

std::string con_barra(const fs::path& p) { return p.string() + "\\"; }

// Full of the key notation's characters: the BBS must get it as written.
const std::string password_prova = "K+p%9(x)~^{a}";

// Caps Lock on the whole display: its state, and a press of the key.
bool maiuscole() {
    MSG m;
    PeekMessageW(&m, nullptr, 0, 0, PM_NOREMOVE);  // brings the key state up to date
    return GetKeyState(VK_CAPITAL) & 1;
}
void premi_maiuscole() {
    keybd_event(VK_CAPITAL, 0, 0, 0);
    keybd_event(VK_CAPITAL, 0, KEYEVENTF_KEYUP, 0);
    Sleep(200);
}

// One workstation and one BBS in a folder of their own: the database, two
// packages in the mailbox, the terminal stand-in and the settings.
class j8_bbs_wine : public ::testing::Test {
protected:
    const fs::path bin = cartella_programma();
    fs::path radice, programma, tabelle, deposito, origine, archivio, file_bbs, carico_bbs;

    // `scenario`: lines of the stand-in's BBS besides the common ones.
    void prepara(const std::string& nome, const std::string& scenario, const std::string& utente = "cliente") {
        radice = fs::path("c:\\j8_prova_collegamento") / nome;
        std::error_code ec;
        fs::remove_all(radice, ec);
        fs::remove_all("c:\\j8\\lavoro_aggiornamento", ec);
        programma = radice / "programma";
        tabelle = radice / "tabelle";
        deposito = radice / "DA_BBS";
        origine = radice / "A_BBS";
        archivio = radice / "archivio";
        file_bbs = radice / "bbs" / "file";
        carico_bbs = radice / "bbs" / "carico";
        for (const fs::path& d : {programma, tabelle, deposito, origine, archivio, file_bbs, carico_bbs,
                                  radice / "ricevuti", radice / "hyper"})
            fs::create_directories(d);
        fs::copy_file(bin / "j8_bbs.exe", programma / "j8_bbs.exe");
        for (const auto& [file, testo] : prova::tabelle_iniziali({prova::farmaco_tda("000000001", "FARMACO UNO"),
                                                                 prova::farmaco_tda("000000002", "FARMACO DUE")}))
            scrivi(tabelle / file, testo);
        for (int n = 1; n <= 2; ++n) {
            std::vector<std::string> argomenti = {(file_bbs / ("j800000" + std::to_string(n) + ".exe")).string()};
            const fs::path sorgente = radice / "sorgenti" / std::to_string(n);
            fs::create_directories(sorgente);
            for (const auto& [file, testo] : prova::pacchetto_completo(n)) {
                scrivi(sorgente / file, testo);
                argomenti.push_back((sorgente / file).string());
            }
            std::ostringstream uscita, errori;
            ASSERT_EQ(pacchetto::esegui_j8_pacchetto(argomenti, bin, uscita, errori), 0) << errori.str();
        }
        // The stand-in reads its BBS from the file beside it, as the session
        // starts it by its path alone.
        const fs::path terminale = radice / "hyper" / "terminale_prova.exe";
        fs::copy_file(bin / "terminale_prova.exe", terminale);
        scrivi(radice / "hyper" / "terminale_prova.txt",
               "utente = cliente\r\npassword = " + password_prova + "\r\n" + scenario +
                   "\r\nlingua = italiano\r\ndirettorio_file = " + file_bbs.string() +
                   "\r\ndirettorio_carico = " + carico_bbs.string() +
                   "\r\ndirettorio_ricezione = " + (radice / "ricevuti").string() +
                   "\r\nsecondi_trasferimento = 2"
                   "\r\nmessaggio = nuovo | j8000001.exe | Aggiornamento banca dati 1"
                   "\r\nmessaggio = letto | | Avviso gia' letto"
                   "\r\nmessaggio = nuovo | j8000002.exe | Aggiornamento banca dati 2\r\n");
        const fs::path config = programma / "j8_bbs_config.txt";
        scrivi(config, componi_impostazioni(config.string(),
                                            {"aggiornamento=j8000000", "direttorio a bbs=" + origine.string(),
                                             "direttorio da bbs=" + con_barra(deposito),
                                             "direttorio archivio aggiornamenti=" + con_barra(archivio),
                                             "telefono bbs=0612345678", "userid bbs=" + utente,
                                             "password bbs=" + password_prova, "lingua bbs=0",
                                             "direttorio hyperterminal=" + terminale.string()},
                                            4321.0f));
        scrivi(programma / "j8_config.txt",
               componi_impostazioni("j8_config.txt", {"direttorio tabelle=" + con_barra(tabelle)}, 99.0f));
    }

    regia::esito_regia avvia(const std::string& nome) {
        const fs::path foto = bin.parent_path() / "schermate" / nome;
        fs::create_directories(foto);
        return regia::segui_j8_bbs((programma / "j8_bbs.exe").wstring(), L"/avvia", foto.wstring(), 600);
    }

    // Ends the terminal stand-in's process, if its window is there.
    static void chiudi_terminale() {
        HWND h = FindWindowA("terminale_prova", nullptr);
        if (!h) return;
        DWORD pid = 0;
        GetWindowThreadProcessId(h, &pid);
        if (HANDLE p = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, pid)) {
            TerminateProcess(p, 0);
            WaitForSingleObject(p, 5000);
            CloseHandle(p);
        }
    }
};

// Caps Lock on and files to send: the BBS gets exactly what was written,
// and the terminal goes once the session is over. (Another program's window
// in front mid-session: the platform's Wine tests and the native sessions.)
TEST_F(j8_bbs_wine, sessione_con_invio_e_aggiornamento) {
    prepara("completa", "linea = libera");
    scrivi(origine / "ordine_001.txt", "ordine 1\r\n");
    scrivi(origine / "ordine_002.txt", "ordine 2\r\n");
    if (!maiuscole()) premi_maiuscole();
    ASSERT_TRUE(maiuscole());
    const auto esito = avvia("completa");
    premi_maiuscole();
    EXPECT_TRUE(esito.terminato);
    EXPECT_EQ(esito.codice_uscita, 0u);
    EXPECT_TRUE(esito.messaggi.empty()) << esito.messaggi.front();
    EXPECT_TRUE(entro(10, [] { return !FindWindowA("terminale_prova", nullptr); }));
    // Both packages applied (the tables themselves are compared with the
    // engine tool's in the update form's Wine tests).
    EXPECT_EQ(esito.stato_finale, "AGGIORNAMENTO COMPLETATO");
    EXPECT_TRUE(fs::exists(archivio / "j8000002.exe"));
    EXPECT_EQ(leggi(carico_bbs / "ordine_001.txt"), "ordine 1\r\n");
    EXPECT_EQ(leggi(carico_bbs / "ordine_002.txt"), "ordine 2\r\n");
}

// Mid-session the password box shows bullets ("Mostra", unticked, shows the
// text while ticked). Then the terminal program killed: a clear message; or,
// with a user id the BBS does not know, the form closed while the session
// waits without end for the password prompt: the program ends all the same.
// Either way nothing is applied. (The transcripts: the native sessions.)
TEST_F(j8_bbs_wine, terminale_ucciso_o_form_chiuso_a_meta_sessione) {
    for (const bool ucciso : {true, false}) {
        const std::string nome = ucciso ? "ucciso" : "chiuso";
        SCOPED_TRACE(nome);
        prepara(nome, "", ucciso ? "cliente" : "sconosciuto");
        const auto prima = contenuto(tabelle);
        std::thread a_meta([ucciso] {
            Sleep(30000);  // past the first tick and the login
            HWND form = FindWindowA("j8_form_collegamento", nullptr);
            EXPECT_TRUE(form && IsWindowVisible(form));
            HWND password = nullptr, mostra = FindWindowExA(form, nullptr, "Button", "Mostra");
            int nascosti = 0;
            for (HWND f = nullptr; (f = FindWindowExA(form, f, "Edit", nullptr));)
                if (GetWindowLongW(f, GWL_STYLE) & ES_PASSWORD) password = f, ++nascosti;
            EXPECT_EQ(nascosti, 1);
            EXPECT_EQ(SendMessageW(password, EM_GETPASSWORDCHAR, 0, 0), 0x25CF);
            EXPECT_EQ(SendMessageW(mostra, BM_GETCHECK, 0, 0), BST_UNCHECKED);
            SendMessageW(mostra, BM_CLICK, 0, 0);
            EXPECT_EQ(GetWindowLongW(password, GWL_STYLE) & ES_PASSWORD, 0);
            SendMessageW(mostra, BM_CLICK, 0, 0);
            EXPECT_NE(GetWindowLongW(password, GWL_STYLE) & ES_PASSWORD, 0);
            if (ucciso) chiudi_terminale();
            else PostMessageW(form, WM_CLOSE, 0, 0);
        });
        const auto esito = avvia(nome);
        a_meta.join();
        EXPECT_TRUE(esito.terminato);
        EXPECT_EQ(contenuto(tabelle), prima);
        EXPECT_TRUE(fs::is_empty(archivio));
        if (!ucciso) {
            EXPECT_TRUE(esito.messaggi.empty());
            chiudi_terminale();
            continue;
        }
        EXPECT_NE(esito.codice_uscita, 0u);
        ASSERT_EQ(esito.messaggi.size(), 1u);
        EXPECT_EQ(esito.messaggi[0].rfind("Il programma terminale non risponde o \xE8 stato chiuso", 0), 0u)
            << esito.messaggi[0];
        EXPECT_NE(esito.messaggi[0].find("\\programma\\log\\sessione_"), std::string::npos);
    }
}

}  // namespace

// The shipped programs carry the product's name and version, their own file
// name, the icon and the manifest (themed controls, DPI awareness).
TEST(programmi_windows, versione_icona_e_manifesto) {
    for (const std::wstring nome : {L"j8_bbs.exe", L"j8_tabelle.exe", L"j8_impostazioni.exe"}) {
        SCOPED_TRACE(fs::path(nome).string());
        const std::wstring percorso = (cartella_programma() / nome).wstring();
        DWORD ignorato = 0;
        std::vector<char> dati(GetFileVersionInfoSizeW(percorso.c_str(), &ignorato));
        ASSERT_TRUE(GetFileVersionInfoW(percorso.c_str(), 0, dati.size(), dati.data()));
        auto valore = [&](const std::wstring& chiave) {
            wchar_t* testo = nullptr;
            UINT n = 0;
            const bool c = VerQueryValueW(dati.data(), (L"\\StringFileInfo\\041004B0\\" + chiave).c_str(),
                                          reinterpret_cast<void**>(&testo), &n);
            return c ? std::wstring(testo, n ? n - 1 : 0) : L"(assente)";
        };
        EXPECT_EQ(valore(L"ProductName"), L"j8_bbs");
        EXPECT_EQ(valore(L"ProductVersion"), L"" J8_VERSIONE_TESTO);
        EXPECT_EQ(valore(L"OriginalFilename"), nome);

        HMODULE modulo = LoadLibraryExW(percorso.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
        ASSERT_NE(modulo, nullptr);
        EXPECT_NE(FindResourceW(modulo, MAKEINTRESOURCEW(1), RT_GROUP_ICON), nullptr);
        HRSRC manifesto = FindResourceW(modulo, MAKEINTRESOURCEW(1), RT_MANIFEST);
        ASSERT_NE(manifesto, nullptr);
        const std::string xml(static_cast<const char*>(LockResource(LoadResource(modulo, manifesto))),
                              SizeofResource(modulo, manifesto));
        EXPECT_NE(xml.find("Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\""), std::string::npos);
        EXPECT_NE(xml.find(">system</dpiAwareness>"), std::string::npos);
        FreeLibrary(modulo);
    }
}
