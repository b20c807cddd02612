#pragma once

// A script that the host ties to state change types rather than to an application.

#include "base/Export.h"
#include "ScriptExecution/Script.h"
#include "ScriptExecution/StateChangeTypes.h"

struct IStateChangeScript;

class QUORLINE_API CStateChangeScript : public CScript {
public:
    CStateChangeScript() = default;
    CStateChangeScript(const CStateChangeScript& other) = default;
    CStateChangeScript& operator=(const CStateChangeScript& other) = default;
    ~CStateChangeScript() override = default;

    /// A mask of types.
    void SetStateChangeTypes(_STATE_CHANGE_TYPE types) { m_stateChangeTypes = types; }
    _STATE_CHANGE_TYPE GetStateChangeTypes() const { return m_stateChangeTypes; }

    /// Takes the text from the host's object; when that cannot give it, nothing changes.
    void Init(IStateChangeScript* script);

private:
    _STATE_CHANGE_TYPE m_stateChangeTypes{};
};
