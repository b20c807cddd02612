#pragma once

// The elements of an info file: which of them may stand in which, and what text they hold. A second element of one kind
// under one parent is ignored, and so is every element that the table does not know, each with its whole subtree; only
// Doc repeats. Names are compared exactly.
//
// Knows neither the parser that reads the file nor the records that are filled from it.

#include "base/Text.h"
#include "Common/ElementState.h"
#include "ScriptExecution/InfoFileElement.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What stands around a text without being part of it.
inline constexpr std::wstring_view InfoFileBlanks = L"\t\r\n ";

/// An element that has ended.
struct CInfoFileElement {
    InfoFileElement element;
    /// Without the white space around it; empty when the element holds no text. Until the next element begins.
    const std::wstring& text;
};

class CInfoFileElements {
public:
    CInfoFileElements();

    /// The element that begins; nothing when it is ignored.
    std::optional<InfoFileElement> Begin(std::wstring_view name);
    /// To be called once for each Begin. The element that ends; nothing when it was ignored.
    std::optional<CInfoFileElement> End();
    /// Kept only while CollectsText.
    void AddText(std::wstring_view text) {
        if (m_collects)
            m_text += m_text.empty() ? TrimStart(text, InfoFileBlanks) : text;
    }

    /// Whether the innermost element holds text.
    bool CollectsText() const noexcept { return m_collects; }

    /// Whether no root element has begun, apart from what is ignored.
    bool IsOutsideRoot() const noexcept { return m_states.size() == 1; }

private:
    std::vector<CExpatParseState<16>> m_states;
    std::size_t m_ignoredDepth = 0; ///< open elements in the subtree that is being ignored
    bool m_collects = false;
    std::wstring m_text; ///< of the innermost element, without what is blank before it
};

/// Year, month, day, hour, minute and second of "2024-03-07T17:05:09"; nothing for any other text.
std::optional<std::array<unsigned short, 6>> ReadInfoFileTime(std::wstring_view text);
