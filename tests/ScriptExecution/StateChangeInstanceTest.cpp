// Proves the record of one state change and the names of its kinds: StateChangeInstance, StateChangeTypes.

#include "ScriptExecution/StateChangeInstance.h"

#include "DocumentsFixture.h"
#include "ImportHook.h"

using testing::ElementsAre;

namespace {
ULONGLONG Ticks(const FILETIME& time) {
    return (static_cast<ULONGLONG>(time.dwHighDateTime) << 32) + time.dwLowDateTime;
}

class StateChangeTest : public testing::Test {
protected:
    CLogLines log;
};

/// An instance none of whose fields has its default.
CStateChangeInstance Filled(const wchar_t* user, DWORD time, bool vetoed, _STATE_CHANGE_TYPE type) {
    CStateChangeInstance instance;
    instance.SetInvoker(static_cast<_STATE_CHANGE_INVOKER>(time + 1));
    instance.SetStateChangeType(type);
    instance.SetFlags(static_cast<_STATE_CHANGE_FLAGS>(time + 2));
    instance.SetInvokingUser(user);
    instance.SetInvokingSoftwarePath(std::wstring(L"C:\\") + user);
    instance.SetUTCTimestamp({time, time});
    instance.SetVetoed(vetoed);
    return instance;
}
} // namespace

TEST(StateChangeTypes, HaveTheirFixedValues) {
    EXPECT_THAT((std::vector<unsigned>{Standby, StandbyResume, Hibernate, HibernateResume, Shutdown, ShutdownResume,
                                       ForceShutdown}),
                ElementsAre(1, 2, 4, 8, 16, 32, 256));
    EXPECT_EQ(sizeof(_STATE_CHANGE_TYPE), 4u);
}

TEST(StateChangeTypes, ReadFromTextWithoutRegardToCaseAndBlanks) {
    const struct {
        const wchar_t* text;
        unsigned type;
    } rows[] = {
        {L"Shutdown", 16},     {L"ForceShutdown", 256}, {L"FORCESHUTDOWN", 256}, {L"Standby", 1},
        {L" standby\r\n", 1},  {L"Hibernate", 4},       {L"\t hIbErNaTe \t", 4}, {L"HibernateResume", 8},
        {L"StandbyResume", 2}, {L"ShutdownResume", 32}, {L"ForcedShutdown", 0},  {L"", 0},
        {L" \r\n\t", 0},       {L"Shut down", 0},       {L"Shutdown2", 0},       {L"\vShutdown", 0},
    };
    for (const auto& row : rows)
        EXPECT_EQ(StateChangeTypeFromText(row.text), row.type) << row.text;
    EXPECT_EQ(StateChangeTypeFromText(std::wstring(L"Shutdown\0x", 10)), 0u);
}

TEST(StateChangeTypes, OnlyShutdownsHaveAWrittenForm) {
    EXPECT_STREQ(StateChangeTypeToText(Shutdown), L"Shutdown");
    EXPECT_STREQ(StateChangeTypeToText(ForceShutdown), L"ForcedShutdown");
    for (const unsigned type : {0u, 1u, 2u, 4u, 8u, 32u, 272u, 0xFFFFFFFFu})
        EXPECT_EQ(StateChangeTypeToText(static_cast<_STATE_CHANGE_TYPE>(type)), nullptr) << type;
}

TEST_F(StateChangeTest, ANewInstanceIsFreshAndEmpty) {
    FILETIME before{};
    GetSystemTimeAsFileTime(&before);
    const CStateChangeInstance first;
    const CStateChangeInstance second;
    FILETIME after{};
    GetSystemTimeAsFileTime(&after);

    EXPECT_NE(first.GetId(), second.GetId());
    EXPECT_EQ(first.GetInvokingUser(), L"");
    EXPECT_EQ(first.GetInvokingSoftwarePath(), L"");
    EXPECT_FALSE(first.GetVetoed());
    EXPECT_GE(Ticks(first.GetUTCTimestamp()) + 10000, Ticks(before));
    EXPECT_LE(Ticks(first.GetUTCTimestamp()), Ticks(after));
    EXPECT_EQ(Ticks(first.GetUTCTimestamp()) % 10000, 0u);
}

TEST_F(StateChangeTest, InitGivesANewIdentifierOnly) {
    CStateChangeInstance instance = Filled(L"ann", 7, true, Standby);
    const GUID id = instance.GetId();
    instance.Init();
    EXPECT_NE(instance.GetId(), id);
    EXPECT_EQ(instance.GetInvokingUser(), L"ann");
    EXPECT_EQ(Ticks(instance.GetUTCTimestamp()), Ticks({7, 7}));
    EXPECT_TRUE(instance.GetVetoed());
}

TEST_F(StateChangeTest, CopiesCarryAllFields) {
    const CStateChangeInstance source = Filled(L"ann", 7, true, Hibernate);
    const CStateChangeInstance copy(source);
    CStateChangeInstance assigned = Filled(L"bob", 9, false, Standby);
    assigned = source;
    for (const auto* each : {&copy, static_cast<const CStateChangeInstance*>(&assigned)}) {
        EXPECT_EQ(each->GetId(), source.GetId());
        EXPECT_EQ(each->GetInvoker(), 8u);
        EXPECT_EQ(each->GetStateChangeType(), Hibernate);
        EXPECT_EQ(each->GetFlags(), 9u);
        EXPECT_EQ(each->GetInvokingUser(), L"ann");
        EXPECT_EQ(each->GetInvokingSoftwarePath(), L"C:\\ann");
        EXPECT_EQ(Ticks(each->GetUTCTimestamp()), Ticks({7, 7}));
        EXPECT_TRUE(each->GetVetoed());
    }
}

TEST_F(StateChangeTest, InitFromAnInstanceCopiesUserPathTimeAndIdentifierOnly) {
    const CStateChangeInstance source = Filled(L"ann", 7, true, Hibernate);
    CStateChangeInstance target = Filled(L"bob", 9, false, Standby);
    target.Init(&source);
    EXPECT_EQ(target.GetId(), source.GetId());
    EXPECT_EQ(target.GetInvokingUser(), L"ann");
    EXPECT_EQ(target.GetInvokingSoftwarePath(), L"C:\\ann");
    EXPECT_EQ(Ticks(target.GetUTCTimestamp()), Ticks({7, 7}));
    EXPECT_EQ(target.GetInvoker(), 10u);
    EXPECT_EQ(target.GetStateChangeType(), Standby);
    EXPECT_EQ(target.GetFlags(), 11u);
    EXPECT_FALSE(target.GetVetoed());
}

TEST_F(StateChangeTest, InitFromNullRaises) {
    CStateChangeInstance target;
    Thrown<CMorvaneException>([&] { target.Init(static_cast<const CStateChangeInstance*>(nullptr)); });
    EXPECT_THAT(log.Get(),
                ElementsAre(L"ERROR TalvinorGlobal: Failed sanity test \"Null value passed to CStateChangeInstance "
                            L"constructor\"; tested at ScriptExecution/StateChangeInstance; line 22; "
                            L"CStateChangeInstance::Init"));
}

TEST_F(StateChangeTest, InitFromTheHostReadsStateThenTimeAndKeepsNothing) {
    CHostStateChange host;
    CStateChangeInstance target = Filled(L"bob", 9, false, Standby);
    const GUID id = target.GetId();
    target.Init(&host);
    EXPECT_THAT(host.calls, ElementsAre("NewState", "Timestamp"));
    EXPECT_EQ(host.references, 1);
    EXPECT_EQ(target.GetStateChangeType(), Standby);
    EXPECT_EQ(Ticks(target.GetUTCTimestamp()), Ticks({9, 9}));
    EXPECT_EQ(target.GetId(), id);
    EXPECT_THAT(log.Get(), testing::IsEmpty());
}

TEST_F(StateChangeTest, InitFromAHostThatFailsRaisesAndReleases) {
    CHostStateChange host;
    CStateChangeInstance target = Filled(L"bob", 9, true, Standby);
    host.timestamp = E_FAIL;
    EXPECT_EQ(Thrown<COSException>([&] { target.Init(&host); }).GetErrorCode(), 0x80004005u);
    EXPECT_EQ(host.references, 1);
    host.newState = E_ACCESSDENIED;
    EXPECT_EQ(Thrown<COSException>([&] { target.Init(&host); }).GetErrorCode(), 0x80070005u);
    EXPECT_EQ(host.references, 1);
    EXPECT_THAT(host.calls, ElementsAre("NewState", "Timestamp", "NewState"));
    EXPECT_THAT(
        log.Get(),
        ElementsAre(L"ERROR TalvinorGlobal: Failure HRESULT=0x80004005; \"IStateChangeInstance::get_Timestamp\"; "
                    L"at ScriptExecution/StateChangeInstance; line 41; CStateChangeInstance::Init",
                    L"ERROR TalvinorGlobal: Failure HRESULT=0x80070005; \"IStateChangeInstance::get_NewState\"; "
                    L"at ScriptExecution/StateChangeInstance; line 36; CStateChangeInstance::Init"));
    EXPECT_EQ(Ticks(target.GetUTCTimestamp()), Ticks({9, 9}));
    EXPECT_EQ(target.GetStateChangeType(), Standby);
    EXPECT_TRUE(target.GetVetoed());
}

TEST_F(StateChangeTest, ProcessorStatesBecomeTypes) {
    CStateChangeInstance instance;
    const std::pair<unsigned, unsigned> rows[] = {{0, 0xFFFFFFFF}, {1, 1},          {2, 4},
                                                  {3, 16},         {4, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}};
    for (const auto& [state, type] : rows) {
        instance.SetStateChangeType(static_cast<_ECPU_STATE>(state));
        EXPECT_EQ(instance.GetStateChangeType(), type) << state;
    }
}

namespace {
void WINAPI SomeSystemTime(SYSTEMTIME* time) {
    *time = {2024, 3, 4, 7, 17, 5, 9, 0};
}
} // namespace

TEST_F(StateChangeTest, TheTimestampIsTheSystemsTimeWhateverTheZone) {
    CStateChangeInstance instance = Filled(L"ann", 7, true, Standby);
    const CImportHook hook(GetModuleHandleW(nullptr), "GetSystemTime", &SomeSystemTime);
    instance.SetUTCTimestampToNow();
    SYSTEMTIME time{};
    const FILETIME timestamp = instance.GetUTCTimestamp();
    ASSERT_TRUE(FileTimeToSystemTime(&timestamp, &time));
    EXPECT_EQ(time.wYear, 2024);
    EXPECT_EQ(time.wDay, 7);
    EXPECT_EQ(time.wHour, 17);
}

TEST_F(StateChangeTest, SetTimestampToNowMovesOn) {
    CStateChangeInstance instance = Filled(L"ann", 7, true, Standby);
    instance.SetUTCTimestampToNow();
    EXPECT_GT(instance.GetUTCTimestamp().dwHighDateTime, 30000000u);
}
