// Drives real packages under Wine through the platform layer, with the
// keystrokes and waits the update run uses.
#include <windows.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <random>
#include <sstream>

#include "j8_form_aggiornamento/manda_tasto.hpp"
#include "j8_modulo_aggiornamento/finestre.hpp"
#include "mondo_prova/pacchetto/archivio_zip.hpp"
#include "mondo_prova/pacchetto/strumento_pacchetto.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace {

namespace fs = std::filesystem;
using j8::attendi_secondi;
using j8::manda_tasto;
using j8::pacchetto::leggi_tutto;
using j8::pacchetto::scrivi_tutto;
using j8::wine::cartella_programma;

std::string casuali(std::size_t n) {
    std::mt19937 g(42);
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(g());
    return s;
}

// A started package, watched through its process handle; never left
// running after its test.
class processo {
public:
    explicit processo(std::uint32_t id)
        : h_(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE, FALSE, id)) {}
    ~processo() {
        if (!h_) return;
        if (WaitForSingleObject(h_, 0) == WAIT_TIMEOUT) TerminateProcess(h_, 9);
        CloseHandle(h_);
    }
    processo(const processo&) = delete;
    processo& operator=(const processo&) = delete;
    bool finito(DWORD ms) const { return h_ && WaitForSingleObject(h_, ms) == WAIT_OBJECT_0; }
    DWORD uscita() const {
        DWORD c = 99;
        GetExitCodeProcess(h_, &c);
        return c;
    }
    void termina() const {
        if (h_) TerminateProcess(h_, 9);
    }

private:
    HANDLE h_;
};

// manda_tasto may wait without limit by design; a test must not. Past the
// limit the package is killed and the whole suite ends, failed.
template <class F>
void con_limite(const processo& pr, int secondi, F&& guida) {
    auto fatto = std::async(std::launch::async, std::forward<F>(guida));
    if (fatto.wait_for(std::chrono::seconds(secondi)) == std::future_status::ready) {
        fatto.get();
        return;
    }
    pr.termina();
    std::fprintf(stderr, "La guida del pacchetto non finisce dopo %d secondi.\n", secondi);
    std::fflush(nullptr);
    std::_Exit(1);
}

class estrattore : public ::testing::Test {
protected:
    void SetUp() override {
        wchar_t tmp[MAX_PATH];
        GetTempPathW(MAX_PATH, tmp);
        radice_ = fs::path(tmp) / ("prova_win_pacchetto_" + std::to_string(std::random_device{}() % 100000));
        fs::create_directories(radice_ / "sorgenti");
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(radice_, ec);
    }

    // The package is made by the tool's own code, with the extractor found
    // beside this test as j8_pacchetto.exe finds it beside itself.
    fs::path fai_pacchetto(const std::string& nome, const std::vector<std::pair<std::string, std::string>>& file) {
        std::vector<std::string> argomenti = {(radice_ / nome).string()};
        for (const auto& [n, dati] : file) {
            scrivi_tutto(radice_ / "sorgenti" / n, dati);
            argomenti.push_back((radice_ / "sorgenti" / n).string());
        }
        std::ostringstream uscita, errori;
        EXPECT_EQ(j8::pacchetto::esegui_j8_pacchetto(argomenti, cartella_programma(), uscita, errori), 0)
            << errori.str();
        return radice_ / nome;
    }

    j8::piattaforma_win32 p_;
    fs::path radice_;
};

TEST_F(estrattore, si_estrae_coi_tasti_dell_aggiornamento) {
    const std::vector<std::pair<std::string, std::string>> file = {
        {"farmaci.faf", "012345678ASPIRINA 500 MG\r\n012345679TACHIPIRINA\r\n"},
        {"atc.faf", std::string(200000, 'N')},
        {"casuale.new", casuali(30000)},
    };
    const fs::path pacchetto = fai_pacchetto("j8000123.exe", file);
    const fs::path lavoro = radice_ / "j8" / "lavoro_aggiornamento";
    // An older copy is replaced, even a read-only one; a missing folder is made.
    fs::create_directories(lavoro.parent_path());
    fs::create_directories(lavoro);
    scrivi_tutto(lavoro / "farmaci.faf", std::string(100000, 'v'));
    SetFileAttributesW((lavoro / "farmaci.faf").c_str(), FILE_ATTRIBUTE_READONLY);

    const std::uint32_t task = p_.avvia_programma(pacchetto.string());
    processo pr(task);
    bool riuscito = false;
    con_limite(pr, 90, [&] {
        attendi_secondi(p_, 1);
        p_.attiva_task(task);
        attendi_secondi(p_, 1);
        p_.attiva_task(task);
        p_.manda_tasti(lavoro.string());
        attendi_secondi(p_, 1);
        riuscito = manda_tasto(p_, "{enter}", "WinZip Self-Extractor", 0, "unzipped successfully");
        attendi_secondi(p_, 1);
        p_.manda_tasti("{enter}");
        attendi_secondi(p_, 1);
        p_.attiva_task(task);
        p_.manda_tasti("{enter}");
        attendi_secondi(p_, 1);
    });
    EXPECT_TRUE(riuscito);
    EXPECT_TRUE(pr.finito(10000)) << "the extractor did not end";
    EXPECT_EQ(pr.uscita(), 0u);
    for (const auto& [nome, dati] : file) EXPECT_EQ(leggi_tutto(lavoro / nome), dati) << nome;
}

// A top-level window whose title holds `titolo` with a child holding
// `figlio`, looked for through the shared module's window lists.
bool c_e_finestra(j8::piattaforma& p, const std::string& titolo, const std::string& figlio) {
    j8::enumera_finestre(p);
    const auto finestre = j8::elenco_finestre;
    for (const auto& f : finestre) {
        if (f.titolo.find(titolo) == std::string::npos) continue;
        j8::enumera_figli(p, f.handle);
        for (const auto& c : j8::elenco_figli)
            if (c.titolo.find(figlio) != std::string::npos) return true;
    }
    return false;
}

TEST_F(estrattore, un_pacchetto_rovinato_non_estrae_nulla) {
    const fs::path pacchetto = fai_pacchetto("j8000124.exe", {{"farmaci.faf", casuali(5000)}});
    std::string dati = leggi_tutto(pacchetto);
    dati[dati.size() - 22 - 57 - 100] ^= 0x40;  // inside the stored data
    scrivi_tutto(pacchetto, dati);

    const std::uint32_t task = p_.avvia_programma(pacchetto.string());
    processo pr(task);
    bool avviso = false, dialogo = true;
    con_limite(pr, 60, [&] {
        for (int i = 0; i < 100 && !avviso; ++i) {
            avviso = c_e_finestra(p_, "WinZip Self-Extractor", "danneggiato");
            if (!avviso) p_.pausa(0.1);
        }
        dialogo = c_e_finestra(p_, "WinZip Self-Extractor - j8000124.exe", "");
        p_.attiva_task(task);
        p_.manda_tasti("{enter}");
    });
    EXPECT_TRUE(avviso) << "no message about the damaged package";
    EXPECT_FALSE(dialogo) << "the unzip dialog opened all the same";
    ASSERT_TRUE(pr.finito(10000));
    EXPECT_EQ(pr.uscita(), 1u);
}

TEST_F(estrattore, una_cartella_impossibile_non_da_successo) {
    const fs::path pacchetto = fai_pacchetto("j8000125.exe", {{"ditte.faf", "DITTA\r\n"}});
    scrivi_tutto(radice_ / "occupato", "un file, non una cartella");

    const std::uint32_t task = p_.avvia_programma(pacchetto.string());
    processo pr(task);
    bool errore = false, successo_falso = true, successo = false;
    con_limite(pr, 90, [&] {
        attendi_secondi(p_, 1);
        p_.attiva_task(task);
        p_.manda_tasti((radice_ / "occupato").string());
        errore = manda_tasto(p_, "{enter}", "WinZip Self-Extractor", 10, "Unzip failed");
        successo_falso = c_e_finestra(p_, "WinZip Self-Extractor", "unzipped successfully");
        p_.manda_tasti("{enter}");
        attendi_secondi(p_, 1);
        // Still the Unzip dialog, the folder selected: typing replaces it.
        p_.attiva_task(task);
        p_.manda_tasti((radice_ / "buona").string());
        successo = manda_tasto(p_, "{enter}", "WinZip Self-Extractor", 10, "1 file(s) unzipped successfully");
        p_.manda_tasti("{enter}");
        attendi_secondi(p_, 1);
        p_.attiva_task(task);
        p_.manda_tasti("{enter}");
    });
    EXPECT_TRUE(errore);
    EXPECT_FALSE(successo_falso);
    EXPECT_TRUE(successo);
    EXPECT_TRUE(pr.finito(10000));
    EXPECT_EQ(leggi_tutto(radice_ / "occupato"), "un file, non una cartella");
    EXPECT_EQ(leggi_tutto(radice_ / "buona" / "ditte.faf"), "DITTA\r\n");
}

}  // namespace
