// What is checked of a certificate before the platform decodes it: an input is one.

#include "asn1/CertificateSyntax.h"
#include "asn1/DerSyntax.h"
#include "common/SignerErrors.h"
#include "FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const CBytesView bytes(data, size);
    try {
        RequireWellFormedCertificate(bytes);
    } catch (const CRefusal&) {
        return 0;
    }
    try {
        RequireElements(bytes);
    } catch (const CRefusal&) {
        FuzzRequire(false, "a well-formed certificate consists of well-formed elements");
    }
    return 0;
}
