// Error information for scripts. Proves com/ErrorDispatcher and ErrorInfo.

#include "AutomationFixture.h"

#include "com/ErrorDispatcher.h"

namespace {

/// The system's own text for a code, as the system writes it.
std::wstring SystemText(DWORD code) {
    wchar_t buffer[512] = L"";
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                   MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), buffer, 512, nullptr);
    return buffer;
}

struct CDispatcher : CErrorDispatcher<&IID_ISavedDocument> {
    using CErrorDispatcher::Error;
};

class ErrorDispatcher : public testing::Test {
protected:
    void SetUp() override { SetErrorInfo(0, nullptr); }
    CComApartment apartment;
};

} // namespace

TEST_F(ErrorDispatcher, LeavesSuccessAlone) {
    EXPECT_EQ(CDispatcher::Error(S_OK), S_OK);
    EXPECT_EQ(CDispatcher::Error(S_FALSE, "source", "text"), S_FALSE);
    EXPECT_FALSE(CErrorInformation().IsSet());
}

TEST_F(ErrorDispatcher, DescribesAWin32CodeWithTheSystemsText) {
    const HRESULT hr = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    EXPECT_EQ(CDispatcher::Error(hr), hr);
    const CErrorInformation error;
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.Interface(), IID_ISavedDocument);
    EXPECT_NE(SystemText(ERROR_ACCESS_DENIED), L"");
    EXPECT_EQ(error.Text(&IErrorInfo::GetDescription), SystemText(ERROR_ACCESS_DENIED));
    EXPECT_EQ(error.Text(&IErrorInfo::GetSource), L"");
}

TEST_F(ErrorDispatcher, PrefersTheGivenTexts) {
    EXPECT_EQ(CDispatcher::Error(E_ACCESSDENIED, "Quorline", "no such luck", 7, "quorline.chm"), E_ACCESSDENIED);
    const CErrorInformation error;
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.Text(&IErrorInfo::GetDescription), L"no such luck");
    EXPECT_EQ(error.Text(&IErrorInfo::GetSource), L"Quorline");
    EXPECT_EQ(error.Text(&IErrorInfo::GetHelpFile), L"quorline.chm");
    DWORD context = 0;
    error.info->GetHelpContext(&context);
    EXPECT_EQ(context, 7u);
}

TEST_F(ErrorDispatcher, TakesAWideDescriptionAsItIs) {
    EXPECT_EQ(CDispatcher::Error(E_FAIL, std::wstring(L"\u65e5\u672c {0} %s")), E_FAIL);
    const CErrorInformation given;
    ASSERT_TRUE(given.IsSet());
    EXPECT_EQ(given.Interface(), IID_ISavedDocument);
    EXPECT_EQ(given.Text(&IErrorInfo::GetDescription), L"\u65e5\u672c {0} %s");
    EXPECT_EQ(given.Text(&IErrorInfo::GetSource), L"");

    const HRESULT hr = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    EXPECT_EQ(CDispatcher::Error(hr, std::wstring()), hr);
    EXPECT_EQ(CErrorInformation().Text(&IErrorInfo::GetDescription), SystemText(ERROR_ACCESS_DENIED));
    EXPECT_EQ(CDispatcher::Error(S_FALSE, std::wstring(L"text")), S_FALSE);
    EXPECT_FALSE(CErrorInformation().IsSet());
}

TEST_F(ErrorDispatcher, LeavesTheDescriptionOfAnotherFacilityEmpty) {
    EXPECT_EQ(CDispatcher::Error(E_POINTER), E_POINTER);
    const CErrorInformation error;
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.Text(&IErrorInfo::GetDescription), L"");
}

TEST_F(ErrorDispatcher, ReturnsTheFailureOfTheLookupForACodeWithoutText) {
    const HRESULT unknown = HRESULT_FROM_WIN32(0xFFF0);
    ASSERT_EQ(SystemText(0xFFF0), L"");
    EXPECT_EQ(CDispatcher::Error(unknown), HRESULT_FROM_WIN32(ERROR_MR_MID_NOT_FOUND));
    EXPECT_FALSE(CErrorInformation().IsSet());
}
