// j8_bbs.exe from start to finish with real windows: it drives the terminal
// stand-in through whole BBS sessions, downloads two packages attached to
// mail, logs out, closes the terminal and applies the packages.

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
#include "comune/file_locali.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "risorse/versione.h"

namespace fs = std::filesystem;
using namespace j8;
using namespace j8::wine;

namespace {

std::string con_barra(const fs::path& p) { return p.string() + "\\"; }

// Caps Lock on the whole display: its state, and a press of the key.
bool maiuscole() {
    MSG m;
    PeekMessageW(&m, nullptr, 0, 0, PM_NOREMOVE);  // brings the key state up to date
    return GetKeyState(VK_CAPITAL) & 1;
}
void premi_maiuscole() {
    INPUT i[2] = {};
    i[0].type = i[1].type = INPUT_KEYBOARD;
    i[0].ki.wVk = i[1].ki.wVk = VK_CAPITAL;
    i[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, i, sizeof(INPUT));
    Sleep(200);
}

// One workstation and one BBS in a folder of their own: the database, two
// packages in the mailbox, the terminal stand-in and the settings.
class j8_bbs_wine : public ::testing::Test {
protected:
    const fs::path bin = cartella_programma();
    fs::path radice, programma, tabelle, deposito, origine, archivio, file_bbs, carico_bbs;

    // `scenario`: lines of the stand-in's BBS besides the common ones.
    void prepara(const std::string& nome, bool inglese, const std::string& scenario,
                 const std::string& password = "zeta", const std::string& utente = "cliente") {
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
        scrivi(tabelle / "farmaci.tda", prova::righe({prova::farmaco_tda("000000001", "FARMACO UNO"),
                                                      prova::farmaco_tda("000000002", "FARMACO DUE")}));
        scrivi(tabelle / "farmaci_secondario_completo.tda", prova::righe({"000000000001+0000000001"}));
        scrivi(tabelle / "principi_attivi.tda", prova::righe({prova::principio_tda("000001", "PARACETAMOLO")}));
        scrivi(tabelle / "notessn.tda", prova::righe({prova::nota_tda("01", "NOTA UNO")}));
        scrivi(tabelle / "atc.tda", prova::righe({prova::atc_tda("4A01AA01", "FLUORURO DI SODIO")}));
        scrivi(tabelle / "ditte.tda", prova::righe({prova::ditta_tda("0001", "DITTA UNO")}));
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
               "utente = cliente\r\npassword = " + password + "\r\n" + scenario +
                   "\r\nlingua = " + (inglese ? "inglese" : "italiano") +
                   "\r\ndirettorio_file = " + file_bbs.string() +
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
                                             "password bbs=" + password, std::string("lingua bbs=") + (inglese ? "1" : "0"),
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

    std::string ultimo_pacchetto() {
        file_locali file;
        const auto righe = leggi_impostazioni(file, (programma / "j8_bbs_config.txt").string(), 1.0f);
        return valore_impostazione(righe, "aggiornamento").value_or("?");
    }
};

// Both menus and both paths. Italian: Caps Lock on, a password full of
// notation characters and files to send: the BBS gets exactly what was
// written. (Another program's window in front mid-session: the platform's
// Wine tests and the native sessions.)
TEST_F(j8_bbs_wine, sessione_e_aggiornamento_con_menu_italiani_e_inglesi) {
    for (const bool inglese : {false, true}) {
        const std::string nome = inglese ? "inglese" : "italiano";
        SCOPED_TRACE(nome);
        prepara(nome, inglese, "linea = libera", inglese ? "zeta" : "K+p%9(x)~^{a}");
        if (!inglese) {
            scrivi(origine / "ordine_001.txt", "ordine 1\r\n");
            scrivi(origine / "ordine_002.txt", "ordine 2\r\n");
            if (!maiuscole()) premi_maiuscole();
            ASSERT_TRUE(maiuscole());
        }
        const auto esito = avvia(nome);
        if (!inglese) premi_maiuscole();
        EXPECT_TRUE(esito.terminato);
        EXPECT_EQ(esito.codice_uscita, 0u);
        EXPECT_TRUE(esito.messaggi.empty()) << esito.messaggi.front();
        EXPECT_EQ(esito.stato_finale, "AGGIORNAMENTO COMPLETATO");
        // Both packages applied (the tables themselves are compared with the
        // engine tool's in the update form's Wine tests).
        EXPECT_NE(leggi(tabelle / "ditte.tda").find("DITTA 2"), std::string::npos);
        EXPECT_NE(leggi(tabelle / "farmaci.tda").find("CAMBIATO 2"), std::string::npos);
        EXPECT_EQ(ultimo_pacchetto(), "j8000002");
        for (const char* p : {"j8000001.exe", "j8000002.exe"}) {
            EXPECT_TRUE(fs::exists(archivio / p)) << p;
            EXPECT_FALSE(fs::exists(deposito / p)) << p;
        }
        if (inglese) {
            EXPECT_TRUE(fs::is_empty(carico_bbs));
            continue;
        }
        EXPECT_EQ(leggi(carico_bbs / "ordine_001.txt"), "ordine 1\r\n");
        EXPECT_EQ(leggi(carico_bbs / "ordine_002.txt"), "ordine 2\r\n");
    }
}

// A busy line, the carrier lost at the logout, and the terminal program
// killed in the middle: a clear message, the terminal gone, nothing applied.
TEST_F(j8_bbs_wine, ogni_fine_anticipata_lascia_tutto_com_era) {
    for (const std::string nome : {"occupata", "uscita", "ucciso"}) {
        SCOPED_TRACE(nome);
        prepara(nome, false, nome == "occupata" ? "linea = occupata" : nome == "uscita" ? "portante_persa = uscita" : "");
        const auto prima = contenuto(tabelle);
        std::thread killer;
        if (nome == "ucciso")
            killer = std::thread([] {
                Sleep(30000);
                chiudi_terminale();
            });
        const auto esito = avvia(nome);
        if (killer.joinable()) killer.join();
        EXPECT_TRUE(esito.terminato);
        EXPECT_NE(esito.codice_uscita, 0u);
        ASSERT_EQ(esito.messaggi.size(), 1u);
        const std::string atteso = nome == "ucciso" ? "Il programma terminale non risponde o \xE8 stato chiuso"
                                                   : "Manca la portante\r\n\r\nTrascrizione della sessione: ";
        EXPECT_EQ(esito.messaggi[0].rfind(atteso, 0), 0u) << esito.messaggi[0];
        EXPECT_NE(esito.messaggi[0].find("\\log\\sessione_"), std::string::npos);
        EXPECT_TRUE(esito.stato_finale.empty());
        EXPECT_TRUE(entro(10, [] { return !FindWindowA("terminale_prova", nullptr); }));
        EXPECT_EQ(contenuto(tabelle), prima);
        EXPECT_EQ(ultimo_pacchetto(), "j8000000");
        EXPECT_TRUE(fs::is_empty(archivio));
        // The transcript is there, the password not in it.
        std::string trascrizione;
        for (const auto& f : fs::directory_iterator(programma / "log")) trascrizione += leggi(f.path());
        EXPECT_EQ(trascrizione.find("tasti: ********{enter}") != std::string::npos, nome != "occupata");
        EXPECT_EQ(trascrizione.find("zeta"), std::string::npos);
    }
}

// A user id the BBS does not know: the password prompt never shows and the
// session waits for it. Closing the form must still end the program.
TEST_F(j8_bbs_wine, chiudere_il_form_durante_un_attesa_senza_fine_termina_il_programma) {
    prepara("chiusura", false, "linea = libera", "zeta", "sconosciuto");
    STARTUPINFOW si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    std::wstring riga = L"\"" + (programma / "j8_bbs.exe").wstring() + L"\" /avvia";
    ASSERT_TRUE(CreateProcessW(nullptr, riga.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               programma.wstring().c_str(), &si, &pi));
    CloseHandle(pi.hThread);
    // Long enough for the first tick and the login: then it only polls.
    EXPECT_EQ(WaitForSingleObject(pi.hProcess, 35000), DWORD(WAIT_TIMEOUT));
    HWND form = FindWindowA("j8_form_collegamento", nullptr);
    ASSERT_TRUE(form && IsWindowVisible(form));

    // The password box shows bullets; "Mostra", unticked, shows the text
    // while ticked, even during the session.
    HWND password = nullptr, mostra = FindWindowExA(form, nullptr, "Button", "Mostra");
    int nascosti = 0;
    for (HWND f = nullptr; (f = FindWindowExA(form, f, "Edit", nullptr));)
        if (GetWindowLongW(f, GWL_STYLE) & ES_PASSWORD) password = f, ++nascosti;
    ASSERT_EQ(nascosti, 1);
    ASSERT_TRUE(mostra);
    EXPECT_EQ(SendMessageW(password, EM_GETPASSWORDCHAR, 0, 0), 0x25CF);
    EXPECT_EQ(SendMessageW(mostra, BM_GETCHECK, 0, 0), BST_UNCHECKED);
    SendMessageW(mostra, BM_CLICK, 0, 0);
    EXPECT_EQ(GetWindowLongW(password, GWL_STYLE) & ES_PASSWORD, 0);
    SendMessageW(mostra, BM_CLICK, 0, 0);
    EXPECT_NE(GetWindowLongW(password, GWL_STYLE) & ES_PASSWORD, 0);

    PostMessageW(form, WM_CLOSE, 0, 0);
    EXPECT_EQ(WaitForSingleObject(pi.hProcess, 10000), DWORD(WAIT_OBJECT_0));
    TerminateProcess(pi.hProcess, 1);
    CloseHandle(pi.hProcess);
    chiudi_terminale();
    EXPECT_TRUE(fs::is_empty(deposito));
    EXPECT_EQ(ultimo_pacchetto(), "j8000000");
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
        VS_FIXEDFILEINFO* fisso = nullptr;
        UINT lunghezza = 0;
        ASSERT_TRUE(VerQueryValueW(dati.data(), L"\\", reinterpret_cast<void**>(&fisso), &lunghezza));
        const WORD attesa[] = {J8_VERSIONE};
        EXPECT_EQ(fisso->dwProductVersionMS, DWORD(attesa[0]) << 16 | attesa[1]);
        EXPECT_EQ(fisso->dwProductVersionLS, DWORD(attesa[2]) << 16 | attesa[3]);

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
