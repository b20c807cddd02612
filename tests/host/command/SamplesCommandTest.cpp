// The samples as an administrator uses them: signed, checked, and asked by the real command to save the system's own
// Notepad and WordPad. Proves the samples.

#include "CommandFixture.h"

#include "RealApp.h"

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;

struct CSample {
    const char* name;
    const wchar_t* program;
    const wchar_t* windowClass;
    const char* executable;
};

void PrintTo(const CSample& sample, std::ostream* out) {
    *out << sample.name;
}

class Samples : public CommandTest {
protected:
    /// Copies all and signs the scripts whose names begin so.
    void Sign(const std::wstring& beginning) {
        std::wstring scripts;
        for (const auto& file : std::filesystem::directory_iterator(QUORLINE_SAMPLES)) {
            const std::wstring name = file.path().filename().wstring();
            std::filesystem::copy(file.path(), m_folder.Path());
            if (name.starts_with(beginning) && (name.ends_with(L".vbs") || name.ends_with(L".js")))
                scripts += L" " + Quoted(name);
        }
        const CProgramResult signing = RunQuorline(L"sign" + scripts);
        ASSERT_EQ(signing.exitCode, 0u) << signing.err;
    }
};

class SamplesFor : public Samples, public testing::WithParamInterface<CSample> {};
} // namespace

TEST_F(Samples, AreInOrderThoseForOfficeToo) {
    Sign(L"");
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(m_folder.Path()))
        if (file.path().extension() == L".json") {
            const CProgramResult result = RunQuorline(L"check --apps \"" + file.path().wstring() + L"\"");
            EXPECT_EQ(result.exitCode, 0u) << file.path() << result.err;
            ++files;
        }
    EXPECT_EQ(files, 5);
}

TEST_P(SamplesFor, SaveWhatWasTyped) {
    const CSample& sample = GetParam();
    const std::wstring file = std::filesystem::path(sample.name).wstring();
    Sign(file.substr(0, file.find_first_of(L"-.")));
    const CRealWindow window = StartApp(sample.program, sample.windowClass);
    window.Type(L"Dear Ana");
    const std::wstring apps = L" --state hibernate --apps " + Quoted(file);
    const std::string process = std::to_string(window.ProcessId());
    EXPECT_THAT(RunQuorline(L"apps" + apps).out,
                AllOf(HasSubstr("process " + process + ", " + sample.executable + ", by executable"),
                      HasSubstr("would run "), HasSubstr(" for process " + process)));
    const CProgramResult result = RunQuorline(L"save" + apps);
    EXPECT_EQ(result.exitCode, 0u) << result.out << result.err;
    const auto copies = Stored(L".txt");
    ASSERT_THAT(copies, SizeIs(1));
    const std::string bytes = ReadBytes(copies.front().wstring());
    EXPECT_THAT(bytes, HasSubstr(std::string("D\0e\0a\0r\0 \0A\0n\0a\0", 16))) << "as UTF-16";
}

INSTANTIATE_TEST_SUITE_P(
    OfTheSystem, SamplesFor,
    testing::Values(CSample{"notepad.json", L"notepad.exe", L"Notepad", "NOTEPAD.EXE"},
                    CSample{"notepad-js.json", L"notepad.exe", L"Notepad", "NOTEPAD.EXE"},
                    CSample{"wordpad.json", L"C:\\Program Files\\Windows NT\\Accessories\\wordpad.exe", L"WORDPADTOP",
                            "WORDPAD.EXE"},
                    CSample{"wordpad-js.json", L"C:\\Program Files\\Windows NT\\Accessories\\wordpad.exe",
                            L"WORDPADTOP", "WORDPAD.EXE"}),
    [](const auto& test) {
        std::string name;
        for (const char c : std::string(test.param.name))
            name += isalnum(static_cast<unsigned char>(c)) ? c : '_';
        return name;
    });
