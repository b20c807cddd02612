// Saves and restores without end in one process: what it holds stays level. Proves that no unit of the library keeps
// anything.

#include "CampaignFixture.h"
#include "RandomRounds.h"
#include "Tally.h"

namespace {
using Level = CampaignTest;
}

TEST_F(Level, ManySavesAndRestoresLeaveTheProcessLevel) {
    const CRandomRounds rounds(50);
    // The system's JScript engine keeps some bytes of each thread.
    PutVBScripts();
    const CProgramResult result = RunLong(HostCommand(L"level", std::to_wstring(rounds.count)));
    std::printf("%s", result.out.c_str());
    PrintTally("saves and restores in one process, level", rounds.count);
    EXPECT_EQ(result.exitCode, 0u) << result.err;
}
