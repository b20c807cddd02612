// Proves which locale a process gets: IntlHelper/CultureHelper, WindowsLocaleTag.

#include "ImportHook.h"
#include "IntlHelper/CultureHelper.h"
#include "IntlHelper/WindowsLocaleTag.h"
#include "LogLines.h"
#include "base/Exceptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <memory>

struct CCultureHelperPeer {
    static std::unique_ptr<CCultureHelper> Make() { return std::unique_ptr<CCultureHelper>(new CCultureHelper); }
    static void Init(CCultureHelper& helper, HMODULE module, const CLocaleTag* culture) {
        helper.Init(module, culture);
    }
    static bool IsInitialised(const CCultureHelper& helper) { return helper.m_initialised; }
    static std::vector<std::unique_ptr<CLocaleTag>>& OwnedItems(CCultureHelper& helper) { return helper.m_ownedItems; }
    static log4cxx::LoggerPtr Logger() { return CCultureHelper::SDGetLogger(); }
    static void ForgetInstance() { CCultureHelper::m_instance.m_initialised = false; }
};

struct CLocaleTagsPeer {
    static void Forget() {
        CWindowsLocaleTag::m_machineDefault.reset();
        CWindowsLocaleTag::m_english.reset();
    }
    static bool HasDefault() { return CWindowsLocaleTag::m_machineDefault != nullptr; }
};

namespace {
using testing::ElementsAre;
using testing::IsEmpty;

HMODULE Self() {
    return GetModuleHandleW(nullptr);
}

CTexts g_tried;
CTexts g_accepted;
wchar_t* RefusingSetLocale(int, const wchar_t* name) {
    g_tried.push_back(name);
    static wchar_t accepted[] = L"C";
    return std::ranges::find(g_accepted, name) != g_accepted.end() ? accepted : nullptr;
}
LCID WINAPI NoDefaultLocale(LCID) {
    return 0;
}
LCID WINAPI ThreadlessLcid() {
    return 1033;
}
BOOL WINAPI FailingSetThreadLocale(LCID) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}
BOOL WINAPI SilentlyFailingSetThreadLocale(LCID) {
    SetLastError(0);
    return FALSE;
}

/// What GetLocaleInfoW answers by type; nothing for a type that is not there.
std::map<LCTYPE, std::wstring> g_localeInfo;
int WINAPI FakeLocaleInfo(LCID, LCTYPE type, wchar_t* buffer, int size) {
    const auto found = g_localeInfo.find(type);
    if (found == g_localeInfo.end()) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    wcsncpy(buffer, found->second.c_str(), static_cast<std::size_t>(size));
    return static_cast<int>(found->second.size()) + 1;
}

class CNamedCulture : public CLocaleTag {
public:
    explicit CNamedCulture(std::wstring name) : m_name(std::move(name)) {}
    const std::wstring& GetLocaleName() const override { return m_name; }
    void UpdateThreadLocale() const override {}

private:
    std::wstring m_name;
};

class CultureTest : public testing::Test {
protected:
    CultureTest() : m_helper(CCultureHelperPeer::Make()), m_before(_wsetlocale(LC_ALL, nullptr)) {
        CLocaleTagsPeer::Forget();
        g_tried.clear();
        g_accepted.clear();
    }
    ~CultureTest() override {
        _wsetlocale(LC_ALL, m_before.c_str());
        CLocaleTagsPeer::Forget();
    }

    void Init(const CLocaleTag* culture = nullptr) { CCultureHelperPeer::Init(*m_helper, nullptr, culture); }

    /// The lines of the helper's own logger.
    CTexts Lines() const { return m_log.Of(L"CCultureHelper"); }

    CLogLines m_log;
    std::unique_ptr<CCultureHelper> m_helper;
    std::wstring m_before;
};
} // namespace

TEST_F(CultureTest, TheLoggerIsTheHelpersOwnOnceLoggingIsConfigured) {
    std::wstring name;
    CCultureHelperPeer::Logger()->getName(name);
    EXPECT_EQ(name, L"CCultureHelper");
    name.clear();
    SetLoggingConfigured(false);
    CCultureHelperPeer::Logger()->getName(name);
    EXPECT_EQ(name, L"LogHelp.EventLogger");
}

TEST_F(CultureTest, TheInstanceIsNotHandedOutBeforeItIsInitialised) {
    CCultureHelperPeer::ForgetInstance();
    EXPECT_THROW(CCultureHelper::GetInstance(), CMorvaneException);
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(testing::StartsWith(L"TalvinorGlobal: Failed sanity test \"CCultureHelper::InitInstance "
                                                L"needs to be called before before calling GetInstance\"; tested at "
                                                L"IntlHelper/CultureHelper.cpp; line ")));
    CCultureHelper::InitInstance(nullptr, nullptr);
    EXPECT_EQ(CCultureHelper::GetInstance().GetModule(), GetModuleHandleW(nullptr));
}

TEST_F(CultureTest, WithoutACultureTheMachinesDefaultIsTaken) {
    Init();
    EXPECT_EQ(m_helper->GetCulture(), CWindowsLocaleTag::GetMachineDefault());
    EXPECT_EQ(_wsetlocale(LC_ALL, nullptr), CWindowsLocaleTag::GetMachineDefault()->GetLocaleName());
    EXPECT_THAT(Lines(), IsEmpty());
    EXPECT_THAT(m_log.Of(L"Trace.CCultureHelper"),
                ElementsAre(L"DEBUG Entering -> [CCultureHelper::Init]", L"DEBUG Leaving  -> [CCultureHelper::Init]"));
}

TEST_F(CultureTest, ASecondInitChangesNothing) {
    Init();
    const CNamedCulture other(L"C");
    Init(&other);
    EXPECT_EQ(m_helper->GetCulture(), CWindowsLocaleTag::GetMachineDefault());
}

TEST_F(CultureTest, OwnedItemsAreDroppedFirst) {
    CCultureHelperPeer::OwnedItems(*m_helper).push_back(std::make_unique<CNamedCulture>(L"x"));
    Init();
    EXPECT_TRUE(CCultureHelperPeer::OwnedItems(*m_helper).empty());
}

TEST_F(CultureTest, AGivenCultureIsApplied) {
    const CNamedCulture culture(L"C");
    const HMODULE module = GetModuleHandleW(L"kernel32.dll");
    CCultureHelperPeer::Init(*m_helper, module, &culture);
    EXPECT_EQ(m_helper->GetCulture(), &culture);
    EXPECT_EQ(m_helper->GetModule(), module);
    EXPECT_STREQ(_wsetlocale(LC_ALL, nullptr), L"C");
}

TEST_F(CultureTest, ARefusedCultureGivesWayToTheMachinesDefault) {
    const CNamedCulture culture(L"No Such_Place.1");
    const std::wstring standard = CWindowsLocaleTag::GetMachineDefault()->GetLocaleName();
    g_accepted = {standard};
    const CImportHook hook(Self(), "_wsetlocale", &RefusingSetLocale);
    Init(&culture);
    EXPECT_THAT(g_tried, ElementsAre(L"No Such_Place.1", standard));
    EXPECT_THAT(Lines(), ElementsAre(L"WARN _tsetlocale() failed; using locale '" + standard +
                                     L"' for date and number formatting"));
    EXPECT_TRUE(CCultureHelperPeer::IsInitialised(*m_helper));
}

TEST_F(CultureTest, ARefusedDefaultGivesWayToEnglish) {
    const std::wstring standard = CWindowsLocaleTag::GetMachineDefault()->GetLocaleName();
    const CImportHook hook(Self(), "_wsetlocale", &RefusingSetLocale);
    Init();
    EXPECT_THAT(g_tried, ElementsAre(standard, standard, L"English_United States.1252"));
    EXPECT_THAT(
        Lines(),
        ElementsAre(L"WARN _tsetlocale() failed for default locale '" + standard + L"'",
                    L"WARN _tsetlocale() failed; using locale '" + standard + L"' for date and number formatting",
                    L"WARN _tsetlocale() failed; using locale 'English_United States.1252' for date and "
                    L"number formatting",
                    L"ERROR _tsetlocale() failed; default program locale will be used for date and number "
                    L"formatting"));
    EXPECT_TRUE(CCultureHelperPeer::IsInitialised(*m_helper));
}

TEST_F(CultureTest, WithoutADefaultEnglishIsTaken) {
    const CImportHook noDefault(Self(), "ConvertDefaultLocale", &NoDefaultLocale);
    Init();
    EXPECT_EQ(m_helper->GetCulture()->GetLocaleName(), L"English_United States.1252");
    EXPECT_THAT(Lines(), ElementsAre(L"WARN Could not get default machine locale; defaulting to English (US)"));
}

TEST_F(CultureTest, WithoutADefaultARefusedCultureGoesOnToEnglish) {
    const CImportHook noDefault(Self(), "ConvertDefaultLocale", &NoDefaultLocale);
    const CNamedCulture culture(L"No Such_Place.1");
    g_accepted = {L"English_United States.1252"};
    const CImportHook hook(Self(), "_wsetlocale", &RefusingSetLocale);
    Init(&culture);
    EXPECT_THAT(g_tried, ElementsAre(L"No Such_Place.1", L"English_United States.1252"));
    EXPECT_THAT(Lines(), ElementsAre(L"WARN Could not get default machine locale; defaulting to English (US)",
                                     L"DEBUG _tsetlocale() failed for default locale because it is NULL",
                                     L"WARN _tsetlocale() failed; using locale 'English_United States.1252' for date "
                                     L"and number formatting"));
}

TEST_F(CultureTest, FormatRaisesOnABadFormat) {
    std::wstring text;
    EXPECT_EQ(&m_helper->Format(text, L"{0:%02d}", 5), &text);
    EXPECT_EQ(text, L"05");
    EXPECT_THROW(m_helper->Format(text, L"{0:%q}", 5), CIntlHelperException);
}

TEST_F(CultureTest, AnLcidHasTheRuntimesLocaleName) {
    unsigned codePage = 7;
    EXPECT_EQ(CWindowsLocaleTag::GetCLocaleStringFromLCID(1033, &codePage), L"English_United States.1252");
    EXPECT_EQ(codePage, 1252u);
    EXPECT_EQ(CWindowsLocaleTag::GetCLocaleStringFromLCID(1033), L"English_United States.1252");
    const CWindowsLocaleTag german(1031);
    EXPECT_EQ(german.GetLocaleName(), L"German_Germany.1252");
    EXPECT_EQ(german.GetText(), L"1031");
    EXPECT_EQ(german.GetLcid(), 1031u);
    EXPECT_EQ(german.GetCodePage(), 1252u);
}

TEST_F(CultureTest, ARefusedLcidIsReportedAndGivesC) {
    unsigned codePage = 7;
    EXPECT_EQ(CWindowsLocaleTag::GetCLocaleStringFromLCID(0xdead, &codePage), L"C");
    EXPECT_EQ(codePage, 7u);
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(testing::StartsWith(L"TalvinorGlobal: Call to GetLocaleInfo failed with \"")));
    // The runtime accepts it, so that nothing falls back.
    const CWindowsLocaleTag refused(0xdead);
    m_log.Clear();
    Init(&refused);
    EXPECT_STREQ(_wsetlocale(LC_ALL, nullptr), L"C");
    EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(CultureTest, TheLocaleNameLeavesOutWhatWindowsDoesNotKnow) {
    const struct {
        std::map<LCTYPE, std::wstring> info;
        const wchar_t* name;
        unsigned codePage;
    } cases[] = {
        {{{0x1001, L"Esperanto"}, {0x1002, L""}, {0x1004, L"1252"}}, L"Esperanto.1252", 1252},
        {{{0x1001, L"Esperanto"}, {0x1004, L"0"}}, L"Esperanto.0", 0},
        {{{0x1001, L"Esperanto"}, {0x1002, L"World"}, {0xB, L"437"}}, L"Esperanto_World.437", 437},
        {{{0x1001, L"Esperanto"}, {0x1002, L"World"}}, L"Esperanto_World", 7},
        {{{0x1001, L"Esperanto"}, {0x1002, L"World"}, {0x1004, L""}}, L"Esperanto_World", 7},
    };
    const CImportHook hook(Self(), "GetLocaleInfoW", &FakeLocaleInfo);
    for (const auto& c : cases) {
        g_localeInfo = c.info;
        unsigned codePage = 7;
        EXPECT_EQ(CWindowsLocaleTag::GetCLocaleStringFromLCID(1, &codePage), c.name);
        EXPECT_EQ(codePage, c.codePage);
    }
}

TEST_F(CultureTest, AskingForEnglishMakesTheDefaultFirst) {
    const CImportHook hook(Self(), "GetUserDefaultLCID", &ThreadlessLcid);
    EXPECT_FALSE(CLocaleTagsPeer::HasDefault());
    const CWindowsLocaleTag* english = CWindowsLocaleTag::GetEnglish();
    EXPECT_TRUE(CLocaleTagsPeer::HasDefault());
    EXPECT_EQ(english->GetLcid(), 1033u);
    EXPECT_EQ(CWindowsLocaleTag::GetEnglish(), english);
    EXPECT_EQ(CWindowsLocaleTag::GetMachineDefault(), CWindowsLocaleTag::GetMachineDefault());
}

TEST_F(CultureTest, TheThreadTakesTheTagsLocaleAndAFailureIsLogged) {
    const LCID before = GetThreadLocale();
    const CWindowsLocaleTag german(1031);
    german.UpdateThreadLocale();
    EXPECT_EQ(GetThreadLocale(), 1031u);
    SetThreadLocale(before);
    m_log.Clear();
    {
        const CImportHook hook(Self(), "SetThreadLocale", &FailingSetThreadLocale);
        german.UpdateThreadLocale();
    }
    EXPECT_THAT(m_log.At(L"ERROR"),
                ElementsAre(testing::StartsWith(L"TalvinorGlobal: Call to SetThreadLocale failed with \"")));
    m_log.Clear();
    const CImportHook hook(Self(), "SetThreadLocale", &SilentlyFailingSetThreadLocale);
    german.UpdateThreadLocale();
    EXPECT_THAT(m_log.Get(), IsEmpty());
}
