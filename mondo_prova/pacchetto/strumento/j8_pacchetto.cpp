// j8_pacchetto OUT.exe FILE...: makes a self-extracting update package.
#include <iostream>

#include "mondo_prova/pacchetto/strumento_pacchetto.hpp"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

std::filesystem::path direttorio_programma(const char* argv0) {
#ifdef _WIN32
    (void)argv0;
    std::wstring nome(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n = GetModuleFileNameW(nullptr, nome.data(), static_cast<DWORD>(nome.size()));
        if (n < nome.size()) {
            nome.resize(n);
            break;
        }
        nome.resize(nome.size() * 2);
    }
    return std::filesystem::path(nome).parent_path();
#else
    std::error_code ec;
    auto se_stesso = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec) se_stesso = std::filesystem::absolute(argv0, ec);
    return se_stesso.parent_path();
#endif
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> argomenti(argv + 1, argv + argc);
    return j8::pacchetto::esegui_j8_pacchetto(argomenti, direttorio_programma(argv[0]), std::cout,
                                             std::cerr);
}
