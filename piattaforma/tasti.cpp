#include "piattaforma/tasti.hpp"

#include <cctype>

#include "comune/testi_comuni.hpp"
#include <map>
#include <string_view>

namespace j8 {

namespace {

constexpr int ripetizioni_massime = 10000;
// Bounds on what a string can ask for, whatever it holds: groups nest by
// recursion (a string of "(" would exhaust the stack), and repeats multiply
// a few bytes into many events.
constexpr int annidamento_massimo = 32;
constexpr std::size_t eventi_massimi = 50000;

const std::map<std::string, std::uint16_t>& nomi_tasti() {
    static const std::map<std::string, std::uint16_t> nomi = [] {
        std::map<std::string, std::uint16_t> m = {
            {"enter", vk::enter},     {"tab", vk::tab},         {"bs", vk::bs},
            {"backspace", vk::bs},    {"bksp", vk::bs},         {"esc", vk::esc},
            {"escape", vk::esc},      {"end", vk::end},         {"home", vk::home},
            {"del", vk::del},         {"delete", vk::del},      {"ins", vk::ins},
            {"insert", vk::ins},      {"left", vk::left},       {"right", vk::right},
            {"up", vk::up},           {"down", vk::down},       {"pgup", vk::pgup},
            {"pgdn", vk::pgdn},       {"break", vk::cancel},    {"capslock", vk::capslock},
            {"clear", vk::clear},     {"help", vk::help},       {"numlock", vk::numlock},
            {"scrolllock", vk::scrolllock}, {"prtsc", vk::prtsc}, {"add", vk::add},
            {"subtract", vk::subtract}, {"multiply", vk::multiply}, {"divide", vk::divide},
        };
        for (int i = 1; i <= 16; ++i)
            m[std::string("f").append(std::to_string(i))] = static_cast<std::uint16_t>(vk::f1 + i - 1);
        return m;
    }();
    return nomi;
}

struct modificatori {
    bool maiuscolo = false, controllo = false, alt = false;
    bool vuoto() const { return !maiuscolo && !controllo && !alt; }
};

class analizzatore {
public:
    explicit analizzatore(const std::string& s) : s_(s) {}

    std::vector<evento_tasto> esegui() {
        gruppo({}, false);
        return eventi_;
    }

private:
    [[noreturn]] void errore(const std::string& cosa) const {
        throw errore_tasti("Sequenza di tasti non valida (" + cosa + "): \"" + s_ + "\"");
    }

    void aggiungi(evento_tasto e, const modificatori& m, int volte) {
        e.maiuscolo = e.maiuscolo || m.maiuscolo;
        e.controllo = m.controllo;
        e.alt = m.alt;
        if (static_cast<std::size_t>(volte) > eventi_massimi - eventi_.size())
            errore("oltre " + std::to_string(eventi_massimi).append(" tasti"));
        for (int i = 0; i < volte; ++i) eventi_.push_back(e);
    }

    // Reads keys until the end of the string (or the ')' closing a group).
    void gruppo(const modificatori& esterni, bool in_parentesi) {
        modificatori m = esterni;
        bool in_attesa = false;  // a modifier waits for its key
        while (i_ < s_.size()) {
            const char c = s_[i_];
            if (c == '+' || c == '^' || c == '%') {
                ++i_;
                (c == '+' ? m.maiuscolo : c == '^' ? m.controllo : m.alt) = true;
                in_attesa = true;
                continue;
            }
            if (c == ')') {
                if (!in_parentesi) errore("parentesi chiusa senza la sua aperta");
                if (in_attesa) errore("modificatore senza tasto");
                ++i_;
                return;
            }
            if (c == '(') {
                ++i_;
                if (++annidamento_ > annidamento_massimo)
                    errore("oltre " + std::to_string(annidamento_massimo).append(" parentesi annidate"));
                gruppo(m, true);
                --annidamento_;
            } else if (c == '{') {
                graffa(m);
            } else if (c == '}') {
                errore("graffa chiusa senza la sua aperta");
            } else if (c == '~') {
                ++i_;
                aggiungi(evento_tasto{vk::enter}, m, 1);
            } else {
                ++i_;
                evento_tasto e;
                e.carattere = c;
                aggiungi(e, m, 1);
            }
            m = esterni;
            in_attesa = false;
        }
        if (in_attesa) errore("modificatore senza tasto");
        if (in_parentesi) errore("parentesi aperta senza la sua chiusa");
    }

    // "{name}" or "{name n}"; the name may itself be "}" ("{}}").
    void graffa(const modificatori& m) {
        const std::size_t inizio = i_ + 1;
        std::size_t fine = s_.find('}', inizio == s_.size() ? inizio : inizio + 1);
        if (inizio >= s_.size() || fine == std::string::npos)
            errore("graffa aperta senza la sua chiusa");
        std::string dentro = s_.substr(inizio, fine - inizio);
        i_ = fine + 1;

        int volte = 1;
        const std::size_t spazio = dentro.find(' ', 1);
        if (spazio != std::string::npos) {
            const std::string numero = dentro.substr(spazio + 1);
            if (numero.empty() || numero.size() > 5) errore("numero di ripetizioni \"" + numero + "\"");
            for (char d : numero)
                if (!std::isdigit(static_cast<unsigned char>(d)))
                    errore("numero di ripetizioni \"" + numero + "\"");
            volte = std::stoi(numero);
            if (volte > ripetizioni_massime) errore("troppe ripetizioni: " + numero);
            dentro.resize(spazio);
        }
        if (dentro.empty()) errore("graffe vuote");
        if (dentro.size() == 1) {  // a literal character, special or not
            evento_tasto e;
            e.carattere = dentro[0];
            aggiungi(e, m, volte);
            return;
        }
        const auto trovato = nomi_tasti().find(minuscolo(dentro));
        if (trovato == nomi_tasti().end()) errore("tasto sconosciuto {" + dentro + "}");
        aggiungi(evento_tasto{trovato->second}, m, volte);
    }

    const std::string& s_;
    std::size_t i_ = 0;
    int annidamento_ = 0;
    std::vector<evento_tasto> eventi_;
};

}  // namespace

std::vector<evento_tasto> analizza_tasti(const std::string& tasti) {
    return analizzatore(tasti).esegui();
}

std::string tasti_letterali(const std::string& testo) {
    std::string r;
    r.reserve(testo.size() * 3);
    for (const char c : testo) {
        if (std::string_view("+^%~(){}[]").find(c) != std::string_view::npos) {
            r += '{';
            r += c;
            r += '}';
        } else {
            r += c;
        }
    }
    return r;
}

}  // namespace j8
