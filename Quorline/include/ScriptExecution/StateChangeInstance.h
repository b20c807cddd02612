#pragma once

// One power state change as a copyable value: what the store records and what the info file's StateChange section
// holds. Used on its owner's thread. Times are UTC.

#include "base/Export.h"
#include "ScriptExecution/StateChangeTypes.h"

#include <windows.h>

#include <string>

struct IStateChangeInstance;

class QUORLINE_API CStateChangeInstance {
public:
    /// A fresh identifier and the current time; throws COSException when no identifier can be made.
    CStateChangeInstance();

    /// A fresh identifier.
    void Init();

    /// Copies user, software path, timestamp and identifier only; invoker, type, flags and vetoed stay. Throws
    /// CMorvaneException on null.
    void Init(const CStateChangeInstance* other);

    /// Proves that the host's object answers for its state and time; stores nothing. Throws COSException with the
    /// HRESULT of the property that failed. The pointer must not be null.
    void Init(IStateChangeInstance* instance);

    GUID GetId() const { return m_id; }
    void SetId(const GUID& id) { m_id = id; }

    _STATE_CHANGE_TYPE GetStateChangeType() const { return m_type; }
    void SetStateChangeType(_STATE_CHANGE_TYPE type) { m_type = type; }
    /// Any state but standby, hibernate and shutdown gives InvalidStateChangeType.
    void SetStateChangeType(_ECPU_STATE state);

    _STATE_CHANGE_INVOKER GetInvoker() const { return m_invoker; }
    void SetInvoker(_STATE_CHANGE_INVOKER invoker) { m_invoker = invoker; }

    _STATE_CHANGE_FLAGS GetFlags() const { return m_flags; }
    void SetFlags(_STATE_CHANGE_FLAGS flags) { m_flags = flags; }

    const std::wstring& GetInvokingUser() const { return m_invokingUser; }
    void SetInvokingUser(std::wstring user) { m_invokingUser = std::move(user); }

    const std::wstring& GetInvokingSoftwarePath() const { return m_invokingSoftwarePath; }
    void SetInvokingSoftwarePath(std::wstring path) { m_invokingSoftwarePath = std::move(path); }

    FILETIME GetUTCTimestamp() const { return m_utcTimestamp; }
    void SetUTCTimestamp(const FILETIME& timestamp) { m_utcTimestamp = timestamp; }
    /// The current time in whole milliseconds.
    void SetUTCTimestampToNow();

    bool GetVetoed() const { return m_vetoed; }
    void SetVetoed(bool vetoed) { m_vetoed = vetoed; }

private:
    void CreateId();

    GUID m_id{};
    _STATE_CHANGE_INVOKER m_invoker{};
    _STATE_CHANGE_TYPE m_type{};
    _STATE_CHANGE_FLAGS m_flags{};
    std::wstring m_invokingUser;
    std::wstring m_invokingSoftwarePath;
    FILETIME m_utcTimestamp{};
    bool m_vetoed = false;
};
