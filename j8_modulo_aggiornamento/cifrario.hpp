#pragma once
// The line cipher of the settings files and the runtime random generator it
// is built on. Files already on the workstations were written by the
// supplier's tool with exactly this arithmetic, so every float operation
// here is single precision, rounded after each step, as the old runtime did.

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace j8 {

// The cipher key compiled into the system; its length is the number of
// seed-carrying header lines and of permutation rows.
inline constexpr std::string_view chiave_cifrario = "GRAY FOX -J8";
inline constexpr int lunghezza_chiave = static_cast<int>(chiave_cifrario.size());

// Cipher state, one set for the whole process, rebuilt for every file.
extern std::array<int, 31> posizioni;      // P(i): where seed i stands in header line i
extern std::array<int, 31> semi;           // S(i): seed of row i (index 0: by-product)
extern std::array<std::string, 101> righe;  // row i: a permutation of the codes 32..127

// --- the runtime random generator -----------------------------------------
// argomento < 0: reseed from its single-precision bit pattern, then draw;
// argomento = 0: the last number drawn again; argomento > 0: the next draw.
float numero_casuale(float argomento = 1.0f);
// Back to the state the runtime had at start-up.
void riavvia_generatore();

// --- the cipher ---------------------------------------------------------
// The cipher takes every code but 0 to 7 and 9 to 31.
inline bool cifrabile(unsigned char codice) { return codice >= 32 || codice == 8; }

// A character the cipher cannot take.
class errore_cifratura : public std::invalid_argument {
public:
    errore_cifratura(std::size_t posizione, unsigned char codice);
    std::size_t posizione() const { return posizione_; }  // 1-based in the line
    unsigned char codice() const { return codice_; }

private:
    std::size_t posizione_;
    unsigned char codice_;
};

// Positions from the key, then random seeds from the clock (seconds since
// midnight, as the runtime's timer gives them).
void prepara_chiave(float secondi_da_mezzanotte);
// Rows 1..n from semi(1..n).
void prepara_tabelle();
// Row used by data line L (counted from 1 after the header).
int riga_cifrario(std::int64_t numero_riga);
// Throws errore_cifratura on a character outside the cipher's domain.
std::string cifra_riga(const std::string& testo, std::int64_t numero_riga);
std::string decifra_riga(const std::string& testo, std::int64_t numero_riga);

}  // namespace j8
