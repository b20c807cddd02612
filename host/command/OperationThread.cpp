#include "OperationThread.h"

#include "base/UniqueHandle.h"
#include "ExitCode.h"
#include "ScriptExecution/AsyncRunner.h"
#include "ScriptExecution/AsyncRunnerListener.h"

#include <memory>

namespace {
/// The runner's last act is to delete its listeners.
class CEndListener : public IAsyncRunnerListener {
public:
    explicit CEndListener(HANDLE ended) : m_ended(ended) {}
    ~CEndListener() override { SetEvent(m_ended); }
    void OnFinished() override {}

private:
    HANDLE m_ended;
};
} // namespace

void RunOnWorker(IAsyncOp& operation) {
    const CUniqueHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!ended)
        throw CCommandError(ExitCode::Failed, L"no event could be created.");
    auto runner = std::make_unique<CAsyncRunner>(true);
    auto listener = std::make_unique<CEndListener>(ended.Get());
    runner->AttachListener(listener.get());
    static_cast<void>(listener.release()); // the runner's now
    runner->Start(&operation);
    static_cast<void>(runner.release()); // its worker's now
    WaitForSingleObject(ended.Get(), INFINITE);
}
