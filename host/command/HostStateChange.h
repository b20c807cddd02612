#pragma once

// The announced power state change, as the host offers it to the library. Lives in the host's multi-threaded
// apartment; the library's worker reaches it through a proxy.

#include "HostInterfaces.h"
#include "ScriptExecution/StateChangeTypes.h"

#include <atlbase.h>
#include <atlcom.h>

#include <atomic>
#include <cstdint>

class CHostStateChange : public CComObjectRootEx<CComMultiThreadModel>, public IStateChangeInstance {
public:
    BEGIN_COM_MAP(CHostStateChange)
    COM_INTERFACE_ENTRY(IStateChangeInstance)
    END_COM_MAP()

    /// Announces a change that happens now. Throws CCommandError when the object cannot be made.
    static CComPtr<CHostStateChange> Announce(_STATE_CHANGE_TYPE state);

    // From any thread, whatever its apartment.
    _STATE_CHANGE_TYPE GetState() const { return m_state; }
    /// When it was announced, in 100 ns since 1601, UTC.
    std::uint64_t GetTime() const { return static_cast<std::uint64_t>(m_timestamp); }
    bool IsVetoed() const { return m_vetoed; }

    STDMETHOD(get_NewState)(long* pState) override;
    STDMETHOD(get_Invoker)(long* pInvoker) override;
    STDMETHOD(get_Flags)(long* pFlags) override;
    STDMETHOD(get_Timestamp)(hyper* pTimestamp) override;
    STDMETHOD(get_Vetoed)(VARIANT_BOOL* pVetoed) override;
    STDMETHOD(put_Vetoed)(VARIANT_BOOL vetoed) override;

private:
    _STATE_CHANGE_TYPE m_state{};
    hyper m_timestamp = 0;
    std::atomic<bool> m_vetoed{false};
};
