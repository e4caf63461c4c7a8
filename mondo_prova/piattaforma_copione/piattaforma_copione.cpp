#include "mondo_prova/piattaforma_copione/piattaforma_copione.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "comune/testi_comuni.hpp"
#include "piattaforma/tasti.hpp"

namespace j8 {

namespace {

constexpr double secondi_al_giorno = 86400.0;

bool radice(const std::string& completo) { return completo.size() == 3 && completo[1] == ':'; }

// "C:\a\b" -> "C:\a"; "C:\a" -> "C:\"; a root has no parent.
std::string padre_di(const std::string& completo) {
    const std::size_t barra = completo.rfind('\\');
    if (radice(completo) || barra == std::string::npos) return "";
    return barra == 2 ? completo.substr(0, 3) : completo.substr(0, barra);
}

std::string nome_di(const std::string& completo) {
    return completo.substr(completo.rfind('\\') + 1);
}

// Windows wildcards, no regard to case: "*" any run, "?" one character;
// a pattern ending in ".*" also takes names without a dot ("*.*").
bool corrisponde(const std::string& nome, const std::string& modello) {
    const std::string n = minuscolo(nome), m = minuscolo(modello);
    std::size_t i = 0, j = 0, stella = std::string::npos, ripresa = 0;
    while (i < n.size()) {
        if (j < m.size() && (m[j] == '?' || m[j] == n[i])) {
            ++i;
            ++j;
        } else if (j < m.size() && m[j] == '*') {
            stella = j++;
            ripresa = i;
        } else if (stella != std::string::npos) {
            j = stella + 1;
            i = ++ripresa;
        } else {
            return false;
        }
    }
    while (j < m.size() && m[j] == '*') ++j;
    if (j == m.size()) return true;
    if (m.size() >= 2 && m.compare(m.size() - 2, 2, ".*") == 0 && n.find('.') == std::string::npos)
        return corrisponde(nome, modello.substr(0, modello.size() - 2));
    return false;
}

const std::string non_trovato = "file non trovato";
const std::string percorso_non_trovato = "percorso non trovato";
const std::string accesso_negato = "accesso negato";
const std::string gia_esistente = "file gi\xe0 esistente";

}  // namespace

piattaforma_copione::piattaforma_copione(data_ora inizio) : secondi_(inizio * secondi_al_giorno) {
    crea_cartelle(programma_);
    corrente_ = programma_;
}

// --- clock -------------------------------------------------------------------

void piattaforma_copione::imposta_orologio(data_ora quando) {
    secondi_ = quando * secondi_al_giorno;
    esegui_scaduti();
}

void piattaforma_copione::avanza(double secondi) {
    const double arrivo = secondi_ + std::max(0.0, secondi);
    for (;;) {
        auto primo = std::min_element(agenda_.begin(), agenda_.end(),
                                      [](const evento_orario& a, const evento_orario& b) {
                                          return a.quando < b.quando ||
                                                 (a.quando == b.quando && a.ordine < b.ordine);
                                      });
        if (primo == agenda_.end() || primo->quando > arrivo) break;
        secondi_ = std::max(secondi_, primo->quando);
        auto azione = std::move(primo->azione);
        agenda_.erase(primo);
        azione();
    }
    secondi_ = std::max(secondi_, arrivo);
}

void piattaforma_copione::esegui_scaduti() { avanza(0); }

void piattaforma_copione::dopo(double secondi, std::function<void()> azione) {
    agenda_.push_back({secondi_ + secondi, ordine_eventi_++, std::move(azione)});
}

float piattaforma_copione::secondi_da_mezzanotte() {
    avanza(passo_lettura);
    return static_cast<float>(std::fmod(secondi_, secondi_al_giorno));
}

data_ora piattaforma_copione::adesso() {
    avanza(passo_lettura);
    return secondi_ / secondi_al_giorno;
}

void piattaforma_copione::pausa(double secondi) { avanza(secondi); }

void piattaforma_copione::esegui_eventi() {
    if (su_eventi) su_eventi();
    esegui_scaduti();
}

// --- windows -------------------------------------------------------------------

maniglia piattaforma_copione::apri_finestra(const std::string& titolo, const std::string& classe,
                                            std::uint32_t task) {
    const maniglia h = prossima_maniglia_;
    prossima_maniglia_ += 0x10;
    finestre_.insert(finestre_.begin(), {h, 0, titolo, classe, task});
    attiva_ = h;
    return h;
}

maniglia piattaforma_copione::aggiungi_figlio(maniglia padre, const std::string& testo,
                                              const std::string& classe) {
    const maniglia h = prossima_maniglia_;
    prossima_maniglia_ += 0x10;
    std::uint32_t task = 0;
    for (const auto& f : finestre_)
        if (f.handle == padre) task = f.task;
    finestre_.push_back({h, padre, testo, classe, task});
    return h;
}

void piattaforma_copione::chiudi_finestra(maniglia h) {
    std::vector<maniglia> via{h};
    for (std::size_t i = 0; i < via.size(); ++i)
        for (const auto& f : finestre_)
            if (f.padre == via[i]) via.push_back(f.handle);
    std::erase_if(finestre_, [&](const finestra_copione& f) {
        return std::find(via.begin(), via.end(), f.handle) != via.end();
    });
    if (std::find(via.begin(), via.end(), attiva_) != via.end()) {
        attiva_ = 0;
        for (const auto& f : finestre_)
            if (f.padre == 0) {
                attiva_ = f.handle;
                break;
            }
    }
}

void piattaforma_copione::cambia_titolo(maniglia h, const std::string& titolo) {
    for (auto& f : finestre_)
        if (f.handle == h) f.titolo = titolo;
}

bool piattaforma_copione::esiste_finestra(maniglia h) const {
    return std::any_of(finestre_.begin(), finestre_.end(),
                       [h](const finestra_copione& f) { return f.handle == h; });
}

std::vector<finestra> piattaforma_copione::finestre() {
    std::vector<finestra> r;
    for (const auto& f : finestre_)
        if (f.padre == 0) r.push_back({f.handle, f.titolo, f.classe});
    return r;
}

std::vector<finestra> piattaforma_copione::figli(maniglia padre) {
    // Every descendant, depth first, as EnumChildWindows reports them.
    std::vector<finestra> r;
    std::function<void(maniglia)> discendi = [&](maniglia p) {
        for (const auto& f : finestre_)
            if (f.padre == p) {
                r.push_back({f.handle, f.titolo, f.classe});
                discendi(f.handle);
            }
    };
    if (padre != 0) discendi(padre);
    return r;
}

const piattaforma_copione::finestra_copione* piattaforma_copione::prima_del_task(
    std::uint32_t task) const {
    for (const auto& f : finestre_)
        if (f.padre == 0 && f.task == task && task != 0) return &f;
    return nullptr;
}

bool piattaforma_copione::attiva_task(std::uint32_t id_task) {
    const finestra_copione* f = prima_del_task(id_task);
    if (f) {
        attiva_ = f->handle;
        std::stable_partition(finestre_.begin(), finestre_.end(),
                              [h = attiva_](const finestra_copione& x) { return x.handle == h; });
    }
    registra({tipo::attiva_task, "", "", id_task, f != nullptr, orologio()});
    return attiva_ != 0 && f != nullptr;
}

bool piattaforma_copione::attiva_titolo(const std::string& titolo) {
    // Whole title first, then a title that begins with it; no regard to case.
    const std::string cercato = minuscolo(titolo);
    maniglia trovata = 0;
    for (int passo = 0; passo < 2 && trovata == 0; ++passo)
        for (const auto& f : finestre_) {
            if (f.padre != 0) continue;
            const std::string t = minuscolo(f.titolo);
            if (passo == 0 ? t == cercato : t.rfind(cercato, 0) == 0) {
                trovata = f.handle;
                break;
            }
        }
    if (trovata) {
        attiva_ = trovata;
        std::stable_partition(finestre_.begin(), finestre_.end(),
                              [h = trovata](const finestra_copione& x) { return x.handle == h; });
    }
    registra({tipo::attiva_titolo, titolo, "", 0, trovata != 0, orologio()});
    return trovata != 0;
}

// --- programs, keys, clipboard, message boxes ---------------------------------

void piattaforma_copione::registra(voce v) {
    registro_.push_back(v);
    if (osservatore) osservatore(v);
}

void piattaforma_copione::registra_programma(const std::string& percorso,
                                             std::function<void(std::uint32_t)> all_avvio) {
    programmi_[chiave(completo(percorso))] = std::move(all_avvio);
}

std::uint32_t piattaforma_copione::avvia_programma(const std::string& percorso) {
    const auto programma = programmi_.find(chiave(completo(percorso)));
    const nodo* file = trova(percorso);
    if (programma == programmi_.end() && (!file || file->direttorio))
        throw errore_avvio("Impossibile avviare il programma (file non trovato): " + percorso);
    const std::uint32_t task = prossimo_task_;
    prossimo_task_ += 4;
    registra({tipo::avvio, percorso, "", task, true, orologio()});
    if (programma != programmi_.end()) programma->second(task);
    if (su_avvio) su_avvio(percorso, task);
    return task;
}

void piattaforma_copione::quando_tasti(const std::string& tasti, std::function<void()> azione) {
    reazioni_tasti_.emplace_back(tasti, std::move(azione));
}

void piattaforma_copione::manda_tasti_a(std::uint32_t id_task, const std::string& tasti) {
    // As on Windows: a window of the task already in front (its message
    // box, say) keeps the keys; otherwise the task's window is activated.
    for (const auto& f : finestre_)
        if (f.handle == attiva_ && f.task == id_task && id_task != 0) return manda_tasti(tasti);
    if (!attiva_task(id_task))
        throw errore_destinazione("La finestra del programma che doveva ricevere i tasti non viene "
                                  "in primo piano.");
    manda_tasti(tasti);
}

void piattaforma_copione::manda_tasti(const std::string& tasti) {
    analizza_tasti(tasti);  // a bad string is refused before anything is typed
    std::string titolo;
    for (const auto& f : finestre_)
        if (f.handle == attiva_) titolo = f.titolo;
    registra({tipo::tasti, tasti, titolo, 0, attiva_ != 0, orologio()});
    if (su_tasti) su_tasti(tasti);
    // Copied first: a reaction may add reactions.
    const auto reazioni = reazioni_tasti_;
    for (const auto& [attesi, azione] : reazioni)
        if (attesi == tasti) azione();
}

std::string piattaforma_copione::leggi_appunti() {
    registra({tipo::appunti, "", "", 0, true, orologio()});
    const std::size_t posto = registro_.size();
    if (fonte_appunti) appunti_ = fonte_appunti();
    // Record what was read in the entry made before the reactions ran.
    for (std::size_t i = posto; i-- > 0;)
        if (registro_[i].cosa == tipo::appunti) {
            registro_[i].testo = appunti_;
            break;
        }
    return appunti_;
}

void piattaforma_copione::messaggio(const std::string& testo, const std::string& titolo) {
    if (morto_) throw interruzione_simulata{0, "messaggio", titolo};
    registra({tipo::messaggio, testo, titolo, 0, true, orologio()});
}

std::vector<std::string> piattaforma_copione::tasti_mandati() const {
    std::vector<std::string> r;
    for (const auto& v : registro_)
        if (v.cosa == tipo::tasti) r.push_back(v.testo);
    return r;
}

std::vector<piattaforma_copione::voce> piattaforma_copione::voci(tipo cosa) const {
    std::vector<voce> r;
    for (const auto& v : registro_)
        if (v.cosa == cosa) r.push_back(v);
    return r;
}

// --- disk ---------------------------------------------------------------------

std::string piattaforma_copione::completo(const std::string& percorso) const {
    std::string p = percorso;
    std::replace(p.begin(), p.end(), '/', '\\');
    std::string base;
    if (p.size() >= 2 && p[1] == ':' && std::isalpha(static_cast<unsigned char>(p[0]))) {
        const std::string unita(1, static_cast<char>(std::toupper(static_cast<unsigned char>(p[0]))));
        if (p.size() >= 3 && p[2] == '\\')
            base = unita + ":";
        else  // "c:name": relative to the current directory when on that drive
            base = std::toupper(static_cast<unsigned char>(corrente_[0])) == unita[0]
                       ? corrente_
                       : unita + ":";
        p = p.substr(2);
    } else if (!p.empty() && p[0] == '\\') {
        base = corrente_.substr(0, 2);
    } else {
        base = corrente_;
    }
    std::vector<std::string> parti;
    std::size_t inizio = 0;
    const std::string tutto = base + "\\" + p;
    while (inizio <= tutto.size()) {
        std::size_t fine = tutto.find('\\', inizio);
        if (fine == std::string::npos) fine = tutto.size();
        std::string parte = tutto.substr(inizio, fine - inizio);
        inizio = fine + 1;
        if (parte == "..") {
            if (parti.size() > 1) parti.pop_back();
            continue;
        }
        if (parte == ".") continue;
        // Windows drops trailing dots and blanks of a name.
        while (!parte.empty() && (parte.back() == '.' || parte.back() == ' ')) parte.pop_back();
        if (!parte.empty()) parti.push_back(parte);
    }
    std::string r = parti.front();
    if (parti.size() == 1) return r + "\\";
    for (std::size_t i = 1; i < parti.size(); ++i) r += "\\" + parti[i];
    return r;
}

std::string piattaforma_copione::chiave(const std::string& completo) { return minuscolo(completo); }

piattaforma_copione::nodo* piattaforma_copione::trova(const std::string& percorso) {
    auto i = disco_.find(chiave(completo(percorso)));
    return i == disco_.end() ? nullptr : &i->second;
}

const piattaforma_copione::nodo* piattaforma_copione::trova(const std::string& percorso) const {
    auto i = disco_.find(chiave(completo(percorso)));
    return i == disco_.end() ? nullptr : &i->second;
}

void piattaforma_copione::conta(const std::string& nome, const std::string& percorso,
                                const std::string& secondo, const std::function<void()>& a_meta) {
    ++operazioni_;
    if (morto_) throw interruzione_simulata{operazioni_, nome, percorso};
    if (interruzione_ != 0 && operazioni_ == interruzione_) {
        morto_ = true;
        if (a_meta) {
            try {
                a_meta();
            } catch (const errore_file&) {
                // Could not even begin: nothing written.
            }
        }
        throw interruzione_simulata{operazioni_, nome, percorso};
    }
    if (regola_guasto) {
        if (auto problema = regola_guasto({operazioni_, nome, percorso, secondo}))
            throw errore_file(percorso, *problema);
    }
}

void piattaforma_copione::interrompi_ora() {
    morto_ = true;
    throw interruzione_simulata{0, "interruzione", ""};
}

void piattaforma_copione::riavvia() {
    morto_ = false;
    interruzione_ = 0;
    regola_guasto = nullptr;
    tenuti_.clear();  // the dead process's handles are gone
}

void piattaforma_copione::non_tenuto(const std::string& percorso) const {
    if (tenuti_.count(chiave(completo(percorso))))
        throw errore_file(percorso, "file in uso da un altro programma");
}

bool piattaforma_copione::tieni_aperto(const std::string& percorso) {
    const nodo* n = trova(percorso);
    if (!n || n->direttorio) return true;
    return tenuti_.insert(chiave(n->percorso)).second;
}

void piattaforma_copione::rilascia(const std::string& percorso) { tenuti_.erase(chiave(completo(percorso))); }

void piattaforma_copione::sostituisci_file(const std::string& da, const std::string& a) {
    conta("sostituisci_file", da, a);
    non_tenuto(da);
    non_tenuto(a);
    const nodo sorgente = serve_file(da);
    const std::string c = completo(a);
    serve_padre(c);
    std::uint64_t ordine = sorgente.ordine;
    if (auto i = disco_.find(chiave(c)); i != disco_.end()) {
        if (i->second.direttorio || (i->second.attributi & attributo::sola_lettura))
            throw errore_file(a, accesso_negato);
        ordine = i->second.ordine;  // the name keeps its place in the listing
    }
    disco_.erase(chiave(sorgente.percorso));
    disco_[chiave(c)] = nodo{c, false, sorgente.contenuto, sorgente.attributi, ordine};
}

void piattaforma_copione::guasta_operazione(std::uint64_t numero, const std::string& problema) {
    regola_guasto = [numero, problema](const operazione_file& o) -> std::optional<std::string> {
        if (o.numero == numero) return problema;
        return std::nullopt;
    };
}

piattaforma_copione::nodo& piattaforma_copione::serve_file(const std::string& percorso) {
    nodo* n = trova(percorso);
    if (!n) throw errore_file(percorso, non_trovato);
    if (n->direttorio) throw errore_file(percorso, accesso_negato);
    return *n;
}

void piattaforma_copione::serve_padre(const std::string& c) {
    const std::string padre = padre_di(c);
    auto i = disco_.find(chiave(padre));
    if (padre.empty() || i == disco_.end() || !i->second.direttorio)
        throw errore_file(c, percorso_non_trovato);
}

void piattaforma_copione::scrivi(const std::string& c, const std::string& contenuto,
                                 std::uint32_t attributi) {
    auto i = disco_.find(chiave(c));
    if (i != disco_.end()) {
        if (i->second.direttorio || (i->second.attributi & attributo::sola_lettura))
            throw errore_file(c, accesso_negato);
        i->second.contenuto = contenuto;
        i->second.attributi = attributi;
        return;
    }
    disco_[chiave(c)] = nodo{c, false, contenuto, attributi, prossimo_ordine_++};
}

void piattaforma_copione::crea_cartelle(const std::string& percorso) {
    std::string c = completo(percorso);
    std::vector<std::string> livelli;
    for (; !c.empty(); c = padre_di(c)) livelli.push_back(c);
    for (auto l = livelli.rbegin(); l != livelli.rend(); ++l)
        if (!disco_.count(chiave(*l)))
            disco_[chiave(*l)] = nodo{*l, true, "", attributo::direttorio, prossimo_ordine_++};
}

void piattaforma_copione::crea_file(const std::string& percorso, const std::string& contenuto,
                                    std::uint32_t attributi) {
    const std::string c = completo(percorso);
    crea_cartelle(padre_di(c));
    auto i = disco_.find(chiave(c));
    if (i != disco_.end()) {
        i->second.contenuto = contenuto;
        i->second.attributi = attributi;
    } else {
        disco_[chiave(c)] = nodo{c, false, contenuto, attributi, prossimo_ordine_++};
    }
}

std::uint32_t piattaforma_copione::attributi(const std::string& percorso) const {
    const nodo* n = trova(percorso);
    return n ? n->attributi : 0;
}

void piattaforma_copione::imposta_attributi(const std::string& percorso, std::uint32_t a) {
    if (nodo* n = trova(percorso))
        n->attributi = (a & ~attributo::direttorio) | (n->direttorio ? attributo::direttorio : 0);
}

std::vector<std::string> piattaforma_copione::tutti_i_file() const {
    std::vector<const nodo*> n;
    for (const auto& [k, v] : disco_)
        if (!v.direttorio) n.push_back(&v);
    std::sort(n.begin(), n.end(), [](const nodo* a, const nodo* b) { return a->ordine < b->ordine; });
    std::vector<std::string> r;
    for (const nodo* x : n) r.push_back(x->percorso);
    return r;
}

bool piattaforma_copione::esiste_file(const std::string& percorso) {
    const nodo* n = trova(percorso);
    return n && !n->direttorio;
}

bool piattaforma_copione::esiste_direttorio(const std::string& percorso) {
    const nodo* n = trova(percorso);
    return n && n->direttorio;
}

std::string piattaforma_copione::leggi_file(const std::string& percorso) {
    conta("leggi_file", percorso);
    return serve_file(percorso).contenuto;
}

void piattaforma_copione::scrivi_file(const std::string& percorso, const std::string& contenuto) {
    const std::string c = completo(percorso);
    conta("scrivi_file", percorso, "", [&] {
        serve_padre(c);
        scrivi(c + suffisso_scrittura, contenuto.substr(0, contenuto.size() / 2), attributo::archivio);
    });
    non_tenuto(percorso);
    serve_padre(c);
    nodo* n = trova(c);
    scrivi(c, contenuto, n ? n->attributi | attributo::archivio : attributo::archivio);
}

void piattaforma_copione::cancella_file(const std::string& percorso) {
    conta("cancella_file", percorso);
    non_tenuto(percorso);
    nodo& n = serve_file(percorso);
    if (n.attributi & attributo::sola_lettura) throw errore_file(percorso, accesso_negato);
    disco_.erase(chiave(n.percorso));
}

void piattaforma_copione::rinomina_file(const std::string& da, const std::string& a) {
    conta("rinomina_file", da, a);
    non_tenuto(da);
    non_tenuto(a);
    const std::string vecchio = completo(da), nuovo = completo(a);
    if (!disco_.count(chiave(vecchio))) throw errore_file(da, non_trovato);
    serve_padre(nuovo);
    if (chiave(vecchio) != chiave(nuovo) && disco_.count(chiave(nuovo)))
        throw errore_file(a, gia_esistente);
    // A directory takes everything under it along.
    const std::string prefisso = chiave(vecchio) + "\\";
    std::vector<std::pair<std::string, nodo>> spostati;
    for (auto i = disco_.begin(); i != disco_.end();) {
        if (i->first == chiave(vecchio) || i->first.rfind(prefisso, 0) == 0) {
            nodo n = i->second;
            n.percorso = nuovo + n.percorso.substr(vecchio.size());
            spostati.emplace_back(chiave(n.percorso), n);
            i = disco_.erase(i);
        } else {
            ++i;
        }
    }
    for (auto& [k, n] : spostati) disco_[k] = n;
}

std::vector<std::string> piattaforma_copione::elenca_file(const std::string& direttorio,
                                                         const std::string& modello) {
    conta("elenca_file", direttorio);
    const std::string chiave_dir = chiave(completo(direttorio));
    std::vector<const nodo*> trovati;
    for (const auto& [k, n] : disco_) {
        if (n.direttorio || chiave(padre_di(n.percorso)) != chiave_dir) continue;
        if (n.attributi & (attributo::nascosto | attributo::sistema)) continue;
        if (corrisponde(nome_di(n.percorso), modello)) trovati.push_back(&n);
    }
    std::sort(trovati.begin(), trovati.end(),
              [](const nodo* a, const nodo* b) { return a->ordine < b->ordine; });
    std::vector<std::string> r;
    for (const nodo* n : trovati) r.push_back(nome_di(n->percorso));
    return r;
}

void piattaforma_copione::copia_file(const std::string& da, const std::string& a) {
    conta("copia_file", da, a, [&] {
        const nodo& sorgente = serve_file(da);
        const std::string meta = sorgente.contenuto.substr(0, sorgente.contenuto.size() / 2);
        const std::string c = completo(a);
        serve_padre(c);
        scrivi(c, meta, sorgente.attributi | attributo::archivio);
    });
    non_tenuto(a);
    const nodo& sorgente = serve_file(da);
    const std::string contenuto = sorgente.contenuto;
    const std::uint32_t attr = sorgente.attributi | attributo::archivio;
    const std::string c = completo(a);
    serve_padre(c);
    scrivi(c, contenuto, attr);
}

std::int64_t piattaforma_copione::lunghezza_file(const std::string& percorso) {
    conta("lunghezza_file", percorso);
    return static_cast<std::int64_t>(serve_file(percorso).contenuto.size());
}

void piattaforma_copione::crea_direttorio(const std::string& percorso) {
    conta("crea_direttorio", percorso);
    const std::string c = completo(percorso);
    serve_padre(c);
    if (disco_.count(chiave(c))) throw errore_file(percorso, gia_esistente);
    disco_[chiave(c)] = nodo{c, true, "", attributo::direttorio, prossimo_ordine_++};
}

void piattaforma_copione::rimuovi_direttorio(const std::string& percorso) {
    conta("rimuovi_direttorio", percorso);
    const std::string c = completo(percorso);
    auto i = disco_.find(chiave(c));
    if (i == disco_.end() || !i->second.direttorio) throw errore_file(percorso, percorso_non_trovato);
    if (radice(c) || chiave(corrente_) == chiave(c)) throw errore_file(percorso, accesso_negato);
    const std::string prefisso = chiave(c) + "\\";
    for (const auto& [k, n] : disco_)
        if (k.rfind(prefisso, 0) == 0) throw errore_file(percorso, "direttorio non vuoto");
    disco_.erase(i);
}

void piattaforma_copione::imposta_solo_archivio(const std::string& percorso) {
    conta("imposta_solo_archivio", percorso);
    nodo* n = trova(percorso);
    if (!n) throw errore_file(percorso, non_trovato);
    n->attributi = attributo::archivio | (n->direttorio ? attributo::direttorio : 0);
}

std::uint32_t piattaforma_copione::attributi_file(const std::string& percorso) {
    conta("attributi_file", percorso);
    const nodo* n = trova(percorso);
    if (!n) throw errore_file(percorso, non_trovato);
    return n->attributi;
}

void piattaforma_copione::imposta_attributi_file(const std::string& percorso, std::uint32_t a) {
    conta("imposta_attributi_file", percorso);
    if (!trova(percorso)) throw errore_file(percorso, non_trovato);
    imposta_attributi(percorso, a);
}

std::string piattaforma_copione::direttorio_corrente() { return corrente_; }

void piattaforma_copione::cambia_direttorio(const std::string& percorso) {
    conta("cambia_direttorio", percorso);
    const nodo* n = trova(percorso);
    if (!n || !n->direttorio) throw errore_file(percorso, percorso_non_trovato);
    corrente_ = n->percorso;
}

std::string piattaforma_copione::direttorio_programma() { return completo(programma_); }

}  // namespace j8
