// quorline-watch.exe: `quorline watch` without a console window, for the start at logon.

#include "Commands.h"
#include "base/UniqueHandle.h"

#include <windows.h>
#include <shellapi.h>

#include <vector>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    int count = 0;
    const CUniqueLocalMemory<wchar_t*> values(CommandLineToArgvW(GetCommandLineW(), &count));
    wchar_t command[] = L"watch";
    std::vector<wchar_t*> arguments{values.get(), values.get() + count};
    arguments.insert(arguments.begin() + 1, command);

    CCommandLine line("quorline-watch", "Watches this session.", LibraryLog::Written);
    AddWatch(line);
    return line.Run(static_cast<int>(arguments.size()), arguments.data());
}
