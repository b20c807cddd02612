// Proves that no bytes at all break the reading of an info file: DocumentStoreXMLReader, ExpatParseState.

#include "ScriptExecution/DocumentStoreInfo.h"
#include "ScriptExecution/DocumentStoreXMLReader.h"
#include "ScriptExecution/DocumentStoreXMLWriter.h"

#include "ProcessUse.h"
#include "DocumentsFixture.h"

#include <psapi.h>

#include <random>

namespace {
/// The files that readers meet: complete, written by the writer, and with everything else that XML allows.
std::vector<std::string> Seeds(const std::filesystem::path& scratch) {
    CInternalDocumentStore store;
    CStateChangeInstance change;
    change.SetStateChangeType(Shutdown);
    for (const wchar_t* name : {L"Report.doc", L"\u65e5\u672c\U0001F600.txt", L"%d"}) {
        auto& record = *store.GetSavedDocumentList()->emplace_back(std::make_unique<CInternalSavedDocument>());
        record.SetDocName(name);
        record.SetDocTempPath(std::wstring(400, L'p'));
    }
    CDocumentStoreXMLWriter writer(scratch.wstring());
    CDocumentStoreInfo info(&change, &store);
    writer.WriteDocumentStore(info);
    writer.Close();
    return {ReadBytes(scratch),
            "<!DOCTYPE DocStore [<!ENTITY a 'x'><!ENTITY b '&a;&a;&a;'>]><DocStore a='&b;'><!--c--><Docs><Doc><Name>&b;"
            "<![CDATA[<]]>&#x1F600;</Name><Rec>true</Rec></Doc><?p i?><Doc/></Docs></DocStore>",
            "<?xml version='1.0' encoding='utf-16'?><DocStore/>"};
}

std::string Mutate(std::string bytes, const std::vector<std::string>& seeds, std::mt19937& random) {
    const auto pick = [&random](std::size_t size) { return size ? random() % size : 0; };
    for (auto changes = 1 + random() % 6; changes > 0; --changes) {
        const std::size_t at = pick(bytes.size());
        switch (random() % 6) {
        case 0:
            if (!bytes.empty())
                bytes[at] = static_cast<char>(random());
            break;
        case 1:
            bytes.insert(at, 1 + random() % 40, static_cast<char>(random()));
            break;
        case 2:
            bytes.erase(at, random() % 60);
            break;
        case 3:
            bytes.insert(at, bytes.substr(pick(bytes.size()), random() % 200));
            break;
        case 4: {
            const std::string& other = seeds[pick(seeds.size())];
            bytes.insert(at, other.substr(pick(other.size()), random() % 200));
            break;
        }
        default:
            bytes.resize(at);
        }
    }
    return bytes;
}

std::size_t PrivateBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}
} // namespace

// Ten thousand damaged files: each is read or refused with one of the reader's exceptions, and nothing stays behind.
TEST(ReaderFuzzTest, DamagedFilesAreReadOrRefused) {
    CCultureHelper::InitInstance(nullptr, nullptr);
    SetLoggingConfigured(true);
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    const CDocumentsFolder folder;
    const auto path = folder.Path() / L"info.xml";
    const auto seeds = Seeds(path);
    std::mt19937 random(20240307);
    int accepted = 0;
    int refused = 0;
    std::size_t memory = 0;
    DWORD handles = 0;
    for (int round = 0; round < 10000; ++round) {
        std::string bytes;
        if (round % 5 == 0)
            for (auto size = random() % 3000; size > 0; --size)
                bytes += static_cast<char>(random());
        else
            bytes = Mutate(seeds[round % seeds.size()], seeds, random);
        WriteBytes(path, bytes);
        try {
            CDocumentStoreInfo info;
            CDocumentStoreXMLReader(path.wstring()).ReadDocumentStore(info);
            ++accepted;
        } catch (const CMorvaneException&) {
            ++refused;
        }
        ASSERT_TRUE(std::filesystem::exists(path));
        if (round == 2000) {
            memory = PrivateBytes();
            handles = HandlesInUse();
        }
    }
    EXPECT_GT(accepted, 100);
    EXPECT_GT(refused, 1000);
    EXPECT_LE(HandlesInUse(), handles + 2);
    EXPECT_LE(PrivateBytes(), memory + (1 << 20));
    SetLoggingConfigured(false);
}
