// Values of the info file, which are printed as formats of their own.

#include "FuzzInput.h"
#include "ScriptExecution/InfoFileValue.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::wstring value = CFuzzInput(data, size).TakeText();
    const std::wstring printed = FormatInfoFileValue(value);
    FuzzRequire(printed.size() <= value.size() + 65'536, "conversions print at most 65,536 characters");
    FuzzRequire(printed.find(L'\0') == std::wstring::npos, "no zero reaches the file");

    value.resize(std::wstring_view(value.c_str()).size());
    std::wstring doubled;
    for (const wchar_t c : value)
        doubled.append(c == L'%' ? 2 : 1, c);
    FuzzRequire(FormatInfoFileValue(doubled) == value, "doubled percent signs print the value itself");
    return 0;
}
