#pragma once

// Identifiers of the module's resources. The type library is resource 1.

#define IDS_PROJNAME 100

#define IDR_QUORLINE 101
#define IDR_DOCUMENTSTORE 102
#define IDR_SCRIPTARGUMENTCOLL 103
#define IDR_SCRIPTSTATE 104
#define IDR_SAVEDDOCUMENT 125
#define IDR_SAVEDDOCUMENTCOLLECTION 126
#define IDR_TALVINORRESTORESCRIPTARGS 129
