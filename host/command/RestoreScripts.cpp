#include "RestoreScripts.h"

#include "protection/ProcessInfo.h"
#include "base/Text.h"
#include "base/UpperCase.h"

CRestoreScripts::CRestoreScripts(const std::wstring& appsFile, const std::wstring& script) {
    if (script.empty() || !appsFile.empty())
        m_apps = ReadAppsFile(AppsFileOf(appsFile));
    if (script.empty())
        return;
    m_override = std::make_unique<CDocumentScript>();
    m_override->SetRestoreScript(ReadScriptFile(script));
}

const CDocumentScript* CRestoreScripts::Find(const CInternalSavedDocument& document) const {
    if (m_override)
        return m_override.get();
    std::wstring name;
    std::wstring program;
    document.GetRestoreScriptName(name);
    document.GetAppExeImageName(program);
    CProcessInfo process;
    process.m_imageName = ToUpperCase(program);

    const CDocumentScript* named = nullptr;
    for (const auto& app : m_apps) {
        const std::wstring script = app->GetRestoreScript().GetScriptName();
        if (script.empty() || (!name.empty() && !SameText(script, name)))
            continue;
        if (static_cast<const IProtectedAppMatcher&>(*app).IsMatchingProcess(process))
            return app.get();
        if (!name.empty() && named == nullptr)
            named = app.get();
    }
    return named;
}
