#!/bin/bash
# Packages signed with a certificate of the test's own: signed.sh MAKE_DIST BUILD_FOLDER SCRATCH
set -euo pipefail
MAKE_DIST=$1
BUILD=$2
SCRATCH=$3

fail() { printf 'FAILED: %s\n' "$*" >&2; exit 1; }

rm -rf "$SCRATCH"
mkdir -p "$SCRATCH"
cd "$SCRATCH"
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out certificate.pem -days 2 -subj '/CN=Package test' \
    -addext extendedKeyUsage=codeSigning -addext keyUsage=digitalSignature 2>/dev/null
openssl pkcs12 -export -inkey key.pem -in certificate.pem -out certificate.pfx -passout pass:'two words'

export DIST_ONLY=msi
status=0
QUORLINE_PFX_PASSWORD=wrong "$MAKE_DIST" "$BUILD" dist certificate.pfx >refused.txt 2>&1 || status=$?
[ "$status" = 1 ] || fail "a wrong password passes"
grep -q "could not be signed with" refused.txt || fail "a wrong password is not told: $(cat refused.txt)"
[ -z "$(ls dist/*.msi 2>/dev/null)" ] || fail "a package was made that is not signed"

QUORLINE_PFX_PASSWORD='two words' "$MAKE_DIST" "$BUILD" dist certificate.pfx
signed_by_us() { # file
    osslsigncode verify -CAfile certificate.pem -in "$1" >verify.txt 2>&1 || fail "'$1' is not signed: $(cat verify.txt)"
}
signed_by_us dist/*.msi
msiextract -C extracted dist/*.msi >/dev/null
count=0
while read -r -d '' file; do
    signed_by_us "$file"
    count=$((count + 1))
done < <(find extracted \( -name '*.exe' -o -name '*.dll' \) -print0)
[ "$count" -ge 10 ] || fail "only $count programs and DLLs are in the package"

# A changed byte is noticed, so that the check above can fail.
cp dist/*.msi altered.msi
size=$(stat -c %s altered.msi)
printf 'X' | dd of=altered.msi bs=1 seek=$((size / 2)) conv=notrunc 2>/dev/null
! (signed_by_us altered.msi) 2>/dev/null || fail "an altered package passes"
echo "$count programs and DLLs and the package are signed"
