#pragma once

#define IDS_PROJNAME 100
#define IDR_SESSIONHOST 101
#define IDR_SESSION 102
