// register and unregister, as administrators run them and as others do. Proves RegisterCommand.

#include "ChangedValue.h"
#include "CommandFixture.h"
#include "DeniedKey.h"
#include "DirectoryRights.h"

#include <nlohmann/json.hpp>

namespace {
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::EndsWith;
using testing::Eq;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;

constexpr const wchar_t* SharedFolders = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

class RegisterCommand : public CommandTest {
protected:
    /// For whoever comes next.
    ~RegisterCommand() override { Register(L""); }

    /// The program in a folder of its own, with the DLLs that it needs to start.
    void CopyProgram() {
        for (const wchar_t* file : {L"quorline.exe", L"Quorline.dll", L"log4cxx.dll", L"libstdc++-6.dll",
                                    L"libgcc_s_seh-1.dll", L"libwinpthread-1.dll"})
            std::filesystem::copy_file(ProgramFolder() + L"\\" + file, Path(file));
    }
};
} // namespace

TEST_F(RegisterCommand, RegisterPutsBackWhatUnregisterTookOut) {
    PutApps();
    const CProgramResult taken = RunQuorline(L"unregister");
    ASSERT_EQ(taken.exitCode, 0u) << taken.err;
    EXPECT_THAT(taken.out, HasSubstr("Quorline.dll: unregistered"));
    EXPECT_EQ(Save().exitCode, 4u);
    const CProgramResult registered = RunQuorline(L"register --json");
    EXPECT_EQ(registered.exitCode, 0u) << registered.err;
    const auto components = nlohmann::json::parse(registered.out)["components"];
    ASSERT_EQ(components.size(), 3u);
    for (const auto& component : components)
        EXPECT_EQ(component["done"], true) << component;
    EXPECT_THAT(components[1]["file"], HasSubstr("QuorlineHost.dll"));
    EXPECT_EQ(Save().exitCode, 0u);
    EXPECT_THAT(RunQuorline(L"register --quiet").out, IsEmpty());
}

TEST_F(RegisterCommand, AComponentThatIsNotThereOrRefusesIsNamedAndTheOthersAreRegistered) {
    CopyProgram();
    Put(L"QuorlineSigner.dll", "no program");
    const CProgramResult result = RunProgram(Quoted(L"quorline.exe") + L" register --json");
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    const auto components = nlohmann::json::parse(result.out)["components"];
    ASSERT_EQ(components.size(), 3u);
    EXPECT_EQ(components[0]["done"], true);
    EXPECT_EQ(components[1]["done"], false);
    EXPECT_THAT(components[1]["problem"], HasSubstr("(error 0x8007007e)"));
    EXPECT_EQ(components[2]["done"], false);
    EXPECT_THAT(components[2]["problem"], HasSubstr("(error 0x800700c1)"));
    for (const wchar_t* file : {L"QuorlineHost.dll", L"QuorlineSigner.dll"})
        EXPECT_THAT(result.err, HasSubstr(ToUtf8(Path(file)) + " could not be registered: "));
    EXPECT_THAT(result.err, HasSubstr("; see that the file is there, and run this as administrator\r\n"));
}

TEST_F(RegisterCommand, WithoutTheRightsItIsToldToRunThisAsAdministrator) {
    const CDeniedKey denied(HKEY_LOCAL_MACHINE, L"Software\\Classes\\Quorline.DocumentStore.1");
    const CProgramResult result = RunQuorline(L"register");
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.err, AllOf(HasSubstr("Quorline.dll could not be registered: "),
                                  EndsWith("; see that the file is there, and run this as administrator\r\n")));
}

TEST_F(RegisterCommand, AnotherSignerIsLeftInItsPlace) {
    const std::wstring other = Path(L"OtherSigner.dll");
    std::filesystem::copy_file(ProgramFolder() + L"\\QuorlineSigner.dll", other);
    const wchar_t* const server = L"CLSID\\{7E48C5CF-72F6-4C84-9F43-B04B87B31243}\\InprocServer32";
    const CChangedValue changed(HKEY_CLASSES_ROOT, server, nullptr, other.c_str());
    const CProgramResult result = RunQuorline(L"register");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("QuorlineSigner.dll: left out, since this machine has another script signer\r\n"));
    wchar_t path[MAX_PATH] = L"";
    DWORD size = sizeof path;
    RegGetValueW(HKEY_CLASSES_ROOT, server, nullptr, RRF_RT_REG_SZ, nullptr, path, &size);
    EXPECT_EQ(path, other);
}

TEST_F(RegisterCommand, TheFolderOfTheApplicationsFileIsMadeForAdministratorsAloneToWrite) {
    const CChangedValue changed(HKEY_LOCAL_MACHINE, SharedFolders, L"Common AppData", m_folder.Path().c_str());
    const std::wstring folder = Path(L"Quorline");
    const CProgramResult result = RunQuorline(L"register");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.out, HasSubstr(ToUtf8(folder) + ": made, for administrators to write\r\n"));
    const CRights kept = RightsOf(folder);
    EXPECT_THAT(kept.allowed, Not(Contains(Key(Everyone))));
    EXPECT_THAT(kept.allowed, Not(Contains(Key(Users))));
    for (const std::wstring& writer : kept.Writers())
        EXPECT_THAT(writer, AnyOf(Eq(System), Eq(Administrators), Eq(kept.owner)));
    EXPECT_THAT(RunQuorline(L"register").out, Not(HasSubstr("made, for administrators"))) << "it is there";
}

TEST_F(RegisterCommand, AFolderThatCannotBeMadeIsToldWithWhatToDo) {
    Put(L"file", "");
    const CChangedValue changed(HKEY_LOCAL_MACHINE, SharedFolders, L"Common AppData", Path(L"file").c_str());
    const CProgramResult result = RunQuorline(L"register");
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("file\\Quorline could not be made: "), HasSubstr("; run this as administrator\r\n")));
    EXPECT_THAT(result.out, HasSubstr("Quorline.dll: registered")) << "the rest is done";
}
