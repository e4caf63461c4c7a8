// Replays saved fuzz inputs without libFuzzer: every file named on the
// command line, or found in a directory named there, goes once through the
// target's LLVMFuzzerTestOneInput. Under the sanitizer build a fault stops
// the run with its report.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dati, std::size_t dimensione);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> file;
    for (int i = 1; i < argc; ++i) {
        std::filesystem::path p = argv[i];
        if (std::filesystem::is_directory(p)) {
            for (const auto& voce : std::filesystem::recursive_directory_iterator(p))
                if (voce.is_regular_file()) file.push_back(voce.path());
        } else if (std::filesystem::is_regular_file(p)) {
            file.push_back(p);
        } else {
            std::fprintf(stderr, "riproduci: %s non esiste\n", argv[i]);
            return 2;
        }
    }
    std::sort(file.begin(), file.end());
    if (file.empty()) {
        std::fprintf(stderr, "riproduci: nessun input da riprodurre\n");
        return 2;
    }
    for (const auto& p : file) {
        std::ifstream in(p, std::ios::binary);
        std::string dati((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(dati.data()), dati.size());
    }
    std::printf("riproduci: %zu input senza errori\n", file.size());
    return 0;
}
