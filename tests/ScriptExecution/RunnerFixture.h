#pragma once

// What the runner's tests start from: COM, a signer that accepts everything, a log, a runner and a script.

#include "ScriptExecution/ScriptRunner.h"

#include "Probe.h"
#include "ComApartment.h"
#include "LogLines.h"
#include "TestSigner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

struct CErrorRecord {
    std::wstring source = L"-";
    std::wstring description = L"-";
    unsigned long line = 77;
    long character = 77;
    bool operator==(const CErrorRecord&) const = default;
};

class RunnerFixture : public testing::Test {
protected:
    void Run(CScript::ScriptLanguageEnum language, const std::wstring& text) {
        m_script.SetScriptName(L"save %s");
        m_script.SetScriptLang(language);
        m_script.SetText(text);
        m_runner.RunScript(&m_script);
    }

    /// Untouched values when there is no error.
    CErrorRecord Error() {
        CErrorRecord record;
        m_runner.GetErrorInfo(record.source, record.description, record.line, record.character);
        return record;
    }

    CComApartment m_apartment;
    CTestSigner m_signer;
    CLogLines m_log;
    CComPtr<CProbe> m_probe = MakeProbe();
    CScriptRunner m_runner;
    CScript m_script;
};
