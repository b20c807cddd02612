// Scripts that call themselves without end, through the objects too. Each ends in a script error. Proves ScriptRunner.

#include "HostileScripts.h"
#include "InternalDocumentStore.h"
#include "Probe.h"
#include "ScriptValues.h"

#include "Quorline.h"

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
