#pragma once

// What the tests of hostile scripts share: the runner with the system's engines, and what scripts may call.

#include "ComApartment.h"
#include "CountTable.h"
#include "DocumentsFolder.h"
#include "RandomRounds.h"
#include "ScriptExecution/ScriptRunner.h"
#include "Tally.h"
#include "TestSigner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

/// The size of everything here: as many documents, and a hundredth of it in megabytes of text.
const CRandomRounds& Rounds();
bool IsSoak();

ULONG CountOf(IUnknown* object);

struct CScriptMember {
    std::wstring name;
    DISPID id;
    int parameters;
};

/// What scripts may call, as the type library has it.
std::vector<CScriptMember> MembersOf(IDispatch* object);

template <class T> CComPtr<CComObjectNoLock<T>> Make() {
    CComObjectNoLock<T>* object = nullptr;
    CComObjectNoLock<T>::CreateInstance(&object);
    return object;
}

class HostileCalls : public testing::Test {
protected:
    static void SetUpTestSuite();

    CComApartment m_apartment;
    CDocumentsFolder m_documents;
};

class HostileScriptsTest : public HostileCalls, public testing::WithParamInterface<CScript::ScriptLanguageEnum> {
protected:
    bool IsVB() const { return GetParam() == CScript::LangVBScript; }

    /// Whether it ran without an error.
    bool Run(const std::wstring& text);
    bool Run(const std::wstring& vb, const std::wstring& js) { return Run(IsVB() ? vb : js); }

    void Tally(const std::string& what, unsigned long long rounds) const {
        PrintTally((what + (IsVB() ? ", VBScript" : ", JScript")).c_str(), rounds);
    }

    std::wstring Error();

    CTestSigner m_signer;
    CScriptRunner m_runner;
};
