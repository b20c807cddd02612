#pragma once

#define IDD_DOCUMENTS 100
#define IDC_TEXT 101
#define IDC_DOCUMENTS 102
#define IDC_RESTORE 103
#define IDC_SHOW_FOLDER 104
