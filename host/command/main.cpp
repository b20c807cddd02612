// quorline.exe: saves and restores the documents of protected applications around a power state change.

#include "Commands.h"

int wmain(int count, wchar_t** values) {
    CCommandLine line("quorline",
                      "Saves the open documents of protected applications before a power state change and restores "
                      "them.",
                      LibraryLog::Written);
    for (const auto add : {&AddSave, &AddRestore, &AddTry, &AddHistory, &AddForget, &AddNew, &AddCheck, &AddApps,
                           &AddPower, &AddRegister, &AddDoctor, &AddWatch, &AddSigningCommands, &AddWorker})
        add(line);
    return line.Run(count, values);
}
