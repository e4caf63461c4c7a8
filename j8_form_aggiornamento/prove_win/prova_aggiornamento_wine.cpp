// An update run with real windows and keys over three real self-extracting
// packages must give, byte for byte, what j8_tabelle makes of the same
// update files. Failures and kills at each step are walked natively.
#include <cstdio>
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "j8_form_aggiornamento/prove/dati_prova.hpp"
#include "j8_form_aggiornamento/win32/finestra_aggiornamento.hpp"
#include "j8_modulo_aggiornamento/impostazioni.hpp"
#include "j8_modulo_aggiornamento/valori_programma.hpp"
#include "mondo_prova/pacchetto/strumento_pacchetto.hpp"
#include "comune/testi_comuni.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"
#include "piattaforma/win32/schermata.hpp"

namespace fs = std::filesystem;
using namespace j8;
using namespace j8::wine;

namespace {

// Overwrites (the copy of std::filesystem does not, with this runtime).
void copia(const fs::path& da, const fs::path& a) {
    ASSERT_TRUE(CopyFileW(da.wstring().c_str(), a.wstring().c_str(), FALSE)) << da.string();
}

std::map<std::string, std::string> tabelle_in(const fs::path& d) {
    auto esito = contenuto(d);
    std::erase_if(esito, [](const auto& v) { return !v.first.ends_with(".tda"); });
    return esito;
}

// A drug database of a few hundred drugs, with one repeated line.
void scrivi_banca_dati(const fs::path& d) {
    std::vector<std::string> farmaci;
    for (int i = 0; i < 300; ++i) {
        char codice[16], nome[40];
        std::snprintf(codice, sizeof codice, "%09d", 12000000 + i * 7);
        std::snprintf(nome, sizeof nome, "FARMACO %03d %s", (i * 37) % 300, i % 3 ? "CPR" : "SCIR");
        farmaci.push_back(prova::farmaco_tda(codice, nome, i % 11 == 0 ? "20010101" : "20300101"));
        if (i == 10) farmaci.push_back(farmaci.back());
    }
    for (const auto& [nome, testo] : prova::tabelle_iniziali(farmaci)) scrivi(d / nome, testo);
}

// The five update files of package `n`.
std::vector<std::string> scrivi_aggiornamenti(const fs::path& d, int n) {
    fs::create_directories(d);
    std::vector<std::string> farmaci;
    for (int i = 0; i < 40; ++i) {
        char codice[16], nome[40];
        // Half change existing drugs, half add new ones.
        std::snprintf(codice, sizeof codice, "%09d", 12000000 + (i % 2 ? i * 7 : 50000 + n * 100 + i));
        std::snprintf(nome, sizeof nome, "FARMACO P%d %02d", n, i);
        farmaci.push_back(prova::farmaco_faf(codice, nome, i % 5 == 0 ? "G" : "M"));
    }
    scrivi(d / "farmaci.faf", prova::righe(farmaci));
    scrivi(d / "notessn.faf", prova::righe({prova::nota_faf("0" + std::to_string(n + 2), "NOTA NUOVA")}));
    scrivi(d / "principi_attivi.faf", prova::righe({prova::principio_faf("00001" + std::to_string(n), "PRINCIPIO")}));
    scrivi(d / "atc.faf", prova::righe({prova::atc_faf("4A01AA0" + std::to_string(n + 2), "CLASSE NUOVA")}));
    scrivi(d / "ditte.faf", prova::righe({prova::ditta_faf("010" + std::to_string(n), "DITTA NUOVA")}));
    return {"farmaci.faf", "notessn.faf", "principi_attivi.faf", "atc.faf", "ditte.faf"};
}

std::string con_barra(const fs::path& p) { return p.string() + "\\"; }

// Starts j8_bbs.exe, answers and gives back its first message box's text.
std::wstring secondo_j8_bbs(const fs::path& bin, const fs::path& cartella) {
    std::wstring riga = L"\"" + (bin / "j8_bbs.exe").wstring() + L"\"";
    STARTUPINFOW si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    if (!CreateProcessW(nullptr, riga.data(), nullptr, nullptr, FALSE, 0, nullptr, cartella.wstring().c_str(), &si, &pi))
        return L"(non avviato)";
    HWND trovata = nullptr;
    entro(20, [&] {
        for (HWND h = FindWindowW(L"#32770", nullptr); h && !trovata; h = FindWindowExW(nullptr, h, L"#32770", nullptr)) {
            DWORD pid = 0;
            if (GetWindowThreadProcessId(h, &pid) && pid == pi.dwProcessId && IsWindowVisible(h)) trovata = h;
        }
        return trovata != nullptr;
    });
    wchar_t testo[256] = L"(nessun messaggio)";
    if (trovata) GetDlgItemTextW(trovata, 0xFFFF, testo, 256);
    if (trovata) PostMessageW(trovata, WM_COMMAND, IDOK, 0);
    if (WaitForSingleObject(pi.hProcess, 10000) != WAIT_OBJECT_0) TerminateProcess(pi.hProcess, 9);
    WaitForSingleObject(pi.hProcess, 10000);
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    return testo;
}

}  // namespace

// Real platform; message boxes are noted instead of shown.
class piattaforma_prova : public piattaforma_win32 {
public:
    std::vector<std::string> messaggi;
    std::function<void()> all_estrazione;  // once, as the first extractor starts

    void messaggio(const std::string& testo, const std::string&) override { messaggi.push_back(testo); }
    std::uint32_t avvia_programma(const std::string& percorso) override {
        const std::uint32_t task = piattaforma_win32::avvia_programma(percorso);
        if (auto azione = std::exchange(all_estrazione, nullptr)) azione();
        return task;
    }
};

// The run, with a second start of j8_bbs.exe refused meanwhile, gives the
// tool's result and shows its report.
TEST(aggiornamento_wine, tre_pacchetti_come_lo_strumento) {
    const fs::path bin = cartella_programma(), radice = "c:\\j8_prova_aggiornamento", config = radice / "configurazione";
    valori_programma valori;
    // Tables, three packages, settings and, in "atteso", the tool's result.
    std::error_code ec;
    for (const fs::path& d : {radice, fs::path("c:\\j8\\lavoro_aggiornamento"),
                              fs::path("c:\\j8\\ripristino_aggiornamento")})
        fs::remove_all(d, ec);
    for (const char* d : {"tabelle", "da_bbs", "archivio", "configurazione", "atteso", "sorgenti"})
        fs::create_directories(radice / d);
    scrivi_banca_dati(radice / "tabelle");
    scrivi_banca_dati(radice / "atteso");
    for (const auto& [nome, righe] : std::map<std::string, std::vector<std::string>>{
             {"j8_bbs_config.txt", {"telefono=0612345", "aggiornamento=j8000000", "utente=prova"}},
             {"j8_config.txt", {"direttorio tabelle=" + con_barra(radice / "tabelle")}}})
        scrivi(config / nome, componi_impostazioni((config / nome).string(), righe, 777.0f));
    SetCurrentDirectoryW(config.wstring().c_str());
    valori.direttorio_configurazione = con_barra(config);
    valori.direttorio_da_bbs = con_barra(radice / "da_bbs");
    valori.direttorio_archivio = con_barra(radice / "archivio");
    valori.ultimo_aggiornamento = "j8000000";
    const std::wstring strumento = L"\"" + (bin / "j8_tabelle.exe").wstring() + L"\" ";
    const std::wstring atteso = L"\"" + (radice / "atteso").wstring() + L"\"";
    ASSERT_EQ(esegui(strumento + L"doppi " + atteso), 0);
    for (int n = 0; n < 3; ++n) {
        const fs::path sorgente = radice / "sorgenti" / ("p" + std::to_string(n));
        std::vector<std::string> argomenti = {(radice / "da_bbs" / ("j800000" + std::to_string(n) + ".exe")).string()};
        std::wstring riga = strumento + L"aggiorna " + atteso;
        for (const auto& nome : scrivi_aggiornamenti(sorgente, n)) {
            argomenti.push_back((sorgente / nome).string());
            copia(sorgente / nome, radice / "atteso" / nome);
            riga += L" " + fs::path(nome).wstring();
        }
        std::ostringstream uscita, errori;
        ASSERT_EQ(pacchetto::esegui_j8_pacchetto(argomenti, bin, uscita, errori), 0) << errori.str();
        ASSERT_EQ(esegui(riga), 0);
    }
    ASSERT_EQ(esegui(strumento + L"secondario " + atteso), 0);
    // This process stands for a running j8_bbs.exe: a second start while
    // extracting must end at once, harmless.
    static const bool istanza = prima_istanza();
    ASSERT_TRUE(istanza);
    piattaforma_prova p;
    std::wstring risposta_secondo;
    p.all_estrazione = [&] { risposta_secondo = secondo_j8_bbs(bin, config); };
    finestra_aggiornamento finestra(p, valori);
    int terminato = -1;
    finestra.termina = [&](int codice) { terminato = codice; };
    finestra.carica_nascosto();
    ASSERT_EQ(terminato, -1);
    EXPECT_FALSE(IsWindowVisible(finestra.handle()));

    finestra.mostra();
    finestra.esegui_aggiornamento();
    const auto& m = finestra.form.modello;
    EXPECT_EQ(risposta_secondo, L"j8_bbs \u00e8 gi\u00e0 in esecuzione.");
    EXPECT_EQ(m.Label1.caption, "AGGIORNAMENTO COMPLETATO");
    EXPECT_TRUE(p.messaggi.empty());
    fs::create_directories(bin.parent_path() / "schermate");
    EXPECT_TRUE(salva_schermata(finestra.handle(),
                                (bin.parent_path() / "schermate" / "form_aggiornamento_completato.bmp").wstring()));
    // The report below the progress.
    wchar_t resoconto[2048] = {};
    GetWindowTextW(GetDlgItem(finestra.handle(), 106), resoconto, 2048);
    for (const wchar_t* riga : {L"Pacchetti applicati: j8000000.exe j8000001.exe j8000002.exe\r\n",
                                L"farmaci.tda: 60 righe aggiunte, 60 sostituite, 0 rimosse"})
        EXPECT_NE(std::wstring(resoconto).find(riga), std::wstring::npos) << resoconto;
    const auto ottenute = tabelle_in(radice / "tabelle");
    EXPECT_TRUE(ottenute == tabelle_in(radice / "atteso")) << "the tables differ from the tool's result";
    EXPECT_NE(ottenute.at("farmaci.tda").find("FARMACO P2 01"), std::string::npos);
}
