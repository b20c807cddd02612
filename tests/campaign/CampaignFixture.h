#pragma once

// What the campaigns of a whole host start from: registered components and a trusted certificate (by CommandFixture.h),
// signed scripts, a running application that they save for, and a documents folder.

#include "CommandFixture.h"
#include "CampaignHost.h"
#include "RunningApp.h"

/// Two documents for the application's process, and a copy beside each of those to restore.
inline constexpr const char* SaveInJScript = R"(var files = new ActiveXObject("Scripting.FileSystemObject");
for (var i = 1; i <= 2; ++i) {
    var path = TalvinorDocumentStore.GetNew("Letter" + i, "C:\\letters\\" + i + ".txt", ".txt");
    var file = files.CreateTextFile(path, true);
    file.Write("text of letter " + i + " by " + Process.ImageName + " of " + Session.UserName);
    file.Close();
    TalvinorDocumentStore.LogMessage(2, "saved " + path);
}
)";
inline constexpr const char* RestoreInJScript = R"(var files = new ActiveXObject("Scripting.FileSystemObject");
var documents = TalvinorRestoreScriptArgs.RestoreDocuments;
for (var i = 0; i < documents.Count; ++i) {
    var path = documents.Item(i).TempPath;
    var from = files.OpenTextFile(path);
    var copy = files.CreateTextFile(path + ".restored", true);
    copy.Write(from.ReadAll());
    copy.Close();
    from.Close();
}
)";
inline constexpr const char* SaveInVBScript = R"(Dim files, i, path, file
Set files = CreateObject("Scripting.FileSystemObject")
For i = 1 To 2
    path = TalvinorDocumentStore.GetNew("Letter" & i, "C:\letters\" & i & ".txt", ".txt")
    Set file = files.CreateTextFile(path, True)
    file.Write "text of letter " & i & " by " & Process.ImageName & " of " & Session.UserName
    file.Close
    TalvinorDocumentStore.LogMessage 2, "saved " & path
Next
)";
inline constexpr const char* RestoreInVBScript = R"(Dim files, documents, i, path, copy
Set files = CreateObject("Scripting.FileSystemObject")
Set documents = TalvinorRestoreScriptArgs.RestoreDocuments
For i = 0 To documents.Count - 1
    path = documents.Item(i).TempPath
    Set copy = files.CreateTextFile(path & ".restored", True)
    copy.Write files.OpenTextFile(path).ReadAll
    copy.Close
Next
)";

class CampaignTest : public CommandTest {
protected:
    void PutJScripts() {
        PutSigned(L"save.js", SaveInJScript);
        PutSigned(L"restore.js", RestoreInJScript);
    }
    void PutVBScripts() {
        PutSigned(L"save.vbs", SaveInVBScript);
        PutSigned(L"restore.vbs", RestoreInVBScript);
    }

    /// What the program that does the work is started as.
    std::wstring HostCommand(const std::wstring& mode, const std::wstring& arguments) const {
        return L"\"" + ProgramFolder() + L"\\campaign-host.exe\" " + mode + L" \"" + m_folder.Path() + L"\" " +
               arguments;
    }

    /// As RunProgram, for what takes its time.
    static CProgramResult RunLong(const std::wstring& commandLine) {
        constexpr DWORD Patience = 60 * 60 * 1000; // milliseconds
        CProgram program(commandLine);
        WaitForSingleObject(program.Process(), Patience);
        return program.Wait();
    }

private:
    CAppCopy m_copy{Path(ProtectedProgram)};
    CRunningApp m_app{{}, {Path(ProtectedProgram), nullptr}};
};
