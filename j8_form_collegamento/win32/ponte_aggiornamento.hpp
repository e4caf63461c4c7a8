#pragma once
// The connection form's view of the update window.

#include "j8_form_aggiornamento/win32/finestra_aggiornamento.hpp"
#include "j8_form_collegamento/form_collegamento.hpp"

namespace j8 {

class ponte_aggiornamento : public collegamento_aggiornamento {
public:
    explicit ponte_aggiornamento(finestra_aggiornamento& finestra) : finestra_(finestra) {}
    void carica_nascosto() override { finestra_.carica_nascosto(); }
    void mostra() override { finestra_.mostra(); }
    void esegui_aggiornamento() override { finestra_.esegui_aggiornamento(); }

private:
    finestra_aggiornamento& finestra_;
};

}  // namespace j8
