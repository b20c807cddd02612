#include "asn1/CertificateSyntax.h"

#include "asn1/DerSyntax.h"
#include "asn1/ExtensionSyntax.h"
#include "asn1/NameSyntax.h"
#include "common/SignerErrors.h"

#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

namespace {

void RequireExtensions(CDerReader extensions) {
    // Of two with one name the platform would judge the first only.
    std::set<std::string_view> seen;
    do {
        CDerReader extension = extensions.Enter(DerTag::Sequence);
        const CBytesView oid = extension.Read(DerTag::Oid).whole;
        CDerReader name(oid);
        ReadChecked(name, DerTag::Oid);
        if (extension.NextIs(DerTag::Boolean))
            ReadChecked(extension, DerTag::Boolean);
        RequireExtensionValue(oid, extension.Read(DerTag::Octets).content);
        extension.RequireEnd();
        Require(seen.emplace(reinterpret_cast<const char*>(oid.data()), oid.size()).second);
    } while (!extensions.AtEnd());
}

CBytesView RequireAlgorithm(CDerReader& reader) {
    CDerReader fields = reader.Enter(DerTag::Sequence);
    ReadChecked(fields, DerTag::Oid);
    const CBytesView parameters = fields.Rest();
    RequireElements(parameters);
    if (!fields.AtEnd())
        fields.ReadAny();
    fields.RequireEnd();
    return parameters;
}

void RequireTime(CDerReader& reader) {
    constexpr std::size_t withoutFraction = std::string_view("YYYYMMDDHHMMSSZ").size();
    const CDerElement time = reader.ReadAny();
    Require(time.tag == DerTag::UtcTime || time.tag == DerTag::GeneralizedTime);
    RequireContent(time.tag, time.content);
    Require(time.content.size() <= withoutFraction);
}

void RequirePositive(CDerReader& numbers) {
    const CBytesView number = ReadChecked(numbers, DerTag::Integer);
    Require(number[0] < 0x80 && (number.size() > 1 || number[0] != 0));
}

void RequireRsaKey(CBytesView parameters, CBytesView key) {
    Require(parameters.empty() || SameBytes(parameters, DerNull()));
    CDerReader numbers = EnterSequence(key);
    RequirePositive(numbers);
    RequirePositive(numbers);
    numbers.RequireEnd();
}

void RequireCurveKey(CBytesView parameters, CBytesView key) {
    static const struct {
        CBytes oid;
        std::size_t coordinate;
    } curves[] = {
        {DerOid(szOID_ECC_CURVE_P256), 32}, {DerOid(szOID_ECC_CURVE_P384), 48}, {DerOid(szOID_ECC_CURVE_P521), 66}};
    constexpr BYTE uncompressed = 4;
    const auto* const curve =
        std::ranges::find_if(curves, [parameters](const auto& one) { return SameBytes(one.oid, parameters); });
    Require(curve != std::end(curves) && key.size() == 1 + 2 * curve->coordinate && key[0] == uncompressed);
}

void RequireKey(CDerReader key) {
    CDerReader algorithm(key.Rest());
    const CBytesView parameters = RequireAlgorithm(key);
    const std::string oid = algorithm.Enter(DerTag::Sequence).ReadOid();
    const CDerBits bits = ReadBits(key.Read(DerTag::BitString).content);
    key.RequireEnd();
    Require(bits.unused == 0);
    if (oid == szOID_RSA_RSA)
        RequireRsaKey(parameters, bits.bytes);
    else if (oid == szOID_ECC_PUBLIC_KEY)
        RequireCurveKey(parameters, bits.bytes);
    else
        throw CRefusal(L"a key in the signature block is neither RSA nor ECDSA");
}

void RequireFields(CDerReader fields) {
    enum Version { First = 0, Third = 2 };
    int version = First;
    if (fields.NextIs(DerTag::Context(0))) {
        CDerReader number = fields.Enter(DerTag::Context(0));
        version = number.ReadSmallInteger();
        number.RequireEnd();
        Require(version <= Third);
    }
    ReadChecked(fields, DerTag::Integer);
    RequireAlgorithm(fields);
    RequireName(fields.Enter(DerTag::Sequence));
    CDerReader validity = fields.Enter(DerTag::Sequence);
    RequireTime(validity);
    RequireTime(validity);
    validity.RequireEnd();
    RequireName(fields.Enter(DerTag::Sequence));
    RequireKey(fields.Enter(DerTag::Sequence));
    ReadOptional(fields, 1, DerTag::BitString);
    ReadOptional(fields, 2, DerTag::BitString);
    if (version == Third && fields.NextIs(DerTag::Context(3))) {
        CDerReader extensions = fields.Enter(DerTag::Context(3));
        RequireExtensions(extensions.Enter(DerTag::Sequence));
        extensions.RequireEnd();
    }
    fields.RequireEnd();
}

} // namespace

void RequireWellFormedCertificate(CBytesView bytes) {
    CDerReader parts = EnterSequence(bytes);
    RequireFields(parts.Enter(DerTag::Sequence));
    RequireAlgorithm(parts);
    ReadChecked(parts, DerTag::BitString);
    parts.RequireEnd();
}
