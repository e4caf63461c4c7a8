#pragma once
// The file operations every layer needs. The update run hands the engine
// and the settings module its platform (so every file step can be watched
// and failed in tests); the command-line tools hand them file_locali.

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace j8 {

// scrivi_file writes "<file>" + this suffix first and then puts it in
// place; a process killed in between leaves that file behind.
inline constexpr const char* suffisso_scrittura = ".j8tmp";

// A failing file step. The text is Italian and names the file, so the
// update run can show it to the pharmacist as it stands.
class errore_file : public std::runtime_error {
public:
    errore_file(std::string percorso, std::string problema)
        : std::runtime_error(problema + ": " + percorso),
          percorso_(std::move(percorso)), problema_(std::move(problema)) {}
    const std::string& percorso() const { return percorso_; }
    const std::string& problema() const { return problema_; }

private:
    std::string percorso_;
    std::string problema_;
};

// A whole file's bytes, read-only, for as long as the object lives.
struct testo_intero {
    virtual ~testo_intero() = default;
    std::string_view byte;
};

class file_tabelle {
public:
    virtual ~file_tabelle() = default;
    virtual bool esiste_file(const std::string& percorso) = 0;
    // Whole file as bytes (Windows-1252). Throws errore_file.
    virtual std::string leggi_file(const std::string& percorso) = 0;
    // Replaces the whole file: written beside it under a temporary name and
    // then put in place, so a failure never leaves it half-written.
    virtual void scrivi_file(const std::string& percorso, const std::string& contenuto) = 0;
    virtual void cancella_file(const std::string& percorso) = 0;

    // Block-wise forms, so a large table never has to be held twice: the
    // reader hands the file's bytes in order, in pieces of any size; the
    // writer calls `produci` with a sink that takes the content piece by
    // piece, with the guarantees of scrivi_file; `previsti` is the size the
    // content will have when known (0 if not), so a disk can reserve it at
    // once. The defaults go through leggi_file and scrivi_file; real file
    // systems override them.
    using ricevi_blocco = std::function<void(std::string_view)>;
    virtual void leggi_a_blocchi(const std::string& percorso, const ricevi_blocco& ricevi) {
        const std::string dati = leggi_file(percorso);
        ricevi(dati);
    }
    virtual void scrivi_a_blocchi(const std::string& percorso, const std::function<void(const ricevi_blocco&)>& produci,
                                  std::uint64_t /*previsti*/ = 0) {
        std::string contenuto;
        produci([&](std::string_view b) { contenuto.append(b); });
        scrivi_file(percorso, contenuto);
    }
    // The whole file at once, for a reader that keeps its rows where they
    // lie instead of copying them. The default reads it block by block
    // into memory of its own; a local disk may map the file instead.
    virtual std::unique_ptr<const testo_intero> leggi_intero(const std::string& percorso) {
        struct in_memoria : testo_intero {
            std::string dati;
        };
        auto t = std::make_unique<in_memoria>();
        t->dati.reserve(static_cast<std::size_t>(dimensione_file(percorso)));
        leggi_a_blocchi(percorso, [&](std::string_view b) { t->dati.append(b); });
        t->byte = t->dati;
        return t;
    }
    virtual void rinomina_file(const std::string& da, const std::string& a) = 0;
    // The file's size in bytes when known in advance, else 0: a reader
    // sizes its buffer once instead of growing it.
    virtual std::uint64_t dimensione_file(const std::string& /*percorso*/) { return 0; }
};

}  // namespace j8
