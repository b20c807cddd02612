#!/bin/bash
# Signs here and verifies with OpenSSL, signs with OpenSSL and verifies here: openssl-crosscheck.sh SIGN_PROGRAM WINE_RUN
# Uses a root of its own, which the machine's stores hold only while this runs.
set -euo pipefail

SIGN_PROGRAM=$(realpath "$1")
WINE_RUN=$(realpath "$2")
scratch=$(mktemp -d)
cd "$scratch"
export QUORLINE_PFX_PASSWORD='pa ss"word'
store='HKLM\Software\Microsoft\SystemCertificates'

# Programs that Wine starts in the background must not keep this script's output open.
wine_run() {
    local code=0
    "$WINE_RUN" "$@" >out 2>err </dev/null || code=$?
    cat out err
    return "$code"
}
quorline_sign() { wine_run "$SIGN_PROGRAM" "$@"; }
thumbprint() { openssl x509 -in "$1" -noout -fingerprint -sha1 | sed 's/.*=//; s/://g'; }

clean_up() {
    local name
    for name in ca.pem leaf.pem curve.pem under.pem; do
        [ -e "$name" ] || continue
        wine_run reg delete "$store\\Root\\Certificates\\$(thumbprint "$name")" /f >/dev/null || true
        wine_run reg delete "$store\\TrustedPublisher\\Certificates\\$(thumbprint "$name")" /f >/dev/null || true
    done
    cd /
    rm -rf "$scratch"
}
trap clean_up EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
accepted() { quorline_sign verify "$1" || fail "$1 should be accepted"; }
refused() {
    if quorline_sign verify "$1"; then fail "$1 should be refused"; fi
    grep -qF "$2" err || fail "$1 should be refused because: $2"
}

# --- certificates ---------------------------------------------------------------------------------------------------

issue() { # issuer name key subject extension...
    local issuer=$1 name=$2 key subject=$4
    read -r -a key <<<"$3"
    shift 4
    openssl req -newkey "${key[@]}" -nodes -keyout "$name.key" -subj "$subject" -out "$name.csr"
    printf '%s\n' "$@" >"$name.ext"
    openssl x509 -req -in "$name.csr" -CA "$issuer.pem" -CAkey "$issuer.key" -CAcreateserial -days 30 -sha256 \
        -extfile "$name.ext" -out "$name.pem"
}
signer() { # issuer name key subject usage
    issue "$1" "$2" "$3" "$4" keyUsage=critical,digitalSignature "extendedKeyUsage=$5"
}
{
    openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 30 -subj '/CN=Crosscheck Root' \
        -addext basicConstraints=critical,CA:TRUE -addext keyUsage=critical,keyCertSign,cRLSign
    signer ca leaf rsa:2048 '/O=Crosscheck/CN=Crosscheck Publisher' codeSigning
    signer ca curve 'ec -pkeyopt ec_paramgen_curve:P-256' '/CN=Crosscheck Curve' codeSigning
    signer ca clock rsa:2048 '/CN=Crosscheck Clock' critical,timeStamping
    issue ca middle rsa:2048 '/CN=Crosscheck Middle' basicConstraints=critical,CA:TRUE keyUsage=critical,keyCertSign
    signer middle under rsa:2048 '/CN=Crosscheck Under' codeSigning
    openssl pkcs12 -export -inkey leaf.key -in leaf.pem -passout env:QUORLINE_PFX_PASSWORD -out leaf.pfx
    openssl pkcs12 -export -inkey under.key -in under.pem -certfile middle.pem -passout env:QUORLINE_PFX_PASSWORD \
        -out under.pfx
} 2>openssl.log || { cat openssl.log; fail "OpenSSL could not make the certificates"; }
quorline_sign trust ca.pem
quorline_sign trust leaf.pem
quorline_sign trust curve.pem
quorline_sign trust under.pem

# --- signed here, verified there ------------------------------------------------------------------------------------

block_of() { tr -d '\r' <"$1" | grep -E "^$2" | grep -v 'signature block' | sed "s|^$2||" | openssl base64 -d; }
# The value of the element at this depth and with this name, first come first.
octets_at() { openssl asn1parse -inform DER -in "$1" | sed -n "s/.*d=$2 .*$3.*\[HEX DUMP\]:\(.*\)/\1/p" | head -n 1; }

check_signed_here() { # script prefix
    block_of "$1" "$2" >here.der
    # The text before the block and its line break, as UTF-16LE.
    local offset digest
    offset=$(grep -abo "^$2Begin" "$1" | cut -d: -f1)
    digest=$(head -c $((offset - 2)) "$1" | iconv -f UTF-8 -t UTF-16LE |
        openssl dgst -sha256 -r | cut -c1-64)
    [ "$(octets_at here.der 7 'OCTET STRING' | tr A-F a-f)" = "$digest" ] || fail "OpenSSL finds another digest in $1"
    # The signature covers the content without its tag and length; OpenSSL is given just that.
    local at header length
    read -r at header length < <(openssl asn1parse -inform DER -in here.der |
        sed -n 's/^ *\([0-9]*\):d=5 *hl=\([0-9]*\) *l= *\([0-9]*\) cons: SEQUENCE.*/\1 \2 \3/p' | head -n 1)
    tail -c +$((at + header + 1)) here.der | head -c "$length" >content.bin
    openssl smime -verify -inform DER -in here.der -content content.bin -binary -CAfile ca.pem -purpose any \
        -out /dev/null 2>openssl.log || { cat openssl.log; fail "OpenSSL does not verify $1"; }
    printf 'x' >>content.bin
    if openssl smime -verify -inform DER -in here.der -content content.bin -binary -CAfile ca.pem -purpose any \
        -out /dev/null 2>/dev/null; then fail "OpenSSL would verify anything"; fi
}

printf "' h\xC3\xA4llo \xE2\x82\xAC\r\nMsgBox 1\r\n" >here.vbs
printf 'var x = "\xC3\xA4";\n' >here.js
cp here.vbs before.vbs
if QUORLINE_PFX_PASSWORD=wrong quorline_sign sign here.vbs --cert leaf.pfx; then fail "a wrong password was accepted"; fi
grep -q 'its password is another' err || fail "a wrong password should be named"
cmp here.vbs before.vbs
stored_keys() { wine_run reg query 'HKCU\Software\Wine\Crypto\RSA' /s | grep REG_ || true; }
keys_before=$(stored_keys)
quorline_sign sign here.vbs here.js --cert leaf.pfx
[ "$(stored_keys)" = "$keys_before" ] || fail "the key of the file stayed on the machine"
check_signed_here here.vbs "'' SIG '' "
check_signed_here here.js '// SIG // '
accepted here.vbs
# A file that holds the certificate above its own.
cp before.vbs under.vbs
quorline_sign sign under.vbs --cert under.pfx
grep -q 'signed by CN=Crosscheck Under ' out || fail "another certificate than the key's own was taken"
accepted under.vbs

# --- signed there, verified here ------------------------------------------------------------------------------------

to_bytes() { # hexadecimal digits to bytes
    # shellcheck disable=SC2059 # the digits are the format on purpose
    printf "$(tr -d ' \n' | fold -w 2 | sed 's/^/\\x/' | tr -d '\n')"
}
der() { # tag file...: one element around the files' bytes
    local tag=$1 size
    shift
    size=$(cat "$@" | wc -c)
    if ((size < 128)); then printf '%s%02x' "$tag" "$size"; elif ((size < 256)); then
        printf '%s81%02x' "$tag" "$size"
    else printf '%s82%04x' "$tag" "$size"; fi | to_bytes
    cat "$@"
}
generate() { openssl asn1parse -genstr "$1" -noout -out "$2"; }
write_signed() { # script text-file prefix signature
    {
        cat "$2"
        printf '\r\n%sBegin signature block\r\n' "$3"
        openssl base64 -e <"$4" | sed "s|.*|$3&\r|"
        printf '%sEnd signature block\r\n' "$3"
    } >"$1"
}
# How the two languages are called in a signature.
vbscript=4EF029169927B54D8FE5ACE10F17EBAB
jscript=10E0C906CE38D411A2A300104BD35090
make_content() { # text-file language: indirect data as content.der
    printf '%s\n' "asn1=SEQUENCE:whole
[whole]
a=SEQUENCE:subject
b=SEQUENCE:info
[subject]
a=OID:1.3.6.1.4.1.311.2.1.30
b=SEQUENCE:package
[package]
a=INTEGER:65536
b=FORMAT:HEX,OCTETSTRING:$2
c=INTEGER:0
d=INTEGER:0
e=INTEGER:0
f=INTEGER:0
g=INTEGER:0
[info]
a=SEQUENCE:algorithm
b=FORMAT:HEX,OCTETSTRING:$(iconv -f UTF-8 -t UTF-16LE "$1" | openssl dgst -sha256 -r | cut -c1-64)
[algorithm]
a=OID:2.16.840.1.101.3.4.2.1
b=NULL" >content.cnf
    openssl asn1parse -genconf content.cnf -noout -out content.der
}

# As cryptographic message syntax, the way OpenSSL itself writes it.
printf 'var there = "\xC3\xA4";\n' >there.txt
make_content there.txt "$jscript"
openssl cms -sign -binary -nodetach -econtent_type 1.3.6.1.4.1.311.2.1.4 -in content.der -signer leaf.pem \
    -inkey leaf.key -md sha256 -nosmimecap -outform DER -out cms.der
write_signed cms.js there.txt '// SIG // ' cms.der
accepted cms.js
sed 's/there/where/' cms.js >altered.js
refused altered.js 'the script was altered after it was signed'
write_signed other.vbs there.txt "'' SIG '' " cms.der
refused other.vbs 'the signature was made for a script in the other language'

# With a key on an elliptic curve.
openssl cms -sign -binary -nodetach -econtent_type 1.3.6.1.4.1.311.2.1.4 -in content.der -signer curve.pem \
    -inkey curve.key -md sha256 -nosmimecap -outform DER -out curve.der
write_signed curve.js there.txt '// SIG // ' curve.der
accepted curve.js

# As PKCS#7, the way Windows writes it, put together from elements; then with a time stamp of OpenSSL's own authority.
printf 'MsgBox "there"\r\n' >there.txt
make_content there.txt "$vbscript"
read -r header < <(openssl asn1parse -inform DER -in content.der | sed -n 's/^ *0:.*hl=\([0-9]*\).*/\1/p')
generate OID:1.3.6.1.4.1.311.2.1.4 type.der
generate OID:1.2.840.113549.1.9.3 oid
der 31 type.der >value
der 30 oid value >attribute1
generate OID:1.2.840.113549.1.9.4 oid
generate "FORMAT:HEX,OCTETSTRING:$(tail -c +$((header + 1)) content.der | openssl dgst -sha256 -r | cut -c1-64)" digest
der 31 digest >value
der 30 oid value >attribute2
der 31 attribute1 attribute2 >attributes.set
der a0 attribute1 attribute2 >attributes.der
openssl dgst -sha256 -sign leaf.key -out signature.bin attributes.set
generate OID:2.16.840.1.101.3.4.2.1 oid
generate NULL null
der 30 oid null >digest.alg
generate OID:1.2.840.113549.1.1.1 oid
der 30 oid null >key.alg
der 04 signature.bin >signature.der
openssl x509 -in leaf.pem -outform DER -out leaf.der
generate "INTEGER:0x$(openssl x509 -in leaf.pem -noout -serial | sed 's/.*=//')" serial
openssl x509 -in ca.pem -outform DER -out ca.der
# The issuer's name is the fourth field in the certificate, after version, serial number and algorithm.
read -r at header length < <(openssl asn1parse -inform DER -in leaf.der |
    sed -n 's/^ *\([0-9]*\):d=2 *hl=\([0-9]*\) *l= *\([0-9]*\) .*/\1 \2 \3/p' | sed -n 4p)
tail -c +$((at + 1)) leaf.der | head -c $((header + length)) >issuer
der 30 issuer serial >name
generate INTEGER:1 one
assemble() { # unsigned-attributes-file output
    der 30 one name digest.alg attributes.der key.alg signature.der "$1" >signer
    der 31 signer >signers
    der 31 digest.alg >digests
    der a0 content.der >explicit
    der 30 type.der explicit >encapsulated
    der a0 leaf.der >certificates
    der 30 one digests encapsulated certificates signers >data
    der a0 data >explicit
    generate OID:1.2.840.113549.1.7.2 oid
    der 30 oid explicit >"$2"
}
: >none
assemble none pkcs7.der
write_signed pkcs7.vbs there.txt "'' SIG '' " pkcs7.der
accepted pkcs7.vbs
write_signed other.js there.txt '// SIG // ' pkcs7.der
refused other.js 'the signature was made for a script in the other language'

cat >ts.cnf <<'CONFIG'
[tsa]
default_tsa = clock
[clock]
serial = ./ts.serial
crypto_device = builtin
signer_digest = sha256
default_policy = 1.2.3.4.1
digests = sha256
ess_cert_id_alg = sha256
CONFIG
echo 01 >ts.serial
{
    openssl ts -query -data signature.bin -sha256 -cert -no_nonce -out request.tsq
    openssl ts -reply -config ts.cnf -queryfile request.tsq -signer clock.pem -inkey clock.key -token_out -out token.der
} 2>openssl.log || { cat openssl.log; fail "OpenSSL could not make a time stamp"; }
generate OID:1.3.6.1.4.1.311.3.3.1 oid
der 31 token.der >value
der 30 oid value >attribute
der a1 attribute >stamp
assemble stamp stamped.der
write_signed stamped.vbs there.txt "'' SIG '' " stamped.der
accepted stamped.vbs
grep -q 'signed by .*CN=Crosscheck Publisher.*, time stamp 2' out || fail "the time stamp was not seen"

# A stamp for another signature.
printf 'other' >signature.other
{
    openssl ts -query -data signature.other -sha256 -cert -no_nonce -out request.tsq
    openssl ts -reply -config ts.cnf -queryfile request.tsq -signer clock.pem -inkey clock.key -token_out -out token.der
} 2>openssl.log
generate OID:1.3.6.1.4.1.311.3.3.1 oid
der 31 token.der >value
der 30 oid value >attribute
der a1 attribute >stamp
assemble stamp stamped.der
write_signed stamped.vbs there.txt "'' SIG '' " stamped.der
refused stamped.vbs 'the time stamp is not valid: it belongs to another signature'

echo "OpenSSL and this signer agree"
