#include "ScriptExecution/StateChangeScriptOp.h"

#include "HostInterfaces.h"

HRESULT Prepare(CStateChangeScriptOp& op, IStateChangeInstance* change) {
    return op.SetStateChangeInstance(change);
}
