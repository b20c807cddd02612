// The reader of DER: an input is a few elements.

#include "asn1/Der.h"
#include "asn1/DerSyntax.h"
#include "common/SignerErrors.h"
#include "FuzzInput.h"

namespace {
/// False when the bytes were refused.
template <class Action> bool Accepts(Action action) {
    try {
        action();
        return true;
    } catch (const CRefusal&) {
        return false;
    }
}

/// Writes each element again, and those in it.
void RequireOneSpelling(CBytesView bytes) {
    for (CDerReader reader(bytes); !reader.AtEnd();) {
        const CDerElement element = reader.ReadAny();
        FuzzRequire(SameBytes(DerElement(element.tag, {element.content}), element.whole),
                    "an element has one spelling");
        constexpr std::uint8_t Constructed = 0x20;
        if ((element.tag & Constructed) != 0)
            RequireOneSpelling(element.content);
    }
}

/// The writer's numbers are made for identifiers that are known here.
bool CanBeWritten(const std::string& dotted) {
    std::size_t digits = 0;
    for (const char c : dotted) {
        digits = c == '.' ? 0 : digits + 1;
        if (digits > 8)
            return false;
    }
    return true;
}

void TryValues(CBytesView bytes) {
    Accepts([&] {
        const std::string dotted = CDerReader(bytes).ReadOid();
        CDerReader rest(bytes);
        const CBytesView whole = rest.ReadAny().whole;
        FuzzRequire(!CanBeWritten(dotted) || SameBytes(DerOid(dotted), whole), "an identifier has one spelling");
    });
    Accepts([&] {
        CDerReader reader(bytes);
        const int number = reader.ReadSmallInteger();
        FuzzRequire(number >= 0 && number < 128, "a small number is small");
    });
    Accepts([&] { CDerReader(bytes).ReadAlgorithm(); });
    Accepts([&] { CDerReader(bytes).ReadTime(); });
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const CBytesView bytes(data, size);
    TryValues(bytes);
    if (Accepts([&] { RequireElements(bytes); }))
        RequireOneSpelling(bytes);
    return 0;
}
