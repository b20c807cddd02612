#pragma once

// Whole saves and restores, in each of which one system call fails: the campaign of the failing system calls, as far as
// it runs in one process. Prints a line before each call that is made to fail ("at PHASE FUNCTION CALL") and one with
// what came of it.

#include "CampaignHost.h"
#include "ImportFaults.h"
#include "RunnersKept.h"

#include <string>
#include <vector>

/// What is made to fail: a sample by a seed, or every call until none is left. Behind the defaults, where another
/// process goes on after one that died.
struct CFaultPlan {
    unsigned sample = 0; ///< calls; 0 for all
    unsigned seed = 0;
    unsigned done = 0;  ///< of the sample
    std::wstring phase; ///< "save" or "restore"; this and the next two for all calls
    std::string function = {};
    unsigned call = 0;
};

void RunFaults(CCampaignHost& host, CRunnersKept& kept, CImportFaults& faults, const CFaultPlan& plan);
