// Scripts that do what scripts should not, through the runner and the system's engines: wrong arguments of every kind,
// texts without measure, objects kept for later, documents without end. Each ends in a script error or a success, and
// what it held is given back. Proves ScriptRunner and DocumentStore.

#include "Probe.h"
#include "ComApartment.h"
#include "CountTable.h"
#include "DocumentsFolder.h"
#include "IntlHelper/CultureHelper.h"
#include "InternalDocumentStore.h"
#include "ProcessUse.h"
#include "RandomRounds.h"
#include "RestoreDocumentScriptOp.h"
#include "ScriptExecution/DocumentStoreHistory.h"
#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/ScriptRunner.h"
#include "ScriptState.h"
#include "ScriptValues.h"
#include "Tally.h"
#include "TestSigner.h"

#include "Quorline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {
/// The size of everything here: as many documents, and a hundredth of it in megabytes of text.
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

struct CMember {
    std::wstring name;
    DISPID id;
    int parameters;
};

/// What scripts may call, as the type library has it.
std::vector<CMember> MembersOf(IDispatch* object) {
    std::vector<CMember> members;
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

/// QuorlineHost.dll's session, without its registration.
CComPtr<IDispatch> MakeSession() {
    CComPtr<IClassFactory> factory;
    CComPtr<IDispatch> session;
    const HMODULE server = LoadLibraryW(L"QuorlineHost.dll");
    const auto getClass = reinterpret_cast<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(server ? GetProcAddress(server, "DllGetClassObject") : nullptr));
    if (getClass && SUCCEEDED(getClass(CLSID_Session, IID_IClassFactory, reinterpret_cast<void**>(&factory))))
        factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&session));
    return session;
}

/// Keeps the objects that scripts give it.
class CKeeperObject : public CComObjectRootEx<CComSingleThreadModel>, public IDispatch {
public:
    BEGIN_COM_MAP(CKeeperObject)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    STDMETHODIMP GetTypeInfoCount(UINT* count) override { return *count = 0, S_OK; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* ids) override { return *ids = 1, S_OK; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*, UINT*) override {
        CComVariant object;
        if (params->cArgs == 1 && SUCCEEDED(object.ChangeType(VT_DISPATCH, &params->rgvarg[0])))
            kept.emplace_back(V_DISPATCH(&object));
        return S_OK;
    }

    std::vector<CComPtr<IDispatch>> kept;
};

template <class T> CComPtr<CComObjectNoLock<T>> Make() {
    CComObjectNoLock<T>* object = nullptr;
    CComObjectNoLock<T>::CreateInstance(&object);
    return object;
}

class HostileCalls : public testing::Test {
protected:
    static void SetUpTestSuite() { CCultureHelper::InitInstance(nullptr, nullptr); }

    CComApartment m_apartment;
    CDocumentsFolder m_documents;
};

class HostileScriptsTest : public HostileCalls, public testing::WithParamInterface<CScript::ScriptLanguageEnum> {
protected:
    bool IsVB() const { return GetParam() == CScript::LangVBScript; }

    /// Whether it ran without an error.
    bool Run(const std::wstring& text) {
        CScript script;
        script.SetScriptName(L"hostile");
        script.SetScriptLang(GetParam());
        script.SetText(text);
        m_runner.ClearError();
        m_runner.RunScript(&script);
        m_signer.calls.clear();
        return !m_runner.HasError();
    }
    bool Run(const std::wstring& vb, const std::wstring& js) { return Run(IsVB() ? vb : js); }

    void Tally(const std::string& what, unsigned long long rounds) const {
        PrintTally((what + (IsVB() ? ", VBScript" : ", JScript")).c_str(), rounds);
    }

    std::wstring Error() {
        std::wstring source;
        std::wstring description;
        unsigned long line = 0;
        long character = 0;
        m_runner.GetErrorInfo(source, description, line, character);
        return description;
    }

    CTestSigner m_signer;
    CScriptRunner m_runner;
};

/// Everything that scripts meet, each with the library's own objects behind it.
class CTargets {
public:
    CTargets() {
        CComPtr<IDocumentStore> gone;
        {
            CInternalDocumentStore other;
            other.CreateDocumentStoreCOMObject(&gone);
        }
        CComPtr<IDocumentStore> store;
        m_store.CreateDocumentStoreCOMObject(&store);
        CInternalSavedDocument record;
        record.SetDocName(L"Letter");
        CComPtr<ISavedDocument> document;
        record.CreateSavedDocumentCOMObject(&document);
        m_restore.SetSavedDocument(record);
        CComPtr<ITalvinorRestoreScriptArgs> arguments;
        m_restore.CreateScriptArgsCOMObject(&arguments);
        ISavedDocumentCollection* documents = nullptr; // lent
        arguments->get_RestoreDocuments(&documents);
        CComPtr<IScriptState> state;
        CScriptState::CreateInstance(&state);
        Add("store", store);
        Add("store that is gone", gone);
        Add("document", document);
        Add("documents", documents);
        Add("arguments", arguments);
        Add("state", state);
        if (const CComPtr<IDispatch> session = MakeSession()) {
            Add("session", session);
            CComVariant process;
            CComVariant id(static_cast<long>(GetCurrentProcessId()));
            DISPPARAMS params{&id, nullptr, 1, 0};
            for (const CMember& member : MembersOf(session))
                if (member.name == L"GetProcess" || member.name == L"Process")
                    session->Invoke(member.id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                    &params, &process, nullptr, nullptr);
            if (V_VT(&process) == VT_DISPATCH)
                Add("process", V_DISPATCH(&process));
        }
    }

    std::vector<std::pair<std::string, CComPtr<IDispatch>>> all;

private:
    void Add(const char* name, IUnknown* object) {
        if (const CComQIPtr<IDispatch> dispatch(object); dispatch)
            all.emplace_back(name, dispatch.p);
        else
            ADD_FAILURE() << name;
    }

    CInternalDocumentStore m_store;
    CRestoreDocumentScriptOp m_restore;
};
} // namespace

TEST_F(HostileCalls, EveryKindOfArgumentAnywhereIsTakenOrRefused) {
    CTargets targets;
    const auto probe = MakeProbe();
    std::vector<CScriptValue> values = MakeScriptValues(probe);
    const ULONG probeBefore = CountOf(probe);
    CCountTable table({"calls", "succeeded", "refused"});
    for (auto& [name, object] : targets.all) {
        const ULONG before = CountOf(object);
        const auto call = [&, &counts = table[name]](const CMember& member, std::vector<VARIANT>& arguments) {
            DISPPARAMS params{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
            CComVariant result;
            EXCEPINFO info{};
            UINT bad = 0;
            const HRESULT hr = object->Invoke(member.id, IID_NULL, LOCALE_USER_DEFAULT,
                                              DISPATCH_METHOD | DISPATCH_PROPERTYGET, &params, &result, &info, &bad);
            SysFreeString(info.bstrSource);
            SysFreeString(info.bstrDescription);
            SysFreeString(info.bstrHelpFile);
            SetErrorInfo(0, nullptr);
            ++counts[0];
            ++counts[SUCCEEDED(hr) ? 1 : 2];
        };
        const auto members = MembersOf(object);
        EXPECT_FALSE(members.empty()) << name;
        CComVariant one(L"1");
        for (const CMember& member : members) {
            for (int count = 0; count <= member.parameters + 3; ++count) {
                std::vector<VARIANT> arguments(static_cast<std::size_t>(count), one);
                call(member, arguments);
            }
            for (int position = 0; position < member.parameters; ++position)
                for (CScriptValue& each : values)
                    for (const VARIANT& argument :
                         {static_cast<VARIANT>(each.value), ReferenceTo(each.value), VariantReferenceTo(each.value)}) {
                        std::vector<VARIANT> arguments(static_cast<std::size_t>(member.parameters), one);
                        arguments[static_cast<std::size_t>(position)] = argument;
                        call(member, arguments);
                    }
        }
        EXPECT_EQ(CountOf(object), before) << name;
    }
    EXPECT_EQ(CountOf(probe), probeBefore);
    table.Print();
    PrintTally("calls with an argument of every kind", table.Sum(0));
}

TEST_P(HostileScriptsTest, EveryKindOfArgumentAnywhereIsAnErrorOrASuccess) {
    CTargets targets;
    const auto probe = MakeProbe();
    const auto values = Make<CValuesObject>();
    values->values = MakeScriptValues(probe);
    const ULONG probeBefore = CountOf(probe);
    CCountTable table({"scripts", "succeeded", "failed"});
    // In the short form one script in a few, chosen by the seed.
    std::mt19937 random(Rounds().seed);
    const auto chosen = [&] { return IsSoak() || random() % 8 == 0; };
    for (auto& [name, object] : targets.all) {
        const ULONG before = CountOf(object);
        m_runner.AddNamedItem(L"Target", object);
        m_runner.AddNamedItem(L"Values", values);
        auto& counts = table[name];
        const auto run = [&](const std::wstring& vb, const std::wstring& js) {
            if (!chosen())
                return;
            ++counts[0];
            ++counts[Run(vb, js) ? 1 : 2];
        };
        for (const CMember& member : MembersOf(object)) {
            const std::wstring called = L"Target." + member.name;
            for (int count = 0; count <= member.parameters + 2; ++count) {
                std::wstring list;
                for (int i = 0; i < count; ++i)
                    list += i == 0 ? L"\"1\"" : L", \"1\"";
                run(L"x = " + called + L"(" + list + L")", L"var x = " + called + L"(" + list + L");");
                run(L"Call " + called + L"(" + list + L")", called + L"(" + list + L");");
            }
            for (int position = 0; position < member.parameters; ++position)
                for (std::size_t k = 0; k < values->values.size(); ++k) {
                    const std::wstring value = L"Values.Item(" + std::to_wstring(k) + L")";
                    std::wstring direct;
                    std::wstring variable;
                    for (int i = 0; i < member.parameters; ++i) {
                        direct += (i == 0 ? L"" : L", ") + (i == position ? value : std::wstring(L"\"1\""));
                        variable += (i == 0 ? L"" : L", ") + std::wstring(i == position ? L"v" : L"\"1\"");
                    }
                    run(L"Call " + called + L"(" + direct + L")", called + L"(" + direct + L");");
                    const bool isObject = V_VT(&values->values[k].value) == VT_DISPATCH;
                    run((isObject ? L"Set v = " : L"v = ") + value + L"\nCall " + called + L"(" + variable + L")",
                        L"var v = " + value + L"; " + called + L"(" + variable + L");");
                }
        }
        m_runner.ClearNamedItems();
        EXPECT_EQ(CountOf(object), before) << name;
    }
    EXPECT_EQ(CountOf(values), 1u);
    EXPECT_EQ(CountOf(probe), probeBefore);
    table.Print();
    Tally("scripts with an argument of every kind", table.Sum(0));
}

TEST_P(HostileScriptsTest, ObjectsKeptAfterTheRunAnswerOrRefuse) {
    const auto keeper = Make<CKeeperObject>();
    CComPtr<IDocumentStore> storeObject;
    CComPtr<ITalvinorRestoreScriptArgs> arguments;
    {
        CInternalDocumentStore store;
        store.CreateDocumentStoreCOMObject(&storeObject);
        CRestoreDocumentScriptOp restore;
        CInternalSavedDocument record;
        record.SetDocName(L"Letter");
        restore.SetSavedDocument(record);
        restore.CreateScriptArgsCOMObject(&arguments);
        m_runner.AddNamedItem(L"Keeper", keeper);
        m_runner.AddNamedItem(L"Store", storeObject);
        m_runner.AddNamedItem(L"Args", arguments);
        ASSERT_TRUE(Run(L"Class C\n  Public Function F(x)\n    F = x\n  End Function\nEnd Class\n"
                        L"Class D\n  Public Default Function G(x)\n    G = Store.LogMessage(2, x)\n"
                        L"  End Function\nEnd Class\n"
                        L"Keeper.Keep Store\nKeeper.Keep Args\nKeeper.Keep Args.RestoreDocuments\n"
                        L"Keeper.Keep Args.RestoreDocuments.Item(0)\nKeeper.Keep New C\nKeeper.Keep New D\n",
                        L"function C() { this.F = function (x) { return x; }; }\n"
                        L"Keeper.Keep(Store); Keeper.Keep(Args); Keeper.Keep(Args.RestoreDocuments);\n"
                        L"Keeper.Keep(Args.RestoreDocuments.Item(0)); Keeper.Keep(new C());\n"
                        L"Keeper.Keep(function (x) { return x + Store.LogMessage(2, x); });\n"))
            << Error();
        m_runner.ClearNamedItems();
    }
    ASSERT_EQ(keeper->kept.size(), 6u);

    // From outside: every member, and the default one of the engine's own objects.
    CCountTable table({"calls", "succeeded", "refused"});
    CComVariant text(L"1");
    const auto call = [&](const std::string& name, IDispatch* object, DISPID id, UINT count) {
        std::vector<VARIANT> list(count, text);
        DISPPARAMS params{list.data(), nullptr, count, 0};
        CComVariant result;
        EXCEPINFO info{};
        const HRESULT hr = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                          &params, &result, &info, nullptr);
        SysFreeString(info.bstrSource);
        SysFreeString(info.bstrDescription);
        SysFreeString(info.bstrHelpFile);
        ++table[name][0];
        ++table[name][SUCCEEDED(hr) ? 1 : 2];
        return hr;
    };
    const char* const names[] = {"store", "arguments", "documents", "document", "engine's object", "engine's function"};
    for (std::size_t i = 0; i < keeper->kept.size(); ++i) {
        IDispatch* const object = keeper->kept[i];
        if (i < 4)
            for (const CMember& member : MembersOf(object))
                call(names[i], object, member.id, static_cast<UINT>(member.parameters));
        else if (!IsVB()) // its objects are no more once the engine is closed: a call ends the process
            for (const DISPID id : {DISPID{DISPID_VALUE}, DISPID{1}, DISPID{2}})
                call(names[i], object, id, 1);
    }
    // GetNew and the veto are the store's, which is gone.
    EXPECT_EQ(call("store", keeper->kept[0], 1, 3), DISP_E_EXCEPTION);
    EXPECT_EQ(storeObject->VetoTransition(), E_POINTER);
    CComBSTR path;
    EXPECT_EQ(storeObject->GetNew(CComBSTR(L"a"), nullptr, CComVariant(L""), &path), E_POINTER);

    // From a later script.
    m_runner.AddNamedItem(L"Store", keeper->kept[0]);
    EXPECT_FALSE(Run(L"Store.GetNew \"a\", \"\", \"\"", L"Store.GetNew('a', '', '');"));
    EXPECT_FALSE(Run(L"Store.VetoTransition", L"Store.VetoTransition();"));
    EXPECT_TRUE(Run(L"Store.LogMessage 2, \"late\"", L"Store.LogMessage(2, 'late');")) << Error();
    m_runner.ClearNamedItems();
    if (!IsVB()) {
        m_runner.AddNamedItem(L"Own", keeper->kept[4]);
        Run(L"", L"var x = Own.F(1);"); // the other engine is closed: whatever it says
        m_runner.ClearNamedItems();
    }

    keeper->kept.clear();
    EXPECT_EQ(CountOf(storeObject), 1u);
    EXPECT_EQ(CountOf(arguments), 1u);
    table.Print();
    Tally("calls of objects kept after the run", table.Sum(0));
}

TEST_P(HostileScriptsTest, TextsWithoutMeasureAreAnErrorOrASuccess) {
    const std::wstring size = std::to_wstring(Rounds().count / 100 * (1 << 19)); // characters in as many megabytes
    CCountTable table({"scripts", "succeeded", "failed"});
    const std::wstring vb = L"t = String(" + size + L", \"x\")\n";
    const std::wstring js = L"var t = 'x'; while (t.length < " + size + L") t += t; t = t.substr(0, " + size + L");\n";
    const struct {
        const char* name;
        const wchar_t* vb;
        const wchar_t* js;
    } calls[] = {
        {"a document's name", L"x = Store.GetNew(t, \"\", \"\")", L"Store.GetNew(t, '', '');"},
        {"its original path", L"x = Store.GetNew(\"a\", t, \"\")", L"Store.GetNew('a', t, '');"},
        {"its extension", L"x = Store.GetNew(\"a\", \"\", t)", L"Store.GetNew('a', '', t);"},
        {"a message", L"Store.LogMessage 2, t", L"Store.LogMessage(2, t);"},
        {"a message of inserts", L"Store.LogMessage 2, Replace(Left(t, 100000), \"x\", \"{0:%s}\")",
         L"Store.LogMessage(2, t.substr(0, 100000).replace(/x/g, '{0:%s}'));"},
        {"an index", L"Set x = Documents.Item(t)", L"Documents.Item(t);"},
        {"an error's text", L"Err.Raise 1000, t, t", L"throw new Error(1000, t);"},
    };
    for (const auto& each : calls) {
        CInternalDocumentStore store;
        CComPtr<IDocumentStore> object;
        ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
        CComPtr<ISavedDocumentCollection> documents;
        ASSERT_EQ(store.CreateSavedDocumentCollectionCOMObject(&documents), S_OK);
        m_runner.AddNamedItem(L"Store", object);
        m_runner.AddNamedItem(L"Documents", documents);
        ++table[each.name][0];
        ++table[each.name][Run(vb + each.vb, js + each.js) ? 1 : 2];
        m_runner.ClearNamedItems();
        EXPECT_EQ(CountOf(object), 1u) << each.name;
        EXPECT_EQ(CountOf(documents), 1u) << each.name;
        std::filesystem::remove_all(m_documents.Base());
    }
    // And a script that is one.
    EXPECT_TRUE(Run(L"' " + std::wstring(std::stoul(size), L'x') + L"\nx = 1",
                    L"/* " + std::wstring(std::stoul(size), L'x') + L" */ var x = 1;"))
        << Error();
    table.Print();
    Tally("scripts with texts without measure", table.Sum(0));
}

TEST_P(HostileScriptsTest, DocumentsWithoutEndAreAllOnRecord) {
    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
    m_runner.AddNamedItem(L"Store", object);
    const std::wstring count = std::to_wstring(IsVB() ? Rounds().count : Rounds().count / 10);
    const ULONGLONG started = GetTickCount64();
    EXPECT_TRUE(Run(L"For i = 1 To " + count + L"\n  x = Store.GetNew(\"Letter\" & i, \"\", \".txt\")\nNext",
                    L"for (var i = 1; i <= " + count + L"; ++i) Store.GetNew('Letter' + i, '', '.txt');"))
        << Error();
    std::printf("%ls documents in %llu ms\n", count.c_str(), GetTickCount64() - started);
    Tally("documents of one script", std::stoull(count));
    m_runner.ClearNamedItems();
    EXPECT_EQ(CountOf(object), 1u);
    EXPECT_EQ(store.GetSavedDocumentList()->size(), std::stoul(count));
    CDocumentStoreHistory& history = CDocumentStoreHistory::GetInstance();
    history.Refresh();
    ASSERT_EQ(history.GetSavedDocumentInfos().size(), 1u);
    const auto& documents =
        *history.GetSavedDocumentInfos().front()->GetInternalDocumentStore()->GetSavedDocumentList();
    ASSERT_EQ(documents.size(), std::stoul(count));
    std::wstring last;
    documents.back()->GetDocName(last);
    EXPECT_EQ(last, L"Letter" + count);
}

TEST_P(HostileScriptsTest, RecursionThroughTheObjectsIsAnError) {
    CInternalDocumentStore store;
    CComPtr<IDocumentStore> object;
    ASSERT_EQ(store.CreateDocumentStoreCOMObject(&object), S_OK);
    const auto values = Make<CValuesObject>();
    values->values = MakeScriptValues(MakeProbe());
    m_runner.AddNamedItem(L"Store", object);
    m_runner.AddNamedItem(L"Values", values);
    CCountTable table({"scripts", "failed", "cut off"});
    ULONG cutOff = 0;
    const struct {
        const char* name;
        const wchar_t* vb;
        const wchar_t* js;
    } scripts[] = {
        {"a function", L"Function f(n)\nf = f(n + 1) + 1\nEnd Function\nx = f(0)",
         L"function f(n) { return f(n + 1) + 1; } f(0);"},
        {"with a message each time", L"Sub f(n)\nStore.LogMessage 3, \"deeper\"\nf n + 1\nEnd Sub\nf 0",
         L"function f(n) { Store.LogMessage(3, 'deeper'); f(n + 1); } f(0);"},
        {"a property", L"Class C\nPublic Property Get P\nP = Me.P\nEnd Property\nEnd Class\nx = (New C).P",
         L"var o = { toString: function () { return '' + o; } }; Store.LogMessage(2, o);"},
        {"brackets", nullptr, nullptr},
    };
    for (const auto& each : scripts)
        for (int count = 0; count < (IsSoak() ? 20 : 2); ++count) {
            const std::wstring brackets = L"x = " + std::wstring(50'000, L'(') + L"1" + std::wstring(50'000, L')');
            ++table[each.name][0];
            const bool succeeded = Run(each.vb ? each.vb : brackets, each.js ? each.js : brackets);
            EXPECT_FALSE(succeeded) << each.name;
            ++table[each.name][1];
            // An engine that did not notice in time is left in the middle of its calls, with what it held for them.
            if (Error() == L"Out of stack space")
                ++table[each.name][2], ++cutOff;
        }
    EXPECT_TRUE(Run(L"Store.LogMessage 2, \"still here\"", L"Store.LogMessage(2, 'still here');")) << Error();
    m_runner.ClearNamedItems();
    EXPECT_LE(CountOf(object), 1u + cutOff);
    EXPECT_LE(CountOf(values), 1u + cutOff);
    table.Print();
    Tally("scripts that recurse without end", table.Sum(0));
}

INSTANTIATE_TEST_SUITE_P(Engines, HostileScriptsTest, testing::Values(CScript::LangVBScript, CScript::LangJScript),
                         [](const auto& info) { return info.param == CScript::LangVBScript ? "VBScript" : "JScript"; });
