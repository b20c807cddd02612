#include "com/ErrorInfo.h"

#include <atlcomcli.h>

namespace {
/// Read alone, though the interface says otherwise.
wchar_t* Given(const std::wstring& text) noexcept {
    return const_cast<wchar_t*>(text.c_str());
}
} // namespace

void InstallErrorInfo(REFIID iid, const CErrorInfo& error) noexcept {
    CComPtr<ICreateErrorInfo> creator;
    if (FAILED(CreateErrorInfo(&creator)))
        return;
    creator->SetGUID(iid);
    if (!error.description.empty())
        creator->SetDescription(Given(error.description));
    if (!error.source.empty())
        creator->SetSource(Given(error.source));
    if (!error.helpFile.empty())
        creator->SetHelpFile(Given(error.helpFile));
    creator->SetHelpContext(error.helpContext);
    if (const CComQIPtr<IErrorInfo> information(creator); information)
        SetErrorInfo(0, information);
}
