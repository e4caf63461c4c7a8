// The atomic write on Windows: the temporary file flushed, then renamed
// over the table, the rename tried again while another program holds it.
#include <windows.h>

#include <algorithm>

#include "comune/file_locali.hpp"

namespace j8 {

unsigned long sostituisci_con_attesa(const std::string& da, const std::string& a) {
    for (int prova = 0;; ++prova) {
        if (MoveFileExA(da.c_str(), a.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return 0;
        const DWORD e = GetLastError();
        const bool passeggero = e == ERROR_ACCESS_DENIED || e == ERROR_SHARING_VIOLATION || e == ERROR_LOCK_VIOLATION;
        if (!passeggero || prova >= 40) return e;
        Sleep(50);
    }
}

std::string problema_file(unsigned long codice) {
    switch (codice) {
        case ERROR_FILE_NOT_FOUND: return "file non trovato";
        case ERROR_PATH_NOT_FOUND: case ERROR_INVALID_NAME: case ERROR_BAD_PATHNAME:
        case ERROR_INVALID_DRIVE: case ERROR_DIRECTORY:
            return "percorso non trovato";
        case ERROR_ACCESS_DENIED: return "accesso negato";
        case ERROR_SHARING_VIOLATION: case ERROR_LOCK_VIOLATION:
            return "file in uso da un altro programma";
        case ERROR_DISK_FULL: case ERROR_HANDLE_DISK_FULL: return "disco pieno";
        case ERROR_ALREADY_EXISTS: case ERROR_FILE_EXISTS: return "file gi\xe0 esistente";
        case ERROR_DIR_NOT_EMPTY: return "direttorio non vuoto";
        case ERROR_WRITE_PROTECT: return "disco protetto da scrittura";
        case ERROR_NOT_READY: return "unit\xe0 non pronta";
        default: return "errore di accesso al file (codice " + std::to_string(codice) + ")";
    }
}

// NTFS reserves clusters as the writes come: the expected size is not used.
void scrivi_atomicamente(const std::string& percorso,
                         const std::function<void(const file_tabelle::ricevi_blocco&)>& produci, std::uint64_t) {
    const std::string provvisorio = percorso + suffisso_scrittura;
    HANDLE f = CreateFileA(provvisorio.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (f == INVALID_HANDLE_VALUE) throw errore_file(percorso, problema_file(GetLastError()));
    bool riuscito = true;
    DWORD errore = 0;
    try {
        produci([&](std::string_view contenuto) {
            std::size_t scritti_tutti = 0;
            while (riuscito && scritti_tutti < contenuto.size()) {
                DWORD scritti = 0;
                const DWORD blocco =
                    static_cast<DWORD>(std::min<std::size_t>(contenuto.size() - scritti_tutti, 1 << 20));
                riuscito = WriteFile(f, contenuto.data() + scritti_tutti, blocco, &scritti, nullptr) && scritti == blocco;
                if (!riuscito) errore = GetLastError();
                scritti_tutti += scritti;
            }
        });
    } catch (...) {
        CloseHandle(f);
        DeleteFileA(provvisorio.c_str());
        throw;
    }
    // On disk before it takes the file's name: after a power cut the file
    // is the old one or the whole new one, never a name over empty blocks.
    if (riuscito && !FlushFileBuffers(f)) {
        riuscito = false;
        errore = GetLastError();
    }
    if (!CloseHandle(f) && riuscito) {
        riuscito = false;
        errore = GetLastError();
    }
    if (riuscito && (errore = sostituisci_con_attesa(provvisorio, percorso)) != 0) riuscito = false;
    if (!riuscito) {
        DeleteFileA(provvisorio.c_str());
        throw errore_file(percorso, problema_file(errore ? errore : ERROR_DISK_FULL));
    }
}

}  // namespace j8
