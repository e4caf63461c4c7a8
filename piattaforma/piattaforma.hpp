#pragma once
// Everything j8_bbs does to the world outside its own memory goes through
// this one interface: programs, windows, keystrokes, clipboard, clock,
// message boxes and files. The Win32 implementation does it for real; the
// scripted stand-in (piattaforma_copione) does it on a virtual clock and an
// in-memory disk so the forms' procedures can be tested in milliseconds.
//
// Conventions:
//  - Texts are Windows-1252 bytes, as the settings files and tables are.
//  - Paths are Windows paths ("c:\\j8\\lavoro_aggiornamento\\farmaci.tda");
//    names compare without regard to case, as on Windows.
//  - A failing file step throws errore_file (Italian, names the file);
//    callers that must ignore a failure catch it.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "comune/data_ora.hpp"
#include "comune/file_tabelle.hpp"

namespace j8 {

using maniglia = std::uintptr_t;  // a window handle

struct finestra {
    maniglia handle = 0;
    std::string titolo;  // whole title, as long as it is
    std::string classe;
};


// A keystroke string the notation parser refuses (unknown {name},
// unbalanced brace or parenthesis). Never typed, not even in part.
class errore_tasti : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The window keystrokes are meant for is gone, or cannot be brought in
// front: nothing more is typed anywhere.
class errore_destinazione : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A program that cannot be started (file not found, not a program).
class errore_avvio : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class piattaforma : public file_tabelle {
public:
    ~piattaforma() override = default;

    // --- programs, windows, keystrokes ---------------------------------
    // Starts the program at `percorso` in a normal focused window; returns
    // its task id. Throws errore_avvio.
    virtual std::uint32_t avvia_programma(const std::string& percorso) = 0;
    // Brings the main window of the task to the foreground; false if no
    // window of that task could be activated.
    virtual bool attiva_task(std::uint32_t id_task) = 0;
    virtual bool attiva_titolo(const std::string& titolo) = 0;
    // Types `tasti` (standard keystroke notation) into the focused window
    // and returns once they have been processed. Throws errore_tasti.
    virtual void manda_tasti(const std::string& tasti) = 0;
    // Types `tasti` only into a window of task `id_task`: before each key
    // that window must be in front and is brought there if it is not; when
    // that fails for `secondi_destinazione` or the task has ended, throws
    // errore_destinazione and types nothing more. Throws errore_tasti.
    virtual void manda_tasti_a(std::uint32_t id_task, const std::string& tasti) {
        if (!attiva_task(id_task))
            throw errore_destinazione("La finestra del programma che doveva ricevere i tasti non viene "
                                      "in primo piano.");
        manda_tasti(tasti);
    }
    static constexpr double secondi_destinazione = 10;
    // Text on the clipboard ("" when there is none).
    virtual std::string leggi_appunti() = 0;
    // Top-level windows and a window's children, in the platform's order.
    virtual std::vector<finestra> finestre() = 0;
    virtual std::vector<finestra> figli(maniglia padre) = 0;
    // Lets pending user-interface events run once (timers, repaints).
    virtual void esegui_eventi() = 0;

    // --- clock ------------------------------------------------------------
    // Seconds since midnight, single precision, as the legacy runtime.
    virtual float secondi_da_mezzanotte() = 0;
    virtual data_ora adesso() = 0;
    // Gives up the processor for at most `secondi` inside a waiting loop;
    // the stand-in advances its virtual clock by exactly that much.
    virtual void pausa(double secondi) = 0;

    // --- user ---------------------------------------------------------------
    // A plain message box with one OK button; returns when it is closed.
    virtual void messaggio(const std::string& testo, const std::string& titolo) = 0;

    // --- files (beyond file_tabelle) ------------------------------------
    // Names (no directory) of the files in `direttorio` matching `modello`
    // ("*.exe", "*.*"), in listing order; directories are not listed.
    virtual std::vector<std::string> elenca_file(const std::string& direttorio,
                                                 const std::string& modello) = 0;
    virtual bool esiste_direttorio(const std::string& percorso) = 0;
    virtual void copia_file(const std::string& da, const std::string& a) = 0;  // overwrites
    virtual std::int64_t lunghezza_file(const std::string& percorso) = 0;
    virtual void crea_direttorio(const std::string& percorso) = 0;    // one level
    virtual void rimuovi_direttorio(const std::string& percorso) = 0;  // must be empty
    // Leaves only the archive attribute (clears read-only, hidden, system).
    virtual void imposta_solo_archivio(const std::string& percorso) = 0;
    // Attribute bits as Windows gives them (read-only 0x01, hidden 0x02,
    // system 0x04, archive 0x20), only those a program can set back. Throw
    // errore_file; a platform that cannot tell says so by throwing.
    virtual std::uint32_t attributi_file(const std::string& percorso) {
        throw errore_file(percorso, "attributi non disponibili");
    }
    virtual void imposta_attributi_file(const std::string& percorso, std::uint32_t attributi) {
        (void)attributi;
        throw errore_file(percorso, "attributi non disponibili");
    }
    // Puts `da` in place of `a` in one step (a rename that replaces), so
    // `a` is always either the old file or the whole new one.
    virtual void sostituisci_file(const std::string& da, const std::string& a) {
        if (esiste_file(a)) cancella_file(a);
        rinomina_file(da, a);
    }
    // Holds the file open so that no other program, nor another start of
    // this one, can change, rename or delete it until `rilascia`. False
    // when someone else holds it; a file that cannot be opened is not held.
    virtual bool tieni_aperto(const std::string& percorso) {
        (void)percorso;
        return true;
    }
    virtual void rilascia(const std::string& percorso) { (void)percorso; }
    virtual std::string direttorio_corrente() = 0;  // no trailing "\"
    virtual void cambia_direttorio(const std::string& percorso) = 0;
    virtual std::string direttorio_programma() = 0;  // no trailing "\"
};

}  // namespace j8
