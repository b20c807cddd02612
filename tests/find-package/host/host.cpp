// Uses of the library what a host does: an operation of its own on the library's worker, the interfaces of both sides,
// an exception that crosses the DLL's edge. Returns how many of them did not work.

#include "Common/RpcHelper.h"
#include "HostInterfaces.h"
#include "Quorline.h"
#include "ScriptExecution/AsyncRunner.h"
#include "ScriptExecution/AsyncScriptOp.h"
#include "base/Exceptions.h"

class CMyOp : public CAsyncScriptOp {
public:
    long AddNamedItems() override {
        m_ranOnWorker = GetCurrentThreadId() != m_owner;
        return S_OK;
    }
    bool RanOnWorker() const { return m_ranOnWorker; }

private:
    DWORD m_owner = GetCurrentThreadId();
    bool m_ranOnWorker = false;
};

int main() {
    CMyOp op;
    CAsyncRunner runner;
    runner.Start(&op);
    runner.WaitForFinish();
    int failures = op.RanOnWorker() ? 0 : 1;

    if (CGuid(IID_IStateChangeInstance).ToString() != L"c37dbd08-2f98-4ab1-a7c7-e02a4cefa2e5")
        ++failures;
    if (CGuid(IID_IDocumentStore).ToString() != L"34f3b8f3-d238-456d-9553-8fc0eb26c4c6")
        ++failures;
    try {
        CGuid guid(L"no identifier");
        ++failures;
    } catch (const COSException&) {
    }
    return failures;
}
