#include "SignerCommands.h"

#include "CertificateStore.h"
#include "DevelopmentCertificate.h"
#include "ScriptSignerCore.h"
#include "SignerErrors.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

enum ExitCode { Success = 0, Failure = 1, BadUsage = 2 };

class CUsageError : public CSignerError {
public:
    explicit CUsageError(const std::wstring& text) : CSignerError(E_INVALIDARG, text) {}
};

/// Options with a value each, and what is left.
class CParsedArguments {
public:
    CParsedArguments(const CArguments& arguments, std::initializer_list<std::wstring_view> options,
                     std::initializer_list<std::wstring_view> flags = {}) {
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            const std::wstring& argument = arguments[i];
            if (std::ranges::find(flags, argument) != flags.end())
                m_options.emplace_back(argument, L"");
            else if (std::ranges::find(options, argument) != options.end()) {
                if (i + 1 == arguments.size() || arguments[i + 1].empty())
                    throw CUsageError(argument + L" needs a value");
                m_options.emplace_back(argument, arguments[++i]);
            } else if (argument.starts_with(L"--"))
                throw CUsageError(L"unknown option '" + argument + L"'");
            else
                m_rest.push_back(argument);
        }
    }

    const CArguments& Rest() const { return m_rest; }
    std::optional<std::wstring> Option(std::wstring_view name) const {
        for (const auto& [option, value] : m_options) {
            if (option == name)
                return value;
        }
        return std::nullopt;
    }

private:
    std::vector<std::pair<std::wstring, std::wstring>> m_options;
    CArguments m_rest;
};

/// One line for err, and the exit code that goes with it.
template <class Action> int Report(std::wostream& err, Action action) {
    try {
        return action();
    } catch (const CUsageError& error) {
        err << error.Text() << L'\n';
        return BadUsage;
    } catch (const CSignerError& error) {
        err << error.Text() << L'\n';
        return Failure;
    }
}

std::wstring PfxPassword() {
    const wchar_t* const password = _wgetenv(L"QUORLINE_PFX_PASSWORD");
    return password != nullptr ? password : L"";
}

CSigningCertificate ChooseCertificate(const CParsedArguments& arguments) {
    const auto file = arguments.Option(L"--cert");
    const auto thumbprint = arguments.Option(L"--thumbprint");
    if (file && thumbprint)
        throw CUsageError(L"--cert and --thumbprint exclude each other");
    if (file)
        return CSigningCertificate::FromPfx(*file, PfxPassword());
    return CSigningCertificate::FromStore(thumbprint.value_or(L""), L"");
}

std::wstring DescribeTime(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    wchar_t text[64];
    _snwprintf_s(text, std::size(text), _TRUNCATE, L"%04u-%02u-%02u %02u:%02u:%02u UTC", parts.wYear, parts.wMonth,
                 parts.wDay, parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

/// All certificates of a file: one in DER, or any number in PEM.
std::vector<CUniqueCertificate> ReadCertificates(const std::wstring& path) {
    constexpr std::string_view begin = "-----BEGIN CERTIFICATE-----";
    constexpr std::string_view end = "-----END CERTIFICATE-----";
    const CBytes bytes = ReadFileBytes(path);
    std::vector<CUniqueCertificate> certificates;
    const auto add = [&](CBytesView der) {
        certificates.emplace_back(
            CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
        if (!certificates.back())
            throw CSignerError(CRYPT_E_BAD_ENCODE, L"'" + path + L"' is no certificate");
    };
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.find(begin) == std::string_view::npos)
        add(bytes);
    for (std::size_t at = text.find(begin); at != std::string_view::npos; at = text.find(begin)) {
        const std::size_t last = text.find(end, at);
        const auto length = static_cast<DWORD>(std::min(last, text.size() - end.size()) + end.size() - at);
        CBytes der(length);
        DWORD size = length;
        if (!CryptStringToBinaryA(text.data() + at, length, CRYPT_STRING_BASE64HEADER, der.data(), &size, nullptr,
                                  nullptr))
            size = 0;
        add(CBytesView(der).first(size));
        text.remove_prefix(at + length);
    }
    return certificates;
}

void WriteFileBytes(const std::wstring& path, CBytesView bytes) {
    const CUniqueHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    if (!file || !WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
        ThrowLastError(L"cannot write '" + path + L"'");
}

} // namespace

int RunSign(const CArguments& arguments, std::wostream& out, std::wostream& err) {
    return Report(err, [&] {
        const CParsedArguments parsed(arguments, {L"--cert", L"--thumbprint"});
        if (parsed.Rest().empty())
            throw CUsageError(L"usage: sign SCRIPT... [--cert FILE.pfx | --thumbprint T]");
        const CSigningCertificate certificate = ChooseCertificate(parsed);
        const CScriptSignerCore signer(certificate);
        int worst = Success;
        for (const std::wstring& script : parsed.Rest()) {
            const int result = Report(err, [&] {
                signer.SignFile(script);
                out << script << L": signed by " << SubjectOf(certificate.Get()) << L" ("
                    << ThumbprintOf(certificate.Get()) << L")\n";
                return Success;
            });
            worst = std::max(worst, result);
        }
        return worst;
    });
}

int RunVerify(const CArguments& arguments, std::wostream& out, std::wostream& err) {
    return Report(err, [&] {
        const CParsedArguments parsed(arguments, {});
        if (parsed.Rest().empty())
            throw CUsageError(L"usage: verify SCRIPT...");
        int worst = Success;
        for (const std::wstring& script : parsed.Rest()) {
            const int result = Report(err, [&]() -> int {
                const CVerification verification = CScriptVerifier().VerifyFile(script);
                if (!verification.accepted) {
                    err << script << L": not accepted: " << verification.reason;
                    if (!verification.subject.empty())
                        err << L" (certificate: " << verification.subject << L")";
                    err << L'\n';
                    return Failure;
                }
                out << script << L": signed by " << verification.subject;
                if (verification.stampedAt)
                    out << L", time stamp " << DescribeTime(*verification.stampedAt);
                out << L'\n';
                return Success;
            });
            worst = std::max(worst, result);
        }
        return worst;
    });
}

int RunTrust(const CArguments& arguments, std::wostream& out, std::wostream& err) {
    return Report(err, [&] {
        const CParsedArguments parsed(arguments, {});
        if (parsed.Rest().size() != 1)
            throw CUsageError(L"usage: trust CERT");
        const CUniqueStore roots = OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Root", StoreAccess::Write);
        const CUniqueStore publishers =
            OpenSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, L"TrustedPublisher", StoreAccess::Write);
        int worst = Success;
        for (const CUniqueCertificate& certificate : ReadCertificates(parsed.Rest().front())) {
            const bool root = IsSelfIssued(certificate.Get());
            const bool publisher = HasUsage(certificate.Get(), szOID_PKIX_KP_CODE_SIGNING);
            const std::wstring subject = SubjectOf(certificate.Get());
            if (root) {
                AddToStore(roots.Get(), certificate.Get());
                out << subject << L": now a trusted root, for programs started from now on\n";
            }
            if (publisher) {
                AddToStore(publishers.Get(), certificate.Get());
                out << subject << L": now a trusted publisher\n";
            }
            if (!root && !publisher) {
                err << subject << L": neither a root nor for code signing; nothing to trust\n";
                worst = Failure;
            }
        }
        return worst;
    });
}

int RunCert(const CArguments& arguments, std::wostream& out, std::wostream& err) {
    return Report(err, [&] {
        const CParsedArguments parsed(arguments, {L"--out"}, {L"--new-development"});
        if (!parsed.Option(L"--new-development") || !parsed.Rest().empty())
            throw CUsageError(L"usage: cert --new-development [--out FILE]");
        const std::wstring path = parsed.Option(L"--out").value_or(L"quorline-development.cer");
        const CUniqueCertificate certificate = CreateDevelopmentCertificate();
        WriteFileBytes(path, EncodedBytes(certificate.Get()));
        out << SubjectOf(certificate.Get()) << L" (" << ThumbprintOf(certificate.Get()) << L"): written to " << path
            << L"; 'trust " << path << L"' makes this machine accept what it signs\n";
        return Success;
    });
}
