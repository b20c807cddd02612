// Proves privileges and the text of a SID: security/SecurityUtils.

#include "security/SecurityUtils.h"

#include "base/UniqueHandle.h"

#include "ImportHook.h"
#include "LogLines.h"
#include "ProcessUse.h"
#include "SecurityTestSupport.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace {
CSecurityUtils& Utils() {
    return CSecurityUtils::Instance();
}

/// Put together by hand: not every system's own call makes one with the full fifteen sub-authorities.
std::vector<BYTE> MakeSid(const std::array<BYTE, 6>& authority, const std::vector<DWORD>& subAuthorities) {
    std::vector<BYTE> sid{SID_REVISION, static_cast<BYTE>(subAuthorities.size())};
    sid.insert(sid.end(), authority.begin(), authority.end());
    for (const DWORD number : subAuthorities)
        for (int shift = 0; shift < 32; shift += 8)
            sid.push_back(static_cast<BYTE>(number >> shift));
    return sid;
}

std::wstring TextOf(std::vector<BYTE> sid) {
    std::array<wchar_t, 512> text{};
    DWORD size = sizeof(text);
    EXPECT_TRUE(Utils().GetTextualSid(sid.data(), text.data(), &size));
    EXPECT_EQ(sizeof(text), size);
    return text.data();
}

CUniqueHandle OwnToken(DWORD access) {
    CUniqueHandle token;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), access, token.Put()));
    return token;
}
} // namespace

TEST(SecurityUtils, TheLocalSystemSidIsS_1_5_18) {
    EXPECT_EQ(L"S-1-5-18", TextOf(MakeSid({0, 0, 0, 0, 0, 5}, {18})));
}

TEST(SecurityUtils, SidsAreWrittenInTheUsualForm) {
    const std::wstring largest = L"-4294967295";
    std::wstring fifteen;
    for (int count = 0; count < 15; ++count)
        fifteen += largest;
    const struct {
        std::array<BYTE, 6> authority;
        std::vector<DWORD> subAuthorities;
        std::wstring text;
    } cases[] = {
        {{0, 0, 0, 0, 0, 5}, {}, L"S-1-5"},
        {{0, 0, 0, 0, 0, 0}, {0}, L"S-1-0-0"},
        {{0, 0, 0, 0, 0, 5}, {21, 1, 2, 3, 500}, L"S-1-5-21-1-2-3-500"},
        {{0, 0, 1, 2, 3, 4}, {7}, L"S-1-16909060-7"},
        {{0, 0, 255, 255, 255, 255}, {7}, L"S-1-4294967295-7"},
        {{1, 0, 0, 0, 0, 5}, {18}, L"S-1-0x010000000005-18"},
        {{0, 1, 0, 0, 0, 5}, {18}, L"S-1-0x000100000005-18"},
        {{0xAB, 0xCD, 0xEF, 0, 9, 0xFF}, {}, L"S-1-0xabcdef0009ff"},
        {{255, 255, 255, 255, 255, 255}, std::vector<DWORD>(15, 0xFFFFFFFF), L"S-1-0xffffffffffff" + fifteen},
    };
    for (const auto& each : cases)
        EXPECT_EQ(each.text, TextOf(MakeSid(each.authority, each.subAuthorities)));
}

TEST(SecurityUtils, ATooSmallBufferGivesTheRequiredSizeAndError122) {
    // With the log configured the trace lines are written between the failure and its caller.
    const CLogLines log;
    std::array<wchar_t, 512> text{};
    for (const DWORD count : {0, 1, 5, 15}) {
        std::vector<BYTE> sid = MakeSid({0, 0, 0, 0, 0, 5}, std::vector<DWORD>(count, 18));
        const DWORD required = (15 + 12 + 12 * count + 1) * 2;
        for (const DWORD tooSmall : {DWORD{0}, DWORD{2}, required - 1}) {
            DWORD size = tooSmall;
            text[0] = L'?';
            SetLastError(ERROR_SUCCESS);
            EXPECT_FALSE(Utils().GetTextualSid(sid.data(), text.data(), &size));
            EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
            EXPECT_EQ(required, size);
            EXPECT_EQ(L'?', text[0]);
        }
        DWORD size = 0;
        EXPECT_FALSE(Utils().GetTextualSid(sid.data(), nullptr, &size));
        EXPECT_EQ(required, size);
        EXPECT_TRUE(Utils().GetTextualSid(sid.data(), text.data(), &size));
        EXPECT_EQ(required, size);
    }
}

TEST(SecurityUtils, ABadSidOrArgumentHasNoText) {
    std::array<wchar_t, 512> text{};
    DWORD size = sizeof(text);
    std::vector<BYTE> wrongRevision = MakeSid({0, 0, 0, 0, 0, 5}, {18});
    wrongRevision[0] = 2;
    std::vector<BYTE> tooManyNumbers = MakeSid({0, 0, 0, 0, 0, 5}, std::vector<DWORD>(15, 1));
    tooManyNumbers[1] = 16;
    EXPECT_FALSE(Utils().GetTextualSid(nullptr, text.data(), &size));
    EXPECT_FALSE(Utils().GetTextualSid(wrongRevision.data(), text.data(), &size));
    EXPECT_FALSE(Utils().GetTextualSid(tooManyNumbers.data(), text.data(), &size));
    EXPECT_EQ(sizeof(text), size);

    std::vector<BYTE> sid = MakeSid({0, 0, 0, 0, 0, 5}, {18});
    EXPECT_FALSE(Utils().GetTextualSid(sid.data(), text.data(), nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_FALSE(Utils().GetTextualSid(sid.data(), nullptr, &size));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_EQ(L'\0', text[0]);
}

TEST(SecurityUtils, TheOwnerOfAProcessIsItsTokensUser) {
    EXPECT_EQ(OwnSidText(), Utils().GetProcessOwnerSidAsWSTR(GetCurrentProcess()));
    EXPECT_EQ(0U, OwnSidText().find(L"S-1-5-"));
}

TEST(SecurityUtils, AProcessOutOfReachHasNoOwnerText) {
    EXPECT_EQ(L"", Utils().GetProcessOwnerSidAsWSTR(nullptr));
    const CUniqueHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    EXPECT_EQ(L"", Utils().GetProcessOwnerSidAsWSTR(event.Get()));
}

TEST(SecurityUtils, AFailingQueryGivesNoOwnerText) {
    {
        const CImportHook failing(
            Program(), "GetTokenInformation", +[](HANDLE, TOKEN_INFORMATION_CLASS, void*, DWORD, DWORD* size) {
                *size = 16;
                SetLastError(ERROR_ACCESS_DENIED);
                return FALSE;
            });
        EXPECT_EQ(L"", Utils().GetProcessOwnerSidAsWSTR(GetCurrentProcess()));
    }
    {
        const CImportHook failing(
            Program(), "GetTokenInformation", +[](HANDLE, TOKEN_INFORMATION_CLASS, void*, DWORD, DWORD* size) {
                *size = 64;
                SetLastError(ERROR_INSUFFICIENT_BUFFER);
                return FALSE;
            });
        EXPECT_EQ(L"", Utils().GetProcessOwnerSidAsWSTR(GetCurrentProcess()));
    }
    const CImportHook failing(
        Program(), "CopySid", +[](DWORD, PSID, PSID) { return FALSE; });
    EXPECT_EQ(L"", Utils().GetProcessOwnerSidAsWSTR(GetCurrentProcess()));
}

TEST(SecurityUtils, APrivilegeIsSwitchedOnAndOff) {
    const CLogLines log;
    const CUniqueHandle token = OwnToken(TOKEN_ALL_ACCESS);
    EXPECT_TRUE(Utils().SetPrivilege(token.Get(), SE_SHUTDOWN_NAME, TRUE));
    EXPECT_TRUE(HasPrivilege(token.Get(), SE_SHUTDOWN_NAME));
    EXPECT_TRUE(Utils().SetPrivilege(token.Get(), SE_SHUTDOWN_NAME, FALSE));
    EXPECT_FALSE(HasPrivilege(token.Get(), SE_SHUTDOWN_NAME));
    EXPECT_EQ(CTexts{}, log.Of(L"SecUtils.SecurityUtils"));
    EXPECT_EQ(CTexts{}, log.Of(L"TalvinorGlobal"));
}

TEST(SecurityUtils, AnErrorFromBeforeDoesNotCount) {
    const CUniqueHandle token = OwnToken(TOKEN_ALL_ACCESS);
    SetLastError(ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(Utils().SetPrivilege(token.Get(), SE_SHUTDOWN_NAME, FALSE));
}

TEST(SecurityUtils, AnUnknownPrivilegeIsReported) {
    const CLogLines log;
    const CUniqueHandle token = OwnToken(TOKEN_ALL_ACCESS);
    EXPECT_FALSE(Utils().SetPrivilege(token.Get(), L"SeNoSuchPrivilege", TRUE));
    const CTexts lines = log.Of(L"TalvinorGlobal");
    ASSERT_EQ(1U, lines.size());
    const std::wstring start = L"ERROR Call to LookupPrivilegeValue failed.. \"";
    EXPECT_EQ(start, lines[0].substr(0, start.size()));
    const std::wstring middle = L"\" (1313); Called from security/SecurityUtils.cpp; line ";
    EXPECT_NE(std::wstring::npos, lines[0].find(middle)) << testing::PrintToString(lines[0]);
    const std::wstring end = L"; CSecurityUtils::SetPrivilege";
    EXPECT_EQ(end, lines[0].substr(lines[0].size() - end.size()));
    EXPECT_EQ(CTexts{}, log.Of(L"SecUtils.SecurityUtils"));
}

TEST(SecurityUtils, APrivilegeThatTheTokenLacksCountsAsAFailure) {
    const CLogLines log;
    const CUniqueHandle token = OwnToken(TOKEN_ALL_ACCESS);
    EXPECT_FALSE(Utils().SetPrivilege(token.Get(), SE_CREATE_TOKEN_NAME, TRUE));
    EXPECT_EQ((CTexts{L"ERROR Call to AdjustTokenPrivileges failed, error=1300"}), log.Of(L"SecUtils.SecurityUtils"));
}

TEST(SecurityUtils, ATokenThatMustNotBeChangedCountsAsAFailure) {
    const CLogLines log;
    const CUniqueHandle token = OwnToken(TOKEN_QUERY);
    EXPECT_FALSE(Utils().SetPrivilege(token.Get(), SE_SHUTDOWN_NAME, TRUE));
    EXPECT_EQ((CTexts{L"ERROR Call to AdjustTokenPrivileges failed, error=5"}), log.Of(L"SecUtils.SecurityUtils"));
}

TEST(SecurityUtils, AThousandCyclesLeaveNoHandleOpen) {
    CDesktopHandles handles;
    const auto cycle = [&] {
        Utils().EnsureDesktop(handles);
        Utils().RevertDesktop(handles);
        Utils().GetProcessOwnerSidAsWSTR(GetCurrentProcess());
    };
    cycle();
    const DWORD before = HandlesInUse();
    for (int count = 0; count < 1000; ++count)
        cycle();
    EXPECT_EQ(before, HandlesInUse());
}

TEST(SecurityUtils, EveryOperationIsTracedUnderItsName) {
    const CLogLines log;
    CDesktopHandles handles;
    DWORD size = 0;
    Utils().EnsureDesktop(handles);
    Utils().RevertDesktop(handles);
    Utils().SetPrivilege(OwnToken(TOKEN_ALL_ACCESS).Get(), SE_SHUTDOWN_NAME, FALSE);
    Utils().GetTextualSid(nullptr, nullptr, &size);
    Utils().GetProcessOwnerSidAsWSTR(nullptr);
    CTexts expected;
    for (const wchar_t* name :
         {L"EnsureDesktop", L"RevertDesktop", L"SetPrivilege", L"GetTextualSid", L"GetProcessOwnerSidAsWSTR"}) {
        expected.push_back(std::wstring(L"DEBUG Entering -> [CSecurityUtils::") + name + L"]");
        expected.push_back(std::wstring(L"DEBUG Leaving  -> [CSecurityUtils::") + name + L"]");
    }
    EXPECT_EQ(expected, log.Of(L"Trace.CSecurityUtils"));
}
