#include "RunningApps.h"

#include "ScriptExecution/DocumentScript.h"

namespace {
/// Shown everything that the library would compare with patterns, it keeps a copy and takes none.
class CWitness : public CDocumentScript {
public:
    explicit CWitness(CRunningApps& seen) : m_seen(seen) {}

private:
    bool IsMatchingProcess(const CProcessInfo& process) const override {
        m_seen.processes.push_back(process);
        return false;
    }
    bool IsMatchingWindow(const CWindowInfo& window) const override {
        m_seen.windows.push_back(window);
        return false;
    }

    CRunningApps& m_seen;
};

/// The library's own judgement of one pattern.
CDocumentScript MatcherOf(const CPattern& pattern) {
    CDocumentScript matcher;
    switch (pattern.kind) {
    case PatternKind::Executable:
        matcher.AddExe(pattern.text);
        break;
    case PatternKind::WindowTitle:
        matcher.AddWindowTitle(pattern.text);
        break;
    case PatternKind::WindowClass:
        matcher.AddWindowClass(pattern.text);
        break;
    }
    return matcher;
}
} // namespace

CRunningApps CRunningApps::Look() {
    CRunningApps seen;
    CWitness(seen).GetProtectedProcIDs();
    return seen;
}

const wchar_t* CPattern::KindName() const {
    switch (kind) {
    case PatternKind::Executable:
        return L"executable";
    case PatternKind::WindowTitle:
        return L"window title";
    default:
        return L"window class";
    }
}

bool CPattern::Matches(const CProcessInfo& process) const {
    const CDocumentScript matcher = MatcherOf(*this);
    return static_cast<const IProtectedAppMatcher&>(matcher).IsMatchingProcess(process);
}

bool CPattern::Matches(const CWindowInfo& window) const {
    const CDocumentScript matcher = MatcherOf(*this);
    return static_cast<const IProtectedAppMatcher&>(matcher).IsMatchingWindow(window);
}

std::vector<CPattern> PatternsOf(const CAppEntry& entry) {
    std::vector<CPattern> patterns;
    for (const auto& text : entry.executables)
        patterns.push_back({PatternKind::Executable, text});
    for (const auto& text : entry.windowTitles)
        patterns.push_back({PatternKind::WindowTitle, text});
    for (const auto& text : entry.windowClasses)
        patterns.push_back({PatternKind::WindowClass, text});
    return patterns;
}
