// Proves which saved copies may be handed to a script: SavedCopy.

#include "ChildProgram.h"
#include "SavedCopy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {
using Kind = CSavedCopyAnswer::Kind;

class SavedCopyTest : public testing::Test {
protected:
    SavedCopyTest() {
        std::filesystem::create_directories(Store() + L"\\folder");
        std::filesystem::create_directories(m_folder.Path() + L"\\other");
        for (const wchar_t* file : {L"\\store\\Letter.txt", L"\\store\\Peter's & 100%.txt", L"\\other\\Letter.txt"})
            std::ofstream(std::filesystem::path(m_folder.Path() + file)) << "text";
    }

    std::wstring Store() const { return m_folder.Path() + L"\\store"; }

    const CTempFolder m_folder;
};
} // namespace

TEST_F(SavedCopyTest, AnOrdinaryFileOfTheStoreIsUsable) {
    for (const wchar_t* name : {L"\\Letter.txt", L"\\LETTER.TXT", L"\\Peter's & 100%.txt", L"/Letter.txt"}) {
        const CSavedCopyAnswer answer = ExamineSavedCopy(Store(), Store() + name);
        EXPECT_EQ(answer.kind, Kind::Usable) << name << ": " << answer.reason;
    }
}

TEST_F(SavedCopyTest, AFileThatIsNotThereIsMissing) {
    const CSavedCopyAnswer answer = ExamineSavedCopy(Store(), Store() + L"\\gone.txt");
    EXPECT_EQ(answer.kind, Kind::Missing);
    EXPECT_EQ(answer.reason, L"the saved copy is gone");
}

TEST_F(SavedCopyTest, AnythingElseIsRefusedWithTheReason) {
    const wchar_t* const elsewhere = L"it does not lie in the directory of its store";
    const wchar_t* const badName = L"its name holds a quotation mark, a colon or a control character";
    const struct {
        std::wstring path;
        const wchar_t* reason;
    } cases[] = {
        {L"", L"the record names no file"},
        {Store() + L"\\", L"the record names no file"},
        {L"Letter.txt", elsewhere},
        {m_folder.Path() + L"\\other\\Letter.txt", elsewhere},
        {Store() + L"\\..\\other\\Letter.txt", elsewhere},
        {Store() + L"\\folder\\Letter.txt", elsewhere},
        {Store() + L"\\..", elsewhere},
        {L"C:\\windows\\notepad.exe", elsewhere},
        {L"\\\\server\\share\\Letter.txt", elsewhere},
        {L"\\\\?\\" + Store() + L"\\Letter.txt", elsewhere},
        {L"\\\\.\\PhysicalDrive0", elsewhere},
        {Store() + L"\\NUL", elsewhere},
        {Store() + L"\\con", elsewhere},
        {Store() + L"\\Letter.txt ", elsewhere},
        {Store() + L"\\Letter.txt.", elsewhere},
        {Store() + L"\\folder", L"it is no ordinary file"},
        {Store() + L"\\Letter.txt:stream", badName},
        {Store() + L"\\a\" & calc.exe & \".txt", badName},
        {Store() + L"\\a\nb.txt", badName},
        {Store() + L"\\a\x1f.txt", badName},
        {Store() + L"\\a\x7f.txt", badName},
        {Store() + L"\\a\x9f.txt", badName},
    };
    for (const auto& c : cases) {
        const CSavedCopyAnswer answer = ExamineSavedCopy(Store(), c.path);
        EXPECT_EQ(answer.kind, Kind::Refused) << c.path;
        EXPECT_EQ(answer.reason, c.reason) << c.path;
    }
}

namespace {
/// Made by the system below, since Windows' own ways to make links are missing here. Removed before anything else is.
class CLink {
public:
    CLink(const std::wstring& folder, const std::wstring& target, const std::wstring& name)
        : m_folder(folder), m_name(name) {
        Run(L"Z:\\bin\\ln -s " + target + L" " + name);
        if (!WaitForFile(folder + L"\\" + name))
            throw std::runtime_error("no link was made");
    }
    ~CLink() {
        Run(L"Z:\\bin\\rm " + m_name);
        WaitUntil(m_folder + L"\\" + m_name, false);
    }

    CLink(const CLink&) = delete;
    CLink& operator=(const CLink&) = delete;

private:
    void Run(const std::wstring& command) const {
        const std::filesystem::path before = std::filesystem::current_path();
        std::filesystem::current_path(m_folder);
        PROCESS_INFORMATION started{};
        const bool done = StartProcess(command, started);
        std::filesystem::current_path(before);
        // The handles stay as they are: of a program of the system below there are none, and what stands in their
        // place may be another's.
        if (!done)
            throw std::runtime_error("a link's program could not be started");
    }

    const std::wstring m_folder;
    const std::wstring m_name;
};
} // namespace

TEST_F(SavedCopyTest, AStoreThatIsALinkIsRefused) {
    const CLink link(m_folder.Path(), L"other", L"link");
    const std::wstring store = m_folder.Path() + L"\\link";
    ASSERT_TRUE(std::filesystem::exists(store + L"\\Letter.txt"));
    const CSavedCopyAnswer answer = ExamineSavedCopy(store, store + L"\\Letter.txt");
    EXPECT_EQ(answer.kind, Kind::Refused);
    EXPECT_EQ(answer.reason, L"the directory of its store is a link");
}

TEST_F(SavedCopyTest, ACopyThatIsALinkIsRefused) {
    const CLink link(Store(), L"../other/Letter.txt", L"Linked.txt");
    const CSavedCopyAnswer answer = ExamineSavedCopy(Store(), Store() + L"\\Linked.txt");
    EXPECT_EQ(answer.kind, Kind::Refused);
    EXPECT_EQ(answer.reason, L"it is no ordinary file");
}

TEST_F(SavedCopyTest, OfManyStoresEachCopyIsExaminedByItself) {
    const CLink link(m_folder.Path(), L"other", L"link");
    const CSavedCopies copies(m_folder.Path());
    const std::pair<const wchar_t*, Kind> cases[] = {{L"\\store\\Letter.txt", Kind::Usable},
                                                     {L"\\link\\Letter.txt", Kind::Refused},
                                                     {L"\\link\\gone.txt", Kind::Refused},
                                                     {L"\\other\\Letter.txt", Kind::Usable},
                                                     {L"\\other\\gone.txt", Kind::Missing}};
    for (const auto& [copy, kind] : cases) {
        const std::wstring path = m_folder.Path() + copy;
        EXPECT_EQ(copies.Examine(path.substr(0, path.find_last_of(L'\\')), path).kind, kind) << path;
    }
}

TEST_F(SavedCopyTest, ADirectoryOfStoresBehindALinkHoldsUsableCopies) {
    const CLink link(m_folder.Path(), L".", L"redirected");
    const std::wstring stores = m_folder.Path() + L"\\redirected";
    EXPECT_EQ(CSavedCopies(stores).Examine(stores + L"\\store", stores + L"\\store\\Letter.txt").kind, Kind::Usable);
}
