// Proves base/PathHelper, base/UniqueHandle, Common/RpcHelper and Common/CriticalSection.

#include "Common/CriticalSection.h"
#include "base/PathHelper.h"
#include "Common/RpcHelper.h"
#include "base/UniqueHandle.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "TempFolder.h"
#include "base/Exceptions.h"

#include <rpc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <mutex>
#include <thread>

namespace {
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

template <class Action> unsigned long Code(Action action) {
    try {
        action();
    } catch (const COSException& failure) {
        return failure.GetErrorCode();
    }
    return 0;
}

HMODULE Self() {
    return GetModuleHandleW(nullptr);
}
HRESULT WINAPI FailingCoCreateGuid(GUID*) {
    return E_FAIL;
}
RPC_STATUS WINAPI FailingUuidCreate(UUID*) {
    return static_cast<RPC_STATUS>(0x80070005);
}
RPC_STATUS WINAPI LocalUuidCreate(UUID* guid) {
    *guid = {};
    guid->Data1 = 7;
    return RPC_S_UUID_LOCAL_ONLY;
}
/// A short form that is longer than the path, and does not fit.
DWORD WINAPI OverlongShortPath(const wchar_t*, wchar_t*, DWORD room) {
    return room + 5;
}
RPC_STATUS WINAPI FailingUuidToString(UUID*, RPC_WSTR*) {
    return RPC_S_OUT_OF_MEMORY;
}

const GUID Known = {0x44a2f2b5, 0x90f0, 0x46c0, {0x9d, 0xdf, 0xc5, 0x80, 0xe0, 0x29, 0x4c, 0xbc}};
constexpr const wchar_t* KnownText = L"44a2f2b5-90f0-46c0-9ddf-c580e0294cbc";
} // namespace

TEST(JoinPath, PutsExactlyOneBackslashAtTheSeam) {
    const struct {
        const wchar_t* first;
        const wchar_t* second;
        const wchar_t* joined;
    } cases[] = {
        {L"C:\\dir", L"save.vbs", L"C:\\dir\\save.vbs"},
        {L"C:\\dir\\", L"\\save.vbs", L"C:\\dir\\save.vbs"},
        {L"C:\\dir\\", L"save.vbs", L"C:\\dir\\save.vbs"},
        {L"C:\\dir", L"\\save.vbs", L"C:\\dir\\save.vbs"},
        {L"", L"save.vbs", L"save.vbs"},
        {L"", L"\\save.vbs", L"\\save.vbs"},
        {L"C:\\dir", L"", L"C:\\dir"},
        {L"C:\\dir\\", L"", L"C:\\dir\\"},
        {L"", L"", L""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(JoinPath(c.first, c.second), c.joined);
}

TEST(CanonicalPath, SpellingsOfOneFileMeet) {
    const CTempFolder folder;
    std::ofstream(std::filesystem::path(folder.Path() + L"\\a long file name.text")) << "x";
    std::wstring one;
    std::wstring other;
    EXPECT_EQ(GetCanonicalPath(folder.Path() + L"\\a long file name.text", one), 0u);
    EXPECT_EQ(GetCanonicalPath(folder.Path() + L"\\.\\x\\..\\A LONG FILE NAME.text", other), 0u);
    EXPECT_EQ(_wcsicmp(one.c_str(), other.c_str()), 0);
    wchar_t shortForm[MAX_PATH] = L"";
    GetShortPathNameW((folder.Path() + L"\\a long file name.text").c_str(), shortForm, MAX_PATH);
    EXPECT_EQ(std::wstring(shortForm).find(L"a long"), std::wstring::npos);
    EXPECT_EQ(GetCanonicalPath(shortForm, other), 0u);
    EXPECT_EQ(_wcsicmp(one.c_str(), other.c_str()), 0);
}

TEST(CanonicalPath, AShortFormThatDoesNotFitIsRefused) {
    std::wstring path = L"as it was";
    const CImportHook hook(Self(), "GetShortPathNameW", &OverlongShortPath);
    EXPECT_EQ(GetCanonicalPath(L"C:\\windows", path), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
    EXPECT_EQ(path, L"as it was");
}

TEST(CanonicalPath, TheLongestPathHas259Characters) {
    std::wstring path;
    const std::wstring start = L"C:\\";
    EXPECT_EQ(GetCanonicalPath(start + std::wstring(256, L'a'), path), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(GetCanonicalPath(start + std::wstring(257, L'a'), path), static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
}

TEST(CanonicalPath, AMissingFileAndAnOverlongPathHaveNone) {
    std::wstring path = L"as it was";
    EXPECT_EQ(GetCanonicalPath(L"C:\\no such file.txt", path), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(GetCanonicalPath(L"C:\\" + std::wstring(300, L'a'), path),
              static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE));
    EXPECT_NE(GetCanonicalPath(L"", path), 0u);
    EXPECT_EQ(path, L"as it was");
}

TEST(Guid, PrintsAndReadsTheSameText) {
    EXPECT_EQ(CGuid(Known).ToString(), KnownText);
    EXPECT_TRUE(IsEqualGUID(CGuid(std::wstring(KnownText)).GetGuid(), Known));
    EXPECT_TRUE(CGuid(std::wstring(L"44A2F2B5-90F0-46C0-9DDF-C580E0294CBC")).IsValid());
    const CGuid fresh;
    EXPECT_TRUE(fresh.IsValid());
    EXPECT_FALSE(IsEqualGUID(fresh.GetGuid(), CGuid().GetGuid()));
    EXPECT_FALSE(IsEqualGUID(CreateGUID(), CreateGUID()));
}

TEST(Guid, TextThatIsNoneIsRefused) {
    for (const wchar_t* text : {L"", L"x", L"{44a2f2b5-90f0-46c0-9ddf-c580e0294cbc}"}) {
        CLogLines log;
        EXPECT_EQ(Code([&] { CGuid{std::wstring(text)}; }), static_cast<unsigned long>(RPC_S_INVALID_STRING_UUID));
        EXPECT_THAT(log.At(L"ERROR"),
                    ElementsAre(StartsWith(L"TalvinorGlobal: Failure HRESULT=0x6a9; \"Could not init guid from "
                                           L"string\"; at Common/RpcHelper; line ")));
        EXPECT_THAT(log.At(L"ERROR")[0], HasSubstr(L"; CGuid::CGuid"));
    }
}

TEST(Guid, WithoutOneThereIsNoText) {
    CLogLines log;
    CGuid guid(Known);
    guid.SetValid(false);
    EXPECT_EQ(Code([&] { guid.ToString(); }), 0x80004005u);
    EXPECT_THAT(log.At(L"ERROR"),
                ElementsAre(HasSubstr(L"Failure HRESULT=0x80004005; \"Failed to convert guid to string\"; at ")));
    guid.SetGuid(Known);
    EXPECT_EQ(guid.ToString(), KnownText);
}

TEST(Guid, TheSystemsFailuresAreRaised) {
    CLogLines log;
    {
        const CImportHook hook(Self(), "CoCreateGuid", &FailingCoCreateGuid);
        EXPECT_EQ(Code([] { CGuid{}; }), 0x80004005u);
    }
    {
        const CImportHook hook(Self(), "UuidCreate", &FailingUuidCreate);
        EXPECT_EQ(Code([] { CreateGUID(); }), 0x80070005u);
    }
    {
        const CImportHook hook(Self(), "UuidToStringW", &FailingUuidToString);
        EXPECT_EQ(Code([] { CGuid(Known).ToString(); }), static_cast<unsigned long>(RPC_S_OUT_OF_MEMORY));
    }
    const CTexts lines = log.At(L"ERROR");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_THAT(lines[0],
                HasSubstr(L"Failure HRESULT=0x80004005; \"Could not generate guid\"; at Common/RpcHelper; line "));
    EXPECT_THAT(lines[0], HasSubstr(L"; CGuid::CGuid"));
    EXPECT_EQ(lines[1], L"TalvinorGlobal: Failure HRESULT=0x80070005; \"Failed to generate guid\"; at "
                        L"Common/RpcHelper; line 46; CreateGUID");
    EXPECT_THAT(lines[2],
                HasSubstr(L"Failure HRESULT=0xe; \"Failed to convert guid to string\"; at Common/RpcHelper; line "));
}

TEST(Guid, ALocallyUniqueOneIsAccepted) {
    const CImportHook hook(Self(), "UuidCreate", &LocalUuidCreate);
    EXPECT_EQ(CreateGUID().Data1, 7u);
}

TEST(CriticalSection, KeepsOtherThreadsOutAndLetsItsOwnIn) {
    CCriticalSection section;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < 10'000; ++k) {
                const std::lock_guard outer(section);
                const std::lock_guard inner(section);
                count = count + 1;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(count, 40'000);
}

namespace {
BOOL WINAPI FailingInitializeCriticalSectionEx(LPCRITICAL_SECTION, DWORD, DWORD) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
}
} // namespace

TEST(CriticalSection, OneThatCannotBeMadeRaisesItsHResult) {
    const CLogLines log;
    const CImportHook hook(Self(), "InitializeCriticalSectionEx", &FailingInitializeCriticalSectionEx);
    EXPECT_EQ(Code([] { CCriticalSection{}; }), 0x80070008u);
}

TEST(UniqueHandle, ClosesOnceAndGivesUpWhatIsDetached) {
    CUniqueHandle first(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    const HANDLE raw = first.Get();
    CUniqueHandle second(std::move(first));
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move): a moved handle is empty
    EXPECT_EQ(second.Get(), raw);
    EXPECT_EQ(WaitForSingleObject(raw, 0), WAIT_OBJECT_0);
    second.Reset();
    EXPECT_EQ(WaitForSingleObject(raw, 0), WAIT_FAILED);
    CUniqueHandle third(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    const HANDLE kept = third.Detach();
    EXPECT_FALSE(third);
    EXPECT_TRUE(CloseHandle(kept));
    EXPECT_FALSE(CUniqueHandle(INVALID_HANDLE_VALUE));
}

TEST(UniqueHandle, WhatWasHeldIsClosedBeforeAnotherIsPutIn) {
    CUniqueHandle owner(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    const HANDLE before = owner.Get();
    EXPECT_EQ(*owner.Put(), nullptr);
    EXPECT_EQ(WaitForSingleObject(before, 0), WAIT_FAILED);
    const HANDLE kept = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    CUniqueHandle other(kept);
    other = CUniqueHandle(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    EXPECT_EQ(WaitForSingleObject(kept, 0), WAIT_FAILED);
    EXPECT_TRUE(other);
}
