#pragma once

// A culture known by its Windows locale identifier (LCID). Immutable: any thread may read one.

#include "IntlHelper/LocaleTag.h"

#include <windows.h>

#include <memory>
#include <string>

class CWindowsLocaleTag : public CLocaleTag {
public:
    explicit CWindowsLocaleTag(LCID lcid);

    LCID GetLcid() const noexcept { return m_lcid; }
    /// The LCID in decimal.
    const std::wstring& GetText() const noexcept { return m_text; }
    const std::wstring& GetLocaleName() const override { return m_localeName; }
    /// 0 when the culture names none.
    unsigned GetCodePage() const noexcept { return m_codePage; }
    void UpdateThreadLocale() const override;

    /// The runtime's name of a locale: "English_United States.1252" for 1033, "C" for an LCID that Windows refuses. The
    /// ANSI code page goes to codePageOut when there is one.
    static std::wstring GetCLocaleStringFromLCID(LCID lcid, unsigned* codePageOut = nullptr);

    /// The machine's default, made on first use and kept for the life of the library; null when there is none.
    static const CWindowsLocaleTag* GetMachineDefault();
    /// English (United States), likewise; makes the machine's default first.
    static const CWindowsLocaleTag* GetEnglish();

private:
    friend struct CLocaleTagsPeer; // the tests' way to a process that has no tags yet

    static std::unique_ptr<CWindowsLocaleTag> m_machineDefault;
    static std::unique_ptr<CWindowsLocaleTag> m_english;

    LCID m_lcid;
    std::wstring m_text;
    unsigned m_codePage = 0;
    std::wstring m_localeName;
};
