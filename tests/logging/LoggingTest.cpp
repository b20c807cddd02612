// Proves which logger a line goes to and when the settings are looked at: logging/Logging, LogState; base/LocaleText,
// SystemMessage.

#include "base/LocaleText.h"
#include "ImportHook.h"
#include "LogLines.h"
#include "ProcessUse.h"
#include "logging/Logging.h"

#include "InternalRestoreScriptArgs.h"
#include "ScriptExecution/Script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

std::wstring NameOf(const log4cxx::LoggerPtr& logger) {
    std::wstring name;
    logger->getName(name);
    return name;
}

void WriteTo(const log4cxx::LoggerPtr& logger, const log4cxx::LevelPtr& level, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    LogToLoggerV(logger, level, format, args);
    va_end(args);
}

/// The C runtime's locale for the life of the object.
class CLocale {
public:
    explicit CLocale(const char* name) : m_before(std::setlocale(LC_ALL, nullptr)) { std::setlocale(LC_ALL, name); }
    ~CLocale() { std::setlocale(LC_ALL, m_before.c_str()); }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

private:
    std::string m_before;
};
} // namespace

TEST(Logging, EveryLoggerIsTheFallbackUntilLoggingIsConfigured) {
    CLogLines log(false);
    EXPECT_EQ(NameOf(GetClassLogger(L"ScriptExecution.Script")), L"LogHelp.EventLogger");
    EXPECT_EQ(NameOf(GetGlobalLogger()), L"LogHelp.EventLogger");
    EXPECT_EQ(NameOf(GetFallbackLogger()), L"LogHelp.EventLogger");
    LogGlobal(log4cxx::Level::getWarn(), L"{0:%d}", 1);
    CScript().LoadTextFromFile(L"C:\\no such file");
    const CTexts lines = log.Get();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], L"WARN LogHelp.EventLogger: 1");
    EXPECT_TRUE(lines[1].starts_with(L"ERROR LogHelp.EventLogger: "));
}

TEST(Logging, OnceConfiguredEachHasItsOwn) {
    const CLogLines log;
    EXPECT_EQ(NameOf(GetClassLogger(L"ScriptExecution.Script")), L"ScriptExecution.Script");
    EXPECT_EQ(NameOf(GetGlobalLogger()), L"TalvinorGlobal");
}

TEST(Logging, ANamedLoggerIsTakenAsItIsAndNoNameMeansTheRoot) {
    CLogLines log(false);
    LogToNamedLogger(L"Area.Name", log4cxx::Level::getInfo(), L"{0:%s}", L"text");
    LogToNamedLogger(L"", log4cxx::Level::getInfo(), L"root");
    EXPECT_THAT(log.Get(), ElementsAre(L"INFO Area.Name: text", L"INFO root: root"));
}

TEST(Logging, NothingIsFormattedBelowTheLoggersLevel) {
    CLogLines log;
    const auto logger = log4cxx::Logger::getLogger("Area.Quiet");
    logger->setLevel(log4cxx::Level::getError());
    WriteTo(logger, log4cxx::Level::getWarn(), L"{0:%s}", reinterpret_cast<wchar_t*>(8));
    LogTextToLogger(logger, log4cxx::Level::getInfo(), L"no");
    EXPECT_THAT(log.Get(), IsEmpty());
    LogTextToLogger(logger, log4cxx::Level::getError(), L"{0:%s} %n");
    EXPECT_THAT(log.Get(), ElementsAre(L"ERROR Area.Quiet: {0:%s} %n"));
}

TEST(Logging, ABadFormatShowsRaw) {
    CLogLines log;
    LogGlobal(log4cxx::Level::getInfo(), L"{0:%q}", 1);
    EXPECT_THAT(log.Get(), ElementsAre(L"INFO TalvinorGlobal: {0:%q}***formatting error***"));
}

TEST(Logging, TheThreadsLastErrorStays) {
    CLogLines log;
    SetLastError(122);
    LogGlobal(log4cxx::Level::getInfo(), L"x");
    LogToNamedLogger(L"Area", log4cxx::Level::getInfo(), L"x");
    GetSystemErrorText(0xF0000000);
    EXPECT_EQ(GetLastError(), 122u);
}

TEST(Logging, ALevelsNumberIsThatOfTheRegistryAndOfScripts) {
    EXPECT_EQ(LevelFromNumber(0), log4cxx::Level::getError());
    EXPECT_EQ(LevelFromNumber(1), log4cxx::Level::getWarn());
    EXPECT_EQ(LevelFromNumber(2), log4cxx::Level::getInfo());
    EXPECT_EQ(LevelFromNumber(3), log4cxx::Level::getDebug());
    EXPECT_EQ(LevelFromNumber(4), log4cxx::Level::getWarn());
    EXPECT_EQ(LevelFromNumber(0xffffffff), log4cxx::Level::getWarn());
}

TEST(Logging, ASystemTextHasNoLineBreakAtItsEnd) {
    const std::wstring text = GetSystemErrorText(ERROR_ACCESS_DENIED);
    ASSERT_FALSE(text.empty());
    EXPECT_FALSE(iswspace(text.back()));
    EXPECT_EQ(GetSystemErrorText(0x2fffffff), L"No Error Text Available");
}

TEST(Logging, ASystemTextKeepsItsOwnInserts) {
    EXPECT_THAT(GetSystemErrorText(ERROR_BAD_EXE_FORMAT), testing::HasSubstr(L"%1"));
}

TEST(Logging, ASystemTextsMemoryIsGivenBack) {
    GetSystemErrorText(ERROR_ACCESS_DENIED);
    const std::size_t before = HeapBytesInUse();
    for (int i = 0; i < 1000; ++i)
        GetSystemErrorText(ERROR_ACCESS_DENIED);
    EXPECT_LT(HeapBytesInUse(), before + 10'000);
}

TEST(Logging, NarrowTextIsWidenedByTheRuntimesLocale) {
    const CLocale locale("English_United States.1252");
    EXPECT_EQ(WidenText("caf\xe9"), L"caf\u00e9");
    EXPECT_EQ(NarrowText(L"caf\u00e9"), "caf\xe9");
    EXPECT_EQ(NarrowText(L"\u6587"), "?");
    EXPECT_EQ(WidenText(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
    EXPECT_EQ(WidenText(""), L"");
    EXPECT_EQ(NarrowText(L""), "");
}

TEST(Logging, TextOfSeveralBytesACharacterIsWidenedWhole) {
    const CLocale locale("Japanese_Japan.932");
    EXPECT_EQ(WidenText("a\x93\xfa\x96\x7b"), L"a\u65e5\u672c");
    EXPECT_EQ(NarrowText(L"a\u65e5\u672c"), "a\x93\xfa\x96\x7b");
    EXPECT_EQ(WidenText("a\x93"), L"a?"); // cut in the middle of a character
}

namespace {
int g_checks = 0;
void CountCheck() noexcept {
    ++g_checks;
    LogGlobal(log4cxx::Level::getInfo(), L"Log config changed."); // must not check again
}
} // namespace

TEST(Logging, TheSettingsAreCheckedBeforeALineAndNoOftenerThanAsked) {
    CLogLines log;
    g_checks = 0;
    SetLogSettingsCheck(&CountCheck, 0);
    LogGlobal(log4cxx::Level::getInfo(), L"a");
    EXPECT_EQ(g_checks, 1);
    LogToNamedLogger(L"Area", log4cxx::Level::getInfo(), L"b");
    EXPECT_EQ(g_checks, 2);
    SetLogSettingsCheck(&CountCheck, 3'600'000);
    LogGlobal(log4cxx::Level::getInfo(), L"c");
    EXPECT_EQ(g_checks, 2);
    SetLogSettingsCheck(nullptr, 0);
    LogGlobal(log4cxx::Level::getInfo(), L"d");
    EXPECT_EQ(g_checks, 2);
}

namespace {
ULONGLONG g_clock = 0;
ULONGLONG WINAPI FixedTickCount() {
    return g_clock;
}
} // namespace

TEST(Logging, FromOneCheckToTheNextTheIntervalPasses) {
    const CLogLines log;
    const CImportHook hook(GetModuleHandleW(nullptr), "GetTickCount64", &FixedTickCount);
    g_checks = 0;
    g_clock = 100'000;
    SetLogSettingsCheck(&CountCheck, 5000);
    const std::pair<ULONGLONG, int> moments[] = {{100'000, 0}, {104'999, 0}, {105'000, 1}, {105'000, 1},
                                                 {109'999, 1}, {110'000, 2}, {300'000, 3}, {304'999, 3}};
    for (const auto& [moment, checks] : moments) {
        g_clock = moment;
        LogGlobal(log4cxx::Level::getInfo(), L"a");
        EXPECT_EQ(g_checks, checks) << moment;
    }
    SetLogSettingsCheck(nullptr, 0);
}
