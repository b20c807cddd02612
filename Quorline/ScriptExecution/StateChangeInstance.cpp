#include "ScriptExecution/StateChangeInstance.h"

#include "Common/RpcHelper.h"
#include "logging/Checks.h"

#include "HostInterfaces.h"

#include <atlbase.h>

namespace {
// kept: failures of Init are reported under these fixed places, which log readers know.
constexpr CCodeLocation InitLocation(int line) {
    return {"ScriptExecution/StateChangeInstance", line, "CStateChangeInstance::Init"};
}
} // namespace

CStateChangeInstance::CStateChangeInstance() {
    CreateId();
    SetUTCTimestampToNow();
}

void CStateChangeInstance::Init() {
    CreateId();
}

void CStateChangeInstance::CreateId() {
    m_id = CreateGUID();
}

// kept: a partial copy, unlike the assignment; type, invoker, flags and vetoed belong to the target.
void CStateChangeInstance::Init(const CStateChangeInstance* other) {
    if (!other)
        SanityCheckFailed(InitLocation(22), L"Null value passed to CStateChangeInstance constructor");
    m_invokingUser = other->m_invokingUser;
    m_invokingSoftwarePath = other->m_invokingSoftwarePath;
    m_utcTimestamp = other->m_utcTimestamp;
    m_id = other->m_id;
}

// kept: the values read are thrown away; the call only proves that the host answers both properties.
void CStateChangeInstance::Init(IStateChangeInstance* instance) {
    const CComPtr<IStateChangeInstance> reference(instance);
    long newState = 0;
    RequireSuccess(InitLocation(36), reference->get_NewState(&newState), L"IStateChangeInstance::get_NewState");
    hyper timestamp = 0;
    RequireSuccess(InitLocation(41), reference->get_Timestamp(&timestamp), L"IStateChangeInstance::get_Timestamp");
}

void CStateChangeInstance::SetStateChangeType(_ECPU_STATE state) {
    switch (state) {
    case ECPU_STANDBY:
        m_type = Standby;
        break;
    case ECPU_HIBERNATE:
        m_type = Hibernate;
        break;
    case ECPU_SHUTDOWN:
        m_type = Shutdown;
        break;
    default:
        m_type = InvalidStateChangeType;
    }
}

void CStateChangeInstance::SetUTCTimestampToNow() {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    SystemTimeToFileTime(&now, &m_utcTimestamp);
}
