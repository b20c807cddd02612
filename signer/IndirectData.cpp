#include "IndirectData.h"

#include "SignerErrors.h"

#include <wincrypt.h>

namespace {

constexpr std::string_view SipInfoOid = "1.3.6.1.4.1.311.2.1.30";

/// The subject interface packages that know these scripts on Windows; the signature names them as what was signed.
constexpr GUID VBScriptSubject = {0x1629F04E, 0x2799, 0x4DB5, {0x8F, 0xE5, 0xAC, 0xE1, 0x0F, 0x17, 0xEB, 0xAB}};
constexpr GUID JScriptSubject = {0x06C9E010, 0x38CE, 0x11D4, {0xA2, 0xA3, 0x00, 0x10, 0x4B, 0xD3, 0x50, 0x90}};

CBytes FormatSubject(ScriptKind kind) {
    const GUID& subject = kind == ScriptKind::VBScript ? VBScriptSubject : JScriptSubject;
    const CBytes zero = DerInteger(0);
    return DerSequence({DerInteger(1), DerOctets(CBytesView(reinterpret_cast<const BYTE*>(&subject), sizeof subject)),
                        zero, zero, zero, zero, zero});
}

} // namespace

CBytes ComputeScriptDigest(const CDigestAlgorithm& algorithm, std::wstring_view text) {
    const std::wstring_view covered = WithoutMark(text);
    return ComputeDigest(algorithm,
                         CBytesView(reinterpret_cast<const BYTE*>(covered.data()), covered.size() * sizeof(wchar_t)));
}

CBytes FormatIndirectData(ScriptKind kind, const CIndirectData& data) {
    return DerSequence({DerSequence({DerOid(SipInfoOid), FormatSubject(kind)}),
                        DerSequence({DerAlgorithm(data.algorithm->oid), DerOctets(data.digest)})});
}

CIndirectData ParseIndirectData(CBytesView bytes) {
    CDerReader outer(bytes);
    CDerReader fields = outer.Enter(DerTag::Sequence);
    outer.RequireEnd();
    // What kind of thing was signed is the signer's word for it; the digest alone decides.
    CDerReader subject = fields.Enter(DerTag::Sequence);
    subject.ReadOid();
    CDerReader digestInfo = fields.Enter(DerTag::Sequence);
    fields.RequireEnd();
    const CDigestAlgorithm* const algorithm = FindDigest(digestInfo.ReadAlgorithm());
    const CBytesView digest = digestInfo.Read(DerTag::Octets).content;
    digestInfo.RequireEnd();
    if (algorithm == nullptr)
        throw CRefusal(L"the script's digest is of an unknown kind");
    return {algorithm, CBytes(digest.begin(), digest.end())};
}
