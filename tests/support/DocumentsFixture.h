#pragma once

// What the document tests share: a scratch documents folder, the log lines of a test, and objects of the host and of
// scripts whose answers a test can choose.

#include "DocumentsFolder.h"
#include "InternalDocumentStore.h"
#include "IntlHelper/CultureHelper.h"
#include "LogLines.h"
#include "ScriptExecution/StateChangeInstance.h"
#include "base/Exceptions.h"

#include "HostInterfaces.h"
#include "Quorline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>

class DocumentsTest : public testing::Test {
protected:
    static void SetUpTestSuite() { CCultureHelper::InitInstance(nullptr, nullptr); }

    CDocumentsFolder folder;
    CLogLines log;
};

inline std::string ReadBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path.string();
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

/// Reads a string through one of a record's getters.
template <class Record> std::wstring Text(const Record& record, void (Record::*getter)(std::wstring&) const) {
    std::wstring text;
    (record.*getter)(text);
    return text;
}

/// Lives on the stack; counts references so that a test can see them.
template <class Interface> class CStackObject : public Interface {
public:
    long references = 1;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }
};

class CHostStateChange : public CStackObject<IStateChangeInstance> {
public:
    HRESULT newState = S_OK;
    HRESULT timestamp = S_OK;
    std::vector<std::string> calls;

    HRESULT STDMETHODCALLTYPE get_NewState(long* value) override {
        calls.emplace_back("NewState");
        *value = Hibernate;
        return newState;
    }
    HRESULT STDMETHODCALLTYPE get_Invoker(long*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Flags(long*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Timestamp(hyper* value) override {
        calls.emplace_back("Timestamp");
        *value = 1;
        return timestamp;
    }
    HRESULT STDMETHODCALLTYPE get_Vetoed(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE put_Vetoed(VARIANT_BOOL) override { return E_NOTIMPL; }
};

/// Answers each property with its own name's text, or fails with E_ACCESSDENIED for the one named in failing.
class CScriptDocument : public CStackObject<ISavedDocument> {
public:
    std::map<std::string, std::wstring> values;
    std::string failing;

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* value) override { return Answer("Name", value); }
    HRESULT STDMETHODCALLTYPE get_OriginalPath(BSTR* value) override { return Answer("OriginalPath", value); }
    HRESULT STDMETHODCALLTYPE get_TempPath(BSTR* value) override { return Answer("TempPath", value); }
    HRESULT STDMETHODCALLTYPE get_AppExeName(BSTR* value) override { return Answer("AppExeName", value); }
    HRESULT STDMETHODCALLTYPE get_AppFriendlyName(BSTR* value) override { return Answer("AppFriendlyName", value); }
    HRESULT STDMETHODCALLTYPE get_SaveTime(VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_IsRecovered(long*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_SaveScriptName(BSTR* value) override { return Answer("SaveScriptName", value); }
    HRESULT STDMETHODCALLTYPE get_RestoreScriptName(BSTR* value) override { return Answer("RestoreScriptName", value); }

private:
    HRESULT Answer(const std::string& property, BSTR* value) {
        if (property == failing)
            return E_ACCESSDENIED;
        *value = SysAllocString(values[property].c_str());
        return S_OK;
    }
};

/// The exception of this type that action throws; a test failure if it throws none or another.
template <class Exception, class Action> Exception Thrown(Action action) {
    try {
        action();
    } catch (const Exception& exception) {
        EXPECT_STREQ(exception.what(), Exception(exception).what());
        return exception;
    }
    throw std::runtime_error("nothing thrown");
}
