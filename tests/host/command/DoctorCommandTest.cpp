// doctor, on this machine with one thing wrong at a time. Proves DoctorCommand, Registration and ProductName.

#include "CertificateBuilder.h"
#include "ChangedValue.h"
#include "CommandFixture.h"
#include "crypto/KeyContainer.h"

#include <nlohmann/json.hpp>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using DoctorCommand = CommandTest;

constexpr const wchar_t* SignerServer = L"CLSID\\{7E48C5CF-72F6-4C84-9F43-B04B87B31243}\\InprocServer32";
} // namespace

TEST_F(DoctorCommand, AMachineInOrderIsToldWithTheSignersOwnerAndTheLogsPlace) {
    const CProgramResult result = RunQuorline(L"doctor");
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_THAT(result.err, IsEmpty());
    for (const char* text :
         {"good       the scripting library, ", "good       the session server, ", "good       the script signer, ",
          "QuorlineSigner.dll (Quorline script signer, Quorline)", "good       the engine of VBScript",
          "good       the engine of JScript", "good       the documents folder, ", " MB free", "good       the log, ",
          "TalvinorSession.log", "good       the publisher CN=Quorline", "done       nothing is wrong"})
        EXPECT_THAT(result.out, HasSubstr(text));
}

TEST_F(DoctorCommand, WhatIsNotRegisteredIsToldUntilItIs) {
    ASSERT_EQ(RunQuorline(L"unregister").exitCode, 0u);
    const CProgramResult sick = RunQuorline(L"doctor");
    EXPECT_EQ(sick.exitCode, 1u);
    for (const char* what : {"the scripting library", "the session server", "the script signer"})
        EXPECT_THAT(sick.err,
                    HasSubstr(std::string(what) + " is not registered; run as administrator: quorline register"));
    EXPECT_EQ(RunQuorline(L"register").exitCode, 0u);
    EXPECT_EQ(RunQuorline(L"doctor").exitCode, 0u);
}

TEST_F(DoctorCommand, MissingProxiesAloneAreToldAndRegisteredAgain) {
    ASSERT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, L"Interface\\{C37DBD08-2F98-4AB1-A7C7-E02A4CEFA2E5}"), ERROR_SUCCESS);
    const CProgramResult sick = RunQuorline(L"doctor");
    EXPECT_EQ(sick.exitCode, 1u);
    EXPECT_THAT(sick.err, AllOf(HasSubstr("the session server, "),
                                HasSubstr(" is not registered: the proxies of its interfaces are missing; run as "
                                          "administrator: quorline register")));
    EXPECT_EQ(RunQuorline(L"register").exitCode, 0u);
    EXPECT_EQ(RunQuorline(L"doctor").exitCode, 0u);
}

TEST_F(DoctorCommand, AMissingVBScriptIsToldWithHowToAddIt) {
    const CChangedValue changed(HKEY_CLASSES_ROOT, L"VBScript\\CLSID", nullptr, nullptr);
    const CProgramResult result = RunQuorline(L"doctor");
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("the engine of VBScript does not start: "),
                      HasSubstr("DISM /Online /Add-Capability /CapabilityName:VBSCRIPT~~~~"),
                      HasSubstr("write new scripts in JScript"), Not(HasSubstr("the engine of JScript does"))));
}

TEST_F(DoctorCommand, AMissingJScriptIsToldWithHowToMendWindows) {
    const CChangedValue changed(HKEY_CLASSES_ROOT, L"JScript\\CLSID", nullptr, nullptr);
    const CProgramResult result = RunQuorline(L"doctor");
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, AllOf(HasSubstr("the engine of JScript does not start: "),
                                  HasSubstr("mend Windows' own files as administrator: sfc /scannow"),
                                  Not(HasSubstr("the engine of VBScript does"))));
}

TEST_F(DoctorCommand, AnotherSignerIsToldWithWhereItLiesAndWhoseItIs) {
    const std::wstring other = Path(L"OtherSigner.dll");
    std::filesystem::copy_file(ProgramFolder() + L"\\QuorlineSigner.dll", other);
    {
        const CChangedValue changed(HKEY_CLASSES_ROOT, SignerServer, nullptr, other.c_str());
        const CProgramResult result = RunQuorline(L"doctor");
        EXPECT_EQ(result.exitCode, 0u) << result.err;
        EXPECT_THAT(result.out, HasSubstr("good       the script signer, " + ToUtf8(other) +
                                          " (Quorline script signer, Quorline)"));
    }
    const CChangedValue changed(HKEY_CLASSES_ROOT, SignerServer, nullptr, L"C:\\windows\\system32\\msi.dll");
    const CProgramResult result = RunQuorline(L"doctor");
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, AllOf(HasSubstr("the script signer, C:\\windows\\system32\\msi.dll (Wine MSI dll, Wine, "),
                                  HasSubstr(") is registered, but does not load: ")));
}

TEST_F(DoctorCommand, ADocumentsFolderThatCannotBeWrittenIsTold) {
    Put(L"file", "");
    m_documents.Point(Path(L"file"));
    const CProgramResult result = RunQuorline(L"doctor");
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, HasSubstr("the documents folder"));
}

TEST_F(DoctorCommand, ALogThatCannotBeWrittenIsTold) {
    Put(L"file", "");
    const CChangedValue changed(HKEY_CURRENT_USER,
                                L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
                                L"Local AppData", Path(L"file").c_str());
    const CProgramResult result = RunQuorline(L"doctor");
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, HasSubstr("quorline: the log"));
}

TEST_F(DoctorCommand, AStoreThatCannotBeReadIsToldWithItsPlaceAlsoAsData) {
    std::filesystem::create_directories(m_documents.Base() / L"broken");
    std::ofstream(m_documents.Base() / L"broken" / L"info.xml") << "<Nothing";
    const CProgramResult result = RunQuorline(L"doctor --json");
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, AllOf(HasSubstr("the store "), HasSubstr("broken cannot be read: ")));
    const auto answer = nlohmann::json::parse(result.out);
    EXPECT_THAT(answer["log"], HasSubstr("TalvinorSession.log"));
    std::vector<nlohmann::json> bad;
    for (const auto& finding : answer["findings"])
        if (!finding["good"])
            bad.push_back(finding);
    ASSERT_EQ(bad.size(), 1u) << answer;
    EXPECT_THAT(bad[0]["what"], HasSubstr("broken"));
    EXPECT_THAT(bad[0]["problem"], HasSubstr("cannot be read"));
    EXPECT_THAT(bad[0]["remedy"], HasSubstr("info.xml"));
}

TEST_F(DoctorCommand, APublisherNearItsEndIsToldThirtyDaysBefore) {
    const std::wstring container = L"Quorline Ending " + std::to_wstring(GetCurrentProcessId());
    CUniqueCertificate ending;
    {
        const CUniqueProvider key = CreateRsaKey(container);
        ending = BuildCertificate({L"CN=Ending", HoursFromNow(-1), HoursFromNow(29 * 24), {szOID_PKIX_KP_CODE_SIGNING}},
                                  key.Get());
    }
    DeleteRsaKey(container);
    TrustCertificate(ending.Get(), {false, true});
    const CProgramResult result = RunQuorline(L"doctor --quiet");
    DistrustCertificate(ending.Get());
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, AllOf(HasSubstr("the publisher CN=Ending ("), HasSubstr("the certificate ends in 28 days"),
                                  HasSubstr("sign the scripts again with a new certificate")));
    EXPECT_THAT(RunQuorline(L"doctor").err, Not(HasSubstr("CN=Ending")));
}
