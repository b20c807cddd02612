// Proves which certificate of the stores is taken to sign: SigningCertificate.

#include "common/SignerErrors.h"
#include "TestAuthority.h"

#include <gtest/gtest.h>

namespace {

/// A store of the current user for one test, with certificates whose keys are at hand.
class SigningCertificate : public testing::Test {
protected:
    static std::wstring Find(const std::wstring& name) {
        try {
            return ThumbprintOf(CSigningCertificate::FromStore(name, CScratchStore::Name()).Get());
        } catch (const CSignerError& error) {
            return error.Text();
        }
    }

    CScratchStore m_store;
    const std::wstring m_name = CScratchStore::Name();
};

TEST_F(SigningCertificate, IsFoundByThumbprintAndByName) {
    const CUniqueCertificate one = Authority().Issue(CodeSigningRequest(L"CN=One, O=Elsewhere"));
    const CUniqueCertificate two = Authority().Issue(CodeSigningRequest(L"CN=Two"));
    m_store.Add(one.Get());
    m_store.Add(two.Get());
    const std::wstring thumbprint = ThumbprintOf(one.Get());
    std::wstring pasted = L"\x200E";
    for (std::size_t i = 0; i < thumbprint.size(); i += 2)
        pasted += thumbprint.substr(i, 2) + L" ";
    std::wstring lower = thumbprint;
    for (wchar_t& character : lower)
        character = static_cast<wchar_t>(towlower(character));
    for (const std::wstring& name : {thumbprint, pasted, lower, std::wstring(L"one"), SubjectOf(one.Get())})
        EXPECT_EQ(thumbprint, Find(name)) << testing::PrintToString(name);
    EXPECT_EQ(L"no certificate for code signing with a private key is called 'Three' in the store '" + m_name + L"'",
              Find(L"Three"));
    EXPECT_TRUE(Find(L"").starts_with(L"several certificates can sign; name one by its thumbprint: "));
}

TEST_F(SigningCertificate, InTheUsersAndTheMachinesStoreItIsStillOne) {
    CScratchStore machine(HKEY_LOCAL_MACHINE);
    const CUniqueCertificate one = Authority().Issue(CodeSigningRequest(L"CN=One"));
    // The user's store shows the machine's as well: added to it second, the certificate would stay where it is.
    m_store.Add(one.Get());
    machine.Add(one.Get());
    EXPECT_EQ(ThumbprintOf(one.Get()), Find(L""));
    EXPECT_EQ(ThumbprintOf(one.Get()), Find(L"One"));
    EXPECT_EQ(ThumbprintOf(one.Get()), Find(ThumbprintOf(one.Get())));
}

TEST_F(SigningCertificate, IsChosenByItselfWhenThereIsOneAndTheNewestOfSeveralForOneSubject) {
    EXPECT_EQ(L"no certificate for code signing with a private key is in the store '" + m_name + L"'", Find(L""));
    CCertificateRequest older = CodeSigningRequest(L"CN=One");
    older.notBefore = HoursFromNow(-500);
    const CUniqueCertificate old = Authority().Issue(older);
    const CUniqueCertificate renewed = Authority().Issue(CodeSigningRequest(L"CN=One"));
    CCertificateRequest server = CodeSigningRequest(L"CN=Server");
    server.usages = {szOID_PKIX_KP_SERVER_AUTH};
    m_store.Add(renewed.Get());
    m_store.Add(old.Get());
    m_store.Add(Authority().Issue(server).Get());
    EXPECT_EQ(ThumbprintOf(renewed.Get()), Find(L""));
    EXPECT_EQ(ThumbprintOf(old.Get()), Find(ThumbprintOf(old.Get())));
}

} // namespace
