// Proves the patterns of an application as a host gives them in arrays: DocumentScript.

#include "DocumentScriptSupport.h"
#include "ImportHook.h"

#include <atlexcept.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {
struct CSafeArrayDeleter {
    void operator()(SAFEARRAY* array) const { SafeArrayDestroy(array); }
};
using CUniqueSafeArray = std::unique_ptr<SAFEARRAY, CSafeArrayDeleter>;

CUniqueSafeArray ArrayOf(const CStrings& strings, LONG lowerBound = 0) {
    SAFEARRAYBOUND bound{static_cast<ULONG>(strings.size()), lowerBound};
    CUniqueSafeArray array(SafeArrayCreate(VT_BSTR, 1, &bound));
    for (const std::wstring& string : strings) {
        LONG index = lowerBound++;
        BSTR text = SysAllocStringLen(string.c_str(), static_cast<UINT>(string.size()));
        EXPECT_EQ(S_OK, SafeArrayPutElement(array.get(), &index, text));
        SysFreeString(text);
    }
    return array;
}

CStrings StringsOf(SAFEARRAY* array) {
    VARTYPE type = VT_EMPTY;
    EXPECT_EQ(S_OK, SafeArrayGetVartype(array, &type));
    EXPECT_EQ(VT_BSTR, type);
    EXPECT_EQ(1U, SafeArrayGetDim(array));
    LONG lower = -1;
    LONG upper = -2;
    EXPECT_EQ(S_OK, SafeArrayGetLBound(array, 1, &lower));
    EXPECT_EQ(S_OK, SafeArrayGetUBound(array, 1, &upper));
    EXPECT_EQ(0, lower);
    CStrings strings;
    for (LONG index = lower; index <= upper; ++index) {
        BSTR text = nullptr;
        EXPECT_EQ(S_OK, SafeArrayGetElement(array, &index, &text));
        strings.emplace_back(text, SysStringLen(text));
        SysFreeString(text);
    }
    return strings;
}

/// The three kinds of pattern have the same operations.
struct CPatternKind {
    const char* name;
    void (CDocumentScript::*add)(std::wstring);
    HRESULT (CDocumentScript::*set)(SAFEARRAY*);
    HRESULT (CDocumentScript::*get)(SAFEARRAY**) const;
};
const CPatternKind PatternKinds[] = {
    {"exes", &CDocumentScript::AddExe, &CDocumentScript::SetExes, &CDocumentScript::GetExes},
    {"titles", &CDocumentScript::AddWindowTitle, &CDocumentScript::SetWindowTitles, &CDocumentScript::GetWindowTitles},
    {"classes", &CDocumentScript::AddWindowClass, &CDocumentScript::SetWindowClasses,
     &CDocumentScript::GetWindowClasses},
};

CStrings PatternsOf(const CDocumentScript& script, const CPatternKind& kind) {
    SAFEARRAY* array = nullptr;
    EXPECT_EQ(S_OK, (script.*kind.get)(&array));
    const CUniqueSafeArray owner(array);
    EXPECT_NE(nullptr, array);
    return array ? StringsOf(array) : CStrings{};
}

HRESULT Raised(const std::function<void()>& call) {
    try {
        call();
    } catch (const CAtlException& exception) {
        return static_cast<HRESULT>(exception);
    }
    return S_OK;
}
} // namespace

TEST(DocumentScriptArray, PatternsAreUpperCasedSortedAndKeptOnce) {
    for (const CPatternKind& kind : PatternKinds) {
        SCOPED_TRACE(kind.name);
        CDocumentScript script;
        (script.*kind.add)(L"winword.exe");
        (script.*kind.add)(L"WINWORD.EXE");
        EXPECT_EQ((CStrings{L"WINWORD.EXE"}), PatternsOf(script, kind));
        (script.*kind.add)(L"excel.exe");
        (script.*kind.add)(L"_x");
        (script.*kind.add)(L"*");
        EXPECT_EQ((CStrings{L"*", L"EXCEL.EXE", L"WINWORD.EXE", L"_X"}), PatternsOf(script, kind));
    }
}

TEST(DocumentScriptArray, NoPatternsGiveAnEmptyArray) {
    for (const CPatternKind& kind : PatternKinds) {
        SCOPED_TRACE(kind.name);
        EXPECT_EQ(CStrings{}, PatternsOf(CDocumentScript(), kind));
    }
}

TEST(DocumentScriptArray, EachKindOfPatternHasItsOwnSet) {
    CDocumentScript script;
    script.AddExe(L"e");
    script.AddWindowTitle(L"t");
    script.AddWindowClass(L"c");
    EXPECT_EQ((CStrings{L"E"}), PatternsOf(script, PatternKinds[0]));
    EXPECT_EQ((CStrings{L"T"}), PatternsOf(script, PatternKinds[1]));
    EXPECT_EQ((CStrings{L"C"}), PatternsOf(script, PatternKinds[2]));
}

TEST(DocumentScriptArray, SettingFromAnArrayAddsToWhatThereIsAndLeavesTheArray) {
    for (const CPatternKind& kind : PatternKinds) {
        SCOPED_TRACE(kind.name);
        CDocumentScript script;
        (script.*kind.add)(L"first");
        const CUniqueSafeArray array = ArrayOf({L"second", L"First", L"", std::wstring(3000, L'x')});
        EXPECT_EQ(S_OK, (script.*kind.set)(array.get()));
        EXPECT_EQ((CStrings{L"", L"FIRST", L"SECOND", std::wstring(3000, L'X')}), PatternsOf(script, kind));
        EXPECT_EQ((CStrings{L"second", L"First", L"", std::wstring(3000, L'x')}), StringsOf(array.get()));
        EXPECT_EQ(0U, array->cLocks);
        EXPECT_EQ(S_OK, (script.*kind.set)(ArrayOf({}).get()));
        EXPECT_EQ(4U, PatternsOf(script, kind).size());
    }
}

TEST(DocumentScriptArray, ANullElementBecomesAnEmptyPattern) {
    CDocumentScript script;
    const CUniqueSafeArray array(SafeArrayCreateVector(VT_BSTR, 0, 1));
    EXPECT_EQ(S_OK, script.SetExes(array.get()));
    EXPECT_EQ((CStrings{L""}), PatternsOf(script, PatternKinds[0]));
}

TEST(DocumentScriptArray, APatternKeepsTheZerosInIt) {
    using namespace std::string_literals;
    CDocumentScript script;
    EXPECT_EQ(S_OK, script.SetExes(ArrayOf({L"a\0b"s}).get()));
    EXPECT_EQ((CStrings{L"A\0B"s}), PatternsOf(script, PatternKinds[0]));
}

TEST(DocumentScriptArray, AnEmptyArrayMakesNoSet) {
    CScriptWithSets script;
    EXPECT_EQ(S_OK, script.SetExes(ArrayOf({}).get()));
    EXPECT_EQ(nullptr, script.m_pExes);
}

TEST(DocumentScriptArray, ANullArgumentIsAnswered) {
    for (const CPatternKind& kind : PatternKinds) {
        SCOPED_TRACE(kind.name);
        CDocumentScript script;
        EXPECT_EQ(E_POINTER, (script.*kind.set)(nullptr));
        EXPECT_EQ(E_POINTER, (script.*kind.get)(nullptr));
        (script.*kind.add)(L"x");
        EXPECT_EQ(E_POINTER, (script.*kind.get)(nullptr));
    }
}

TEST(DocumentScriptArray, ArraysOfAnotherTypeBoundOrDimensionAreRefused) {
    SAFEARRAYBOUND plane[] = {{2, 0}, {2, 0}};
    SAFEARRAYBOUND flatPlane[] = {{2, 0}, {0, 0}};
    const struct {
        const char* name;
        CUniqueSafeArray array;
    } cases[] = {
        {"lower bound 1", ArrayOf({L"a", L"b"}, 1)},
        {"variants", CUniqueSafeArray(SafeArrayCreateVector(VT_VARIANT, 0, 2))},
        {"numbers", CUniqueSafeArray(SafeArrayCreateVector(VT_I4, 0, 2))},
        {"no elements, but numbers", CUniqueSafeArray(SafeArrayCreateVector(VT_I4, 0, 0))},
        {"two dimensions", CUniqueSafeArray(SafeArrayCreate(VT_BSTR, 2, plane))},
        {"two dimensions, no elements", CUniqueSafeArray(SafeArrayCreate(VT_BSTR, 2, flatPlane))},
    };
    for (const CPatternKind& kind : PatternKinds)
        for (const auto& each : cases) {
            SCOPED_TRACE(std::string(kind.name) + ", " + each.name);
            CDocumentScript script;
            (script.*kind.add)(L"kept");
            EXPECT_EQ(E_INVALIDARG, Raised([&] { (script.*kind.set)(each.array.get()); }));
            EXPECT_EQ((CStrings{L"KEPT"}), PatternsOf(script, kind));
        }
}

TEST(DocumentScriptArray, WhatWasAddedBeforeABadIndexStays) {
    // Bounds -1 to 2: the four indices from 0 on leave the array at the last one.
    CDocumentScript script;
    const CUniqueSafeArray array = ArrayOf({L"minus", L"zero", L"one", L"two"}, -1);
    EXPECT_EQ(E_INVALIDARG, Raised([&] { script.SetExes(array.get()); }));
    EXPECT_EQ((CStrings{L"ONE", L"TWO", L"ZERO"}), PatternsOf(script, PatternKinds[0]));
    EXPECT_EQ(0U, array->cLocks);
}

TEST(DocumentScriptArray, AFailingArrayCallIsRaisedWithItsOwnCode) {
    const HMODULE program = GetModuleHandleW(nullptr);
    CDocumentScript script;
    script.AddExe(L"kept");
    const CUniqueSafeArray array = ArrayOf({L"new"});
    {
        const CImportHook failing(
            program, "SafeArrayGetVartype", +[](SAFEARRAY*, VARTYPE*) { return DISP_E_OVERFLOW; });
        EXPECT_EQ(DISP_E_OVERFLOW, Raised([&] { script.SetExes(array.get()); }));
    }
    {
        const CImportHook failing(
            program, "SafeArrayCopy", +[](SAFEARRAY*, SAFEARRAY**) { return E_OUTOFMEMORY; });
        EXPECT_EQ(E_OUTOFMEMORY, Raised([&] { script.SetExes(array.get()); }));
    }
    EXPECT_EQ((CStrings{L"KEPT"}), PatternsOf(script, PatternKinds[0]));
}

TEST(DocumentScriptArray, AFailedAllocationLeavesTheArgumentAlone) {
    const HMODULE program = GetModuleHandleW(nullptr);
    CDocumentScript script;
    SAFEARRAY* array = nullptr;
    {
        const CImportHook failing(
            program, "SafeArrayCreate", +[](VARTYPE, UINT, SAFEARRAYBOUND*) -> SAFEARRAY* { return nullptr; });
        EXPECT_EQ(E_OUTOFMEMORY, Raised([&] { script.GetExes(&array); }));
        script.AddExe(L"some");
        EXPECT_EQ(E_OUTOFMEMORY, Raised([&] { script.GetExes(&array); }));
    }
    {
        const CImportHook failing(
            program, "SafeArrayPutElement", +[](SAFEARRAY*, LONG*, void*) { return DISP_E_ARRAYISLOCKED; });
        EXPECT_EQ(DISP_E_ARRAYISLOCKED, Raised([&] { script.GetExes(&array); }));
    }
    EXPECT_EQ(nullptr, array);
}
