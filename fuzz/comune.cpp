#include <cstdio>
#include <cstdlib>

#include "fuzz/file_memoria.hpp"

namespace j8::fuzz {

void violazione(const char* cosa) {
    std::fprintf(stderr, "fuzz: invariante violato: %s\n", cosa);
    std::abort();
}

}  // namespace j8::fuzz
