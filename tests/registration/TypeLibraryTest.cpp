// The type library, read back from the library's resources as any client reads it. Proves idl/Quorline.idl.

#include "Registration.h"

#include "Quorline.h"

#include <atlbase.h>

#include <gtest/gtest.h>

namespace {

struct CParameterCase {
    const wchar_t* name;
    std::vector<VARTYPE> type; ///< outermost first: VT_PTR, then what it points to
    USHORT flags;
};

struct CMemberCase {
    MEMBERID id;
    INVOKEKIND kind;
    const wchar_t* name;
    const wchar_t* help;
    std::vector<CParameterCase> parameters;
};

struct CInterfaceCase {
    const wchar_t* name;
    GUID iid;
    const wchar_t* help;
    std::vector<CMemberCase> members;
};

constexpr USHORT in = PARAMFLAG_FIN;
constexpr USHORT result = PARAMFLAG_FOUT | PARAMFLAG_FRETVAL;
constexpr INVOKEKIND get = INVOKE_PROPERTYGET;

CMemberCase TextProperty(MEMBERID id, const wchar_t* name, const wchar_t* help) {
    return {id, get, name, help, {{L"pbstrVal", {VT_PTR, VT_BSTR}, result}}};
}

const CInterfaceCase Interfaces[] = {
    {L"IDocumentStore",
     IID_IDocumentStore,
     L"IDocumentStore Interface",
     {{1,
       INVOKE_FUNC,
       L"GetNew",
       L"method GetNew",
       {{L"bstrDocName", {VT_BSTR}, in},
        {L"bstrOriginalDocPath", {VT_BSTR}, in},
        {L"varFileExtension", {VT_VARIANT}, in | PARAMFLAG_FOPT},
        {L"bstrRetPath", {VT_PTR, VT_BSTR}, result}}},
      {2,
       INVOKE_FUNC,
       L"LogMessage",
       L"Log a message to the Morvane log file",
       {{L"uLevel", {VT_UI2}, in}, {L"strMessage", {VT_PTR, VT_BSTR}, in}}},
      {3, INVOKE_FUNC, L"VetoTransition", L"Veto (prevent) a power state change transition", {}}}},
    {L"IScriptState",
     IID_IScriptState,
     L"IScriptState Interface",
     {{1, get, L"CurrentUser", L"property CurrentUser", {{L"pVal", {VT_PTR, VT_BSTR}, result}}}}},
    {L"ISavedDocument",
     IID_ISavedDocument,
     L"ISavedDocument Interface",
     {TextProperty(1, L"Name", L"Filename of the document"),
      TextProperty(2, L"OriginalPath", L"Full path to the original document"),
      TextProperty(3, L"TempPath", L"Full path to the saved document"),
      TextProperty(4, L"AppExeName", L"Image name of the saving application"),
      TextProperty(5, L"AppFriendlyName", L"Friendly name of the saving application"),
      {6,
       get,
       L"SaveTime",
       L"Date and time the document was saved, as a variant time (see MSDN docs)",
       {{L"pTimestamp", {VT_PTR, VT_VARIANT}, result}}},
      {7,
       get,
       L"IsRecovered",
       L"Whether the document has ever been recovered",
       {{L"pbRecovered", {VT_PTR, VT_I4}, result}}},
      TextProperty(8, L"SaveScriptName", L"The name of the script used to save the document"),
      TextProperty(9, L"RestoreScriptName", L"The name of the script used to restore this document")}},
    {L"ISavedDocumentCollection",
     IID_ISavedDocumentCollection,
     L"Collection of ISavedDocument objects",
     {{1,
       get,
       L"Item",
       L"get an item",
       {{L"uiIndex", {VT_UI4}, in}, {L"ppItem", {VT_PTR, VT_PTR, VT_USERDEFINED}, result}}},
      {2, get, L"Count", L"get the number of items in the collection", {{L"pCount", {VT_PTR, VT_UI4}, result}}}}},
    {L"ITalvinorRestoreScriptArgs",
     IID_ITalvinorRestoreScriptArgs,
     L"Exposes objects and interfaces to a client script",
     {{1,
       get,
       L"RestoreDocuments",
       L"Get the documents that this script should restore.",
       {{L"ppDocs", {VT_PTR, VT_PTR, VT_USERDEFINED}, result}}}}},
};

struct CCoclassCase {
    const wchar_t* name;
    GUID clsid;
    const wchar_t* help;
    const wchar_t* interfaceName;
};

const CCoclassCase Coclasses[] = {
    {L"DocumentStore", CLSID_DocumentStore, L"DocumentStore Class", L"IDocumentStore"},
    {L"ScriptState", CLSID_ScriptState, L"ScriptState Class", L"IScriptState"},
    {L"SavedDocument", CLSID_SavedDocument, L"SavedDocument Class", L"ISavedDocument"},
    {L"SavedDocumentCollection", CLSID_SavedDocumentCollection, L"SavedDocumentCollection Class",
     L"ISavedDocumentCollection"},
    {L"TalvinorRestoreScriptArgs", CLSID_TalvinorRestoreScriptArgs, L"TalvinorRestoreScriptArgs Class",
     L"ITalvinorRestoreScriptArgs"},
};

struct CTypeAttributes {
    explicit CTypeAttributes(ITypeInfo* type) : owner(type) { owner->GetTypeAttr(&attributes); }
    ~CTypeAttributes() { owner->ReleaseTypeAttr(attributes); }
    CTypeAttributes(const CTypeAttributes&) = delete;
    CTypeAttributes& operator=(const CTypeAttributes&) = delete;
    const TYPEATTR* operator->() const { return attributes; }

    CComPtr<ITypeInfo> owner;
    TYPEATTR* attributes = nullptr;
};

struct CFunction {
    CFunction(ITypeInfo* type, UINT index) : owner(type) { owner->GetFuncDesc(index, &description); }
    ~CFunction() { owner->ReleaseFuncDesc(description); }
    CFunction(const CFunction&) = delete;
    CFunction& operator=(const CFunction&) = delete;
    const FUNCDESC* operator->() const { return description; }

    CComPtr<ITypeInfo> owner;
    FUNCDESC* description = nullptr;
};

std::vector<VARTYPE> TypeChain(const TYPEDESC& type) {
    std::vector<VARTYPE> chain = {type.vt};
    if (type.vt == VT_PTR) {
        for (const VARTYPE inner : TypeChain(*type.lptdesc))
            chain.push_back(inner);
    }
    return chain;
}

/// The name and the help string of a type or of one of its members.
std::pair<std::wstring, std::wstring> Documentation(ITypeInfo* type, MEMBERID member) {
    CComBSTR name;
    CComBSTR help;
    EXPECT_EQ(type->GetDocumentation(member, &name, &help, nullptr, nullptr), S_OK);
    return {name ? name.m_str : L"", help ? help.m_str : L""};
}

class TypeLibrary : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(LoadTypeLibEx(LibraryPath().c_str(), REGKIND_NONE, &library), S_OK); }

    CComPtr<ITypeInfo> Type(const GUID& guid) const {
        CComPtr<ITypeInfo> type;
        EXPECT_EQ(library->GetTypeInfoOfGuid(guid, &type), S_OK);
        return type;
    }

    CComPtr<ITypeLib> library;
};

} // namespace

TEST_F(TypeLibrary, HasItsIdentityAndHelpString) {
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, LIBID_QuorlineLib);
    EXPECT_EQ(attributes->wMajorVerNum, 5);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    EXPECT_EQ(attributes->lcid, 0x0409u);
    library->ReleaseTLibAttr(attributes);

    CComBSTR name;
    CComBSTR help;
    CComBSTR file;
    DWORD context = 0;
    ASSERT_EQ(library->GetDocumentation(-1, &name, &help, &context, &file), S_OK);
    EXPECT_STREQ(name, L"QuorlineLib");
    EXPECT_STREQ(help, L"Morvane Talvinor Client 5.0 Type Library");
    EXPECT_FALSE(file && file.Length() != 0);
}

TEST_F(TypeLibrary, HoldsTenTypesInTheirOrder) {
    std::vector<std::wstring> names;
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        CComBSTR name;
        ASSERT_EQ(library->GetDocumentation(static_cast<INT>(i), &name, nullptr, nullptr, nullptr), S_OK);
        names.emplace_back(name);
    }
    const std::vector<std::wstring> expected = {L"DocumentStore",
                                                L"IDocumentStore",
                                                L"ScriptState",
                                                L"IScriptState",
                                                L"SavedDocument",
                                                L"ISavedDocument",
                                                L"SavedDocumentCollection",
                                                L"ISavedDocumentCollection",
                                                L"TalvinorRestoreScriptArgs",
                                                L"ITalvinorRestoreScriptArgs"};
    EXPECT_EQ(names, expected);
}

TEST_F(TypeLibrary, DescribesItsClasses) {
    for (const CCoclassCase& expected : Coclasses) {
        const CComPtr<ITypeInfo> type = Type(expected.clsid);
        ASSERT_TRUE(type) << expected.name;
        EXPECT_EQ(Documentation(type, MEMBERID_NIL),
                  std::pair(std::wstring(expected.name), std::wstring(expected.help)));
        const CTypeAttributes attributes(type);
        EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
        EXPECT_EQ(attributes->wTypeFlags, TYPEFLAG_FCANCREATE) << expected.name;
        ASSERT_EQ(attributes->cImplTypes, 1) << expected.name;
        INT flags = 0;
        EXPECT_EQ(type->GetImplTypeFlags(0, &flags), S_OK);
        EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT) << expected.name;
        HREFTYPE reference = 0;
        CComPtr<ITypeInfo> implemented;
        ASSERT_EQ(type->GetRefTypeOfImplType(0, &reference), S_OK);
        ASSERT_EQ(type->GetRefTypeInfo(reference, &implemented), S_OK);
        EXPECT_EQ(Documentation(implemented, MEMBERID_NIL).first, expected.interfaceName);
    }
}

TEST_F(TypeLibrary, DescribesItsInterfaces) {
    for (const CInterfaceCase& expected : Interfaces) {
        const CComPtr<ITypeInfo> dispatch = Type(expected.iid);
        ASSERT_TRUE(dispatch) << expected.name;
        EXPECT_EQ(Documentation(dispatch, MEMBERID_NIL),
                  std::pair(std::wstring(expected.name), std::wstring(expected.help)));
        const CTypeAttributes attributes(dispatch);
        EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
        constexpr WORD flags = TYPEFLAG_FDUAL | TYPEFLAG_FNONEXTENSIBLE | TYPEFLAG_FDISPATCHABLE;
        EXPECT_EQ(attributes->wTypeFlags & ~TYPEFLAG_FOLEAUTOMATION, flags) << expected.name;

        // The same interface as C++ callers see it.
        HREFTYPE reference = 0;
        CComPtr<ITypeInfo> direct;
        ASSERT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
        ASSERT_EQ(dispatch->GetRefTypeInfo(reference, &direct), S_OK);
        const CTypeAttributes directAttributes(direct);
        EXPECT_EQ(directAttributes->typekind, TKIND_INTERFACE);
        // The system leaves this flag out of the dispatch view.
        EXPECT_EQ(directAttributes->wTypeFlags, flags | TYPEFLAG_FOLEAUTOMATION) << expected.name;
        EXPECT_EQ(directAttributes->cFuncs, expected.members.size()) << expected.name;
        CComPtr<ITypeInfo> base;
        ASSERT_EQ(direct->GetRefTypeOfImplType(0, &reference), S_OK);
        ASSERT_EQ(direct->GetRefTypeInfo(reference, &base), S_OK);
        EXPECT_EQ(Documentation(base, MEMBERID_NIL).first, L"IDispatch");
    }
}

TEST_F(TypeLibrary, DescribesEveryMember) {
    for (const CInterfaceCase& expected : Interfaces) {
        HREFTYPE reference = 0;
        CComPtr<ITypeInfo> direct;
        ASSERT_EQ(Type(expected.iid)->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
        ASSERT_EQ(Type(expected.iid)->GetRefTypeInfo(reference, &direct), S_OK);
        for (UINT i = 0; i < expected.members.size(); ++i) {
            const CMemberCase& member = expected.members[i];
            SCOPED_TRACE(testing::Message() << expected.name << "." << member.name);
            const CFunction function(direct, i);
            EXPECT_EQ(function->memid, member.id);
            EXPECT_EQ(function->invkind, member.kind);
            EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_HRESULT);
            // Behind the seven slots of IDispatch, in this order.
            EXPECT_EQ(function->oVft, static_cast<SHORT>((7 + i) * sizeof(void*)));
            EXPECT_EQ(Documentation(direct, member.id),
                      std::pair(std::wstring(member.name), std::wstring(member.help)));

            std::vector<CComBSTR> names(member.parameters.size() + 1);
            std::vector<BSTR> raw(names.size());
            UINT count = 0;
            ASSERT_EQ(direct->GetNames(member.id, raw.data(), static_cast<UINT>(raw.size()), &count), S_OK);
            for (UINT n = 0; n < count; ++n)
                names[n].Attach(raw[n]);
            ASSERT_EQ(static_cast<std::size_t>(function->cParams), member.parameters.size());
            for (UINT n = 0; n < member.parameters.size(); ++n) {
                const CParameterCase& parameter = member.parameters[n];
                const ELEMDESC& found = function->lprgelemdescParam[n];
                EXPECT_EQ(TypeChain(found.tdesc), parameter.type) << parameter.name;
                EXPECT_EQ(found.paramdesc.wParamFlags, parameter.flags) << parameter.name;
                // The last argument of a property is its value, which has no name of its own.
                if (n + 1 < count) {
                    EXPECT_STREQ(names[n + 1], parameter.name);
                }
            }
        }
    }
}

TEST_F(TypeLibrary, PropertiesAreReadOnly) {
    for (const CInterfaceCase& expected : Interfaces) {
        const CComPtr<ITypeInfo> type = Type(expected.iid);
        const CTypeAttributes attributes(type);
        for (UINT i = 0; i < attributes->cFuncs; ++i) {
            const CFunction function(type, i);
            EXPECT_EQ(function->invkind & (INVOKE_PROPERTYPUT | INVOKE_PROPERTYPUTREF), 0) << expected.name;
        }
        EXPECT_EQ(attributes->cVars, 0);
    }
}

TEST_F(TypeLibrary, CollectionHasNeitherADefaultMemberNorAnEnumerator) {
    const CComPtr<ITypeInfo> type = Type(IID_ISavedDocumentCollection);
    CComBSTR name;
    EXPECT_TRUE(FAILED(type->GetDocumentation(DISPID_VALUE, &name, nullptr, nullptr, nullptr)));
    EXPECT_TRUE(FAILED(type->GetDocumentation(DISPID_NEWENUM, &name, nullptr, nullptr, nullptr)));
}
