// Proves what a worker and its starter tell each other: WorkerEvent, LineBuffer, EventPipe.

#include "EventPipe.h"
#include "ExceptionText.h"
#include "LineBuffer.h"
#include "StatusLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using testing::ElementsAre;

template <class Event> Event ThereAndBack(const Event& event) {
    const std::string line = ToLine(event);
    EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    const auto back = EventFromLine(line);
    EXPECT_TRUE(back && std::holds_alternative<Event>(*back)) << line;
    return std::get<Event>(back.value());
}

/// What comes within a minute.
std::optional<CWorkerEvent> WaitForEvent(CEventReader& reader) {
    for (;;) {
        if (auto event = reader.Next())
            return event;
        if (!reader.IsOpen() || WaitForSingleObject(reader.Ready(), 60'000) != WAIT_OBJECT_0)
            return std::nullopt;
    }
}

void Write(HANDLE pipe, std::string_view text) {
    DWORD written = 0;
    WriteFile(pipe, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

std::wstring TextOf(const std::optional<CWorkerEvent>& event) {
    return event && std::holds_alternative<CMessageEvent>(*event) ? std::get<CMessageEvent>(*event).text : L"(none)";
}
} // namespace

TEST(WorkerEvent, EveryKindComesBackAsItWas) {
    EXPECT_EQ(ThereAndBack(CBegunEvent{133'444'736'000'000'001}).changed, 133'444'736'000'000'001);
    ThereAndBack(CWaitingEvent());
    const auto started = ThereAndBack(CScriptStartedEvent{L"A\n\"\u00e4", 42, L"a.exe", L"C:\\a.exe", L"s", L"r", 7});
    EXPECT_EQ(started.application, L"A\n\"\u00e4");
    EXPECT_EQ(started.processId, 42u);
    EXPECT_EQ(started.imageName, L"a.exe");
    EXPECT_EQ(started.path, L"C:\\a.exe");
    EXPECT_EQ(started.script, L"s");
    EXPECT_EQ(started.restoreScript, L"r");
    EXPECT_EQ(started.document, 7u);
    const auto message = ThereAndBack(CMessageEvent{L"WARN", L"l", L"t"});
    EXPECT_EQ(message.level + message.logger + message.text, L"WARNlt");
    const auto reserved = ThereAndBack(CDocumentReservedEvent{L"n", L"o", L"p"});
    EXPECT_EQ(reserved.name + reserved.originalPath + reserved.path, L"nop");
    const auto ended =
        ThereAndBack(CScriptEndedEvent{true, true, CScriptErrorData{L"s", L"d", 3, 4, 0x800A000B, L"r"}, L"t", true});
    EXPECT_TRUE(ended.failed && ended.vetoed && ended.missing && ended.error);
    EXPECT_EQ(ended.error->source + ended.error->description + ended.error->reason + ended.trouble, L"sdrt");
    EXPECT_EQ(ended.error->line, 3u);
    EXPECT_EQ(ended.error->character, 4);
    EXPECT_EQ(ended.error->number, 0x800A000Bu);
    EXPECT_FALSE(ThereAndBack(CScriptEndedEvent()).error);
    const auto error = ThereAndBack(CWorkerErrorEvent{4, L"t"});
    EXPECT_EQ(error.exitCode, 4);
    EXPECT_EQ(error.text, L"t");
    EXPECT_EQ(ThereAndBack(CFinishedEvent{{{"a", 1}}}).result["a"], 1);
}

TEST(WorkerEvent, WhatIsNoEventOfThisVersionIsNone) {
    for (const char* line :
         {"", "text", "{", "[]", "1", "{}", R"({"v":1})", R"({"v":1,"event":"unheard-of"})", R"({"v":1,"event":7})",
          R"({"v":2,"event":"waiting"})", R"({"event":"waiting"})", R"({"v":1,"event":"begun","changed":"soon"})",
          "{\"v\":1,\"event\":\"message\",\"text\":\"\xff\"}"})
        EXPECT_FALSE(EventFromLine(line)) << line;
    EXPECT_TRUE(EventFromLine(R"({"v":1,"event":"waiting","more":[1]})")) << "a later version may add values";
}

TEST(LineBuffer, GivesWholeLinesHoweverTheBlocksFall) {
    CLineBuffer lines;
    EXPECT_EQ(lines.Next(), std::nullopt);
    lines.Append("on");
    EXPECT_EQ(lines.Next(), std::nullopt);
    lines.Append("e\ntwo\n\nhalf");
    EXPECT_EQ(lines.Next(), "one");
    EXPECT_EQ(lines.Next(), "two");
    EXPECT_EQ(lines.Next(), "");
    EXPECT_EQ(lines.Next(), std::nullopt);
    lines.Append(" whole\n");
    EXPECT_EQ(lines.Next(), "half whole");
}

TEST(LineBuffer, ALineThatIsTooLongIsPassedOverInOneBlockAndInMany) {
    CLineBuffer lines;
    lines.Append(std::string(CLineBuffer::MaxLine + 1, 'a') + "\nnext\n");
    EXPECT_EQ(lines.Next(), "next");
    for (std::size_t i = 0; i < CLineBuffer::MaxLine * 3; i += 4096) {
        lines.Append(std::string(4096, 'a'));
        EXPECT_EQ(lines.Next(), std::nullopt);
    }
    lines.Append("a\n" + std::string(CLineBuffer::MaxLine, 'b') + "\n");
    EXPECT_EQ(lines.Next(), std::string(CLineBuffer::MaxLine, 'b'));
}

TEST(EventPipe, EventsComeThroughInOrder) {
    CEventReader reader;
    EXPECT_EQ(reader.Next(), std::nullopt);
    CEventWriter writer(reader.TakeOtherEnd().Detach());
    for (const wchar_t* text : {L"one", L"two", L"three"})
        writer.Report(CMessageEvent{L"", L"", text});
    for (const wchar_t* text : {L"one", L"two", L"three"})
        EXPECT_EQ(TextOf(WaitForEvent(reader)), text);
}

TEST(EventPipe, HalfALineAndGarbageAreNoEventsAndADeadEndIsSeen) {
    CEventReader reader;
    CUniqueHandle end = reader.TakeOtherEnd();
    Write(end.Get(), "garbage\n\xff\xfe\n" + ToLine(CMessageEvent{L"", L"", L"whole"}) + "\n");
    EXPECT_EQ(TextOf(WaitForEvent(reader)), L"whole");
    Write(end.Get(), ToLine(CMessageEvent{L"", L"", L"half"}));
    end.Reset();
    EXPECT_EQ(TextOf(WaitForEvent(reader)), L"(none)");
    EXPECT_FALSE(reader.IsOpen());
}

TEST(EventPipe, AnEndThatNobodyReadsSwallowsTheEvent) {
    auto reader = std::make_unique<CEventReader>();
    CEventWriter writer(reader->TakeOtherEnd().Detach());
    reader.reset();
    writer.Report(CWaitingEvent());
}

TEST(EventPipe, ProgramsThatTheWorkerStartsDoNotInheritItsEnd) {
    CEventReader reader;
    const HANDLE end = reader.TakeOtherEnd().Detach();
    DWORD flags = 0;
    ASSERT_TRUE(GetHandleInformation(end, &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) << "the worker must";
    const CEventWriter writer(end);
    ASSERT_TRUE(GetHandleInformation(end, &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
}

TEST(DescribeProcessEnd, NamesExceptionsAndGivesTheNumber) {
    EXPECT_EQ(DescribeProcessEnd(0xC0000005), L"an access violation (exception 0xC0000005)");
    EXPECT_EQ(DescribeProcessEnd(0xC00000FD), L"a stack overflow (exception 0xC00000FD)");
    EXPECT_EQ(DescribeProcessEnd(0xC0001234), L"an exception 0xC0001234");
    EXPECT_EQ(DescribeProcessEnd(7), L"the exit code 7");
    EXPECT_EQ(DescribeProcessEnd(0x7FFFFFFF), L"the exit code 2147483647");
    EXPECT_EQ(DescribeProcessEnd(0x80000000), L"an exception 0x80000000");
}

TEST(StatusLine, IsWrittenOverAndTakenAwayAndFitsItsTerminal) {
    std::vector<std::string> written;
    CStatusLine line(10, [&](std::string_view text) { written.emplace_back(text); });
    line.Clear();
    line.Show(L"123456789012345");
    line.Show(L"a\nb");
    line.Clear();
    line.Clear();
    EXPECT_THAT(written, ElementsAre("\r1234567890", "\ra\\u000Ab  ", "\r        \r"));
}

TEST(StatusLine, WithoutATerminalThereIsNone) {
    std::vector<std::string> written;
    CStatusLine line(0, [&](std::string_view text) { written.emplace_back(text); });
    line.Show(L"text");
    line.Clear();
    EXPECT_THAT(written, ElementsAre());
}
