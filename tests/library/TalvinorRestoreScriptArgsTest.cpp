// The arguments of a restore script: who owns the collection on which road. Proves TalvinorRestoreScriptArgs.

#include "AutomationFixture.h"

#include "InternalRestoreScriptArgs.h"
#include "TalvinorRestoreScriptArgs.h"

namespace {

class RestoreArgs : public testing::TestWithParam<const wchar_t*> {
protected:
    void SetUp() override {
        ASSERT_EQ(::CComObject<CTalvinorRestoreScriptArgs>::CreateInstance(&object), S_OK);
        args = object;
    }
    /// Two documents; what the collection's count is then, with nobody else holding it.
    void AddTwo() {
        EXPECT_EQ(object->AddRestoreDocument(MakeRecord(1)), S_OK);
        EXPECT_EQ(object->AddRestoreDocument(MakeRecord(2)), S_OK);
    }
    ISavedDocumentCollection* Docs() {
        ISavedDocumentCollection* docs = nullptr;
        EXPECT_EQ(args->get_RestoreDocuments(&docs), S_OK);
        return docs;
    }
    HRESULT Invoke(WORD flags, VARIANT* result, DISPPARAMS params = {}) {
        return args->Invoke(1, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, nullptr, nullptr);
    }

    CComApartment apartment;
    ::CComObject<CTalvinorRestoreScriptArgs>* object = nullptr;
    CComPtr<ITalvinorRestoreScriptArgs> args;
};

} // namespace

TEST_F(RestoreArgs, AreCreatedEmptyAndLogged) {
    const CLogLines log;
    CComPtr<ITalvinorRestoreScriptArgs> created;
    ASSERT_EQ(CInternalRestoreScriptArgs::CreateRestoreArgsCOMObject(&created), S_OK);
    EXPECT_EQ(CountOf(created), 1u);
    EXPECT_TRUE(log.Has(L"DEBUG Quorline.InternalRestoreScriptArgs: Creating restore args COM object"));
    ISavedDocumentCollection* docs = nullptr;
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(created->get_RestoreDocuments(&docs), E_FAIL);
    const CErrorInformation error;
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.Interface(), IID_ITalvinorRestoreScriptArgs);
    EXPECT_EQ(CInternalRestoreScriptArgs::CreateRestoreArgsCOMObject(nullptr), E_POINTER);
}

TEST_F(RestoreArgs, RefuseANullPointerWithErrorInformation) {
    EXPECT_EQ(args->get_RestoreDocuments(nullptr), E_POINTER);
    const CErrorInformation error;
    ASSERT_TRUE(error.IsSet());
    EXPECT_EQ(error.Interface(), IID_ITalvinorRestoreScriptArgs);
}

TEST_F(RestoreArgs, SupportErrorInformationForTheirOwnInterfaceOnly) {
    const CComQIPtr<ISupportErrorInfo> support(args);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_ITalvinorRestoreScriptArgs), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_ISavedDocument), S_FALSE);
}

TEST_F(RestoreArgs, HandOutTheCollectionWithoutAReferenceOnTheInterfaceCall) {
    AddTwo();
    ISavedDocumentCollection* const docs = Docs();
    EXPECT_EQ(CountOf(docs), 1u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(Docs(), docs);
    EXPECT_EQ(CountOf(docs), 1u);
    unsigned long count = 0;
    EXPECT_EQ(docs->get_Count(&count), S_OK);
    EXPECT_EQ(count, 2u);
}

TEST_F(RestoreArgs, ReleaseTheCollectionWhenTheyGo) {
    AddTwo();
    const CComPtr<ISavedDocumentCollection> docs = Docs();
    EXPECT_EQ(CountOf(docs), 2u);
    args.Release();
    EXPECT_EQ(CountOf(docs), 1u);
}

TEST_F(RestoreArgs, GiveTheDispatchCallerAReferenceOfItsOwn) {
    AddTwo();
    ISavedDocumentCollection* const docs = Docs();
    CComVariant result;
    ASSERT_EQ(Invoke(DISPATCH_PROPERTYGET, &result), S_OK);
    EXPECT_EQ(CountOf(docs), 2u);
    result.Clear();
    EXPECT_EQ(CountOf(docs), 1u);
}

TEST_F(RestoreArgs, KeepTheCountWhenTheDispatchCallerWantsNoResultOrPassesTooMuch) {
    AddTwo();
    ISavedDocumentCollection* const docs = Docs();
    for (int i = 0; i < 10; ++i)
        Invoke(DISPATCH_PROPERTYGET, nullptr);
    EXPECT_EQ(CountOf(docs), 1u);
    CComVariant extra(0L);
    DISPPARAMS params{&extra, nullptr, 1, 0};
    for (int i = 0; i < 10; ++i) {
        CComVariant result;
        EXPECT_TRUE(FAILED(Invoke(DISPATCH_METHOD | DISPATCH_PROPERTYGET, &result, params)));
    }
    EXPECT_EQ(CountOf(docs), 1u);
    EXPECT_EQ(args->Invoke(1, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, nullptr, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(CountOf(docs), 1u);
}

TEST_P(RestoreArgs, KeepTheirCountsWhenAScriptReadsAThousandTimes) {
    AddTwo();
    ISavedDocumentCollection* const docs = Docs();
    CScriptEngine engine(GetParam());
    engine.AddItem(L"Args", args);
    const bool vbScript = std::wstring(GetParam()) == L"VBScript";
    EXPECT_TRUE(engine.Run(vbScript ? L"Dim n, i\nn = 0\nFor i = 1 To 1000\nn = n + Args.RestoreDocuments.Count\nNext"
                                    : L"var n = 0; for (var i = 0; i < 1000; ++i) n += Args.RestoreDocuments.Count;"));
    EXPECT_EQ(engine.Value(L"n"), L"2000");
    engine.Close();
    EXPECT_EQ(CountOf(docs), 1u);
    EXPECT_EQ(CountOf(args), 1u);
}

TEST_P(RestoreArgs, OutliveThemselvesInAScriptThatKeepsTheCollection) {
    AddTwo();
    const CComPtr<ISavedDocumentCollection> docs = Docs();
    CScriptEngine engine(GetParam());
    engine.AddItem(L"Args", args);
    const bool vbScript = std::wstring(GetParam()) == L"VBScript";
    EXPECT_TRUE(engine.Run(vbScript ? L"Dim kept, n\nSet kept = Args.RestoreDocuments" //
                                    : L"var kept = Args.RestoreDocuments, n;"));
    EXPECT_EQ(CountOf(docs), 3u);
    EXPECT_TRUE(engine.Run(L"n = kept.Count"));
    EXPECT_EQ(engine.Value(L"n"), L"2");
    engine.Close();
    EXPECT_EQ(CountOf(docs), 2u);
    args.Release();
    EXPECT_EQ(CountOf(docs), 1u);
}

TEST_P(RestoreArgs, KeepTheirCountsWhenAScriptNeverReadsThem) {
    AddTwo();
    CScriptEngine engine(GetParam());
    engine.AddItem(L"Args", args);
    EXPECT_TRUE(engine.Run(L"x = 1"));
    engine.Close();
    EXPECT_EQ(CountOf(Docs()), 1u);
    EXPECT_EQ(CountOf(args), 1u);
}

TEST_P(RestoreArgs, AreLoopedOverByCountAndItem) {
    AddTwo();
    CScriptEngine engine(GetParam());
    engine.AddItem(L"TalvinorRestoreScriptArgs", args);
    const bool vbScript = std::wstring(GetParam()) == L"VBScript";
    ASSERT_TRUE(engine.Run(vbScript ? LR"(Dim all, i, docs
Set docs = TalvinorRestoreScriptArgs.RestoreDocuments
For i = 0 To docs.Count - 1
    all = all & docs.Item(i).Name & "|" & docs.Item(i).TempPath & "|" & docs.Item(i).IsRecovered & ";"
Next)"
                                    : LR"(var all = "", docs = TalvinorRestoreScriptArgs.RestoreDocuments;
for (var i = 0; i < docs.Count; ++i) {
    var doc = docs.Item(i);
    all += doc.Name + "|" + doc.TempPath + "|" + doc.IsRecovered + ";";
})")) << engine.Error().line;
    EXPECT_EQ(engine.Value(L"all"), L"Doc1|C:\\store\\Doc1|0;Doc2|C:\\store\\Doc2|0;");
    EXPECT_FALSE(engine.Run(L"docs.Item(docs.Count).Name"));
    EXPECT_FALSE(engine.Run(L"docs.Item(-1).Name"));
    engine.Close();
    ISavedDocumentCollection* const docs = Docs();
    CComPtr<ISavedDocument> item;
    EXPECT_EQ(CountOf(docs), 1u);
    EXPECT_EQ(docs->get_Item(0, &item), S_OK);
    EXPECT_EQ(CountOf(item), 2u);
}

TEST_P(RestoreArgs, ShowTheirErrorsToTheScript) {
    CScriptEngine engine(GetParam());
    engine.AddItem(L"Args", args);
    EXPECT_FALSE(engine.Run(L"x = Args.RestoreDocuments"));
    EXPECT_NE(engine.Error().code, S_OK);
    EXPECT_EQ(engine.Error().line, 1u);
}

INSTANTIATE_TEST_SUITE_P(Engines, RestoreArgs, testing::Values(L"VBScript", L"JScript"),
                         [](const auto& info) { return *info.param == L'V' ? "VBScript" : "JScript"; });
