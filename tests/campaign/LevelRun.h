#pragma once

// Many saves and restores in one process, and what the process holds at the start, in the middle and at the end. Prints
// a table; what grew is marked.

#include "CampaignHost.h"
#include "RunnersKept.h"

/// False when something failed or grew.
bool RunLevel(CCampaignHost& host, CRunnersKept& kept, unsigned rounds);
