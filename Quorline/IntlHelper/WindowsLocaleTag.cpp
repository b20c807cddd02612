#include "IntlHelper/WindowsLocaleTag.h"

#include "IntlHelper/format/StringFormatter.h"
#include "logging/Checks.h"

#include <cstdlib>
#include <optional>

namespace {
constexpr LCID EnglishUnitedStates = 1033;

/// Empty when Windows has no such value; then the last error says why.
std::optional<std::wstring> ReadLocaleInfo(LCID lcid, LCTYPE type) {
    wchar_t buffer[127];
    if (GetLocaleInfoW(lcid, type, buffer, static_cast<int>(std::size(buffer))) == 0)
        return std::nullopt;
    return buffer;
}
} // namespace

std::unique_ptr<CWindowsLocaleTag> CWindowsLocaleTag::m_machineDefault;
std::unique_ptr<CWindowsLocaleTag> CWindowsLocaleTag::m_english;

CWindowsLocaleTag::CWindowsLocaleTag(LCID lcid)
    : m_lcid(lcid), m_text(GlobalFormatter().Format(L"{0:%d}", lcid)),
      m_localeName(GetCLocaleStringFromLCID(lcid, &m_codePage)) {}

void CWindowsLocaleTag::UpdateThreadLocale() const {
    if (!SetThreadLocale(m_lcid))
        LogApiCallFailure(QUORLINE_HERE, GetLastError(), "SetThreadLocale");
}

std::wstring CWindowsLocaleTag::GetCLocaleStringFromLCID(LCID lcid, unsigned* codePageOut) {
    const auto language = ReadLocaleInfo(lcid, LOCALE_SENGLANGUAGE);
    if (!language) {
        LogApiCallFailure(QUORLINE_HERE, GetLastError(), "GetLocaleInfo");
        return L"C";
    }
    std::wstring name = *language;
    if (const auto country = ReadLocaleInfo(lcid, LOCALE_SENGCOUNTRY); country && !country->empty())
        name += L"_" + *country;
    auto codePage = ReadLocaleInfo(lcid, LOCALE_IDEFAULTANSICODEPAGE);
    if (!codePage)
        codePage = ReadLocaleInfo(lcid, LOCALE_IDEFAULTCODEPAGE);
    if (codePage && !codePage->empty()) {
        if (codePageOut)
            *codePageOut = static_cast<unsigned>(_wtoi(codePage->c_str()));
        name += L"." + *codePage;
    }
    return name;
}

const CWindowsLocaleTag* CWindowsLocaleTag::GetMachineDefault() {
    if (!m_machineDefault)
        if (const LCID lcid = ConvertDefaultLocale(GetUserDefaultLCID()))
            m_machineDefault = std::make_unique<CWindowsLocaleTag>(lcid);
    return m_machineDefault.get();
}

const CWindowsLocaleTag* CWindowsLocaleTag::GetEnglish() {
    GetMachineDefault();
    if (!m_english)
        m_english = std::make_unique<CWindowsLocaleTag>(EnglishUnitedStates);
    return m_english.get();
}
