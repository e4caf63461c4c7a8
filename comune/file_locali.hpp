#pragma once
// file_tabelle on the local disk, for the command-line tools and tests.

#include "comune/file_tabelle.hpp"

namespace j8 {

class file_locali : public file_tabelle {
public:
    bool esiste_file(const std::string& percorso) override;
    std::string leggi_file(const std::string& percorso) override;
    void scrivi_file(const std::string& percorso, const std::string& contenuto) override;
    void leggi_a_blocchi(const std::string& percorso, const ricevi_blocco& ricevi) override;
    void scrivi_a_blocchi(const std::string& percorso,
                          const std::function<void(const ricevi_blocco&)>& produci) override;
    void cancella_file(const std::string& percorso) override;
    void rinomina_file(const std::string& da, const std::string& a) override;
};

}  // namespace j8
