// genera_dati DIR [NUMERO_FARMACI] [--seme N]
//
// Writes into DIR a drug database of NUMERO_FARMACI drugs (default 150000)
// with its side tables, sorted as the main application keeps them, and the
// update files of one package: about 5% of the drugs changed, 1% new, and
// a few changes to every side table. Some lines are trimmed of their
// trailing blanks and some run past their layout, as real files do.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

// A small generator of our own: the same seed gives the same files on
// every platform.
class casuale {
public:
    explicit casuale(std::uint64_t seme) : s_(seme * 0x9E3779B97F4A7C15ull + 1) {}
    std::uint64_t prossimo() {
        s_ ^= s_ >> 12;
        s_ ^= s_ << 25;
        s_ ^= s_ >> 27;
        return s_ * 0x2545F4914F6CDD1Dull;
    }
    // 0 .. n-1
    std::size_t fino_a(std::size_t n) { return static_cast<std::size_t>(prossimo() % n); }
    bool probabile(double p) { return static_cast<double>(prossimo() >> 11) / 9007199254740992.0 < p; }

private:
    std::uint64_t s_;
};

std::string campo(std::string s, std::size_t larghezza) {
    s.resize(larghezza, ' ');
    return s;
}

std::string cifre(std::uint64_t n, int quante) {
    std::string s(static_cast<std::size_t>(quante), '0');
    for (int i = quante - 1; i >= 0; --i, n /= 10) s[static_cast<std::size_t>(i)] = static_cast<char>('0' + n % 10);
    return s;
}

const char* const sillabe[] = {"AL", "BE", "CO", "DI", "FE", "GA", "LO", "MI", "NO", "PA", "RI", "SA",
                               "TO", "VE", "ZI", "XA", "QUI", "TRA", "PRO", "FLU", "CEF", "AMO", "OX", "IN"};
const char* const forme[] = {"CPR", "CPS", "FL", "BUST", "SCIR", "CREMA", "GTT", "SUPP", "F.IM", "F.EV"};
const char* const dosi[] = {"5MG", "10MG", "20MG", "50MG", "100MG", "250MG", "500MG", "1G", "2%", "0,1%"};

std::string parola(casuale& c, int min, int max) {
    std::string s;
    int n = min + static_cast<int>(c.fino_a(static_cast<std::size_t>(max - min + 1)));
    for (int i = 0; i < n; ++i) s += sillabe[c.fino_a(std::size(sillabe))];
    return s;
}

std::string nome_farmaco(casuale& c) {
    std::string s = parola(c, 2, 4);
    if (c.probabile(0.02)) s += "\x92S";  // the odd apostrophe of Windows-1252
    s += " ";
    s += dosi[c.fino_a(std::size(dosi))];
    s += " ";
    s += std::to_string(1 + c.fino_a(60));
    s += " ";
    s += forme[c.fino_a(std::size(forme))];
    return s.substr(0, 30);
}

std::string data_casuale(casuale& c) {
    if (c.probabile(0.8)) return "        ";
    return cifre(2015 + c.fino_a(15), 4) + cifre(1 + c.fino_a(12), 2) + cifre(1 + c.fino_a(28), 2);
}

struct atc_voce {
    std::string codice;  // level digit + ATC code
    std::string descrizione;
};

// The fields of a drug after `stato` and `codice`, as in the update file.
std::string corpo_farmaco(casuale& c, const std::string& nome, const std::vector<atc_voce>& atc_foglie,
                          std::size_t principi) {
    std::string s = campo(nome, 30);
    s += campo(atc_foglie[c.fino_a(atc_foglie.size())].codice.substr(1), 7);
    s += campo(cifre(c.fino_a(100000000000ull), 11), 11);
    s += campo(cifre(c.fino_a(100000000000ull), 11), 11);
    s += campo(cifre(c.fino_a(1000), 3), 3);
    s += campo(cifre(1 + c.fino_a(principi), 6), 6);
    s += "0123AB"[c.fino_a(6)];
    s += campo(cifre(c.fino_a(100), 2), 2);
    s += "SN"[c.fino_a(2)];
    s += c.probabile(0.1) ? "S" : " ";
    s += data_casuale(c);
    s += campo(cifre(c.fino_a(10000), 4), 4);
    return s;
}

// Lines as pharmacies' files hold them: about 1 in 20 has lost its
// trailing blanks (an editor, a transfer), about 1 in 100 carries text past
// its layout, which the engine drops. Its own generator, so the content
// stays the same for a seed.
casuale forma(7);

void scrivi(const std::string& percorso, const std::vector<std::string>& righe) {
    std::FILE* f = std::fopen(percorso.c_str(), "wb");
    if (!f) {
        std::cerr << "genera_dati: impossibile scrivere " << percorso << "\n";
        std::exit(2);
    }
    for (const auto& r : righe) {
        std::size_t n = r.size();
        if (forma.probabile(0.05))
            while (n > 0 && r[n - 1] == ' ') --n;
        std::fwrite(r.data(), 1, n, f);
        if (forma.probabile(0.01)) std::fputs("  *RIF.", f);
        std::fwrite("\r\n", 1, 2, f);
    }
    if (std::fclose(f) != 0) {
        std::cerr << "genera_dati: errore di scrittura su " << percorso << "\n";
        std::exit(2);
    }
}

template <class T, class Chiave>
void ordina_per(std::vector<T>& v, Chiave chiave) {
    std::stable_sort(v.begin(), v.end(), [&](const T& a, const T& b) { return chiave(a) < chiave(b); });
}

struct principio {
    std::string codice, descrizione;
};
struct farmaco {
    std::string codice, corpo, stato;
};

// ATC hierarchy: anatomical group, then 4 more levels; drugs point to leaves.
void genera_atc(casuale& c, std::vector<atc_voce>& atc, std::vector<atc_voce>& atc_foglie) {
    const char* gruppi = "ABCDGHJLMNPRSV";
    for (const char* g = gruppi; *g; ++g) {
        std::string l1(1, *g);
        atc.push_back({"0" + l1, "GRUPPO " + parola(c, 2, 3)});
        for (int a = 1; a <= 4; ++a) {
            std::string l2 = l1 + cifre(static_cast<std::uint64_t>(a * 2 + 1), 2);
            atc.push_back({"1" + l2, parola(c, 2, 5)});
            for (char b = 'A'; b <= 'C'; ++b) {
                std::string l3 = l2 + b;
                atc.push_back({"2" + l3, parola(c, 2, 5)});
                for (char d = 'A'; d <= 'D'; ++d) {
                    std::string l4 = l3 + d;
                    atc.push_back({"3" + l4, parola(c, 2, 5)});
                    for (int e = 1; e <= 6; ++e) {
                        atc_voce v{"4" + l4 + cifre(static_cast<std::uint64_t>(e), 2), parola(c, 3, 6)};
                        atc.push_back(v);
                        atc_foglie.push_back(v);
                    }
                }
            }
        }
    }
}

// A drug line as the last update wrote it: a drug with the flag set is
// cancelled, and the class letter of column 81 is a letter.
std::string come_scritta(std::string r) {
    if (r[84] != ' ') {
        r[0] = 'C';
        r[1] = '0';
    }
    if (r[80] == '0') r[80] = 'A';
    if (r[80] == '1') r[80] = 'B';
    if (r[80] == '3') r[80] = 'C';
    return r;
}

// Drugs: unique nine-digit codes, many with leading zeros.
void scrivi_farmaci(const std::string& dir, casuale& c, std::size_t numero, const std::vector<atc_voce>& atc_foglie,
                    std::size_t principi) {
    std::set<std::uint64_t> usati;
    auto nuovo_codice = [&] {
        for (;;) {
            std::uint64_t n = c.fino_a(1000000000ull);
            if (usati.insert(n).second) return cifre(n, 9);
        }
    };
    std::vector<farmaco> farmaci;
    farmaci.reserve(numero);
    for (std::size_t i = 0; i < numero; ++i) {
        const char* stati[] = {"000", "000", "000", "00A", "C00", "C0A"};
        farmaci.push_back({nuovo_codice(), corpo_farmaco(c, nome_farmaco(c), atc_foglie, principi),
                           stati[c.fino_a(6)]});
    }

    // Update file: changed drugs (some renamed, some marked "G") and new ones.
    std::vector<std::string> faf;
    for (const auto& f : farmaci) {
        if (!c.probabile(0.05)) continue;
        std::string nome = c.probabile(0.3) ? nome_farmaco(c) : f.corpo.substr(0, 30);
        faf.push_back(f.codice + corpo_farmaco(c, nome, atc_foglie, principi) + (c.probabile(0.2) ? "G" : " "));
    }
    for (std::size_t i = 0; i < numero / 100; ++i)
        faf.push_back(nuovo_codice() + corpo_farmaco(c, nome_farmaco(c), atc_foglie, principi) + " ");
    for (std::size_t i = faf.size(); i > 1; --i) std::swap(faf[i - 1], faf[c.fino_a(i)]);

    ordina_per(farmaci, [](const farmaco& f) { return f.corpo.substr(0, 30); });
    std::vector<std::string> righe;
    righe.reserve(farmaci.size());
    for (const auto& f : farmaci) righe.push_back(come_scritta(f.stato + f.codice + f.corpo));
    scrivi(dir + "farmaci.tda", righe);
    scrivi(dir + "farmaci.faf", faf);
}

// Each side table gets a few replacements and a few new records.
void scrivi_principi(const std::string& dir, casuale& c, std::vector<principio> tab_principi) {
    const std::size_t principi = tab_principi.size();
    std::vector<std::string> pa_faf;
    for (std::size_t i = 0; i < principi / 100 + 3; ++i) {
        const auto& p = tab_principi[c.fino_a(tab_principi.size())];
        pa_faf.push_back(p.codice + campo(p.descrizione, 197));
        pa_faf.push_back(cifre(principi + i + 1, 6) + campo(parola(c, 3, 7), 197));
    }
    ordina_per(tab_principi, [](const principio& p) { return campo(p.descrizione, 197); });
    std::vector<std::string> righe;
    for (const auto& p : tab_principi) righe.push_back("000" + p.codice + campo(p.descrizione, 197));
    scrivi(dir + "principi_attivi.tda", righe);
    scrivi(dir + "principi_attivi.faf", pa_faf);
}

void scrivi_atc(const std::string& dir, casuale& c, std::vector<atc_voce> atc) {
    std::vector<std::string> atc_faf;
    for (int i = 0; i < 30; ++i) {
        const auto& v = atc[c.fino_a(atc.size())];
        atc_faf.push_back(campo(v.codice, 8) + campo(c.probabile(0.5) ? v.descrizione : parola(c, 3, 6), 94));
    }
    ordina_per(atc, [](const atc_voce& v) { return campo(v.descrizione, 94); });
    std::vector<std::string> righe;
    for (const auto& v : atc) righe.push_back("000" + campo(v.codice, 8) + campo(v.descrizione, 94));
    scrivi(dir + "atc.tda", righe);
    scrivi(dir + "atc.faf", atc_faf);
}

void scrivi_ditte(const std::string& dir, casuale& c, const std::vector<std::string>& tab_ditte) {
    const std::size_t ditte = tab_ditte.size();
    std::vector<std::string> ditte_faf;
    for (std::size_t i = 0; i < ditte / 50 + 3; ++i) {
        ditte_faf.push_back(tab_ditte[c.fino_a(tab_ditte.size())].substr(3, 4) + campo(parola(c, 2, 4) + " SRL", 18));
        ditte_faf.push_back(cifre(ditte + i + 1, 4) + campo(parola(c, 2, 4) + " SPA", 18));
    }
    scrivi(dir + "ditte.tda", tab_ditte);
    scrivi(dir + "ditte.faf", ditte_faf);
}

void scrivi_note(const std::string& dir, casuale& c) {
    std::vector<std::string> note, note_faf;
    for (int i = 1; i <= 99; ++i)
        note.push_back("000" + cifre(static_cast<std::uint64_t>(i), 2) + "S" + "01" + campo("NOTA " + std::to_string(i), 50) +
                       campo("Prescrizione a carico del SSN limitata a " + parola(c, 3, 8), 4000));
    for (int i = 0; i < 5; ++i)
        note_faf.push_back(cifre(1 + c.fino_a(99), 2) + "S01" + campo("NOTA AGGIORNATA", 50) +
                           campo("  Nuovo testo della nota " + parola(c, 3, 6), 4000));
    scrivi(dir + "notessn.tda", note);
    scrivi(dir + "notessn.faf", note_faf);
}

}  // namespace

int main(int argc, char** argv) {
    std::string dir;
    std::size_t numero = 150000;
    std::uint64_t seme = 1;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--seme" && i + 1 < argc) {
            seme = std::stoull(argv[++i]);
        } else if (dir.empty()) {
            dir = a;
        } else {
            try {
                numero = std::stoul(a);
            } catch (...) {
                std::cerr << "genera_dati: numero di farmaci non valido: " << a << "\n";
                return 2;
            }
        }
    }
    if (dir.empty()) {
        std::cerr << "uso: genera_dati DIR [NUMERO_FARMACI] [--seme N]\n";
        return 2;
    }
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (!std::filesystem::is_directory(dir)) {
        std::cerr << "genera_dati: direttorio non utilizzabile: " << dir << "\n";
        return 2;
    }
    dir += "/";
    casuale c(seme);

    std::vector<atc_voce> atc, atc_foglie;
    genera_atc(c, atc, atc_foglie);

    const std::size_t principi = std::max<std::size_t>(50, numero / 30);
    std::vector<principio> tab_principi;
    for (std::size_t i = 1; i <= principi; ++i) tab_principi.push_back({cifre(i, 6), parola(c, 3, 7)});

    const std::size_t ditte = std::max<std::size_t>(20, numero / 50);
    std::vector<std::string> tab_ditte;
    for (std::size_t i = 1; i <= ditte; ++i)
        tab_ditte.push_back("000" + cifre(i, 4) + campo(parola(c, 2, 4) + " SPA", 18));

    // In this order, so a seed always gives the same files.
    scrivi_farmaci(dir, c, numero, atc_foglie, principi);
    scrivi_principi(dir, c, tab_principi);
    scrivi_atc(dir, c, atc);
    scrivi_ditte(dir, c, tab_ditte);
    scrivi_note(dir, c);
    return 0;
}
