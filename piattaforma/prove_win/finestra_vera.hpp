// A real window to drive: programma_prova.exe started and in front for
// each test, closed after it.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "comune/testi_comuni.hpp"
#include "piattaforma/prove_win/aiuti_wine.hpp"
#include "piattaforma/win32/piattaforma_win32.hpp"

namespace j8::wine {

class finestra_vera : public ::testing::Test {
protected:
    void SetUp() override {
        task = p.avvia_programma(p.direttorio_programma() + "\\programma_prova.exe");
        titolo = "Prova j8 [" + std::to_string(task) + "]";
        ASSERT_TRUE(entro(10, [&] { return trova() != 0; })) << titolo;
        ASSERT_TRUE(p.attiva_task(task));
    }
    void TearDown() override {
        if (maniglia h = trova()) {
            PostMessageW(reinterpret_cast<HWND>(h), WM_CLOSE, 0, 0);
            entro(5, [&] { return trova() == 0; });
        }
    }
    maniglia trova() {
        for (const finestra& f : p.finestre())
            if (f.titolo == titolo) return f.handle;
        return 0;
    }
    std::string testo_dell_edit() {
        for (const finestra& f : p.figli(trova()))
            if (minuscolo(f.classe) == "edit") return f.titolo;
        return "<nessun edit>";
    }
    piattaforma_win32 p;
    std::uint32_t task = 0;
    std::string titolo;
};

}  // namespace j8::wine
