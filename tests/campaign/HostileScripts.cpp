#include "HostileScripts.h"

#include "IntlHelper/CultureHelper.h"

const CRandomRounds& Rounds() {
    static const CRandomRounds rounds(200);
    return rounds;
}
bool IsSoak() {
    return Rounds().count >= 10'000;
}

ULONG CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

std::vector<CScriptMember> MembersOf(IDispatch* object) {
    std::vector<CScriptMember> members;
    CComPtr<ITypeInfo> type;
    TYPEATTR* attributes = nullptr;
    if (FAILED(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type)) || FAILED(type->GetTypeAttr(&attributes)))
        return members;
    for (UINT i = 0; i < attributes->cFuncs; ++i) {
        FUNCDESC* function = nullptr;
        if (FAILED(type->GetFuncDesc(i, &function)))
            continue;
        CComBSTR name;
        if (function->memid > 0 && (function->wFuncFlags & FUNCFLAG_FRESTRICTED) == 0 &&
            SUCCEEDED(type->GetDocumentation(function->memid, &name, nullptr, nullptr, nullptr)))
            members.push_back({name.m_str, function->memid, function->cParams});
        type->ReleaseFuncDesc(function);
    }
    type->ReleaseTypeAttr(attributes);
    return members;
}

void HostileCalls::SetUpTestSuite() {
    CCultureHelper::InitInstance(nullptr, nullptr);
}

bool HostileScriptsTest::Run(const std::wstring& text) {
    CScript script;
    script.SetScriptName(L"hostile");
    script.SetScriptLang(GetParam());
    script.SetText(text);
    m_runner.ClearError();
    m_runner.RunScript(&script);
    m_signer.calls.clear();
    return !m_runner.HasError();
}

std::wstring HostileScriptsTest::Error() {
    std::wstring source;
    std::wstring description;
    unsigned long line = 0;
    long character = 0;
    m_runner.GetErrorInfo(source, description, line, character);
    return description;
}

INSTANTIATE_TEST_SUITE_P(Engines, HostileScriptsTest, testing::Values(CScript::LangVBScript, CScript::LangJScript),
                         [](const auto& info) { return info.param == CScript::LangVBScript ? "VBScript" : "JScript"; });
