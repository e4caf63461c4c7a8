#include "j8_modulo_aggiornamento/cifrario.hpp"

#include <cmath>
#include <cstring>

namespace j8 {

std::array<int, 31> posizioni{};
std::array<int, 31> semi{};
std::array<std::string, 101> righe{};

namespace {

constexpr std::uint32_t stato_iniziale = 327680;
constexpr std::uint32_t maschera_24 = 0xFFFFFF;

std::uint32_t stato = stato_iniziale;

float ultima_estrazione() { return static_cast<float>(stato) / 16777216.0f; }

float estrai() {
    stato = (stato * 1140671485u + 12820163u) & maschera_24;
    return ultima_estrazione();
}

// floor(draw * scala + base), each step rounded to single precision.
int scala_estrazione(float scala, float base) {
    float prodotto = numero_casuale() * scala;
    float somma = prodotto + base;
    return static_cast<int>(std::floor(somma));
}

}  // namespace

float numero_casuale(float argomento) {
    if (argomento < 0.0f) {
        std::uint32_t bit;
        std::memcpy(&bit, &argomento, sizeof bit);
        stato = (bit + (bit >> 24)) & maschera_24;
        return estrai();
    }
    if (argomento == 0.0f) return ultima_estrazione();
    return estrai();
}

void riavvia_generatore() { stato = stato_iniziale; }

errore_cifratura::errore_cifratura(std::size_t posizione, unsigned char codice)
    : std::invalid_argument("carattere di codice " + std::to_string(codice) + " in posizione " +
                            std::to_string(posizione) + " non cifrabile"),
      posizione_(posizione), codice_(codice) {}

void prepara_chiave(float secondi_da_mezzanotte) {
    std::int32_t somma = 0;
    for (int i = 1; i <= lunghezza_chiave; ++i) {
        // The old runtime formed this product in 16 bits.
        auto codice = static_cast<unsigned char>(chiave_cifrario[i - 1]);
        auto prodotto = static_cast<std::int16_t>(100 * codice);
        somma += i + prodotto;
    }
    semi[0] = static_cast<int>(numero_casuale(-static_cast<float>(somma)));
    for (int i = 1; i <= lunghezza_chiave; ++i) posizioni[i] = scala_estrazione(1000.0f, 1.0f);
    numero_casuale(-secondi_da_mezzanotte);
    for (int i = 1; i <= lunghezza_chiave; ++i) semi[i] = scala_estrazione(96.0f, 32.0f);
}

void prepara_tabelle() {
    for (int i = 1; i <= lunghezza_chiave; ++i) {
        numero_casuale(-static_cast<float>(semi[i]));
        std::string riga(96, '\0');
        bool presente[256] = {};
        for (int j = 32; j <= 127; ++j) {
            // Draws that hit a character already in the row are thrown away.
            int c;
            do {
                c = scala_estrazione(96.0f, 32.0f);
            } while (presente[c]);
            presente[c] = true;
            riga[j - 32] = static_cast<char>(c);
        }
        righe[i] = std::move(riga);
    }
}

int riga_cifrario(std::int64_t numero_riga) {
    std::int64_t resto = (numero_riga - 1) % lunghezza_chiave;
    if (resto < 0) resto += lunghezza_chiave;
    return static_cast<int>(resto) + 1;
}

std::string cifra_riga(const std::string& testo, std::int64_t numero_riga) {
    const std::string& riga = righe[riga_cifrario(numero_riga)];
    std::string cifrato;
    cifrato.reserve(testo.size());
    for (std::size_t k = 0; k < testo.size(); ++k) {
        auto a = static_cast<unsigned char>(testo[k]);
        if (a != 8 && a < 128) {
            if (!cifrabile(a)) throw errore_cifratura(k + 1, a);
            if (riga.size() != 96) throw std::logic_error("tabelle del cifrario non preparate");
            cifrato += riga[a - 32];
        } else {
            cifrato += static_cast<char>(a);
        }
    }
    return cifrato;
}

std::string decifra_riga(const std::string& testo, std::int64_t numero_riga) {
    const std::string& riga = righe[riga_cifrario(numero_riga)];
    std::string chiaro = testo;
    for (char& ch : chiaro) {
        auto a = static_cast<unsigned char>(ch);
        if (a < 128) {
            // Absent characters (controls included) come out as code 31.
            std::size_t p = a >= 32 ? riga.find(ch) : std::string::npos;
            ch = static_cast<char>(p == std::string::npos ? 31 : 32 + p);
        }
    }
    return chiaro;
}

}  // namespace j8
