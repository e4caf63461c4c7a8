// The product's version: the programs' version resource and the release
// zip's name come from here. Change it before building a release.
#pragma once
#define J8_VERSIONE 1, 0, 0, 0
#define J8_VERSIONE_TESTO "1.0.0"
#define J8_PRODOTTO "j8_bbs"
