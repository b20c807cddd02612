#include "Session.h"

#include "Process.h"
#include "SessionError.h"

#include <array>

STDMETHODIMP CSession::get_UserName(BSTR* pName) {
    return Answer(*this, L"UserName", pName, [] {
        std::array<wchar_t, 257> name{};
        DWORD size = static_cast<DWORD>(name.size());
        if (!GetUserNameW(name.data(), &size))
            ThrowLastError();
        return std::wstring(name.data());
    });
}

STDMETHODIMP CSession::get_ComputerName(BSTR* pName) {
    return Answer(*this, L"ComputerName", pName, [] {
        std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name{};
        DWORD size = static_cast<DWORD>(name.size());
        if (!GetComputerNameW(name.data(), &size))
            ThrowLastError();
        return std::wstring(name.data());
    });
}

STDMETHODIMP CSession::get_SessionId(long* pId) {
    return Answer(*this, L"SessionId", pId, [] {
        DWORD id = 0;
        if (!ProcessIdToSessionId(GetCurrentProcessId(), &id))
            ThrowLastError();
        return static_cast<long>(id);
    });
}

STDMETHODIMP CSession::get_IsRemote(VARIANT_BOOL* pRemote) {
    return Answer(*this, L"IsRemote", pRemote, [] { return GetSystemMetrics(SM_REMOTESESSION) != 0; });
}

STDMETHODIMP CSession::GetProcess(unsigned long processId, IDispatch** ppProcess) {
    return Answer(*this, L"GetProcess", ppProcess,
                  [&] { return CProcess::Create(std::make_shared<CTargetProcess>(processId)); });
}

STDMETHODIMP CSession::get_IsCheckpoint(VARIANT_BOOL* pCheckpoint) {
    return Answer(*this, L"IsCheckpoint", pCheckpoint, [] {
        wchar_t value[2] = L"";
        return GetEnvironmentVariableW(L"QUORLINE_CHECKPOINT", value, 2) == 1 && value[0] == L'1';
    });
}
