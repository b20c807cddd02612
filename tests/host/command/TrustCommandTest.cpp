// The commands that make and trust certificates, on this machine's own stores. Proves CertCommand and TrustCommand.

#include "CommandFixture.h"

#include "CertificateBuilder.h"
#include "DeniedKey.h"
#include "certificates/CertificateStore.h"
#include "crypto/KeyContainer.h"

#include <nlohmann/json.hpp>

#include <thread>

namespace {
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::wstring Stores = L"Software\\Microsoft\\SystemCertificates\\";

bool MachineHolds(const wchar_t* store, PCCERT_CONTEXT certificate) {
    return StoreHolds(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, store).Get(), certificate);
}

/// Puts a certificate back among the machine's publishers whenever it is taken out, as a policy does.
class CPublisherPolicy {
public:
    explicit CPublisherPolicy(std::wstring thumbprint) : m_thumbprint(std::move(thumbprint)) {
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, (Stores + L"TrustedPublisher\\Certificates").c_str(), 0,
                                KEY_ALL_ACCESS, m_publishers.Put()),
                  ERROR_SUCCESS);
        DWORD size = 0;
        RegGetValueW(m_publishers.Get(), m_thumbprint.c_str(), L"Blob", RRF_RT_REG_BINARY, nullptr, nullptr, &size);
        m_blob.resize(size);
        EXPECT_EQ(RegGetValueW(m_publishers.Get(), m_thumbprint.c_str(), L"Blob", RRF_RT_REG_BINARY, nullptr,
                               m_blob.data(), &size),
                  ERROR_SUCCESS);
        m_thread = std::thread([this] { Watch(); });
    }
    ~CPublisherPolicy() {
        SetEvent(m_stop.Get());
        m_thread.join();
    }
    CPublisherPolicy(const CPublisherPolicy&) = delete;
    CPublisherPolicy& operator=(const CPublisherPolicy&) = delete;

private:
    void Watch() {
        const HANDLE events[] = {m_stop.Get(), m_changed.Get()};
        do {
            RegNotifyChangeKeyValue(m_publishers.Get(), TRUE, REG_NOTIFY_CHANGE_NAME, m_changed.Get(), TRUE);
            RegSetKeyValueW(m_publishers.Get(), m_thumbprint.c_str(), L"Blob", REG_BINARY, m_blob.data(),
                            static_cast<DWORD>(m_blob.size()));
        } while (WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1);
    }

    std::wstring m_thumbprint;
    CUniqueRegKey m_publishers;
    std::vector<BYTE> m_blob;
    CUniqueHandle m_stop{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    CUniqueHandle m_changed{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::thread m_thread;
};

using TrustCommand = CommandTest;
} // namespace

TEST_F(TrustCommand, ADevelopmentCertificateIsTrustedByNobodyUntilItIsSaid) {
    const CProgramResult made = RunQuorline(L"cert --new-development --json --out " + Quoted(L"dev.cer"));
    ASSERT_EQ(made.exitCode, 0u) << made.err;
    const auto said = nlohmann::json::parse(made.out);
    EXPECT_EQ(said["subject"], "CN=Quorline Development");
    EXPECT_EQ(said["file"], ToUtf8(Path(L"dev.cer")));
    const auto certificates = ReadCertificates(Path(L"dev.cer"));
    const PCCERT_CONTEXT certificate = certificates.at(0).Get();
    EXPECT_EQ(said["thumbprint"], ToUtf8(ThumbprintOf(certificate)));
    EXPECT_FALSE(MachineHolds(L"Root", certificate));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", certificate));

    const CProgramResult trusted = RunQuorline(L"trust " + Quoted(L"dev.cer"));
    EXPECT_EQ(trusted.exitCode, 0u) << trusted.err;
    EXPECT_THAT(trusted.out, HasSubstr("CN=Quorline Development: now a trusted root"));
    EXPECT_THAT(trusted.out, HasSubstr("CN=Quorline Development: now a trusted publisher"));
    EXPECT_TRUE(MachineHolds(L"Root", certificate));
    EXPECT_TRUE(MachineHolds(L"TrustedPublisher", certificate));
}

TEST_F(TrustCommand, DistrustTakesBackBothStores) {
    ASSERT_EQ(RunQuorline(L"cert --new-development --out " + Quoted(L"dev.cer")).exitCode, 0u);
    ASSERT_EQ(RunQuorline(L"trust " + Quoted(L"dev.cer")).exitCode, 0u);
    const auto certificates = ReadCertificates(Path(L"dev.cer"));
    const PCCERT_CONTEXT certificate = certificates.at(0).Get();
    const CProgramResult result = RunQuorline(L"distrust --json " + Quoted(L"dev.cer"));
    EXPECT_EQ(result.exitCode, 0u) << result.err;
    EXPECT_FALSE(MachineHolds(L"Root", certificate));
    EXPECT_FALSE(MachineHolds(L"TrustedPublisher", certificate));
    const auto said = nlohmann::json::parse(result.out)["certificates"][0];
    EXPECT_EQ(said["thumbprint"], ToUtf8(ThumbprintOf(certificate)));
    EXPECT_EQ(said["root"], true);
    EXPECT_EQ(said["publisher"], true);
    EXPECT_THAT(RunQuorline(L"distrust " + Quoted(L"dev.cer")).out, HasSubstr("was not trusted"));
}

TEST_F(TrustCommand, ANewProcessTellsWhetherTheTrustLasts) {
    ASSERT_EQ(RunQuorline(L"cert --new-development --out " + Quoted(L"dev.cer")).exitCode, 0u);
    EXPECT_EQ(RunQuorline(L"trusted " + Quoted(L"dev.cer")).exitCode, 1u);
    EXPECT_EQ(RunQuorline(L"untrusted " + Quoted(L"dev.cer")).exitCode, 0u);
    ASSERT_EQ(RunQuorline(L"trust " + Quoted(L"dev.cer")).exitCode, 0u);
    EXPECT_EQ(RunQuorline(L"trusted " + Quoted(L"dev.cer")).exitCode, 0u);
    EXPECT_EQ(RunQuorline(L"untrusted " + Quoted(L"dev.cer")).exitCode, 1u);
}

TEST_F(TrustCommand, WithoutTheRightsItIsToldToRunThisAsAdministrator) {
    ASSERT_EQ(RunQuorline(L"cert --new-development --out " + Quoted(L"dev.cer")).exitCode, 0u);
    {
        const CDeniedKey denied(HKEY_LOCAL_MACHINE, Stores + L"TrustedPublisher");
        const CProgramResult result = RunQuorline(L"trust " + Quoted(L"dev.cer"));
        EXPECT_EQ(result.exitCode, 1u) << result.out;
        EXPECT_THAT(result.err, AllOf(StartsWith("quorline: cannot open the certificate store 'TrustedPublisher': "),
                                      EndsWith("; run this as administrator\r\n")));
    }
    ASSERT_EQ(RunQuorline(L"trust " + Quoted(L"dev.cer")).exitCode, 0u);
    const CDeniedKey denied(HKEY_LOCAL_MACHINE, Stores + L"TrustedPublisher");
    const CProgramResult result = RunQuorline(L"distrust " + Quoted(L"dev.cer"));
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_THAT(result.err, EndsWith("; run this as administrator\r\n"));
}

TEST_F(TrustCommand, WhatTheMachineDoesNotKeepIsToldByANewProcess) {
    ASSERT_EQ(RunQuorline(L"cert --new-development --out " + Quoted(L"dev.cer")).exitCode, 0u);
    const std::string next = "; run this as administrator, and see whether a policy manages this machine's "
                             "certificates.\r\n";
    {
        const CDeniedKey denied(HKEY_LOCAL_MACHINE, Stores + L"TrustedPublisher\\Certificates");
        const CProgramResult result = RunQuorline(L"trust " + Quoted(L"dev.cer"));
        EXPECT_EQ(result.exitCode, 1u) << result.out;
        EXPECT_THAT(result.err, AllOf(StartsWith("quorline: this machine did not keep what is in '"), EndsWith(next)));
    }
    ASSERT_EQ(RunQuorline(L"trust " + Quoted(L"dev.cer")).exitCode, 0u);
    const auto certificates = ReadCertificates(Path(L"dev.cer"));
    {
        const CPublisherPolicy policy(ThumbprintOf(certificates.at(0).Get()));
        const CProgramResult result = RunQuorline(L"distrust " + Quoted(L"dev.cer"));
        EXPECT_EQ(result.exitCode, 1u) << result.out;
        EXPECT_THAT(result.err, AllOf(StartsWith("quorline: this machine still trusts what is in '"), EndsWith(next)));
    }
    EXPECT_EQ(RunQuorline(L"distrust " + Quoted(L"dev.cer")).exitCode, 0u);
}

TEST_F(TrustCommand, ACertificateOfAServerIsNothingToTrust) {
    const std::wstring container = L"Quorline Server " + std::to_wstring(GetCurrentProcessId());
    {
        const CUniqueProvider key = CreateRsaKey(container);
        const CSigningKey signing(key.Get(), AT_SIGNATURE);
        const CUniqueCertificate root =
            BuildCertificate({L"CN=Somebody", HoursFromNow(-1), HoursFromNow(1), {}, true}, key.Get());
        const CCertificateIssuer by{root.Get(), signing};
        const CUniqueCertificate server = BuildCertificate(
            {L"CN=Server", HoursFromNow(-1), HoursFromNow(1), {szOID_PKIX_KP_SERVER_AUTH}}, key.Get(), &by);
        const CBytesView bytes = EncodedBytes(server.Get());
        Put(L"server.cer", std::string(bytes.begin(), bytes.end()));
    }
    DeleteRsaKey(container);
    const CProgramResult result = RunQuorline(L"trust " + Quoted(L"server.cer"));
    EXPECT_EQ(result.exitCode, 1u) << result.out;
    EXPECT_EQ(result.err,
              "quorline: CN=Server: neither a root nor for code signing, nothing to trust; name the file of a "
              "root, or of a certificate that signs scripts\r\n");
}

TEST_F(TrustCommand, AFileWithoutCertificatesIsNamed) {
    Put(L"no.cer", "no");
    const CProgramResult result = RunQuorline(L"trust " + Quoted(L"no.cer"));
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, HasSubstr("no.cer' is no certificate"));
}
