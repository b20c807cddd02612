// Proves whose token it is that acts: base/EffectiveToken.

#include "base/EffectiveToken.h"

#include "ImportHook.h"

#include <gtest/gtest.h>

namespace {
BOOL g_asSelf = -1;
DWORD g_error = 0;

BOOL WINAPI RefusedThreadToken(HANDLE, DWORD, BOOL asSelf, HANDLE*) {
    g_asSelf = asSelf;
    SetLastError(g_error);
    return FALSE;
}

TOKEN_TYPE TypeOf(const CUniqueHandle& token) {
    TOKEN_TYPE type{};
    DWORD size = 0;
    EXPECT_TRUE(GetTokenInformation(token.Get(), TokenType, &type, sizeof type, &size));
    return type;
}

const auto OpenWithRefusedThreadToken = [](DWORD error) {
    const CImportHook hook(GetModuleHandleW(nullptr), "OpenThreadToken", &RefusedThreadToken);
    g_error = error;
    return OpenEffectiveToken(TOKEN_QUERY);
};
} // namespace

TEST(EffectiveToken, OfAThreadThatActsForSomebodyIsTheThreads) {
    ASSERT_TRUE(ImpersonateSelf(SecurityIdentification));
    const CUniqueHandle token = OpenEffectiveToken(TOKEN_QUERY);
    RevertToSelf();
    ASSERT_TRUE(token);
    EXPECT_EQ(TypeOf(token), TokenImpersonation);
}

TEST(EffectiveToken, OfAnyOtherThreadIsTheProcesss) {
    const CUniqueHandle token = OpenEffectiveToken(TOKEN_QUERY);
    ASSERT_TRUE(token);
    EXPECT_EQ(TypeOf(token), TokenPrimary);
}

TEST(EffectiveToken, AThreadsTokenIsOpenedByTheProcesssRightsAndARefusalIsNotAnsweredWithTheProcesss) {
    // Whom the thread acts for may be no one to be asked: a client that let itself be named only.
    EXPECT_TRUE(OpenWithRefusedThreadToken(ERROR_NO_TOKEN));
    EXPECT_EQ(g_asSelf, TRUE);
    EXPECT_FALSE(OpenWithRefusedThreadToken(ERROR_ACCESS_DENIED));
}
