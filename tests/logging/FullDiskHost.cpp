// FullDiskHost LOGFILE: a host whose log file takes no more bytes when it starts. It uses the library, makes room by
// cutting the file to the half, uses it again, and ends with 0.

#include "base/UniqueHandle.h"
#include "ScriptExecution/AsyncRunner.h"
#include "ScriptExecution/Script.h"
#include "base/Exceptions.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {
/// Keeps the worker's thread, which logs to its very end.
class CKeepThread : public IAsyncOp {
public:
    long Run() override {
        const HANDLE process = GetCurrentProcess();
        DuplicateHandle(process, GetCurrentThread(), process, m_thread.Put(), 0, FALSE, DUPLICATE_SAME_ACCESS);
        return 0;
    }
    long OnComplete() override { return 0; }
    void AwaitEnd() const { WaitForSingleObject(m_thread.Get(), INFINITE); }

private:
    CUniqueHandle m_thread;
};

bool UseTheLibrary() {
    CScript().LoadTextFromFile(L"C:\\no such file"); // writes errors
    CAsyncRunner runner;
    CKeepThread operation;
    runner.Start(&operation); // a trace scope, a line, one more scope on a thread of its own
    runner.WaitForFinish();
    operation.AwaitEnd();
    try {
        runner.Start(nullptr); // a check
    } catch (const CMorvaneException&) {
        return true;
    }
    return false;
}
} // namespace

int main(int count, char** arguments) {
    if (count != 2 || !UseTheLibrary())
        return 1;
    // The library has the file open, so it is cut by another handle.
    const std::filesystem::path log(arguments[1]);
    std::filesystem::resize_file(log, std::filesystem::file_size(log) / 2);
    return UseTheLibrary() ? 0 : 1;
}
