#pragma once

// The commands, each in a file of its own name: <Name>Command.cpp. A function adds its command to the line. Commands
// print what they did and return what the program exits with; trouble that ends one is thrown as CCommandError.

#include "CommandLine.h"

void AddSave(CCommandLine& line);
void AddRestore(CCommandLine& line);
void AddTry(CCommandLine& line);
void AddHistory(CCommandLine& line);
void AddForget(CCommandLine& line);
void AddNew(CCommandLine& line);
void AddCheck(CCommandLine& line);
void AddApps(CCommandLine& line);
void AddPower(CCommandLine& line);    // standby, hibernate, shutdown
void AddRegister(CCommandLine& line); // and unregister
void AddDoctor(CCommandLine& line);
void AddWatch(CCommandLine& line);

/// What the program starts itself as; nobody types it, and no help names it.
void AddWorker(CCommandLine& line);

// The signing commands, which need the signer alone.
void AddSign(CCommandLine& line);
void AddVerify(CCommandLine& line);
void AddTrust(CCommandLine& line); // and distrust
void AddCert(CCommandLine& line);

inline void AddSigningCommands(CCommandLine& line) {
    for (const auto add : {&AddSign, &AddVerify, &AddTrust, &AddCert})
        add(line);
}
