// What registration writes, and that unregistration takes all of it away again. Proves the .rgs files and DllMain.

#include "Registration.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr wchar_t libraryId[] = L"{44A2F2B5-90F0-46C0-9DDF-C580E0294CBC}";
constexpr wchar_t appId[] = L"{3185B4F4-004F-4A32-8CE7-19EF71C719B3}";
constexpr wchar_t argumentCollectionId[] = L"{563DF7E6-28C9-4E1E-8F29-8A16A3176556}";

struct CClassCase {
    const wchar_t* clsid;
    const wchar_t* name;
    const wchar_t* progId;
    const wchar_t* independentProgId;
    const wchar_t* threading; ///< null for none
    const wchar_t* typeLib;
};

const CClassCase Classes[] = {
    {L"{A1273968-1D3F-4A94-AA3A-1082E73A8CC2}", L"DocumentStore Class", L"Quorline.DocumentStore.1",
     L"Quorline.DocumentStore", L"Apartment", libraryId},
    {L"{36D42448-8330-4B5F-9578-D69BE9E92BF7}", L"ScriptState Class", L"Quorline.ScriptState.1",
     L"Quorline.ScriptState", L"Apartment", libraryId},
    {L"{B9EE7CB2-8DE7-451C-8364-8A7DAF5F751A}", L"SavedDocument Class", L"Quorline.SavedDocument.1",
     L"Quorline.SavedDocument", L"Apartment", libraryId},
    {L"{CBEC6036-9DB2-4240-A191-5DB16F1D5D7F}", L"SavedDocumentCollection Class", L"Quorline.SavedDocumentCollecti.1",
     L"Quorline.SavedDocumentCollection", L"Apartment", libraryId},
    {L"{C3FA7360-5835-4C01-AA85-5A45E9F4D607}", L"TalvinorRestoreScriptArgs Class",
     L"Quorline.TalvinorRestoreScriptArgs.1", L"Quorline.TalvinorRestoreScriptArgs", nullptr, L"{}"},
};

const std::pair<const wchar_t*, const wchar_t*> Interfaces[] = {
    {L"{34F3B8F3-D238-456D-9553-8FC0EB26C4C6}", L"IDocumentStore"},
    {L"{A4B8D986-DDF1-4B46-AED6-7BB0919C3D55}", L"IScriptState"},
    {L"{ECF262BC-E82A-4299-80A8-7C206E32EF05}", L"ISavedDocument"},
    {L"{C89CF1BD-B811-462C-A0B1-109369D88D6B}", L"ISavedDocumentCollection"},
    {L"{59627F6B-1841-46C0-80CE-F8290F0C7D47}", L"ITalvinorRestoreScriptArgs"},
};

bool SameFile(const std::wstring& one, const std::wstring& other) {
    std::error_code ignored;
    return std::filesystem::equivalent(one, other, ignored);
}

/// What the images hold, so that a difference is readable.
std::vector<std::wstring> Lines(const CRegistryImage& image) {
    std::vector<std::wstring> lines;
    for (const auto& [key, values] : image) {
        lines.push_back(key);
        for (const auto& [name, data] : values)
            lines.push_back(key + L" [" + name + L"] " + data);
    }
    return lines;
}

class Registry : public testing::Test {
protected:
    /// The whole tree below one key, which must hold exactly this. The library's path is compared as a file.
    static void ExpectTree(const std::wstring& root, CRegistryImage expected) {
        CRegistryImage found = ReadClasses(root);
        for (auto& [key, values] : found) {
            if (key.ends_with(L"\\InprocServer32")) {
                EXPECT_TRUE(SameFile(values[L""], LibraryPath())) << values[L""];
                values[L""] = L"(library)";
            }
        }
        EXPECT_EQ(Lines(found), Lines(expected));
    }
};

} // namespace

TEST_F(Registry, HoldsEachClassKeyByKey) {
    const CRegistered registered;
    for (const CClassCase& entry : Classes) {
        const std::wstring key = std::wstring(L"CLSID\\") + entry.clsid;
        CRegistryImage expected = {
            {key, {{L"", entry.name}, {L"AppID", appId}}},
            {key + L"\\ProgID", {{L"", entry.progId}}},
            {key + L"\\VersionIndependentProgID", {{L"", entry.independentProgId}}},
            {key + L"\\Programmable", {}},
            {key + L"\\InprocServer32", {{L"", L"(library)"}}},
            {key + L"\\TypeLib", {{L"", entry.typeLib}}},
        };
        if (entry.threading != nullptr)
            expected[key + L"\\InprocServer32"][L"ThreadingModel"] = entry.threading;
        ExpectTree(key, expected);

        const std::wstring progId = entry.progId;
        ExpectTree(progId, {{progId, {{L"", entry.name}}}, {progId + L"\\CLSID", {{L"", entry.clsid}}}});
        const std::wstring independent = entry.independentProgId;
        ExpectTree(independent, {{independent, {{L"", entry.name}}},
                                 {independent + L"\\CLSID", {{L"", entry.clsid}}},
                                 {independent + L"\\CurVer", {{L"", entry.progId}}}});
    }
}

TEST_F(Registry, HoldsTheApplication) {
    const CRegistered registered;
    const std::wstring key = std::wstring(L"AppID\\") + appId;
    ExpectTree(key, {{key, {{L"", L"Quorline"}}}});
    ExpectTree(L"AppID\\Quorline.DLL", {{L"AppID\\Quorline.DLL", {{L"AppID", appId}}}});
}

TEST_F(Registry, ResolvesTheCutProgIdThroughItsCurrentVersion) {
    const CRegistered registered;
    CLSID byName{};
    CLSID byVersion{};
    EXPECT_EQ(CLSIDFromProgID(L"Quorline.SavedDocumentCollection", &byName), S_OK);
    EXPECT_EQ(CLSIDFromProgID(L"Quorline.SavedDocumentCollecti.1", &byVersion), S_OK);
    EXPECT_EQ(byName, byVersion);
    EXPECT_EQ(
        ReadClasses(L"Quorline.SavedDocumentCollection\\CurVer")[L"Quorline.SavedDocumentCollection\\CurVer"][L""],
        L"Quorline.SavedDocumentCollecti.1");
    EXPECT_TRUE(ReadClasses(L"Quorline.SavedDocumentCollection.1").empty());
}

TEST_F(Registry, NeverHoldsTheClassWithoutAnImplementation) {
    const CRegistered registered;
    EXPECT_TRUE(ReadClasses(std::wstring(L"CLSID\\") + argumentCollectionId).empty());
    EXPECT_TRUE(ReadClasses(L"Quorline.ScriptArgumentColl").empty());
    EXPECT_TRUE(ReadClasses(L"Quorline.ScriptArgumentCo.1").empty());
}

TEST_F(Registry, HoldsTheTypeLibrary) {
    const CRegistered registered;
    const std::wstring key = std::wstring(L"TypeLib\\") + libraryId + L"\\5.0";
    CRegistryImage found = ReadClasses(key);
    EXPECT_EQ(found[key][L""], L"Morvane Talvinor Client 5.0 Type Library");
    std::wstring file;
    for (const auto& [path, values] : found) {
        if (path.ends_with(L"win64"))
            file = values.at(L"");
    }
    EXPECT_TRUE(SameFile(file, LibraryPath())) << file;
}

TEST_F(Registry, MarshalsTheInterfacesThroughTheMergedProxies) {
    const CRegistered registered;
    // The proxies are served under the identifier of one of their interfaces.
    const std::wstring one = std::wstring(L"Interface\\") + Interfaces[0].first + L"\\ProxyStubClsid32";
    const std::wstring proxyId = ReadClasses(one)[one][L""];
    EXPECT_TRUE(std::ranges::any_of(Interfaces, [&](const auto& entry) { return entry.first == proxyId; })) << proxyId;
    for (const auto& [iid, name] : Interfaces) {
        const std::wstring key = std::wstring(L"Interface\\") + iid;
        CRegistryImage found = ReadClasses(key);
        EXPECT_EQ(found[key][L""], name);
        EXPECT_EQ(found[key + L"\\ProxyStubClsid32"][L""], proxyId) << name;
        EXPECT_EQ(found[key + L"\\TypeLib"][L""], libraryId) << name;
        EXPECT_EQ(found[key + L"\\TypeLib"][L"Version"], L"5.0") << name;
    }
    const std::wstring server = L"CLSID\\" + proxyId + L"\\InProcServer32";
    CRegistryImage found = ReadClasses(server);
    EXPECT_TRUE(SameFile(found[server][L""], LibraryPath())) << found[server][L""];
    EXPECT_EQ(found[server][L"ThreadingModel"], L"Both");
}

TEST_F(Registry, IsAsBeforeAfterUnregistering) {
    ASSERT_EQ(RegSvr32(L"/u"), 0u);
    const CRegistryImage before = ReadClasses();
    ASSERT_GT(before.size(), 500u);
    {
        const CRegistered registered;
        EXPECT_NE(Lines(ReadClasses()), Lines(before));
    }
    std::vector<std::wstring> left;
    const std::vector<std::wstring> then = Lines(before);
    std::ranges::set_symmetric_difference(Lines(ReadClasses()), then, std::back_inserter(left));
    EXPECT_EQ(left, std::vector<std::wstring>());
}

TEST_F(Registry, MayBeRegisteredAndUnregisteredTwice) {
    EXPECT_EQ(RegSvr32(L""), 0u);
    const auto once = Lines(ReadClasses());
    EXPECT_EQ(RegSvr32(L""), 0u);
    EXPECT_EQ(Lines(ReadClasses()), once);
    EXPECT_EQ(RegSvr32(L"/u"), 0u);
    EXPECT_EQ(RegSvr32(L"/u"), 0u);
}
