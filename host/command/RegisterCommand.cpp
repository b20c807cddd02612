#include "AppsFile.h"
#include "Commands.h"
#include "Components.h"
#include "JsonText.h"
#include "OwnProgram.h"
#include "SystemText.h"
#include "base/MachineDirectory.h"
#include "base/UniqueHandle.h"

#include <array>
#include <filesystem>

namespace {
using nlohmann::ordered_json;

/// Beside this program.
constexpr std::array<const wchar_t*, 3> Files{L"Quorline.dll", L"QuorlineHost.dll", L"QuorlineSigner.dll"};

struct CLibraryTraits {
    using Type = HMODULE;
    static Type Null() noexcept { return nullptr; }
    static bool IsValid(Type value) noexcept { return value != nullptr; }
    static void Close(Type value) noexcept { FreeLibrary(value); }
};
using CUniqueLibrary = CUnique<CLibraryTraits>;

/// The entry point by which a component puts itself into the registry, or takes itself out.
HRESULT CallEntryPoint(const std::wstring& path, const char* name) {
    const CUniqueLibrary library(LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (!library)
        return HRESULT_FROM_WIN32(GetLastError());
    const FARPROC entry = GetProcAddress(library.Get(), name);
    if (entry == nullptr)
        return HRESULT_FROM_WIN32(GetLastError());
    return reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)()>(reinterpret_cast<void*>(entry))();
}

struct CStep {
    const char* entryPoint;
    const wchar_t* done; ///< "registered"
};

ExitCode RunSteps(const CStep& step, bool asJson) {
    const CHostApartment apartment;
    ExitCode code = ExitCode::Done;
    auto list = ordered_json::array();
    const std::wstring program = OwnProgram();
    for (const wchar_t* file : Files) {
        const std::wstring path = program.substr(0, program.find_last_of(L'\\') + 1) + file;
        const HRESULT hr = CallEntryPoint(path, step.entryPoint);
        ordered_json entry{{"file", ToUtf8(path)}, {"done", SUCCEEDED(hr)}};
        if (SUCCEEDED(hr)) {
            PrintLine(path + L": " + step.done);
        } else if (hr == HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)) {
            PrintLine(path + L": left out, since this machine has another script signer");
            entry["problem"] = "this machine has another script signer";
        } else {
            const std::wstring problem = DescribeCode(static_cast<unsigned long>(hr));
            std::wstring line = path;
            line.append(L" could not be ").append(step.done).append(L": ").append(problem);
            PrintError(line.append(L"; see that the file is there, and run this as administrator"));
            entry["problem"] = ToUtf8(problem);
            code = ExitCode::Failed;
        }
        list.push_back(std::move(entry));
    }
    if (asJson)
        PrintJson({{"components", std::move(list)}});
    return code;
}

/// What is in it decides which scripts run for everybody.
ExitCode MakeAppsFolder() {
    const std::wstring folder = std::filesystem::path(DefaultAppsFile()).parent_path().wstring();
    if (MakeMachineDirectory(folder)) {
        PrintLine(folder + L": made, for administrators to write");
    } else if (const DWORD error = GetLastError(); error != ERROR_ALREADY_EXISTS) {
        PrintError(folder + L" could not be made: " + DescribeCode(error) + L"; run this as administrator");
        return ExitCode::Failed;
    }
    return ExitCode::Done;
}
} // namespace

void AddRegister(CCommandLine& line) {
    const char* const json = R"({"components": [{"file", "done", "problem"}]})";
    line.Add({"register",
              "Register the components beside this program, and make the folder of the applications file",
              {"register"},
              {ExitCode::Done, ExitCode::Failed},
              json},
             [](const CCommonOptions& options) {
                 const ExitCode folder = MakeAppsFolder();
                 const ExitCode components = RunSteps({"DllRegisterServer", L"registered"}, options.json);
                 return components == ExitCode::Done ? folder : components;
             });
    line.Add({"unregister",
              "Take the components beside this program out of the registry",
              {"unregister"},
              {ExitCode::Done, ExitCode::Failed},
              json},
             [](const CCommonOptions& options) {
                 return RunSteps({"DllUnregisterServer", L"unregistered"}, options.json);
             });
}
