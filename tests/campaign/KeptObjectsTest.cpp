// Objects that scripts keep for later: whoever calls them after the run is answered or refused. Proves ScriptRunner and
// DocumentStore.

#include "BareDispatch.h"
#include "HostileScripts.h"
#include "InternalDocumentStore.h"
#include "RestoreDocumentScriptOp.h"

#include "Quorline.h"

namespace {
/// Keeps the objects that scripts give it.
class CKeeperObject : public CBareDispatch<IDispatch> {
public:
    BEGIN_COM_MAP(CKeeperObject)
    COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*, UINT*) override {
        CComVariant object;
        if (params->cArgs == 1 && SUCCEEDED(object.ChangeType(VT_DISPATCH, &params->rgvarg[0])))
            kept.emplace_back(V_DISPATCH(&object));
        return S_OK;
    }

    std::vector<CComPtr<IDispatch>> kept;
};
} // namespace

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
            for (const CScriptMember& member : MembersOf(object))
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
