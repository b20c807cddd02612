#include "Common/RpcHelper.h"

#include "base/UniqueHandle.h"
#include "logging/Checks.h"

#include <objbase.h>
#include <rpc.h>

namespace {
void FreeRpcString(RPC_WSTR text) noexcept {
    RpcStringFreeW(&text);
}

using CUniqueRpcString = CUnique<CNullableTraits<RPC_WSTR, &FreeRpcString>>;

/// kept: this unit is named without its extension, wherever an identifier fails.
constexpr CCodeLocation Here(int line, std::string_view function) {
    return {"Common/RpcHelper", line, function};
}
} // namespace

CGuid::CGuid() {
    RequireSuccess(Here(__LINE__, "CGuid::CGuid"), CoCreateGuid(&m_guid), L"Could not generate guid");
    m_valid = true;
}

CGuid::CGuid(const std::wstring& text) {
    // UuidFromString only reads the text. It takes a null pointer or an empty text for the nil identifier.
    auto* characters = reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text.c_str()));
    const RPC_STATUS status = text.empty() ? RPC_S_INVALID_STRING_UUID : UuidFromStringW(characters, &m_guid);
    if (status != RPC_S_OK)
        CheckHResult(Here(__LINE__, "CGuid::CGuid"), status, L"Could not init guid from string");
    m_valid = true;
}

std::wstring CGuid::ToString() const {
    if (!m_valid)
        CheckHResult(Here(__LINE__, "CGuid::ToString"), E_FAIL, L"Failed to convert guid to string");
    CUniqueRpcString text;
    UUID guid = m_guid; // declared without const, though it is only read
    const RPC_STATUS status = UuidToStringW(&guid, text.Put());
    if (status != RPC_S_OK)
        CheckHResult(Here(__LINE__, "CGuid::ToString"), status, L"Failed to convert guid to string");
    return reinterpret_cast<const wchar_t*>(text.Get());
}

GUID CreateGUID() {
    GUID guid{};
    const RPC_STATUS status = UuidCreate(&guid);
    // kept: tested like an HRESULT, so a positive status, a locally unique identifier, passes.
    RequireSuccess(Here(46, "CreateGUID"), status, L"Failed to generate guid");
    return guid;
}
