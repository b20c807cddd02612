// Verifying a script's signature, every time anew, beside the system's own calls on the same bytes. The first of a
// process opens the machine's root store, which is the platform's time: it is measured in processes of its own and only
// shown.

#include "bare/BareVerify.h"
#include "Contest.h"

#include "ScriptVerifier.h"
#include "TestAuthority.h"

#include "cms/SignatureBlock.h"

#include <log4cxx/logger.h>

namespace {
constexpr std::wstring_view Script = L"Dim path, file\r\n"
                                     L"path = TalvinorDocumentStore.GetNew(\"Letter\", \"\", \".txt\")\r\n"
                                     L"Set file = CreateObject(\"Scripting.FileSystemObject\").CreateTextFile(path)\r\n"
                                     L"file.Write Process.Windows.Item(0).Text\r\nfile.Close\r\n";

void Verify(benchmark::State& state) {
    const std::wstring text = SignWith(Authority().Publisher(), Script);
    const CBytes signature = SignatureOf(text);
    const CBareVerify bare(std::wstring(Script), {signature.begin(), signature.end()});
    const CScriptVerifier verifier;
    const auto ours = [&] {
        if (!verifier.VerifyText(ScriptKind::VBScript, text).accepted)
            state.SkipWithError("our verification refused the script");
    };
    const auto theirs = [&] {
        if (!bare.Run())
            state.SkipWithError("the bare verification refused the script");
    };
    static double first = 0;
    if (first == 0)
        first = CContest(state, 0).Time(ours);
    state.counters["first"] = first;
    CContest(state, 1.0).Run(ours, theirs);
}

BENCHMARK(Verify)->Name("verify a script's signature|crypt32's verify and chain calls")->Iterations(200);
} // namespace

int main(int argc, char** argv) {
    if (!CTestAuthority::IsChild())
        return CTestAuthority::RunChild();
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
