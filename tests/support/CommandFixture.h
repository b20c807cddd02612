#pragma once

// What the tests of the real command start from: registered components, a certificate that this machine trusts, a
// documents folder of their own, and an applications file for a real Notepad.

#include "ChildProgram.h"
#include "Console.h"
#include "DocumentsFolder.h"
#include "ScriptSignerCore.h"
#include "SignerCommands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

inline constexpr const char* SaveScript = R"(Dim path, file
path = TalvinorDocumentStore.GetNew("Letter", "C:\letters\R&D.txt", ".txt")
Set file = CreateObject("Scripting.FileSystemObject").CreateTextFile(path, True)
file.Write Process.ImageName & " " & Process.Id & " " & Session.UserName
file.Close
)";

inline constexpr const char* RestoreScript = R"(var files = new ActiveXObject("Scripting.FileSystemObject");
var documents = TalvinorRestoreScriptArgs.RestoreDocuments;
for (var i = 0; i < documents.Count; ++i)
    files.CopyFile(documents.Item(i).TempPath, documents.Item(i).TempPath + ".restored");
)";

inline void Register(const std::wstring& options) {
    for (const wchar_t* dll : {L"Quorline.dll", L"QuorlineHost.dll", L"QuorlineSigner.dll"})
        ASSERT_EQ(RunProgram(L"regsvr32 /s " + options + L"\"" + ProgramFolder() + L"\\" + dll + L"\"").exitCode, 0u)
            << dll;
}

/// The components and the certificate, for the whole program.
class CCommandEnvironment : public testing::Environment {
public:
    void SetUp() override {
        Register(L"");
        const CTempFolder folder;
        const std::wstring certificate = L"\"" + folder.Path() + L"\\development.cer\"";
        const CProgramResult made = RunQuorline(L"cert --new-development --out " + certificate);
        ASSERT_EQ(made.exitCode, 0u) << made.err;
        ASSERT_EQ(RunQuorline(L"trust " + certificate).exitCode, 0u);
    }
    void TearDown() override { Register(L"/u "); }
};
inline testing::Environment* const CommandEnvironment =
    testing::AddGlobalTestEnvironment(std::make_unique<CCommandEnvironment>().release());

class CommandTest : public testing::Test {
protected:
    ~CommandTest() override {
        if (m_notepad)
            TerminateProcess(m_notepad.Get(), 0);
    }

    void Put(const std::wstring& name, const std::string& text) {
        std::ofstream(std::filesystem::path(Path(name)), std::ios::binary) << text;
    }

    void PutSigned(const std::wstring& name, const std::string& text) {
        Put(name, text);
        ASSERT_TRUE(CScriptSignerCore(FindSigningCertificate(L"", L"")).SignFile(Path(name)).accepted);
    }

    /// The applications file for Notepad, and scripts that work.
    void PutApps(const std::string& saveScript = "save.vbs",
                 const std::string& stateChanges = R"("hibernate","shutdown")") {
        PutSigned(L"save.vbs", SaveScript);
        PutSigned(L"restore.js", RestoreScript);
        Put(L"apps.json", R"({"applications":[{"friendlyName":"Notepad","executables":["notepad.exe"],
            "stateChanges":[)" +
                              stateChanges + R"(],"saveScript":")" + saveScript +
                              R"(","restoreScript":"restore.js"}]})");
    }

    void StartNotepad() {
        PROCESS_INFORMATION started{};
        ASSERT_TRUE(StartProcess(L"notepad.exe", started));
        m_notepad.Reset(started.hProcess);
        m_processId = started.dwProcessId;
        const CUniqueHandle thread(started.hThread);
        WaitForInputIdle(started.hProcess, 20'000);
    }

    CProgramResult Save(const std::wstring& state = L"hibernate") {
        return RunQuorline(L"save --state " + state + L" --apps " + Quoted(L"apps.json"));
    }
    CProgramResult Restore(const std::wstring& what) {
        return RunQuorline(L"restore " + what + L" --apps " + Quoted(L"apps.json"));
    }

    std::wstring Path(const std::wstring& name) const { return m_folder.Path() + L"\\" + name; }
    std::wstring Quoted(const std::wstring& name) const { return L"\"" + Path(name) + L"\""; }

    /// Files whose names end so, in all stores.
    std::vector<std::filesystem::path> Stored(const std::wstring& ending) const {
        std::vector<std::filesystem::path> found;
        if (std::filesystem::exists(m_documents.Base()))
            for (const auto& file : std::filesystem::recursive_directory_iterator(m_documents.Base()))
                if (file.path().wstring().ends_with(ending))
                    found.push_back(file.path());
        return found;
    }

    CDocumentsFolder m_documents;
    CTempFolder m_folder;
    CUniqueHandle m_notepad;
    DWORD m_processId = 0;
};
