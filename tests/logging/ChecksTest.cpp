// Proves what a failed check logs and throws: logging/Checks, CodeLocation, base/Exceptions.

#include "base/LocaleText.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "logging/Checks.h"
#include "logging/Logging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstring>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

constexpr CCodeLocation Here{"Area/Unit", 7, "CUnit::Run"};
constexpr const wchar_t* Place = L"Area/Unit; line 7; CUnit::Run";
constexpr DWORD UnknownError = 0x2fffffff;

/// A system whose texts look like formats.
DWORD WINAPI OddSystemText(DWORD, const void*, DWORD, DWORD, wchar_t* buffer, DWORD, va_list*) {
    constexpr wchar_t Text[] = L"{0:%s} 100% \\{ %n\t \r\n";
    auto* copy = static_cast<wchar_t*>(LocalAlloc(LMEM_FIXED, sizeof(Text)));
    std::memcpy(copy, Text, sizeof(Text));
    *reinterpret_cast<wchar_t**>(buffer) = copy;
    return static_cast<DWORD>(std::size(Text) - 1);
}

class ChecksTest : public testing::Test {
protected:
    template <class Action> unsigned long Code(Action action) {
        try {
            action();
        } catch (const COSException& failure) {
            return failure.GetErrorCode();
        }
        return 0;
    }
    /// The one line that a check writes: an error, on the global logger.
    static std::wstring Line(const std::wstring& text) { return L"ERROR TalvinorGlobal: " + text; }
    static std::wstring SystemText(DWORD code) { return GetSystemErrorText(code); }

    CLogLines m_log;
};
} // namespace

TEST_F(ChecksTest, AFailedWin32CallIsLoggedAndThrown) {
    EXPECT_EQ(Code([] { CheckWin32Error(Here, ERROR_ACCESS_DENIED, L"Open {0:%s}", L"x"); }), 5u);
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Open x. \"" + SystemText(5) + L"\" (5); Called from " + Place)));
    EXPECT_EQ(Code([] { CheckWin32Error(Here, ERROR_ACCESS_DENIED, "Open {0:%d}", 3); }), 5u);
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Open 3. \"" + SystemText(5) + L"\" (5); Called from " + Place)));
}

TEST_F(ChecksTest, SuccessIsNeitherLoggedNorThrown) {
    CheckWin32Error(Here, 0, L"Open");
    CheckWin32Error(Here, 0, "Open");
    LogApiCallFailure(Here, 0, "Open");
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

TEST_F(ChecksTest, AReportedWin32FailureIsWrittenWhateverItsCode) {
    // kept: a message that ends in a full stop gets another.
    LogWin32Error(Here, 5, L"Call to {0:%s} failed.", L"LookupPrivilegeValue");
    LogWin32Error(Here, 0, "nothing");
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Call to LookupPrivilegeValue failed.. \"" + SystemText(5) +
                                               L"\" (5); Called from " + Place),
                                          Line(L"nothing. \"" + SystemText(0) + L"\" (0); Called from " + Place)));
}

TEST_F(ChecksTest, AnErrorThatTheSystemDoesNotKnowHasNoText) {
    LogWin32Error(Here, UnknownError, L"Open");
    LogApiCallFailure(Here, 0xF0000000, "Open");
    EXPECT_THAT(m_log.Take(),
                ElementsAre(Line(std::wstring(L"Open. \"No Error Text Available\" (805306367); Called from ") + Place),
                            Line(std::wstring(L"Call to Open failed with \"No Error Text Available\" (-268435456); "
                                              L"Called from ") +
                                 Place)));
}

TEST_F(ChecksTest, AFailedHResultIsLoggedAndThrown) {
    EXPECT_EQ(Code([] { CheckHResult(Here, E_FAIL, L"CoMarshal {0:%d} failed", 2); }), 0x80004005u);
    EXPECT_EQ(Code([] { CheckHResult(Here, E_ACCESSDENIED, "narrow"); }), 0x80070005u);
    LogHResultFailure(Here, E_FAIL, L"CoInitializeEx failed.");
    LogHResultFailure(Here, E_FAIL, "get_NewState failed.");
    const std::wstring at = std::wstring(L"\"; at ") + Place;
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Failure HRESULT=0x80004005; \"CoMarshal 2 failed" + at),
                                          Line(L"Failure HRESULT=0x80070005; \"narrow" + at),
                                          Line(L"Failure HRESULT=0x80004005; \"CoInitializeEx failed." + at),
                                          Line(L"Failure HRESULT=0x80004005; \"get_NewState failed." + at)));
}

TEST_F(ChecksTest, AFailedRuntimeCallCarriesItsErrno) {
    EXPECT_EQ(Code([] { CheckCrtError(Here, "_tfopen_s", ENOENT); }), static_cast<unsigned long>(ENOENT));
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Call to _tfopen_s failed with \"" + WidenText(std::strerror(ENOENT)) +
                                               L"\" (2); Called from " + Place)));
    EXPECT_EQ(Code([] { CheckCrtError(Here, "fopen", -7); }), 0xFFFFFFF9u);
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Call to fopen failed with \"" + WidenText(std::strerror(-7)) +
                                               L"\" (-7); Called from " + Place)));
}

TEST_F(ChecksTest, AFailedApiCallIsReportedAndSurvived) {
    LogApiCallFailure(Here, 5, "SHCreateDirectory");
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Call to SHCreateDirectory failed with \"" + SystemText(5) +
                                               L"\" (5); Called from " + Place)));
}

TEST_F(ChecksTest, AFailedSanityTestThrowsTheRootOfTheHierarchy) {
    for (const bool wide : {true, false}) {
        try {
            if (wide)
                SanityCheckFailed(Here, L"Filehandle is {0:%s}", L"NULL");
            SanityCheckFailed(Here, "Filehandle is {0:%S}", "NULL");
            FAIL();
        } catch (const CMorvaneException& failure) {
            EXPECT_STREQ(failure.what(), "CMorvaneException");
        }
        EXPECT_THAT(m_log.Take(), ElementsAre(Line(std::wstring(L"Failed sanity test \"Filehandle is NULL\"; tested "
                                                                L"at ") +
                                                   Place)));
    }
}

TEST_F(ChecksTest, NothingButTheMessageIsTakenForAFormat) {
    constexpr CCodeLocation odd{"{0:%s}\\%n", 1, "{1:%d}"};
    CheckWin32Error(odd, 0, L"");
    LogWin32Error(odd, 5, L"{0:%s}", L"{0:%n} \\{ 100%");
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"{0:%n} \\{ 100%. \"" + SystemText(5) +
                                               L"\" (5); Called from {0:%s}\\%n; line 1; {1:%d}")));
    LogApiCallFailure(odd, 5, "{0:%s}%s\\");
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Call to {0:%s}%s\\ failed with \"" + SystemText(5) +
                                               L"\" (5); Called from {0:%s}\\%n; line 1; {1:%d}")));
}

TEST_F(ChecksTest, NoPlaceOrNameOfAnyCheckIsTakenForAFormat) {
    constexpr CCodeLocation odd{"{0:%s}\\%n", 1, "{1:%d}"};
    const std::wstring place = L"{0:%s}\\%n; line 1; {1:%d}";
    Code([&] { CheckHResult(odd, E_FAIL, L"{0:%s}", L"{0:%q}"); });
    Code([&] { CheckCrtError(odd, "{0:%s}%s\\", ENOENT); });
    EXPECT_THROW(SanityCheckFailed(odd, L"{0:%s}", L"{0:%q}"), CMorvaneException);
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(L"Failure HRESULT=0x80004005; \"{0:%q}\"; at " + place),
                                          Line(L"Call to {0:%s}%s\\ failed with \"" + WidenText(std::strerror(ENOENT)) +
                                               L"\" (2); Called from " + place),
                                          Line(L"Failed sanity test \"{0:%q}\"; tested at " + place)));
}

TEST_F(ChecksTest, ASystemTextIsNotTakenForAFormat) {
    const CImportHook hook(GetModuleHandleW(nullptr), "FormatMessageW", &OddSystemText);
    LogWin32Error(Here, 5, L"Open {0:%d}", 1);
    LogApiCallFailure(Here, 5, "Open");
    EXPECT_THAT(
        m_log.Take(),
        ElementsAre(Line(std::wstring(L"Open 1. \"{0:%s} 100% \\{ %n\" (5); Called from ") + Place),
                    Line(std::wstring(L"Call to Open failed with \"{0:%s} 100% \\{ %n\" (5); Called from ") + Place)));
}

TEST_F(ChecksTest, ANarrowMessageIsWidenedByTheRuntimesLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "Japanese_Japan.932");
    LogHResultFailure(Here, E_FAIL, "\x93\xfa\x96\x7b {0:%d}", 1);
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_THAT(m_log.Take(),
                ElementsAre(Line(std::wstring(L"Failure HRESULT=0x80004005; \"\u65e5\u672c 1\"; at ") + Place)));
}

TEST_F(ChecksTest, ABadMessageStillThrowsTheChecksOwnException) {
    EXPECT_EQ(Code([] { CheckWin32Error(Here, 5, L"{0:%q}"); }), 5u);
    EXPECT_EQ(Code([] { CheckHResult(Here, E_FAIL, L"{0:%s}", reinterpret_cast<wchar_t*>(8)); }), 0x80004005u);
    EXPECT_THROW(SanityCheckFailed(Here, L"{:%d}"), CMorvaneException);
    EXPECT_THAT(m_log.Take()[0], testing::HasSubstr(L"{0:%q}***formatting error***. \""));
}

TEST_F(ChecksTest, ALongInsertDoesNotCutTheTail) {
    const std::wstring name(20000, L'n');
    const std::string call(20000, 'c');
    LogWin32Error(Here, 5, L"{0:%s}", name.c_str());
    LogHResultFailure(Here, E_FAIL, L"{0:%s}", name.c_str());
    EXPECT_THROW(SanityCheckFailed(Here, (name + L"{0:%s}").c_str(), name.c_str()), CMorvaneException);
    LogApiCallFailure(Here, 5, call.c_str());
    EXPECT_EQ(Code([&] { CheckCrtError(Here, call.c_str(), ENOENT); }), static_cast<unsigned long>(ENOENT));
    const std::wstring cut(4095, L'n');
    EXPECT_THAT(m_log.Take(), ElementsAre(Line(cut + L". \"" + SystemText(5) + L"\" (5); Called from " + Place),
                                          Line(L"Failure HRESULT=0x80004005; \"" + cut + L"\"; at " + Place),
                                          Line(L"Failed sanity test \"" + name + cut + L"\"; tested at " + Place),
                                          Line(L"Call to " + WidenText(call) + L" failed with \"" + SystemText(5) +
                                               L"\" (5); Called from " + Place),
                                          Line(L"Call to " + WidenText(call) + L" failed with \"" +
                                               WidenText(std::strerror(ENOENT)) + L"\" (2); Called from " + Place)));
}

TEST(Exceptions, NameTheirClass) {
    EXPECT_STREQ(CMorvaneException().what(), "CMorvaneException");
    EXPECT_STREQ(COSException(1).what(), "COSException");
    EXPECT_STREQ(CXmlParseException(L"x").what(), "CXmlParseException");
    EXPECT_STREQ(CIntlHelperException(L"x", 2).what(), "CIntlHelperException");
    EXPECT_THROW(throw CXmlParseException(L"x"), CMorvaneException);
    EXPECT_THROW(throw CIntlHelperException(L"x", 2), CMorvaneException);
    EXPECT_EQ(CXmlParseException(L"not a date").GetText(), L"not a date");
}

TEST(Exceptions, APositiveCodeBecomesAnHResultOfItsLow16Bits) {
    EXPECT_EQ(static_cast<unsigned long>(COSException(5).GetHResult()), 0x80070005u);
    EXPECT_EQ(static_cast<unsigned long>(COSException(0x12345).GetHResult()), 0x80072345u);
    EXPECT_EQ(static_cast<unsigned long>(COSException(0x80004005).GetHResult()), 0x80004005u);
    EXPECT_EQ(COSException(0).GetHResult(), 0);
}

namespace {
class CPlace {
public:
    static CCodeLocation Static() { return QUORLINE_HERE; }
};
CCodeLocation Free(int) {
    return QUORLINE_HERE;
}
} // namespace

TEST(CodeLocation, NamesTheFileTheLineAndTheQualifiedFunction) {
    EXPECT_EQ(Free(1).function, "{anonymous}::Free");
    EXPECT_EQ(CPlace::Static().function, "{anonymous}::CPlace::Static");
    EXPECT_EQ(Free(1).file, "tests/logging/ChecksTest.cpp");
    EXPECT_EQ((CCodeLocation{"a", -3, "f"}.Text()), "a; line -3; f");
}
