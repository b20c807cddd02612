// The list of protected applications: an input is a file.

#include "AppsText.h"
#include "ExitCode.h"
#include "FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr unsigned long Known =
        Standby | StandbyResume | Hibernate | HibernateResume | Shutdown | ShutdownResume | ForceShutdown;
    try {
        for (const CAppEntry& entry : ParseAppsText({reinterpret_cast<const char*>(data), size}, L"apps.json")) {
            FuzzRequire(!entry.friendlyName.empty() && !entry.saveScript.empty(), "an entry has a name and a script");
            FuzzRequire(!entry.executables.empty() || !entry.windowTitles.empty() || !entry.windowClasses.empty(),
                        "an entry has a pattern");
            FuzzRequire(entry.stateChanges != 0 && (entry.stateChanges & ~Known) == 0,
                        "an entry is for states that there are");
        }
    } catch (const CCommandError& error) {
        FuzzRequire(error.GetCode() == ExitCode::BadInput && !error.GetText().empty(), "a mistake is named");
    }
    return 0;
}
