// Self-extractor of the test world's update packages: finds the zip archive
// appended to its own .exe and unzips it into the folder typed in its
// dialog, the way the supplier's packages behave.
#include <windows.h>

#include <string>
#include <vector>

#include "comune/aiuti_win32.hpp"
#include "mondo_prova/pacchetto/archivio_zip.hpp"
#include "mondo_prova/pacchetto/estrattore/estrattore_pacchetto.h"

namespace {

using j8::da_1252;
using j8::pacchetto::errore_zip;
using j8::pacchetto::voce_zip;

const wchar_t* const titolo_messaggi = L"WinZip Self-Extractor";

struct stato_estrattore {
    std::wstring nome_pacchetto;  // own file name, shown in the title
    std::vector<voce_zip> voci;
    UINT pulsante_predefinito = IDC_UNZIP;
};

std::wstring percorso_proprio() {
    std::wstring nome(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n = GetModuleFileNameW(nullptr, nome.data(), static_cast<DWORD>(nome.size()));
        if (n < nome.size()) {
            nome.resize(n);
            return nome;
        }
        nome.resize(nome.size() * 2);
    }
}

std::wstring testo_controllo(HWND controllo) {
    std::wstring testo(static_cast<std::size_t>(GetWindowTextLengthW(controllo)) + 1, L'\0');
    testo.resize(static_cast<std::size_t>(GetWindowTextW(controllo, testo.data(), static_cast<int>(testo.size()))));
    const auto primo = testo.find_first_not_of(L" \t");
    if (primo == std::wstring::npos) return {};
    return testo.substr(primo, testo.find_last_not_of(L" \t") - primo + 1);
}

// After a successful unzip the dialog's job is done: Close becomes the
// default button and takes the focus, so the next Enter ends the program.
void rendi_predefinito_chiudi(HWND dialogo, stato_estrattore& stato) {
    stato.pulsante_predefinito = IDCANCEL;
    SendMessageW(dialogo, DM_SETDEFID, IDCANCEL, 0);
    SendDlgItemMessageW(dialogo, IDC_UNZIP, BM_SETSTYLE, BS_PUSHBUTTON, TRUE);
    SendDlgItemMessageW(dialogo, IDCANCEL, BM_SETSTYLE, BS_DEFPUSHBUTTON, TRUE);
    SendMessageW(dialogo, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(dialogo, IDCANCEL)), TRUE);
}

void estrai(HWND dialogo, stato_estrattore& stato) {
    const std::wstring cartella = testo_controllo(GetDlgItem(dialogo, IDC_CARTELLA));
    if (cartella.empty()) {
        MessageBoxW(dialogo, L"Type the folder to unzip to (Scrivere la cartella di destinazione).",
                    titolo_messaggi, MB_OK | MB_ICONWARNING);
        SetFocus(GetDlgItem(dialogo, IDC_CARTELLA));
        return;
    }
    std::size_t quanti = 0;
    try {
        quanti = j8::pacchetto::estrai_voci(stato.voci, std::filesystem::path(cartella));
    } catch (const errore_zip& e) {
        MessageBoxW(dialogo, (L"Unzip failed (estrazione non riuscita):\n" + da_1252(e.what())).c_str(),
                    titolo_messaggi, MB_OK | MB_ICONERROR);
        // The folder is selected, so typing another one replaces it.
        SendMessageW(dialogo, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(GetDlgItem(dialogo, IDC_CARTELLA)), TRUE);
        SendDlgItemMessageW(dialogo, IDC_CARTELLA, EM_SETSEL, 0, -1);
        return;
    }
    MessageBoxW(dialogo, (std::to_wstring(quanti) + L" file(s) unzipped successfully").c_str(),
                titolo_messaggi, MB_OK | MB_ICONINFORMATION);
    rendi_predefinito_chiudi(dialogo, stato);
}

INT_PTR CALLBACK procedura_dialogo(HWND dialogo, UINT messaggio, WPARAM wparam, LPARAM lparam) {
    auto* stato = reinterpret_cast<stato_estrattore*>(GetWindowLongPtrW(dialogo, DWLP_USER));
    switch (messaggio) {
    case WM_INITDIALOG: {
        stato = reinterpret_cast<stato_estrattore*>(lparam);
        SetWindowLongPtrW(dialogo, DWLP_USER, lparam);
        SetWindowTextW(dialogo, (L"WinZip Self-Extractor - " + stato->nome_pacchetto).c_str());
        SendMessageW(dialogo, DM_SETDEFID, IDC_UNZIP, 0);
        SendDlgItemMessageW(dialogo, IDC_CARTELLA, EM_LIMITTEXT, 1000, 0);
        SetForegroundWindow(dialogo);
        SetFocus(GetDlgItem(dialogo, IDC_CARTELLA));
        return FALSE;  // focus set here, on the folder field
    }
    case WM_COMMAND:
        switch (LOWORD(wparam)) {
        case IDOK:  // Enter when the dialog manager found no default button
            if (stato->pulsante_predefinito == IDCANCEL) {
                EndDialog(dialogo, 0);
            } else {
                estrai(dialogo, *stato);
            }
            return TRUE;
        case IDC_UNZIP:
            estrai(dialogo, *stato);
            return TRUE;
        case IDCANCEL:
            EndDialog(dialogo, 0);
            return TRUE;
        }
        break;
    }
    return FALSE;
}

}  // namespace

int WINAPI WinMain(HINSTANCE istanza, HINSTANCE, LPSTR, int) {
    const std::wstring percorso = percorso_proprio();
    stato_estrattore stato;
    stato.nome_pacchetto = std::filesystem::path(percorso).filename().wstring();
    try {
        stato.voci = j8::pacchetto::leggi_zip(j8::pacchetto::leggi_tutto(std::filesystem::path(percorso)));
    } catch (const errore_zip& e) {
        const std::wstring testo = L"Il pacchetto \"" + stato.nome_pacchetto +
                                   L"\" \x00e8 danneggiato o non \x00e8 un pacchetto: "
                                   L"nessun file \x00e8 stato estratto.\n\n" +
                                   da_1252(e.what());
        MessageBoxW(nullptr, testo.c_str(), titolo_messaggi, MB_OK | MB_ICONERROR | MB_SETFOREGROUND);
        return 1;
    }
    DialogBoxParamW(istanza, MAKEINTRESOURCEW(IDD_ESTRATTORE), nullptr, procedura_dialogo,
                    reinterpret_cast<LPARAM>(&stato));
    return 0;
}
