#pragma once

// What the operations' tests start from: COM, a signer that accepts everything, a documents folder and the log.

#include "ComApartment.h"
#include "DocumentsFolder.h"
#include "ImportHook.h"
#include "IntlHelper/CultureHelper.h"
#include "LogLines.h"
#include "ScriptExecution/Script.h"
#include "TestSigner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

class OperationTest : public testing::Test {
protected:
    static void SetUpTestSuite() { CCultureHelper::InitInstance(nullptr, nullptr); }

    static CScript MakeScript(const std::wstring& name, const std::wstring& text,
                              CScript::ScriptLanguageEnum language = CScript::LangVBScript) {
        CScript script;
        script.SetScriptName(name);
        script.SetText(text);
        script.SetScriptLang(language);
        return script;
    }

    CComApartment m_apartment;
    CTestSigner m_signer;
    CDocumentsFolder m_documents;
    CLogLines m_log;
};
