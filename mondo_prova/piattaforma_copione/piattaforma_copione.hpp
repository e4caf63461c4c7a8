#pragma once
// The scripted stand-in for the platform: a virtual clock, an in-memory disk
// with Windows path rules, windows that a test script opens and closes,
// a clipboard fed by the script and a record of everything done through it.
//
// A test scripts the outside world with reactions:
//   copione.quando_tasti("%fe", [&] { copione.chiudi_finestra(h); });
//   copione.dopo(2.0, [&] { copione.apri_finestra("WinZip Self-Extractor"); });
//   copione.fonte_appunti = [&] { return schermo_del_terminale; };
//   copione.osservatore = [&](const piattaforma_copione::voce& v) { ... };
// Reactions run on the caller's stack, inside the call that triggered them.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "piattaforma/piattaforma.hpp"

namespace j8 {

// Attribute bits, with the values Windows gives them.
namespace attributo {
constexpr std::uint32_t sola_lettura = 0x01, nascosto = 0x02, sistema = 0x04,
                        direttorio = 0x10, archivio = 0x20;
}

// The process killed (power cut, task manager) at a file operation. Not a
// std::exception on purpose: the program's own handlers must never catch
// it, so a test sees the run stop dead where the kill fell.
struct interruzione_simulata {
    std::uint64_t numero = 0;  // the file operation it fell on (0: from the script)
    std::string nome;
    std::string percorso;
};

class piattaforma_copione : public piattaforma {
public:
    // What the record holds, one entry per call that reaches the outside world.
    enum class tipo { tasti, attiva_task, attiva_titolo, avvio, appunti, messaggio };
    struct voce {
        tipo cosa;
        std::string testo;    // keys typed, program path, title sought, message text, clipboard
        std::string titolo;   // message box title; for keys, the title of the focused window
        std::uint32_t task = 0;
        bool riuscito = true;  // activation found a window
        data_ora quando = 0;
    };

    // A file operation about to be done: the failure rule may refuse it.
    struct operazione_file {
        std::uint64_t numero;    // 1 for the first file operation, then 2, 3...
        std::string nome;        // "leggi_file", "copia_file", ...
        std::string percorso;    // first path, as passed
        std::string secondo;     // destination of a copy or rename, else ""
    };

    explicit piattaforma_copione(data_ora inizio = componi_data_ora(2024, 3, 15, 10, 0, 0));

    // --- script: clock -----------------------------------------------------
    data_ora orologio() const { return secondi_ / 86400.0; }  // no step taken
    void imposta_orologio(data_ora quando);
    void avanza(double secondi);  // runs the reactions that fall due
    double passo_lettura = 0.001;  // every clock read moves time on this much
    void dopo(double secondi, std::function<void()> azione);  // at now + secondi

    // --- script: windows ---------------------------------------------------
    // New windows go on top (first in the listing), as a new window on Windows.
    maniglia apri_finestra(const std::string& titolo, const std::string& classe = "#32770",
                           std::uint32_t task = 0);
    maniglia aggiungi_figlio(maniglia padre, const std::string& testo,
                             const std::string& classe = "Static");
    void chiudi_finestra(maniglia h);  // with its children
    void cambia_titolo(maniglia h, const std::string& titolo);
    bool esiste_finestra(maniglia h) const;
    maniglia finestra_attiva() const { return attiva_; }

    // --- script: programs, keys, clipboard, message boxes ------------------
    // Called when a program is started; the path is as passed. A program
    // with no reaction starts only if its file is on the disk.
    void registra_programma(const std::string& percorso,
                            std::function<void(std::uint32_t task)> all_avvio);
    std::function<void(const std::string& percorso, std::uint32_t task)> su_avvio;
    // Runs `azione` each time exactly `tasti` is typed.
    void quando_tasti(const std::string& tasti, std::function<void()> azione);
    std::function<void(const std::string& tasti)> su_tasti;  // every string typed
    std::function<std::string()> fonte_appunti;  // consulted on every read when set
    void imposta_appunti(const std::string& testo) { appunti_ = testo; }
    std::function<void(const voce&)> osservatore;  // after every recorded call
    std::function<void()> su_eventi;  // each time the program lets events run

    // --- script: disk ------------------------------------------------------
    void crea_cartelle(const std::string& percorso);  // every missing level
    void crea_file(const std::string& percorso, const std::string& contenuto = "",
                   std::uint32_t attributi = attributo::archivio);  // makes the folders too
    std::uint32_t attributi(const std::string& percorso) const;  // 0 if missing
    void imposta_attributi(const std::string& percorso, std::uint32_t attributi);
    std::vector<std::string> tutti_i_file() const;  // full paths, creation order
    void imposta_direttorio_programma(const std::string& percorso) {
        crea_cartelle(percorso);
        programma_ = percorso;
    }
    // Counter of file operations that can fail (not the existence checks).
    std::uint64_t operazioni_file() const { return operazioni_; }
    // When set, asked before each such operation: a returned text makes it
    // fail with errore_file carrying that problem ("disco pieno"...).
    std::function<std::optional<std::string>(const operazione_file&)> regola_guasto;
    void guasta_operazione(std::uint64_t numero, const std::string& problema = "disco pieno");
    // Kills the process at file operation `numero`: the operation does not
    // happen, except that a copy leaves the first half of the file at its
    // destination and a write leaves half of it under the temporary name
    // (as on a real disk); then interruzione_simulata is thrown, and so is
    // it again by every later file operation or message box, until
    // `riavvia` (the next start of the program on the same disk).
    void interrompi_a(std::uint64_t numero) { interruzione_ = numero; }
    void interrompi_ora();  // from a script reaction: the user ends the program
    bool interrotto() const { return morto_; }
    void riavvia();

    // --- what happened -----------------------------------------------------
    const std::vector<voce>& registro() const { return registro_; }
    std::vector<std::string> tasti_mandati() const;
    std::vector<voce> voci(tipo cosa) const;

    // --- piattaforma ---------------------------------------------------------
    std::uint32_t avvia_programma(const std::string& percorso) override;
    bool attiva_task(std::uint32_t id_task) override;
    bool attiva_titolo(const std::string& titolo) override;
    void manda_tasti(const std::string& tasti) override;
    void manda_tasti_a(std::uint32_t id_task, const std::string& tasti) override;
    std::string leggi_appunti() override;
    std::vector<finestra> finestre() override;
    std::vector<finestra> figli(maniglia padre) override;
    void esegui_eventi() override;
    float secondi_da_mezzanotte() override;
    data_ora adesso() override;
    void pausa(double secondi) override;
    void messaggio(const std::string& testo, const std::string& titolo) override;

    bool esiste_file(const std::string& percorso) override;
    std::string leggi_file(const std::string& percorso) override;
    void scrivi_file(const std::string& percorso, const std::string& contenuto) override;
    void cancella_file(const std::string& percorso) override;
    void rinomina_file(const std::string& da, const std::string& a) override;
    void sostituisci_file(const std::string& da, const std::string& a) override;
    bool tieni_aperto(const std::string& percorso) override;  // by another process
    void rilascia(const std::string& percorso) override;
    std::vector<std::string> elenca_file(const std::string& direttorio,
                                         const std::string& modello) override;
    bool esiste_direttorio(const std::string& percorso) override;
    void copia_file(const std::string& da, const std::string& a) override;
    std::int64_t lunghezza_file(const std::string& percorso) override;
    void crea_direttorio(const std::string& percorso) override;
    void rimuovi_direttorio(const std::string& percorso) override;
    void imposta_solo_archivio(const std::string& percorso) override;
    std::uint32_t attributi_file(const std::string& percorso) override;
    void imposta_attributi_file(const std::string& percorso, std::uint32_t attributi) override;
    std::string direttorio_corrente() override;
    void cambia_direttorio(const std::string& percorso) override;
    std::string direttorio_programma() override;

private:
    struct nodo {
        std::string percorso;  // full path with the case it was given
        bool direttorio = false;
        std::string contenuto;
        std::uint32_t attributi = attributo::archivio;
        std::uint64_t ordine = 0;
    };
    struct finestra_copione {
        maniglia handle;
        maniglia padre;  // 0 for a top-level window
        std::string titolo, classe;
        std::uint32_t task;
    };
    struct evento_orario {
        double quando;
        std::uint64_t ordine;
        std::function<void()> azione;
    };

    void registra(voce v);
    void esegui_scaduti();
    std::string completo(const std::string& percorso) const;  // absolute, normalised
    static std::string chiave(const std::string& completo);   // lower case
    nodo* trova(const std::string& percorso);
    const nodo* trova(const std::string& percorso) const;
    nodo& serve_file(const std::string& percorso);
    void serve_padre(const std::string& completo);
    void conta(const std::string& nome, const std::string& percorso,
               const std::string& secondo = "",
               const std::function<void()>& a_meta = nullptr);
    void scrivi(const std::string& completo, const std::string& contenuto,
                std::uint32_t attributi);
    const finestra_copione* prima_del_task(std::uint32_t task) const;

    double secondi_;  // virtual time, seconds since 30/12/1899
    std::vector<evento_orario> agenda_;
    std::uint64_t ordine_eventi_ = 0;

    std::vector<finestra_copione> finestre_;  // top of the listing first
    maniglia prossima_maniglia_ = 0x10010;
    maniglia attiva_ = 0;

    std::map<std::string, std::function<void(std::uint32_t)>> programmi_;
    std::uint32_t prossimo_task_ = 1000;
    std::vector<std::pair<std::string, std::function<void()>>> reazioni_tasti_;
    std::string appunti_;
    std::vector<voce> registro_;

    std::map<std::string, nodo> disco_;  // key: lower-case full path
    std::set<std::string> tenuti_;       // held open (keys of disco_)
    void non_tenuto(const std::string& percorso) const;
    std::uint64_t prossimo_ordine_ = 1;
    std::uint64_t operazioni_ = 0;
    std::uint64_t interruzione_ = 0;
    bool morto_ = false;
    std::string corrente_ = "C:\\";
    std::string programma_ = "C:\\j8_bbs";
};

}  // namespace j8
