// campaign-host: does what a test cannot do in its own process, because it may end it. Prints one line for each result.
//
//     campaign-host level FOLDER ROUNDS
//     campaign-host faults FOLDER SAMPLE SEED DONE [PHASE FUNCTION CALL]
//                      0 for all calls, and those of the session server and the signer as well

#include "CampaignHost.h"
#include "ComApartment.h"
#include "FaultRun.h"
#include "LevelRun.h"
#include "RunnersKept.h"

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {
unsigned Number(const std::wstring& text) {
    return static_cast<unsigned>(std::stoul(text));
}

CFaultPlan Plan(const std::vector<std::wstring>& arguments) {
    CFaultPlan plan{Number(arguments.at(2)), Number(arguments.at(3)), Number(arguments.at(4)), {}, {}, 0};
    if (arguments.size() > 5) {
        const std::wstring& function = arguments.at(6);
        plan.phase = arguments.at(5);
        plan.function.assign(function.begin(), function.end());
        plan.call = Number(arguments.at(7));
    }
    return plan;
}

int Run(const std::vector<std::wstring>& arguments) {
    const CComApartment apartment(COINIT_MULTITHREADED);
    CRunnersKept kept;
    CCampaignHost host(arguments.at(1));
    const unsigned count = Number(arguments.at(2));
    if (arguments.at(0) == L"level")
        return RunLevel(host, kept, count) ? 0 : 1;
    std::vector<HMODULE> modules{GetModuleHandleW(L"Quorline.dll")};
    if (count == 0)
        for (const wchar_t* server : {L"QuorlineHost.dll", L"QuorlineSigner.dll"})
            modules.push_back(LoadLibraryW(server));
    CImportFaults faults(modules);
    for (const std::string& function : faults.Unknown())
        std::printf("unknown %s\n", function.c_str());
    RunFaults(host, kept, faults, Plan(arguments));
    return 0;
}
} // namespace

int wmain(int count, wchar_t** values) {
    try {
        return Run(std::vector<std::wstring>(values + 1, values + count));
    } catch (const std::exception& failure) {
        std::printf("failed %s\n", failure.what());
        return 2;
    }
}
