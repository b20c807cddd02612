// quorline-sign.exe: the signing commands as a program of their own, where nothing else of the system is wanted.

#include "base/UniqueHandle.h"
#include "SignerCommands.h"

#include <log4cxx/logger.h>

#include <cstdio>
#include <sstream>

namespace {

/// As UTF-8, whatever the console's code page.
void Print(FILE* file, const std::wstring& text) {
    std::string bytes(text.size() * 3, '\0');
    if (text.empty())
        return;
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
    fwrite(bytes.data(), 1, static_cast<std::size_t>(size), file);
}

struct CCommand {
    const wchar_t* name;
    int (*run)(const CArguments&, std::wostream&, std::wostream&);
};
constexpr CCommand Commands[] = {
    {L"sign", &RunSign}, {L"verify", &RunVerify}, {L"trust", &RunTrust}, {L"cert", &RunCert}};

} // namespace

int wmain(int count, wchar_t** values) {
    // What the log would say is printed anyway.
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    const CArguments all(values + 1, values + count);
    for (const CCommand& command : Commands) {
        if (all.empty() || all.front() != command.name)
            continue;
        std::wostringstream out;
        std::wostringstream err;
        const int result = command.run(CArguments(all.begin() + 1, all.end()), out, err);
        Print(stdout, out.str());
        Print(stderr, err.str());
        return result;
    }
    Print(stderr, L"usage: quorline-sign sign SCRIPT... [--cert FILE.pfx | --thumbprint T]\n"
                  L"       quorline-sign verify SCRIPT...\n"
                  L"       quorline-sign trust CERT\n"
                  L"       quorline-sign cert --new-development [--out FILE]\n");
    return 2;
}
