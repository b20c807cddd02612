#include "asn1/Der.h"

#include "common/SignerErrors.h"

#include <algorithm>
#include <charconv>

namespace {

int ReadDigits(std::string_view& text, std::size_t count) {
    int value = 0;
    if (text.size() < count)
        RefuseMalformed();
    for (const char digit : text.substr(0, count)) {
        if (digit < '0' || digit > '9')
            RefuseMalformed();
        value = value * 10 + (digit - '0');
    }
    text.remove_prefix(count);
    return value;
}

void Append(CBytes& bytes, CBytesView more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

} // namespace

void RefuseMalformed() {
    throw CRefusal(L"the signature block does not hold a well-formed signature");
}

CDerElement CDerReader::ReadAny() {
    if (m_rest.size() < 2 || (m_rest[0] & 0x1F) == 0x1F)
        RefuseMalformed();
    std::size_t header = 2;
    std::size_t length = m_rest[1];
    if (length >= 0x80) {
        const std::size_t count = length & 0x7F;
        if (count == 0 || count > 4 || m_rest.size() < 2 + count)
            RefuseMalformed();
        length = 0;
        for (std::size_t i = 0; i < count; ++i)
            length = length << 8 | m_rest[2 + i];
        header += count;
        // Longer than it must be is another spelling of the same.
        if (length < 0x80 || m_rest[2] == 0)
            RefuseMalformed();
    }
    if (length > m_rest.size() - header)
        RefuseMalformed();
    const CDerElement element{m_rest[0], m_rest.subspan(header, length), m_rest.first(header + length)};
    m_rest = m_rest.subspan(header + length);
    return element;
}

CDerElement CDerReader::Read(BYTE tag) {
    if (!NextIs(tag))
        RefuseMalformed();
    return ReadAny();
}

void CDerReader::RequireEnd() const {
    if (!AtEnd())
        RefuseMalformed();
}

std::string CDerReader::ReadOid() {
    const CBytesView bytes = Read(DerTag::Oid).content;
    if (bytes.empty() || (bytes.back() & 0x80) != 0)
        RefuseMalformed();
    std::string dotted;
    for (std::size_t i = 0; i < bytes.size();) {
        if (bytes[i] == 0x80)
            RefuseMalformed();
        unsigned long long arc = 0;
        do {
            if (arc >> 56 != 0)
                RefuseMalformed();
            arc = arc << 7 | (bytes[i] & 0x7F);
        } while ((bytes[i++] & 0x80) != 0);
        if (dotted.empty()) {
            const unsigned long long first = std::min(arc / 40, 2ull);
            dotted = std::to_string(first) + '.' + std::to_string(arc - first * 40);
        } else
            dotted += '.' + std::to_string(arc);
    }
    return dotted;
}

int CDerReader::ReadSmallInteger() {
    const CBytesView bytes = Read(DerTag::Integer).content;
    if (bytes.size() != 1 || bytes[0] >= 0x80)
        RefuseMalformed();
    return bytes[0];
}

FILETIME CDerReader::ReadTime() {
    const CDerElement element = ReadAny();
    std::string_view text(reinterpret_cast<const char*>(element.content.data()), element.content.size());
    SYSTEMTIME parts{};
    int year = 0;
    if (element.tag == DerTag::UtcTime) {
        year = ReadDigits(text, 2);
        year += year < 50 ? 2000 : 1900;
    } else if (element.tag == DerTag::GeneralizedTime)
        year = ReadDigits(text, 4);
    else
        RefuseMalformed();
    parts.wYear = static_cast<WORD>(year);
    for (WORD* part : {&parts.wMonth, &parts.wDay, &parts.wHour, &parts.wMinute, &parts.wSecond})
        *part = static_cast<WORD>(ReadDigits(text, 2));
    // Fractions of a second are allowed and of no use here.
    if (element.tag == DerTag::GeneralizedTime && text.size() > 2 && text[0] == '.') {
        text.remove_prefix(1);
        while (text.size() > 1)
            ReadDigits(text, 1);
    }
    FILETIME time{};
    if (text != "Z" || !SystemTimeToFileTime(&parts, &time))
        RefuseMalformed();
    return time;
}

std::string CDerReader::ReadAlgorithm() {
    CDerReader fields = Enter(DerTag::Sequence);
    std::string oid = fields.ReadOid();
    if (!fields.AtEnd() && !fields.Read(DerTag::Null).content.empty())
        RefuseMalformed();
    fields.RequireEnd();
    return oid;
}

CBytes DerElement(BYTE tag, std::initializer_list<CBytesView> parts) {
    std::size_t length = 0;
    for (const CBytesView part : parts)
        length += part.size();
    CBytes bytes{tag};
    if (length < 0x80)
        bytes.push_back(static_cast<BYTE>(length));
    else {
        int count = 1;
        while (count < 4 && length >> (8 * count) != 0)
            ++count;
        bytes.push_back(static_cast<BYTE>(0x80 | count));
        while (count-- > 0)
            bytes.push_back(static_cast<BYTE>(length >> (8 * count)));
    }
    bytes.reserve(bytes.size() + length);
    for (const CBytesView part : parts)
        Append(bytes, part);
    return bytes;
}

CBytes DerSetOf(std::vector<CBytes> elements, BYTE tag) {
    std::ranges::sort(elements);
    CBytes content;
    for (const CBytes& element : elements)
        Append(content, element);
    return DerElement(tag, {content});
}

CBytes DerInteger(unsigned value) {
    CBytes bytes;
    do {
        bytes.insert(bytes.begin(), static_cast<BYTE>(value));
        value >>= 8;
    } while (value != 0);
    if (bytes.front() >= 0x80)
        bytes.insert(bytes.begin(), BYTE{0});
    return DerElement(DerTag::Integer, {bytes});
}

CBytes DerOid(std::string_view dotted) {
    std::vector<unsigned long> arcs;
    for (const char* const end = dotted.data() + dotted.size(); !dotted.empty();) {
        unsigned long arc = 0;
        const char* const next = std::from_chars(dotted.data(), end, arc).ptr;
        arcs.push_back(arc);
        dotted.remove_prefix(std::min<std::size_t>(dotted.size(), static_cast<std::size_t>(next - dotted.data()) + 1));
    }
    CBytes bytes;
    arcs.at(1) += arcs[0] * 40;
    for (std::size_t i = 1; i < arcs.size(); ++i) {
        int shift = 28;
        while (shift > 0 && arcs[i] >> shift == 0)
            shift -= 7;
        for (; shift > 0; shift -= 7)
            bytes.push_back(static_cast<BYTE>(0x80 | (arcs[i] >> shift & 0x7F)));
        bytes.push_back(static_cast<BYTE>(arcs[i] & 0x7F));
    }
    return DerElement(DerTag::Oid, {bytes});
}

CBytes DerAlgorithm(std::string_view oid) {
    return DerSequence({DerOid(oid), DerNull()});
}
