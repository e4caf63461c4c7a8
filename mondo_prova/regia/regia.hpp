#pragma once
// Watches a run of j8_bbs.exe from outside, as the pharmacist would: takes
// pictures of its forms, answers its message box and closes it at the end.
// Used by the end-to-end tests and by the demonstration; it is not part of
// the program that goes to the workstation.

#include <windows.h>

#include <string>
#include <vector>

namespace j8::regia {

struct esito_regia {
    bool terminato = false;         // j8_bbs.exe ended within the time allowed
    unsigned long codice_uscita = 99;  // its exit status once ended
    std::vector<std::string> messaggi;  // texts of the message boxes answered
    std::string stato_finale;       // status line of the update form at the end
    std::vector<std::string> foto;  // pictures saved
};

// Starts `programma` with `argomenti` in its own directory and follows it
// until it ends or `secondi_massimi` pass. Pictures (BMP) go to
// `cartella_foto` when it is not empty. The update form is closed once its
// status reads "AGGIORNAMENTO COMPLETATO" or "Chiudere il programma".
esito_regia segui_j8_bbs(const std::wstring& programma, const std::wstring& argomenti,
                         const std::wstring& cartella_foto, int secondi_massimi);

// Saves the window's image as seen on the screen; false on failure.
bool salva_foto(HWND finestra, const std::wstring& percorso);

}  // namespace j8::regia
