#include "comune/file_locali.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <fstream>
#include <sstream>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace j8 {

namespace {

std::string descrivi_errno(int e) {
    switch (e) {
        case ENOENT: return "file non trovato";
        case EACCES:
        case EPERM:
        case EROFS: return "accesso negato";
        case ENOSPC: return "disco pieno";
        case EISDIR: return "e' un direttorio, non un file";
        default: return std::string("errore di sistema (") + std::strerror(e) + ")";
    }
}

}  // namespace

// The Windows forms of the atomic write are in win32/file_locali_win32.cpp.
#ifndef _WIN32

void scrivi_atomicamente(const std::string& percorso,
                         const std::function<void(const file_tabelle::ricevi_blocco&)>& produci, std::uint64_t previsti) {
    const std::string provvisorio = percorso + suffisso_scrittura;
    std::FILE* f = std::fopen(provvisorio.c_str(), "wb");
    if (!f) throw errore_file(percorso, "impossibile scrivere il file, " + descrivi_errno(errno));
    bool ok = true;
    int e = 0;
#ifdef FALLOC_FL_KEEP_SIZE
    // The blocks reserved in one step, not one by one as the writes come
    // (a file system that cannot is written as usual).
    if (previsti) fallocate(fileno(f), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(previsti));
#endif
    // Large files are handed to the disk while the rest is still being
    // produced, so the final sync waits for the tail only.
    constexpr off_t passo = off_t{1} << 20;
    off_t scritti = 0, avviati = 0;
    try {
        produci([&](std::string_view b) {
            if (ok && std::fwrite(b.data(), 1, b.size(), f) != b.size()) {
                ok = false;
                e = errno;
            }
            scritti += static_cast<off_t>(b.size());
            if (ok && scritti - avviati >= passo && std::fflush(f) == 0) {
#ifdef SYNC_FILE_RANGE_WRITE
                sync_file_range(fileno(f), avviati, scritti - avviati, SYNC_FILE_RANGE_WRITE);
#endif
                avviati = scritti;
            }
        });
    } catch (...) {
        std::fclose(f);
        std::remove(provvisorio.c_str());
        throw;
    }
    // Reserved room the content did not take is given back.
    if (ok && static_cast<std::uint64_t>(scritti) < previsti &&
        (std::fflush(f) != 0 || ftruncate(fileno(f), scritti) != 0)) {
        ok = false;
        e = errno;
    }
    if (ok && (std::fflush(f) != 0 || fsync(fileno(f)) != 0)) {
        ok = false;
        e = errno;
    }
    if (std::fclose(f) != 0 && ok) {
        ok = false;
        e = errno;
    }
    if (!ok) {
        std::remove(provvisorio.c_str());
        throw errore_file(percorso, "impossibile scrivere il file, " + descrivi_errno(e));
    }
    if (std::rename(provvisorio.c_str(), percorso.c_str()) != 0) {
        e = errno;
        std::remove(provvisorio.c_str());
        throw errore_file(percorso, "impossibile sostituire il file, " + descrivi_errno(e));
    }
}

#endif

bool file_locali::esiste_file(const std::string& percorso) {
    std::error_code ec;
    return std::filesystem::is_regular_file(percorso, ec);
}

std::string file_locali::leggi_file(const std::string& percorso) {
    std::string dati;
    // Sized up front: large files are read without growing the buffer.
    dati.reserve(static_cast<std::size_t>(dimensione_file(percorso)) + 1);
    leggi_a_blocchi(percorso, [&](std::string_view b) { dati.append(b); });
    return dati;
}

std::uint64_t file_locali::dimensione_file(const std::string& percorso) {
    std::error_code ec;
    const auto n = std::filesystem::file_size(percorso, ec);
    return ec ? 0 : static_cast<std::uint64_t>(n);
}

void file_locali::leggi_a_blocchi(const std::string& percorso, const ricevi_blocco& ricevi) {
    std::error_code ec;
    if (std::filesystem::is_directory(percorso, ec)) throw errore_file(percorso, descrivi_errno(EISDIR));
    std::FILE* f = std::fopen(percorso.c_str(), "rb");
    if (!f) throw errore_file(percorso, "impossibile leggere il file, " + descrivi_errno(errno));
    // A block the cache holds while it is cut into rows.
    constexpr std::size_t misura = std::size_t{1} << 18;
    std::unique_ptr<char[]> blocco(new char[misura]);
    size_t letti;
    try {
        while ((letti = std::fread(blocco.get(), 1, misura, f)) > 0) ricevi(std::string_view(blocco.get(), letti));
    } catch (...) {
        std::fclose(f);
        throw;
    }
    bool errore = std::ferror(f);
    std::fclose(f);
    if (errore) throw errore_file(percorso, "errore di lettura");
}

#ifndef _WIN32
// The file's pages as the system already holds them: no copy and no fresh
// memory to fault in. Only here: on Windows a mapped file cannot be
// replaced, and the tables are replaced while their rows are still in use.
std::unique_ptr<const testo_intero> file_locali::leggi_intero(const std::string& percorso) {
    struct mappato : testo_intero {
        void* base = nullptr;
        std::size_t misura = 0;
        ~mappato() override {
            if (base) munmap(base, misura);
        }
    };
    const int fd = ::open(percorso.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw errore_file(percorso, "impossibile leggere il file, " + descrivi_errno(errno));
    struct stat st {};
    const bool regolare = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    if (!regolare && S_ISDIR(st.st_mode)) {
        ::close(fd);
        throw errore_file(percorso, descrivi_errno(EISDIR));
    }
    auto t = std::make_unique<mappato>();
    if (regolare && st.st_size > 0) {
        void* p = mmap(nullptr, static_cast<std::size_t>(st.st_size), PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
        if (p != MAP_FAILED) {
            t->base = p;
            t->misura = static_cast<std::size_t>(st.st_size);
            t->byte = std::string_view(static_cast<const char*>(p), t->misura);
        }
    }
    ::close(fd);
    // Empty, not a plain file (or one that only says 0 bytes, as the
    // system's own files do), or one the system would not map: read as any
    // other.
    if (!t->base) return file_tabelle::leggi_intero(percorso);
    return t;
}
#endif

void file_locali::scrivi_file(const std::string& percorso, const std::string& contenuto) {
    scrivi_a_blocchi(percorso, [&](const ricevi_blocco& scrivi) { scrivi(contenuto); });
}

void file_locali::scrivi_a_blocchi(const std::string& percorso,
                                   const std::function<void(const ricevi_blocco&)>& produci, std::uint64_t previsti) {
    scrivi_atomicamente(percorso, produci, previsti);
}

void file_locali::cancella_file(const std::string& percorso) {
    if (std::remove(percorso.c_str()) != 0)
        throw errore_file(percorso, "impossibile cancellare il file, " + descrivi_errno(errno));
}

void file_locali::rinomina_file(const std::string& da, const std::string& a) {
    if (std::rename(da.c_str(), a.c_str()) != 0)
        throw errore_file(da, "impossibile rinominare il file in " + a + ", " + descrivi_errno(errno));
}

}  // namespace j8
