#pragma once

#include "ScriptExecution/DocumentScript.h"

#include <string>
#include <vector>

using CStrings = std::vector<std::wstring>;

/// Reaches the states that the public operations never make.
class CScriptWithSets : public CDocumentScript {
public:
    using CDocumentScript::InitFrom;
    using CDocumentScript::m_pExes;
    using CDocumentScript::m_pWinClasses;
    using CDocumentScript::m_pWinTitles;
};
