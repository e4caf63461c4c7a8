// Control ids shared by the dialog template and the program.
#define IDD_ESTRATTORE 100
#define IDC_CARTELLA 101
#define IDC_UNZIP 102
#define IDC_ETICHETTA 103
#define IDC_ELENCO 104
