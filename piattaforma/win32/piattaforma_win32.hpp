#pragma once
// The platform done for real with Win32: programs started with
// CreateProcess, keys typed with SendInput, windows found with
// EnumWindows/EnumChildWindows, files through the ANSI file functions.

#include <map>
#include <string>

#include "comune/file_locali.hpp"
#include "piattaforma/piattaforma.hpp"

namespace j8 {

class piattaforma_win32 : public piattaforma {
public:
    std::uint32_t avvia_programma(const std::string& percorso) override;
    bool attiva_task(std::uint32_t id_task) override;
    bool attiva_titolo(const std::string& titolo) override;
    void manda_tasti(const std::string& tasti) override;
    void manda_tasti_a(std::uint32_t id_task, const std::string& tasti) override;
    std::string leggi_appunti() override;
    std::vector<finestra> finestre() override;
    std::vector<finestra> figli(maniglia padre) override;
    void esegui_eventi() override;
    float secondi_da_mezzanotte() override;
    data_ora adesso() override;
    void pausa(double secondi) override;
    void messaggio(const std::string& testo, const std::string& titolo) override;

    bool esiste_file(const std::string& percorso) override;
    std::string leggi_file(const std::string& percorso) override;
    void scrivi_file(const std::string& percorso, const std::string& contenuto) override;
    void leggi_a_blocchi(const std::string& percorso, const ricevi_blocco& ricevi) override;
    void scrivi_a_blocchi(const std::string& percorso, const std::function<void(const ricevi_blocco&)>& produci,
                          std::uint64_t previsti = 0) override;
    void cancella_file(const std::string& percorso) override;
    void rinomina_file(const std::string& da, const std::string& a) override;
    std::uint64_t dimensione_file(const std::string& percorso) override;
    std::vector<std::string> elenca_file(const std::string& direttorio,
                                         const std::string& modello) override;
    bool esiste_direttorio(const std::string& percorso) override;
    void copia_file(const std::string& da, const std::string& a) override;
    std::int64_t lunghezza_file(const std::string& percorso) override;
    void crea_direttorio(const std::string& percorso) override;
    void rimuovi_direttorio(const std::string& percorso) override;
    void imposta_solo_archivio(const std::string& percorso) override;
    std::uint32_t attributi_file(const std::string& percorso) override;
    void imposta_attributi_file(const std::string& percorso, std::uint32_t attributi) override;
    std::string direttorio_corrente() override;
    void cambia_direttorio(const std::string& percorso) override;
    std::string direttorio_programma() override;
    void sostituisci_file(const std::string& da, const std::string& a) override;
    bool tieni_aperto(const std::string& percorso) override;
    void rilascia(const std::string& percorso) override;
    ~piattaforma_win32() override;

private:
    std::map<std::string, void*> tenuti_;  // lower-case path, handle
    unsigned long appunti_prima_dei_tasti_ = 0;  // clipboard sequence number
    unsigned long long tasti_mandati_alle_ = 0;  // non-zero: keys typed since the last clipboard read
};

// One j8_bbs at a time: takes the named mutex every start of the program
// shares and keeps it until the process ends. False when another process
// holds it already.
bool prima_istanza();

}  // namespace j8
