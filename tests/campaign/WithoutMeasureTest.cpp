// Texts without measure and documents without end. Each ends in a script error or a success, what it held is given
// back, and what was asked for is on record. Proves ScriptRunner, DocumentStore and DocumentStoreHistory.

#include "HostileScripts.h"
#include "InternalDocumentStore.h"
#include "ScriptExecution/DocumentStoreHistory.h"
#include "ScriptExecution/DocumentStoreInfo.h"

#include "Quorline.h"

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
        RemoveFolder(m_documents.Base().wstring());
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
