// Hosts that return from main while other threads are logging, at DEBUG: each has to end. ProcessEndTest [--hosts=N]
// Proves logging/ProcessEnd.

#include "ChildProgram.h"
#include "ClientKey.h"
#include "Tally.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {
int g_hosts = 20;

class ProcessEndTest : public testing::TestWithParam<const wchar_t*> {
protected:
    ProcessEndTest() { CClientKey::Put(L"TalvinorSD", L"TalvinorSDLogLevel", 3); }

    CClientKey m_key;
};
} // namespace

TEST_P(ProcessEndTest, AHostWithThreadsThatLogEnds) {
    const std::wstring host = L"\"" + ProgramFolder() + L"\\BusyHost.exe\" " + GetParam();
    for (int i = 0; i < g_hosts; ++i)
        ASSERT_EQ(RunProgram(host).exitCode, 0u) << "host " << i + 1;
    std::string name;
    for (const wchar_t* c = GetParam(); *c; ++c)
        name += static_cast<char>(*c);
    PrintTally(("hosts that end while their threads log, " + name).c_str(), static_cast<unsigned>(g_hosts));
}

INSTANTIATE_TEST_SUITE_P(Hosts, ProcessEndTest, testing::Values(L"log4cxx", L"library", L"runner"));

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    for (int i = 1; i < count; ++i)
        if (std::strncmp(arguments[i], "--hosts=", 8) == 0)
            g_hosts = std::atoi(arguments[i] + 8);
    return RUN_ALL_TESTS();
}
