// The side tables' merges: the three ordered ones and the notes.
#include "motore_tabelle/interno.hpp"
#include "motore_tabelle/righe_a_blocchi.hpp"

namespace j8 {

using namespace interno;

namespace {

// One ordered merge: bisection to about ten records, then a short scan
// that either replaces a record whose key and second field match or finds
// the insertion place. For the active principles the names are compared,
// and stored back, without their outer blanks.
template <std::size_t W>
class fusione_ordinata {
public:
    fusione_ordinata(tabella_righe<W>& tab, campo chiave, campo seconda, bool principi)
        : tab_(tab),
          righe_(tab.voci, chiave, seconda),
          campo_chiave_(chiave),
          campo_seconda_(seconda),
          principi_(principi) {}
    // Applies one update line (a record without `stato`); true when it
    // replaced a record, false when it was inserted.
    bool applica(std::string_view linea) {
        riga_fissa<W> u;
        std::memcpy(u.c.data() + 3, linea.data(), linea.size());
        impronta_pronta_ = false;
        const std::int64_t ultimo = static_cast<std::int64_t>(righe_.size());
        std::int64_t basso = 1, alto = ultimo;
        bisezione(u, basso, alto);
        std::int64_t posizione = scorri(u, basso, principi_ ? alto : ultimo);
        if (posizione == -1) posizione = alto + 1;
        if (posizione == 0) return true;
        std::memcpy(u.c.data(), "000", 3);
        righe_.inserisci(static_cast<std::size_t>(posizione - 1), tab_.copia(u.riga()));
        return false;
    }
    void finisci() { righe_.riversa(tab_.voci); }

private:
    std::string_view chiave(std::int64_t k) {
        return tabella_righe<W>::campo_di(righe_[static_cast<std::size_t>(k - 1)], campo_chiave_, appoggio_1_);
    }
    void bisezione(const riga_fissa<W>& u, std::int64_t& basso, std::int64_t& alto) {
        std::int64_t medio = (basso + alto) / 2;
        while (alto - basso > 10) {
            int c = confronta_testi(u[campo_chiave_], chiave(medio));
            if (c > 0) {
                basso = medio;
                medio = (basso + alto) / 2;
            } else if (c < 0) {
                alto = medio;
                medio = (basso + alto) / 2;
            } else if (principi_) {
                alto = medio;
                basso = medio;
            } else {
                alto = medio;
                torna_al_primo(u[campo_chiave_], basso, alto);
            }
        }
    }
    // Back to the first record of the run of equal keys (the key at `alto`
    // is `km`); a block with no key below it passes whole.
    void torna_al_primo(std::string_view km, std::int64_t& basso, std::int64_t& alto) {
        std::int64_t k = alto;
        while (k >= 1) {
            const std::size_t b = righe_.blocco_di(static_cast<std::size_t>(k - 1));
            if (righe_.tutto_almeno(b, km)) {
                basso = alto = static_cast<std::int64_t>(righe_.inizio(b)) + 1;
                k = static_cast<std::int64_t>(righe_.inizio(b));
                continue;
            }
            if (confronta_testi(chiave(k), km) < 0) break;
            basso = alto = k;
            --k;
        }
    }
    // Rows basso..fine: 0 once a record is replaced, else the insertion
    // place, or -1 when the scan found none.
    std::int64_t scorri(riga_fissa<W>& u, std::int64_t basso, std::int64_t fine) {
        std::int64_t posizione = -1;
        for (std::int64_t j = basso; j <= fine; ++j) {
            if (!principi_ && salta_blocco(u, j, posizione)) continue;
            voce_riga& t = righe_[static_cast<std::size_t>(j - 1)];
            const int c = confronta(u, t);
            if (c < 0) return posizione == -1 ? j : posizione;
            if (c == 0) {
                if (u[campo_seconda_] == tabella_righe<W>::campo_di(t, campo_seconda_, appoggio_2_)) {
                    sostituisci(u, t, j);
                    return 0;
                }
                posizione = j;
            }
        }
        return posizione;
    }
    // At the first row of a block: one with keys all below u's is passed
    // (true); one all of u's key is passed too, with `posizione` on its
    // last row, unless a row has u's second field, where `j` moves.
    bool salta_blocco(riga_fissa<W>& u, std::int64_t& j, std::int64_t& posizione) {
        const std::size_t b = righe_.blocco_di(static_cast<std::size_t>(j - 1));
        if (righe_.inizio(b) != static_cast<std::size_t>(j - 1)) return false;
        if (righe_.tutto_minore(b, u[campo_chiave_])) {
            j = static_cast<std::int64_t>(righe_.inizio(b) + righe_.righe_in(b));
            return true;
        }
        if (!righe_.tutto_chiave(b, u[campo_chiave_])) return false;
        if (!impronta_pronta_) {
            impronta_u_ = righe_.impronta(voce_riga{u.c.data(), W});
            impronta_pronta_ = true;
        }
        const std::int64_t o = righe_.primo_con_seconda(b, u[campo_seconda_], impronta_u_);
        if (o < 0) {
            posizione = static_cast<std::int64_t>(righe_.inizio(b) + righe_.righe_in(b));
            j = posizione;
            return true;
        }
        j += o;
        return false;
    }
    int confronta(riga_fissa<W>& u, voce_riga& t) {
        if (!principi_)
            return confronta_testi(u[campo_chiave_], tabella_righe<W>::campo_di(t, campo_chiave_, appoggio_1_));
        u.imposta(campo_chiave_, std::string(togli_spazi(u[campo_chiave_])));
        imposta_campo(tab_, t, campo_chiave_,
                      std::string(togli_spazi(tabella_righe<W>::campo_di(t, campo_chiave_, appoggio_1_))));
        return confronta_testi(togli_spazi(u[campo_chiave_]),
                               togli_spazi(tabella_righe<W>::campo_di(t, campo_chiave_, appoggio_1_)));
    }
    void sostituisci(const riga_fissa<W>& u, voce_riga& t, std::int64_t j) {
        const char* prima = t.dati;
        char* r = tab_.modifica(t);
        if (r != prima) righe_.spostata(static_cast<std::size_t>(j - 1), prima);
        if (!principi_) std::memcpy(r, "000", 3);
        std::memcpy(r + campo_chiave_.posizione - 1, u.dati(campo_chiave_), campo_chiave_.larghezza);
        std::memcpy(r + campo_seconda_.posizione - 1, u.dati(campo_seconda_), campo_seconda_.larghezza);
    }

    tabella_righe<W>& tab_;
    righe_a_blocchi righe_;
    campo campo_chiave_, campo_seconda_;
    bool principi_;
    // Room for a field of a short line, padded (campo_di).
    char appoggio_1_[W], appoggio_2_[W];
    std::uint64_t impronta_u_ = 0;
    bool impronta_pronta_ = false;
};

// Reads the update file `percorso` and merges it into `tab`, the bar shown
// meanwhile.
template <std::size_t V, std::size_t W>
conteggio_variazioni fondi_ordinata(file_tabelle& file, avanzamento& av, const std::string& percorso,
                                    tabella_righe<W>& tab, campo chiave, campo seconda, bool principi) {
    tabella_righe<V> variazioni;
    leggi_righe(file, percorso, variazioni);
    av.barra_visibile(true);
    conteggio_variazioni conta;
    fusione_ordinata<W> fusione(tab, chiave, seconda, principi);
    const std::size_t n = variazioni.size();
    for (std::size_t i = 1; i <= n; ++i) {
        av.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        ++(fusione.applica(variazioni.riga(i - 1)) ? conta.sostituite : conta.aggiunte);
    }
    fusione.finisci();
    av.barra_visibile(false);
    av.valore_barra(0);
    return conta;
}

// The first record of each two-character note code: the scan from record
// 1 stops there.
unsigned chiave_nota(char a, char b) { return static_cast<unsigned char>(a) * 256u + static_cast<unsigned char>(b); }

std::vector<std::int32_t> primi_per_codice(const tabella_righe<nota::larghezza>& note) {
    std::vector<std::int32_t> primo(65536, -1);
    for (std::size_t k = 0; k < note.size(); ++k) {
        std::int32_t& p = primo[chiave_nota(note.carattere(k, 3), note.carattere(k, 4))];
        if (p < 0) p = static_cast<std::int32_t>(k);
    }
    return primo;
}

// An update line with its `testo` stripped of its outer blanks.
void nota_pulita(std::string_view u, std::string& nuova) {
    const std::size_t testo_da = variazione_nota::testo.posizione - 1u;
    nuova.assign(u.substr(0, testo_da));
    if (u.size() > testo_da) {
        std::string_view t = togli_spazi(u.substr(testo_da));
        if (!t.empty()) {
            nuova.resize(testo_da, ' ');
            nuova.append(t);
        }
    }
}

// `stato` stays; the rest is the update's.
void sostituisci_nota(tabella_righe<nota::larghezza>& note, voce_riga& v, const std::string& nuova) {
    if (v.lunghezza < 3 + nuova.size() || note.letta(v)) {
        char* d = note.arena.prendi(3 + nuova.size());
        for (std::size_t k = 0; k < 3; ++k) d[k] = byte_di(v, k);
        v.dati = d;
    }
    std::memcpy(v.dati + 3, nuova.data(), nuova.size());
    v.lunghezza = 3 + nuova.size();
}

}  // namespace

conteggio_variazioni motore_tabelle::aggiorna_notessn(const std::string& direttorio, const std::string& nome_file) {
    conteggio_variazioni conta;
    tabella_righe<variazione_nota::larghezza> variazioni;
    leggi_righe(file_, direttorio + nome_file, variazioni);
    av_.barra_visibile(true);
    std::vector<std::int32_t> primo = primi_per_codice(tabella_notessn);
    std::string nuova;
    const std::size_t n = variazioni.size();
    for (std::size_t i = 1; i <= n; ++i) {
        av_.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        std::string_view u = variazioni.riga(i - 1);
        nota_pulita(u, nuova);
        std::int32_t& p = primo[chiave_nota(u.size() > 0 ? u[0] : ' ', u.size() > 1 ? u[1] : ' ')];
        if (p >= 0) {
            sostituisci_nota(tabella_notessn, tabella_notessn.voci[static_cast<std::size_t>(p)], nuova);
            ++conta.sostituite;
        } else {
            p = static_cast<std::int32_t>(tabella_notessn.size());
            tabella_notessn.push_back("   " + nuova);
            ++conta.aggiunte;
        }
    }
    av_.barra_visibile(false);
    av_.valore_barra(0);
    // Every note goes out as "000", whatever its stored status.
    scrivi_tabella(file_, direttorio + "notessn.tda", [&](uscita_blocchi& u) {
        for (std::size_t k = 0; k < tabella_notessn.size(); ++k) {
            std::string_view r = tabella_notessn.riga(k);
            u.testo("000");
            u.riga(r.size() > 3 ? r.substr(3) : std::string_view(), nota::larghezza - 3);
        }
    });
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_principi_attivi(const std::string& direttorio,
                                                              const std::string& nome_file) {
    conteggio_variazioni conta = fondi_ordinata<variazione_principio_attivo::larghezza>(
        file_, av_, direttorio + nome_file, tabella_principi_attivi, principio_attivo::descrizione,
        principio_attivo::codice, true);
    scrivi_righe(file_, direttorio + "principi_attivi.tda", tabella_principi_attivi);
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_atc(const std::string& direttorio, const std::string& nome_file) {
    conteggio_variazioni conta = fondi_ordinata<variazione_atc::larghezza>(
        file_, av_, direttorio + nome_file, tabella_atc, classe_atc::descrizione, classe_atc::codice, false);
    scrivi_righe(file_, direttorio + "atc.tda", tabella_atc);
    return conta;
}

conteggio_variazioni motore_tabelle::aggiorna_ditte(const std::string& direttorio, const std::string& nome_file) {
    conteggio_variazioni conta = fondi_ordinata<variazione_ditta::larghezza>(
        file_, av_, direttorio + nome_file, tabella_ditte, ditta::codice, ditta::descrizione, false);
    // Of a run of records with the same code only the first is written.
    scrivi_tabella(file_, direttorio + "ditte.tda", [&](uscita_blocchi& u) {
        for (std::size_t k = 0; k < tabella_ditte.size(); ++k) {
            if (k > 0 && confronta_campi(tabella_ditte.voci[k], tabella_ditte.voci[k - 1], ditta::codice) == 0) {
                ++conta.rimosse;
                continue;
            }
            u.riga(tabella_ditte.riga(k), ditta::larghezza);
        }
    });
    return conta;
}

}  // namespace j8
