#include "cms/IndirectData.h"

#include "asn1/DerSyntax.h"
#include "common/SignerErrors.h"

#include <wincrypt.h>

namespace {

constexpr std::string_view SipInfoOid = "1.3.6.1.4.1.311.2.1.30";

/// The subject interface packages that know these scripts on Windows; the signature names them as what was signed.
constexpr GUID VBScriptSubject = {0x1629F04E, 0x2799, 0x4DB5, {0x8F, 0xE5, 0xAC, 0xE1, 0x0F, 0x17, 0xEB, 0xAB}};
constexpr GUID JScriptSubject = {0x06C9E010, 0x38CE, 0x11D4, {0xA2, 0xA3, 0x00, 0x10, 0x4B, 0xD3, 0x50, 0x90}};

/// As it stands in memory, which is how it is written.
CBytesView PackageOf(ScriptKind kind) {
    const GUID& package = kind == ScriptKind::VBScript ? VBScriptSubject : JScriptSubject;
    return {reinterpret_cast<const BYTE*>(&package), sizeof package};
}

CBytes FormatSubject(ScriptKind kind) {
    const CBytes zero = DerInteger(0);
    return DerSequence({DerInteger(1), DerOctets(PackageOf(kind)), zero, zero, zero, zero, zero});
}

/// The package that a subject names; empty when it names none.
CBytesView ReadSubject(CDerReader subject) {
    constexpr int reserved = 5;
    if (subject.ReadOid() != SipInfoOid)
        return {};
    CDerReader fields = subject.Enter(DerTag::Sequence);
    subject.RequireEnd();
    // Each tool writes a version of its own.
    ReadChecked(fields, DerTag::Integer);
    const CBytesView package = fields.Read(DerTag::Octets).content;
    for (int i = 0; i < reserved; ++i)
        ReadChecked(fields, DerTag::Integer);
    fields.RequireEnd();
    return package;
}

void RequirePackage(ScriptKind kind, CBytesView package) {
    const ScriptKind other = kind == ScriptKind::VBScript ? ScriptKind::JScript : ScriptKind::VBScript;
    if (SameBytes(package, PackageOf(other)))
        throw CRefusal(L"the signature was made for a script in the other language");
    if (!SameBytes(package, PackageOf(kind)))
        throw CRefusal(L"the signature was made for something else than a script");
}

} // namespace

CBytes ComputeScriptDigest(const CDigestAlgorithm& algorithm, std::wstring_view text) {
    const std::wstring_view covered = WithoutMark(text);
    return ComputeDigest(algorithm,
                         CBytesView(reinterpret_cast<const BYTE*>(covered.data()), covered.size() * sizeof(wchar_t)));
}

// Written by hand, since Wine's CryptEncodeObject does not know it.
CBytes FormatIndirectData(ScriptKind kind, const CIndirectData& data) {
    return DerSequence({DerSequence({DerOid(SipInfoOid), FormatSubject(kind)}),
                        DerSequence({DerAlgorithm(data.algorithm->oid), DerOctets(data.digest)})});
}

CIndirectData ParseIndirectData(ScriptKind kind, CBytesView bytes) {
    CDerReader fields = EnterSequence(bytes);
    RequirePackage(kind, ReadSubject(fields.Enter(DerTag::Sequence)));
    CDerReader digestInfo = fields.Enter(DerTag::Sequence);
    fields.RequireEnd();
    const CDigestAlgorithm* const algorithm = FindDigest(digestInfo.ReadAlgorithm());
    const CBytesView digest = digestInfo.Read(DerTag::Octets).content;
    digestInfo.RequireEnd();
    if (algorithm == nullptr)
        throw CRefusal(L"the script's digest is of an unknown kind");
    return {algorithm, CBytes(digest.begin(), digest.end())};
}
