#include "certificates/CertificateStore.h"
#include "Commands.h"
#include "Components.h"
#include "HostLog.h"
#include "JsonText.h"
#include "ProductName.h"
#include "Registration.h"
#include "SignerCommands.h"
#include "StoreCatalog.h"
#include "SystemText.h"
#include "base/UniqueHandle.h"

#include <atlbase.h>

#include <activscp.h>

namespace {
using nlohmann::ordered_json;

/// What was looked at, what is wrong with it, and how to mend that; both are empty where nothing is wrong.
struct CFinding {
    std::wstring what;
    std::wstring problem;
    std::wstring remedy;
};
using Findings = std::vector<CFinding>;

void ExamineRegistration(Findings& findings) {
    for (const CComponent& component : FindComponents()) {
        std::wstring what = component.what;
        if (!component.server.empty())
            what += L", " + component.server + ProductOf(component.server);
        findings.push_back(
            {what, component.problem, component.problem.empty() ? L"" : L"run as administrator: quorline register"});
    }
}

void ExamineEngine(Findings& findings, const wchar_t* name, const wchar_t* remedy) {
    CLSID id{};
    CComPtr<IActiveScript> engine;
    HRESULT hr = CLSIDFromProgID(name, &id);
    if (SUCCEEDED(hr))
        hr = engine.CoCreateInstance(id);
    const std::wstring what = std::wstring(L"the engine of ") + name;
    if (SUCCEEDED(hr))
        findings.push_back({what, L"", L""});
    else
        findings.push_back({what, L"does not start: " + DescribeCode(static_cast<unsigned long>(hr)), remedy});
}

/// Empty when a file can be made in the folder.
std::wstring FindWritingTrouble(const std::wstring& folder) {
    const std::wstring path = folder + L"\\quorline-doctor-" + std::to_wstring(GetCurrentProcessId()) + L".tmp";
    const CUniqueHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                         FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    return file ? L"" : L"cannot be written: " + DescribeCode(GetLastError());
}

std::wstring FolderOf(const std::wstring& path) {
    return path.substr(0, path.find_last_of(L"\\/"));
}

void ExamineFolder(Findings& findings, const std::wstring& folder) {
    constexpr unsigned long long Mega = 1024ULL * 1024;
    constexpr unsigned long long Little = 100 * Mega;
    const std::wstring what = L"the documents folder, " + folder;
    ULARGE_INTEGER free{};
    if (const std::wstring trouble = FindWritingTrouble(folder); !trouble.empty())
        findings.push_back({what, trouble, L"see that the folder is there, and that its user may write it"});
    else if (!GetDiskFreeSpaceExW(folder.c_str(), &free, nullptr, nullptr))
        findings.push_back({what, L"does not say how much room it has: " + DescribeCode(GetLastError()),
                            L"see whether its drive is there"});
    else if (free.QuadPart < Little)
        findings.push_back({what, L"has no more than " + std::to_wstring(free.QuadPart / Mega) + L" MB left",
                            L"make room: 'quorline forget --recovered --older-than 30d' deletes what was restored"});
    else
        findings.push_back({what + L", " + std::to_wstring(free.QuadPart / Mega) + L" MB free", L"", L""});
}

/// The folder and the stores in it.
void ExamineDocuments(Findings& findings) {
    try {
        ExamineFolder(findings, FolderOf(StoresDirectory()));
        for (const CStoreEntry& store : ReadStores())
            if (!store.info)
                findings.push_back({L"the store " + store.directory, L"cannot be read: " + store.problem,
                                    L"mend its info.xml, or 'quorline forget' it"});
    } catch (const std::exception& error) {
        findings.push_back({L"the documents folder", L"is not known: " + DescribeException(error),
                            L"see that Windows has a documents folder for this user"});
    }
}

void ExamineLog(Findings& findings) {
    const std::wstring path = LogFilePath();
    if (path.empty()) {
        findings.push_back({L"the log", L"goes to no file",
                            L"see the log's settings under HKEY_LOCAL_MACHINE\\Software\\Morvane\\TalvinorSD"});
        return;
    }
    const std::wstring trouble = FindWritingTrouble(FolderOf(path));
    findings.push_back({L"the log, " + path, trouble, trouble.empty() ? L"" : L"make its folder writable"});
}

void ExaminePublishers(Findings& findings) {
    const CUniqueStore store = OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"TrustedPublisher");
    PCCERT_CONTEXT next = nullptr;
    while (store && (next = CertEnumCertificatesInStore(store.Get(), next)) != nullptr) {
        const std::wstring ending = DescribeNearEnd(next->pCertInfo->NotAfter);
        findings.push_back({L"the publisher " + SubjectOf(next) + L" (" + ThumbprintOf(next) + L")",
                            ending.empty() ? L"" : L"will not do for long: " + ending,
                            ending.empty() ? L"" : L"sign the scripts again with a new certificate, and trust that"});
    }
}

Findings ExamineMachine() {
    Findings findings;
    const CHostApartment apartment;
    ExamineRegistration(findings);
    ExamineEngine(findings, L"JScript", L"mend Windows' own files as administrator: sfc /scannow");
    ExamineEngine(findings, L"VBScript",
                  L"add the optional feature as administrator: DISM /Online /Add-Capability "
                  L"/CapabilityName:VBSCRIPT~~~~; write new scripts in JScript");
    ExamineDocuments(findings);
    ExamineLog(findings);
    ExaminePublishers(findings);
    return findings;
}

ExitCode RunDoctor(bool asJson) {
    std::size_t problems = 0;
    auto list = ordered_json::array();
    for (const CFinding& finding : ExamineMachine()) {
        ordered_json entry{{"what", ToUtf8(finding.what)}, {"good", finding.problem.empty()}};
        if (finding.problem.empty()) {
            PrintLine(L"good       " + finding.what);
        } else {
            ++problems;
            PrintError(finding.what + L" " + finding.problem + L"; " + finding.remedy);
            entry["problem"] = ToUtf8(finding.problem);
            entry["remedy"] = ToUtf8(finding.remedy);
        }
        list.push_back(std::move(entry));
    }
    PrintLine(problems == 0 ? L"done       nothing is wrong"
                            : L"wrong      " + std::to_wstring(problems) + L", told above as troubles");
    if (asJson)
        PrintJson({{"findings", std::move(list)}, {"log", ToUtf8(LogFilePath())}});
    return problems == 0 ? ExitCode::Done : ExitCode::Failed;
}
} // namespace

void AddDoctor(CCommandLine& line) {
    line.Add({"doctor",
              "Look whether this machine has what saving and restoring need, and say how to mend what it lacks",
              {"doctor", "doctor --json"},
              {ExitCode::Done, ExitCode::Failed},
              R"({"findings": [{"what", "good", and of what is wrong "problem", "remedy"}], "log"})"},
             [](const CCommonOptions& options) { return RunDoctor(options.json); });
}
