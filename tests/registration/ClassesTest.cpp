// The classes as registered: created by identifier and by name, in the apartments that the registry gives them. Proves
// QuorlineModule.

#include "Registration.h"

#include "Quorline.h"

#include <atlbase.h>

#include <gtest/gtest.h>

namespace {

struct CClassCase {
    const wchar_t* progId;
    CLSID clsid;
    IID iid;
};

const CClassCase ClassCases[] = {
    {L"Quorline.DocumentStore", CLSID_DocumentStore, IID_IDocumentStore},
    {L"Quorline.ScriptState", CLSID_ScriptState, IID_IScriptState},
    {L"Quorline.SavedDocument", CLSID_SavedDocument, IID_ISavedDocument},
    {L"Quorline.SavedDocumentCollection", CLSID_SavedDocumentCollection, IID_ISavedDocumentCollection},
    {L"Quorline.TalvinorRestoreScriptArgs", CLSID_TalvinorRestoreScriptArgs, IID_ITalvinorRestoreScriptArgs},
};

class Classes : public testing::Test {
protected:
    Classes() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~Classes() override { CoUninitialize(); }

    const CRegistered registered;
};

HRESULT Create(const CLSID& clsid, IUnknown* outer, const IID& iid, CComPtr<IUnknown>& object) {
    object.Release();
    return CoCreateInstance(clsid, outer, CLSCTX_INPROC_SERVER, iid, reinterpret_cast<void**>(&object));
}

} // namespace

TEST_F(Classes, AreCreatedByIdentifierAndByName) {
    for (const CClassCase& entry : ClassCases) {
        CLSID clsid{};
        EXPECT_EQ(CLSIDFromProgID(entry.progId, &clsid), S_OK);
        EXPECT_EQ(clsid, entry.clsid);
        CComPtr<IUnknown> object;
        ASSERT_EQ(Create(clsid, nullptr, entry.iid, object), S_OK) << entry.progId;
        const CComQIPtr<IDispatch> dispatch(object);
        const CComQIPtr<ISupportErrorInfo> support(object);
        ASSERT_TRUE(dispatch && support) << entry.progId;
        EXPECT_EQ(support->InterfaceSupportsErrorInfo(entry.iid), S_OK);
        EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);

        UINT count = 0;
        EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
        EXPECT_EQ(count, 1u);
        CComPtr<ITypeInfo> type;
        ASSERT_EQ(dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type), S_OK) << entry.progId;
        TYPEATTR* attributes = nullptr;
        ASSERT_EQ(type->GetTypeAttr(&attributes), S_OK);
        EXPECT_EQ(attributes->guid, entry.iid);
        type->ReleaseTypeAttr(attributes);
    }
}

TEST_F(Classes, AnswerOnlyTheirOwnInterfacesAndRefuseAnOuterObject) {
    for (const CClassCase& entry : ClassCases) {
        CComPtr<IUnknown> object;
        CComPtr<IUnknown> inner;
        ASSERT_EQ(Create(entry.clsid, nullptr, IID_IUnknown, object), S_OK);
        for (const CClassCase& other : ClassCases)
            EXPECT_EQ(Create(entry.clsid, nullptr, other.iid, inner), &other == &entry ? S_OK : E_NOINTERFACE);
        EXPECT_EQ(Create(entry.clsid, object, IID_IUnknown, inner), CLASS_E_NOAGGREGATION) << entry.progId;
        EXPECT_FALSE(inner);
    }
}

TEST_F(Classes, FindTheirMembersByName) {
    CComPtr<IUnknown> object;
    ASSERT_EQ(Create(CLSID_DocumentStore, nullptr, IID_IDispatch, object), S_OK);
    const CComQIPtr<IDispatch> dispatch(object);
    for (const auto& [name, id] : {std::pair(L"GetNew", 1L), std::pair(L"logmessage", 2L), //
                                   std::pair(L"VetoTransition", 3L)}) {
        LPOLESTR text = const_cast<LPOLESTR>(name);
        DISPID found = DISPID_UNKNOWN;
        EXPECT_EQ(dispatch->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &found), S_OK) << name;
        EXPECT_EQ(found, id);
    }
    LPOLESTR unknown = const_cast<LPOLESTR>(L"Delete");
    DISPID found = 0;
    EXPECT_EQ(dispatch->GetIDsOfNames(IID_NULL, &unknown, 1, LOCALE_USER_DEFAULT, &found), DISP_E_UNKNOWNNAME);
}

TEST(UnregisteredClasses, AreUnknown) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    RegSvr32(L"/u");
    for (const CClassCase& entry : ClassCases) {
        CComPtr<IUnknown> object;
        EXPECT_EQ(Create(entry.clsid, nullptr, entry.iid, object), REGDB_E_CLASSNOTREG) << entry.progId;
    }
    CoUninitialize();
}
