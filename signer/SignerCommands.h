#pragma once

// The work behind the signing commands, for any program that offers them. Everything throws CSignerError.

#include "certificates/SigningCertificate.h"

#include <string>
#include <vector>

/// From a .pfx file, whose password is taken from the environment variable QUORLINE_PFX_PASSWORD; or, with no file,
/// from the stores by thumbprint or name; or, with neither, the only one there that can sign.
CSigningCertificate FindSigningCertificate(const std::wstring& pfxFile, const std::wstring& name);

/// All certificates of a file: one in DER, or any number in PEM.
std::vector<CUniqueCertificate> ReadCertificates(const std::wstring& path);

/// In which of the machine's stores a certificate belongs: among the roots when it was issued by itself, among the
/// publishers when it is for code signing.
struct CTrustPlaces {
    bool root;
    bool publisher;

    bool operator==(const CTrustPlaces&) const = default;
};
CTrustPlaces PlacesFor(PCCERT_CONTEXT certificate);

/// Puts a certificate where it belongs.
void TrustCertificate(PCCERT_CONTEXT certificate, const CTrustPlaces& places);

/// Takes a certificate out of both stores. Returns in which it was.
CTrustPlaces DistrustCertificate(PCCERT_CONTEXT certificate);

/// In which of the two stores a certificate is, as this process sees them.
CTrustPlaces FindTrust(PCCERT_CONTEXT certificate);

/// Makes a development certificate and writes it, without its key, to a file.
CUniqueCertificate WriteDevelopmentCertificate(const std::wstring& path);

/// "2026-11-21 20:45:00 UTC"
std::wstring DescribeTime(const FILETIME& time);

/// Says of a certificate that ends within 30 days, or has ended, how long it lasts; empty for any other.
std::wstring DescribeNearEnd(const FILETIME& validUntil);
