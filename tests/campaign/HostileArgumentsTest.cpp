// Wrong arguments of every kind, through the runner and the system's engines and without them. Each ends in a script
// error or a success, and what it held is given back. Proves ScriptRunner and DocumentStore.

#include "HostileScripts.h"
#include "InternalDocumentStore.h"
#include "Probe.h"
#include "RestoreDocumentScriptOp.h"
#include "ScriptState.h"
#include "ScriptValues.h"

#include "Quorline.h"

namespace {
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
            for (const CScriptMember& member : MembersOf(session))
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
        const auto call = [&object = object, &counts = table[name]](const CScriptMember& member,
                                                                    std::vector<VARIANT>& arguments) {
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
        for (const CScriptMember& member : members) {
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
        for (const CScriptMember& member : MembersOf(object)) {
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
