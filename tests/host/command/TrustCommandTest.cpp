// The commands that make and trust certificates, on this machine's own stores. Proves CertCommand and TrustCommand.

#include "CommandFixture.h"

#include "certificates/CertificateStore.h"

#include <nlohmann/json.hpp>

namespace {
using testing::HasSubstr;

bool MachineHolds(const wchar_t* store, PCCERT_CONTEXT certificate) {
    return StoreHolds(OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, store).Get(), certificate);
}

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

TEST_F(TrustCommand, AFileWithoutCertificatesIsNamed) {
    Put(L"no.cer", "no");
    const CProgramResult result = RunQuorline(L"trust " + Quoted(L"no.cer"));
    EXPECT_EQ(result.exitCode, 1u);
    EXPECT_THAT(result.err, HasSubstr("no.cer' is no certificate"));
}
