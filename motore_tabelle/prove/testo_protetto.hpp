#pragma once
// A file's bytes on pages nobody may write, as a mapped file's are: an
// engine that changes a row where it was read, instead of copying it
// first, stops right there. For the engine's tests and fuzz targets.

#include <sys/mman.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "comune/file_tabelle.hpp"

namespace j8::prova {

inline std::unique_ptr<const testo_intero> testo_protetto(const std::string& dati) {
    struct protetto : testo_intero {
        void* base = nullptr;
        std::size_t misura = 0;
        ~protetto() override {
            if (base) munmap(base, misura);
        }
    };
    auto t = std::make_unique<protetto>();
    if (dati.empty()) return t;
    void* p = mmap(nullptr, dati.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    t->base = p;
    t->misura = dati.size();
    std::memcpy(p, dati.data(), dati.size());
    mprotect(p, dati.size(), PROT_READ);
    t->byte = std::string_view(static_cast<const char*>(p), dati.size());
    return t;
}

}  // namespace j8::prova
