// The signature block at the end of a script: an input is one byte for the language, then the script.

#include "cms/SignatureBlock.h"
#include "common/Base64.h"
#include "common/SignerErrors.h"
#include "FuzzInput.h"

namespace {
void TryScript(ScriptKind kind, std::wstring_view script) {
    std::optional<CSignedText> parts;
    try {
        parts = SplitSignedText(kind, script);
    } catch (const CRefusal&) {
        return;
    }
    if (!parts)
        return;
    FuzzRequire(parts->text.data() == script.data() && parts->text.size() < script.size(),
                "what is signed is the script's beginning");
    const std::wstring signedAgain = std::wstring(parts->text) + FormatSignatureBlock(kind, parts->signature);
    const auto again = SplitSignedText(kind, signedAgain);
    FuzzRequire(again && again->text == parts->text && again->signature == parts->signature,
                "a block that is written is read back");
}

void TryBase64(std::wstring_view text) {
    try {
        const CBytes bytes = DecodeBase64(text);
        FuzzRequire(EncodeBase64(bytes) == text, "bytes have one spelling");
    } catch (const CRefusal&) {
        // Not base64.
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CFuzzInput input(data, size);
    const ScriptKind kind = input.TakeByte() % 2 ? ScriptKind::JScript : ScriptKind::VBScript;
    const std::wstring script = input.TakeText();
    TryScript(kind, script);
    TryBase64(script);
    const CBytesView bytes(data, size);
    if (!bytes.empty())
        FuzzRequire(SameBytes(DecodeBase64(EncodeBase64(bytes)), bytes), "bytes that are written are read back");
    return 0;
}
