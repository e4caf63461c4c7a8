#include "mondo_prova/pacchetto/archivio_zip.hpp"

#include <zlib.h>

#include "comune/testi_comuni.hpp"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <set>

namespace j8::pacchetto {
namespace {

constexpr std::uint32_t firma_locale = 0x04034b50;
constexpr std::uint32_t firma_centrale = 0x02014b50;
constexpr std::uint32_t firma_fine = 0x06054b50;
constexpr std::size_t lung_locale = 30;
constexpr std::size_t lung_centrale = 46;
constexpr std::size_t lung_fine = 22;
constexpr std::uint16_t metodo_memorizzato = 0;
constexpr std::uint16_t metodo_deflate = 8;
// 1 January 2000, 00:00, in MS-DOS form: fixed so that the same files
// always make the same package.
constexpr std::uint16_t ora_dos = 0;
constexpr std::uint16_t data_dos = ((2000 - 1980) << 9) | (1 << 5) | 1;

[[noreturn]] void danneggiato(const std::string& perche) {
    throw errore_zip("Archivio zip danneggiato o non valido: " + perche + ".");
}

void metti16(std::string& s, std::uint16_t v) {
    s.push_back(static_cast<char>(v & 0xff));
    s.push_back(static_cast<char>(v >> 8));
}

void metti32(std::string& s, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) s.push_back(static_cast<char>((v >> (8 * i)) & 0xff));
}

std::uint16_t prendi16(std::string_view d, std::size_t pos) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(d[pos]) |
                                      static_cast<unsigned char>(d[pos + 1]) << 8);
}

std::uint32_t prendi32(std::string_view d, std::size_t pos) {
    return static_cast<std::uint32_t>(prendi16(d, pos)) |
           static_cast<std::uint32_t>(prendi16(d, pos + 2)) << 16;
}

std::uint32_t crc_di(std::string_view dati) {
    uLong crc = crc32(0L, Z_NULL, 0);
    // zlib takes at most uInt bytes per call.
    while (!dati.empty()) {
        const auto pezzo = static_cast<uInt>(std::min<std::size_t>(dati.size(), 1u << 30));
        crc = crc32(crc, reinterpret_cast<const Bytef*>(dati.data()), pezzo);
        dati.remove_prefix(pezzo);
    }
    return static_cast<std::uint32_t>(crc);
}

// Raw deflate stream (no zlib header), as zip wants it.
std::string comprimi(std::string_view dati) {
    z_stream z{};
    if (deflateInit2(&z, Z_BEST_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw errore_zip("Compressione non disponibile.");
    std::string uscita(deflateBound(&z, static_cast<uLong>(dati.size())), '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(dati.data()));
    z.avail_in = static_cast<uInt>(dati.size());
    z.next_out = reinterpret_cast<Bytef*>(uscita.data());
    z.avail_out = static_cast<uInt>(uscita.size());
    const int esito = deflate(&z, Z_FINISH);
    uscita.resize(z.total_out);
    deflateEnd(&z);
    if (esito != Z_STREAM_END) throw errore_zip("Compressione non riuscita.");
    return uscita;
}

std::string decomprimi(std::string_view compressi, std::size_t attesi, const std::string& nome) {
    z_stream z{};
    if (inflateInit2(&z, -15) != Z_OK) throw errore_zip("Decompressione non disponibile.");
    std::string uscita(attesi, '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressi.data()));
    z.avail_in = static_cast<uInt>(compressi.size());
    z.next_out = reinterpret_cast<Bytef*>(uscita.data());
    z.avail_out = static_cast<uInt>(uscita.size());
    int esito = inflate(&z, Z_FINISH);
    // With no room left zlib may not have seen the stream's end yet: one
    // more byte of room tells an exact stream from a longer one.
    if (esito == Z_BUF_ERROR && z.avail_out == 0) {
        char avanzo;
        z.next_out = reinterpret_cast<Bytef*>(&avanzo);
        z.avail_out = 1;
        esito = inflate(&z, Z_FINISH);
        if (z.avail_out == 0) esito = Z_DATA_ERROR;
    }
    const bool completo = esito == Z_STREAM_END && z.total_out == attesi;
    inflateEnd(&z);
    if (!completo) danneggiato("i dati compressi di \"" + nome + "\" non sono leggibili");
    return uscita;
}

std::string testo_percorso(const std::filesystem::path& p) {
    try {
        return p.string();
    } catch (...) {
        const auto u = p.u8string();
        return std::string(u.begin(), u.end());
    }
}

}  // namespace

bool nome_ammesso(std::string_view nome) {
    if (nome.empty() || nome == "." || nome == "..") return false;
    return nome.find_first_of("/\\:") == std::string_view::npos &&
           std::none_of(nome.begin(), nome.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 32; });
}

std::string scrivi_zip(const std::vector<voce_zip>& voci) {
    if (voci.size() > 0xffff) throw errore_zip("Troppi file per un archivio zip.");
    std::set<std::string> visti;
    std::string archivio;
    std::string centrale;
    for (const voce_zip& v : voci) {
        if (!nome_ammesso(v.nome))
            throw errore_zip("Nome di file non ammesso nell'archivio: \"" + v.nome + "\".");
        if (!visti.insert(minuscolo(v.nome)).second)
            throw errore_zip("Il file \"" + v.nome + "\" compare due volte nell'archivio.");
        if (v.dati.size() >= 0xffffffffu || archivio.size() >= 0xffffffffu)
            throw errore_zip("Il file \"" + v.nome + "\" \xe8 troppo grande per un archivio zip.");
        std::string compressi = comprimi(v.dati);
        std::uint16_t metodo = metodo_deflate;
        if (compressi.size() >= v.dati.size()) {
            compressi = v.dati;
            metodo = metodo_memorizzato;
        }
        const std::uint32_t crc = crc_di(v.dati);
        const auto posizione = static_cast<std::uint32_t>(archivio.size());
        const auto lung_nome = static_cast<std::uint16_t>(v.nome.size());

        metti32(archivio, firma_locale);
        metti16(archivio, 20);
        metti16(archivio, 0);
        metti16(archivio, metodo);
        metti16(archivio, ora_dos);
        metti16(archivio, data_dos);
        metti32(archivio, crc);
        metti32(archivio, static_cast<std::uint32_t>(compressi.size()));
        metti32(archivio, static_cast<std::uint32_t>(v.dati.size()));
        metti16(archivio, lung_nome);
        metti16(archivio, 0);
        archivio += v.nome;
        archivio += compressi;

        metti32(centrale, firma_centrale);
        metti16(centrale, 20);  // made by: MS-DOS, zip 2.0
        metti16(centrale, 20);
        metti16(centrale, 0);
        metti16(centrale, metodo);
        metti16(centrale, ora_dos);
        metti16(centrale, data_dos);
        metti32(centrale, crc);
        metti32(centrale, static_cast<std::uint32_t>(compressi.size()));
        metti32(centrale, static_cast<std::uint32_t>(v.dati.size()));
        metti16(centrale, lung_nome);
        metti16(centrale, 0);
        metti16(centrale, 0);
        metti16(centrale, 0);
        metti16(centrale, 0);
        metti32(centrale, 0x20);  // archive attribute
        metti32(centrale, posizione);
        centrale += v.nome;
    }
    if (archivio.size() + centrale.size() >= 0xffffffffu)
        throw errore_zip("Archivio zip troppo grande.");
    const auto inizio_centrale = static_cast<std::uint32_t>(archivio.size());
    archivio += centrale;
    metti32(archivio, firma_fine);
    metti16(archivio, 0);
    metti16(archivio, 0);
    metti16(archivio, static_cast<std::uint16_t>(voci.size()));
    metti16(archivio, static_cast<std::uint16_t>(voci.size()));
    metti32(archivio, static_cast<std::uint32_t>(centrale.size()));
    metti32(archivio, inizio_centrale);
    metti16(archivio, 0);
    return archivio;
}

std::vector<voce_zip> leggi_zip(std::string_view dati) {
    // The end record is the last 22 bytes plus its comment; look back no
    // further than the longest comment allows.
    if (dati.size() < lung_fine) danneggiato("manca il record finale");
    std::size_t fine = std::string_view::npos;
    const std::size_t limite = dati.size() - lung_fine;
    for (std::size_t p = limite + 1; p-- > 0 && limite - p <= 0xffff;) {
        if (prendi32(dati, p) == firma_fine && p + lung_fine + prendi16(dati, p + 20) == dati.size()) {
            fine = p;
            break;
        }
    }
    if (fine == std::string_view::npos) danneggiato("manca il record finale");
    if (prendi16(dati, fine + 4) != 0 || prendi16(dati, fine + 6) != 0 ||
        prendi16(dati, fine + 8) != prendi16(dati, fine + 10))
        danneggiato("archivi su pi\xf9 dischi non sono ammessi");
    const std::size_t quanti = prendi16(dati, fine + 10);
    const std::size_t lung_dir = prendi32(dati, fine + 12);
    const std::size_t pos_dir = prendi32(dati, fine + 16);
    if (lung_dir > fine) danneggiato("la directory centrale esce dal file");
    // Bytes before the archive (the extractor program) shift every offset.
    const std::size_t inizio_dir = fine - lung_dir;
    if (inizio_dir < pos_dir) danneggiato("la directory centrale esce dal file");
    const std::size_t spostamento = inizio_dir - pos_dir;

    std::vector<voce_zip> voci;
    std::set<std::string> visti;
    std::size_t p = inizio_dir;
    for (std::size_t i = 0; i < quanti; ++i) {
        if (p + lung_centrale > fine || prendi32(dati, p) != firma_centrale)
            danneggiato("la directory centrale \xe8 rovinata");
        const std::uint16_t bit = prendi16(dati, p + 8);
        const std::uint16_t metodo = prendi16(dati, p + 10);
        const std::uint32_t crc = prendi32(dati, p + 16);
        const std::size_t lung_compressi = prendi32(dati, p + 20);
        const std::size_t lung_dati = prendi32(dati, p + 24);
        const std::size_t lung_nome = prendi16(dati, p + 28);
        const std::size_t lung_extra = prendi16(dati, p + 30);
        const std::size_t lung_commento = prendi16(dati, p + 32);
        const std::size_t locale = prendi32(dati, p + 42) + spostamento;
        if (p + lung_centrale + lung_nome + lung_extra + lung_commento > fine)
            danneggiato("la directory centrale \xe8 rovinata");
        voce_zip v;
        v.nome.assign(dati.substr(p + lung_centrale, lung_nome));
        p += lung_centrale + lung_nome + lung_extra + lung_commento;

        if (!nome_ammesso(v.nome))
            throw errore_zip("Nome di file non ammesso nell'archivio: \"" + v.nome +
                             "\" (sono ammessi solo nomi semplici, senza cartelle).");
        if (!visti.insert(minuscolo(v.nome)).second)
            danneggiato("il file \"" + v.nome + "\" compare due volte");
        if (bit & 1) throw errore_zip("Il file \"" + v.nome + "\" \xe8 cifrato: non si pu\xf2 estrarre.");
        if (metodo != metodo_memorizzato && metodo != metodo_deflate)
            throw errore_zip("Il file \"" + v.nome + "\" usa un metodo di compressione non supportato.");
        if (locale + lung_locale > inizio_dir || prendi32(dati, locale) != firma_locale)
            danneggiato("l'intestazione di \"" + v.nome + "\" non si trova");
        const std::size_t inizio_dati =
            locale + lung_locale + prendi16(dati, locale + 26) + prendi16(dati, locale + 28);
        if (inizio_dati > inizio_dir || lung_compressi > inizio_dir - inizio_dati)
            danneggiato("i dati di \"" + v.nome + "\" escono dall'archivio");
        const std::string_view compressi = dati.substr(inizio_dati, lung_compressi);
        if (metodo == metodo_memorizzato) {
            if (lung_compressi != lung_dati) danneggiato("le lunghezze di \"" + v.nome + "\" non tornano");
            v.dati.assign(compressi);
        } else {
            v.dati = decomprimi(compressi, lung_dati, v.nome);
        }
        if (crc_di(v.dati) != crc) danneggiato("il controllo CRC di \"" + v.nome + "\" non torna");
        voci.push_back(std::move(v));
    }
    if (p != fine) danneggiato("la directory centrale \xe8 rovinata");
    return voci;
}

std::string leggi_tutto(const std::filesystem::path& percorso) {
    std::error_code ec;
    if (std::filesystem::is_directory(percorso, ec))
        throw errore_zip("\"" + testo_percorso(percorso) + "\" \xe8 una cartella, non un file.");
    std::ifstream f(percorso, std::ios::binary);
    if (!f) throw errore_zip("Impossibile aprire il file \"" + testo_percorso(percorso) + "\".");
    std::string dati((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    if (f.bad()) throw errore_zip("Impossibile leggere il file \"" + testo_percorso(percorso) + "\".");
    return dati;
}

void scrivi_tutto(const std::filesystem::path& percorso, std::string_view dati) {
    std::ofstream f(percorso, std::ios::binary | std::ios::trunc);
    if (f) f.write(dati.data(), static_cast<std::streamsize>(dati.size()));
    if (f) f.close();
    if (!f) throw errore_zip("Impossibile scrivere il file \"" + testo_percorso(percorso) + "\".");
}

std::size_t estrai_voci(const std::vector<voce_zip>& voci, const std::filesystem::path& cartella) {
    std::error_code ec;
    std::filesystem::create_directories(cartella, ec);
    if (ec || !std::filesystem::is_directory(cartella))
        throw errore_zip("Impossibile creare la cartella \"" + testo_percorso(cartella) + "\".");
    for (const voce_zip& v : voci) {
        // The reader already refuses such names; an entry built by hand
        // must not escape the folder either.
        if (!nome_ammesso(v.nome)) throw errore_zip("Nome di file non ammesso: \"" + v.nome + "\".");
        const auto destinazione = cartella / v.nome;
        // An earlier copy may be read-only; it is replaced all the same.
        std::filesystem::permissions(destinazione, std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add, ec);
        scrivi_tutto(destinazione, v.dati);
    }
    return voci.size();
}

std::string componi_pacchetto(std::string_view estrattore,
                              const std::vector<std::filesystem::path>& file) {
    if (file.empty()) throw errore_zip("Nessun file da mettere nel pacchetto.");
    std::vector<voce_zip> voci;
    for (const auto& percorso : file) {
        voci.push_back({testo_percorso(percorso.filename()), leggi_tutto(percorso)});
    }
    std::string pacchetto(estrattore);
    pacchetto += scrivi_zip(voci);
    return pacchetto;
}

}  // namespace j8::pacchetto
