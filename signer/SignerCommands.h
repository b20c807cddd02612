#pragma once

// The commands around signing, for any program that offers them. Arguments are what follows the command's name. Results
// go to out, one line each; whatever went wrong goes to err, one line each. They return 0 when everything went well, 1
// when a script could not be signed or is not accepted, 2 when the arguments make no sense.

#include <ostream>
#include <string>
#include <vector>

using CArguments = std::vector<std::wstring>;

/// SCRIPT... [--cert FILE.pfx | --thumbprint T]. The password of FILE.pfx is taken from the environment variable
/// QUORLINE_PFX_PASSWORD. Each script is signed by itself: one that fails does not keep the others from it.
int RunSign(const CArguments& arguments, std::wostream& out, std::wostream& err);

/// SCRIPT...
int RunVerify(const CArguments& arguments, std::wostream& out, std::wostream& err);

/// CERT, a file with certificates (DER or PEM). Those issued by themselves become trusted roots of this machine, those
/// for code signing trusted publishers.
int RunTrust(const CArguments& arguments, std::wostream& out, std::wostream& err);

/// --new-development [--out FILE]: makes a development certificate and writes it, without its key, to FILE
/// ("quorline-development.cer").
int RunCert(const CArguments& arguments, std::wostream& out, std::wostream& err);
