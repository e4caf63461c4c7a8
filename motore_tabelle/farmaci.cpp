// The drug table: its merge and sort, duplicate removal and the secondary
// table.
#include <cstdio>
#include <unordered_map>

#include "motore_tabelle/interno.hpp"

namespace j8 {

using namespace interno;

namespace {

using tabella_variazioni_farmaci = tabella_righe<variazione_farmaco::larghezza>;

std::int32_t numero_data(std::string_view d) {
    std::int32_t n = 0;
    for (char c : d) n = n * 10 + (c - '0');
    return n;
}

// The table position of each update line's code, as the code index's
// search gives it: one pass over the table against the update's codes,
// instead of sorting every code of the table. A code the table holds
// twice goes to the index, whose order decides which of the two the
// search meets.
std::vector<std::int32_t> posti_variazioni(motore_tabelle& m, const tabella_variazioni_farmaci& variazioni) {
    const std::size_t n = variazioni.size();
    const std::vector<voce_riga>& righe = m.tabella_farmaci.voci;
    std::vector<std::int32_t> posti(n, -1);
    // An index of one entry is never searched.
    if (n == 0 || righe.size() < 2) return posti;
    using codice = std::array<char, 9>;
    auto mescola = [](const codice& c) {
        std::uint64_t x;
        std::memcpy(&x, c.data(), 8);
        return (x ^ (static_cast<std::uint64_t>(static_cast<unsigned char>(c[8])) << 3)) * 0x9E3779B97F4A7C15ull;
    };
    // Open addressing over the update's codes, at most half full.
    const unsigned bit = static_cast<unsigned>(std::bit_width(2 * n));
    struct posto {
        codice c;
        std::int32_t riga = 0;  // 0: not in the table
        bool usato = false;
    };
    std::vector<posto> tavola(std::size_t{1} << bit);
    const std::size_t maschera = tavola.size() - 1;
    auto cerca = [&](const codice& c) -> posto& {
        for (std::size_t h = mescola(c) >> (64 - bit);; h = (h + 1) & maschera)
            if (!tavola[h].usato || tavola[h].c == c) return tavola[h];
    };
    // One bit per code in a table small enough for the cache: most of the
    // table's codes are not in the update and stop there.
    std::vector<std::uint64_t> filtro(std::size_t{1} << 12);
    auto bit_filtro = [](std::uint64_t h) { return (h >> 20) & ((std::uint64_t{1} << 18) - 1); };
    std::vector<codice> codici(n);
    for (std::size_t k = 0; k < n; ++k) {
        char a[variazione_farmaco::larghezza];
        std::memcpy(codici[k].data(), variazioni.campo_di(k, variazione_farmaco::codice, a).data(), 9);
        posto& p = cerca(codici[k]);
        p.c = codici[k];
        p.usato = true;
        const std::uint64_t b = bit_filtro(mescola(codici[k]));
        filtro[b >> 6] |= std::uint64_t{1} << (b & 63);
    }
    bool doppi = false;
    for (std::size_t i = 0; i < righe.size(); ++i) {
        const codice c = codice_farmaco(righe[i]);
        const std::uint64_t b = bit_filtro(mescola(c));
        if (!(filtro[b >> 6] >> (b & 63) & 1)) continue;
        posto& p = cerca(c);
        if (!p.usato) continue;
        doppi = doppi || p.riga != 0;
        p.riga = static_cast<std::int32_t>(i + 1);
    }
    if (doppi) m.costruisci_indice_codici();
    for (std::size_t k = 0; k < n; ++k) {
        if (doppi) {
            posti[k] = m.cerca_codice(std::string_view(codici[k].data(), 9));
        } else if (const std::int32_t r = cerca(codici[k]).riga) {
            posti[k] = r;
        }
    }
    return posti;
}

// Applies update `v` to the full-width drug record `r`; true when it turns
// a drug in use into a cancelled one.
bool aggiorna_riga_farmaco(char* r, const record_variazione_farmaco& v, std::int32_t oggi) {
    const bool era_cancellato = r[0] == 'C';
    // codice .. data: the update's first 90 characters.
    std::memcpy(r + 3, v.c.data(), 90);
    std::string_view d(r + farmaco::data.posizione - 1, 8);
    bool con_data = data_valida(d) && d != "18991230";
    imposta_stato(r, con_data && numero_data(d) <= oggi);
    // The flag decides in the end, whatever the date said.
    imposta_stato(r, r[farmaco::campo_12.posizione - 1] != ' ');
    std::memcpy(r + farmaco::campo_14.posizione - 1, v.dati(variazione_farmaco::campo_14), 4);
    if (maiuscola(v[variazione_farmaco::tipo_variazione][0]) == 'G') r[2] = 'A';
    return r[0] == 'C' && !era_cancellato;
}

// Applies the update lines of known codes in place; returns the line of
// each new code, the later line winning in the place of the first.
std::vector<std::uint32_t> applica_variazioni(motore_tabelle& m, const tabella_variazioni_farmaci& variazioni,
                                              std::int32_t oggi, avanzamento& av, conteggio_variazioni& conta) {
    std::vector<std::uint32_t> nuovi;
    std::unordered_map<std::string, std::size_t> posto_nuovo;
    const std::size_t n = variazioni.size();
    const std::vector<std::int32_t> posti = posti_variazioni(m, variazioni);
    for (std::size_t i = 1; i <= n; ++i) {
        av.valore_barra(100.0f * static_cast<float>(i) / static_cast<float>(n));
        // The rows the updates touch lie all over the table.
        if (i + 8 <= n && posti[i + 7] > 0) __builtin_prefetch(m.tabella_farmaci.voci[posti[i + 7] - 1].dati);
        const record_variazione_farmaco v(variazioni.riga(i - 1));
        const std::int32_t p = posti[i - 1];
        if (p != -1) {
            char* r = m.tabella_farmaci.modifica(static_cast<std::size_t>(p - 1));
            ++(aggiorna_riga_farmaco(r, v, oggi) ? conta.rimosse : conta.sostituite);
        } else {
            auto [it, nuovo] = posto_nuovo.try_emplace(std::string(v[variazione_farmaco::codice]), nuovi.size());
            if (nuovo)
                nuovi.push_back(static_cast<std::uint32_t>(i - 1));
            else
                nuovi[it->second] = static_cast<std::uint32_t>(i - 1);
        }
    }
    return nuovi;
}

// Appends the new drugs: "000", then codice .. campo_14 of the update.
void aggiungi_nuovi(tabella_righe<farmaco::larghezza>& tab, const tabella_variazioni_farmaci& variazioni,
                    const std::vector<std::uint32_t>& nuovi) {
    tab.voci.reserve(tab.size() + nuovi.size());
    for (std::uint32_t k : nuovi) {
        std::string_view u = variazioni.riga(k).substr(0, 94);
        std::size_t m = u.size();
        while (m > 0 && u[m - 1] == ' ') --m;
        char* r = tab.arena.prendi(3 + m);
        std::memcpy(r, "000", 3);
        std::memcpy(r + 3, u.data(), m);
        tab.voci.push_back({r, 3 + m});
    }
}

// The last touches before the sort: the status a set flag gives and the
// letter codes of campo_9. Past a short line's end both are blank. A row
// is copied only when they change it.
void rifinisci_riga(tabella_righe<farmaco::larghezza>& tab, voce_riga& v) {
    const std::size_t p12 = farmaco::campo_12.posizione - 1u, p9 = farmaco::campo_9.posizione - 1u;
    char stato[3] = {byte_di(v, 0), byte_di(v, 1), byte_di(v, 2)};
    // With a non-blank flag the date test could only set what the flag
    // sets right after it.
    if (v.lunghezza > p12 && v.dati[p12] != ' ') imposta_stato(stato, true);
    char c9 = maiuscola(byte_di(v, p9));
    if (c9 == '0')
        c9 = 'A';
    else if (c9 == '1')
        c9 = 'B';
    else if (c9 == '3')
        c9 = 'C';
    if (stato[0] == byte_di(v, 0) && stato[1] == byte_di(v, 1) && stato[2] == byte_di(v, 2) && c9 == byte_di(v, p9))
        return;
    char* r = tab.modifica(v);
    std::memcpy(r, stato, 3);
    r[p9] = c9;
}

// Touches up every row, then returns the rows in the legacy sort's order
// by name.
std::vector<std::uint32_t> ordine_per_nome(tabella_righe<farmaco::larghezza>& tab, avanzamento& av) {
    std::vector<voce_riga>& voci = tab.voci;
    const std::size_t righe = voci.size();
    std::vector<chiave_riga> chiavi(righe);
    // Most names share their first eight characters with a neighbour: the
    // next eight are taken here in row order, not later all over the table.
    std::vector<std::uint64_t> seconde(righe);
    for (std::size_t i = 0; i < righe; ++i) {
        rifinisci_riga(tab, voci[i]);
        chiavi[i] = {parola_rango(voci[i], farmaco::descrizione), static_cast<std::uint32_t>(i)};
        seconde[i] = parola_rango(voci[i], farmaco::descrizione, 8);
    }
    // By the first eight characters, then each run that shares them by the
    // next eight and so on; rows with equal names are marked on the way.
    ordina_per_inizio(chiavi);
    std::vector<std::uint8_t> uguale(righe, 0);
    for (std::size_t i = 0; i < righe;) {
        std::size_t f = i + 1;
        while (f < righe && chiavi[f].inizio == chiavi[i].inizio) ++f;
        if (f - i > 1) ordina_per_parole(chiavi, i, f, voci, farmaco::descrizione, 8, uguale, seconde);
        i = f;
    }
    std::vector<std::uint32_t> ordine(righe);
    for (std::size_t i = 0; i < righe; ++i) ordine[i] = chiavi[i].riga;
    std::vector<chiave_riga>().swap(chiavi);
    permutazione_shell(ordine, uguale, av);
    return ordine;
}

}  // namespace

conteggio_variazioni motore_tabelle::aggiorna_farmaci(const std::string& direttorio, const std::string& nome_file) {
    conteggio_variazioni conta;
    tabella_variazioni_farmaci variazioni;
    leggi_righe(file_, direttorio + nome_file, variazioni);
    av_.barra_visibile(true);
    const std::int32_t oggi = variazioni.size() ? oggi_() : 0;
    {
        const std::vector<std::uint32_t> nuovi = applica_variazioni(*this, variazioni, oggi, av_, conta);
        conta.aggiunte = static_cast<std::int64_t>(nuovi.size());
        aggiungi_nuovi(tabella_farmaci, variazioni, nuovi);
    }
    variazioni.clear();

    av_.barra_visibile(false);
    av_.valore_barra(0);
    av_.stato_lampeggiante("Ordinamento tabella farmaci. Attendere...");

    // The table takes the sorted order and is written as it then stands.
    const std::vector<std::uint32_t> ordine = ordine_per_nome(tabella_farmaci, av_);
    std::vector<voce_riga>& voci = tabella_farmaci.voci;
    const std::size_t righe = voci.size();
    {
        std::vector<voce_riga> in_ordine(righe);
        for (std::size_t k = 0; k < righe; ++k) in_ordine[k] = voci[ordine[k]];
        voci.swap(in_ordine);
    }
    scrivi_tabella(
        file_, direttorio + "farmaci.tda",
        [&](uscita_blocchi& u) {
            for (std::size_t k = 0; k < righe; ++k) {
                // The rows' bytes lie all over the table.
                if (k + 8 < righe) __builtin_prefetch(voci[k + 8].dati);
                u.riga(tabella_farmaci.riga(k), farmaco::larghezza);
            }
        },
        std::uint64_t{righe} * (farmaco::larghezza + 2));
    return conta;
}

void motore_tabelle::elimina_doppi_farmaci(const std::string& direttorio) {
    const std::string tabella = direttorio + "farmaci.tda";
    const std::string provvisorio = direttorio + "farmaci.$$$";
    // Line by line, as read: only the previous code and name are kept.
    char riga[farmaco::larghezza + 1];
    std::string codice_prec, nome_prec;
    file_.scrivi_a_blocchi(provvisorio, [&](const file_tabelle::ricevi_blocco& ricevi) {
        uscita_blocchi u(ricevi);
        auto pezzo = [](std::string_view r, std::size_t da, std::size_t quanti) {
            return da >= r.size() ? std::string_view() : r.substr(da, quanti);
        };
        // Text past the layout is dropped here too.
        auto d = crea_divisore(
            farmaco::larghezza, [&](std::size_t) { return riga; },
            [&](char* p, std::size_t n) {
                std::string_view r(p, n), codice = pezzo(r, 3, 9), nome = pezzo(r, 12, 30);
                if (!(codice == codice_prec && nome == nome_prec)) {
                    u.testo(r);
                    u.testo(a_capo);
                }
                codice_prec.assign(codice);
                nome_prec.assign(nome);
            });
        file_.leggi_a_blocchi(tabella, [&](std::string_view b) { d.blocco(b); });
        d.termina();
        u.svuota();
    });
    file_.cancella_file(tabella);
    file_.rinomina_file(provvisorio, tabella);
}

void motore_tabelle::crea_secondario(const std::string& direttorio) {
    {
        tabella_righe<farmaco::larghezza> nuova;
        leggi_righe(file_, direttorio + "farmaci.tda", nuova);
        tabella_farmaci = std::move(nuova);
    }
    std::vector<std::array<char, 9>> codici;
    for (const voce_riga& v : tabella_farmaci.voci)
        if (byte_di(v, 0) != 'C') codici.push_back(codice_farmaco(v));
    // Numbered over the drugs in use only: not the table's rows.
    indice_codici = ordina_indice(codici, av_);
    std::vector<std::array<char, 9>>().swap(codici);

    scrivi_tabella(file_, direttorio + "farmaci_secondario_completo.tda", [&](uscita_blocchi& u) {
        char riga[32];
        for (const auto& v : indice_codici) {
            std::memcpy(riga, "000", 3);
            std::memcpy(riga + 3, v.codice.data(), 9);
            std::snprintf(riga + 12, sizeof riga - 12, "+%010d\r\n", static_cast<int>(v.posizione));
            u.testo(std::string_view(riga, 12 + std::strlen(riga + 12)));
        }
    });
}

}  // namespace j8
