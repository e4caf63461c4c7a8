#include "mondo_prova/pacchetto/strumento_pacchetto.hpp"

#include "mondo_prova/pacchetto/archivio_zip.hpp"

namespace j8::pacchetto {
namespace {

void uso(std::ostream& o) {
    o << "Uso: j8_pacchetto [--estrattore PERCORSO] USCITA.exe FILE...\n"
         "Crea un pacchetto autoestraente: copia il programma estrattore e vi accoda\n"
         "un archivio zip dei FILE, registrati col solo nome (senza cartelle).\n"
         "L'estrattore \xe8 PERCORSO se dato, altrimenti il primo che esiste fra\n"
         "  " << nome_estrattore << " nella cartella di j8_pacchetto e\n"
         "  ../../build-win/bin/" << nome_estrattore << " a partire da quella cartella.\n";
}

}  // namespace

std::vector<std::filesystem::path> posti_estrattore(const std::filesystem::path& direttorio_programma) {
    return {direttorio_programma / nome_estrattore,
            direttorio_programma / ".." / ".." / "build-win" / "bin" / nome_estrattore};
}

int esegui_j8_pacchetto(const std::vector<std::string>& argomenti,
                        const std::filesystem::path& direttorio_programma,
                        std::ostream& uscita, std::ostream& errori) {
    std::filesystem::path estrattore;
    std::vector<std::string> posizionali;
    for (std::size_t i = 0; i < argomenti.size(); ++i) {
        const std::string& a = argomenti[i];
        if (a == "--help" || a == "-h") {
            uso(uscita);
            return 0;
        }
        if (a == "--estrattore") {
            if (i + 1 == argomenti.size()) {
                errori << "Manca il percorso dopo --estrattore.\n";
                uso(errori);
                return 2;
            }
            estrattore = argomenti[++i];
        } else if (a.size() > 1 && a[0] == '-' && a[1] == '-') {
            errori << "Opzione sconosciuta: " << a << "\n";
            uso(errori);
            return 2;
        } else {
            posizionali.push_back(a);
        }
    }
    if (posizionali.size() < 2) {
        uso(errori);
        return 2;
    }
    if (estrattore.empty()) {
        std::error_code ec;
        for (const auto& posto : posti_estrattore(direttorio_programma)) {
            if (std::filesystem::is_regular_file(posto, ec)) {
                estrattore = posto;
                break;
            }
        }
        if (estrattore.empty()) {
            errori << "Programma estrattore \"" << nome_estrattore
                   << "\" non trovato: compilare la versione Windows o indicarlo con --estrattore.\n";
            return 1;
        }
    }
    const std::filesystem::path destinazione = posizionali.front();
    std::vector<std::filesystem::path> file(posizionali.begin() + 1, posizionali.end());
    try {
        std::error_code ec;
        if (std::filesystem::equivalent(destinazione, estrattore, ec)) {
            errori << "Il pacchetto non pu\xf2 sostituire il programma estrattore.\n";
            return 1;
        }
        // Everything is read before the package is written, so naming an
        // input file as the output loses nothing.
        const std::string pacchetto = componi_pacchetto(leggi_tutto(estrattore), file);
        scrivi_tutto(destinazione, pacchetto);
        uscita << "Pacchetto " << destinazione.string() << " creato con " << file.size()
               << " file.\n";
        return 0;
    } catch (const errore_zip& e) {
        errori << e.what() << "\n";
        return 1;
    }
}

}  // namespace j8::pacchetto
