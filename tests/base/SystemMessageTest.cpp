// Proves the system's text for a code, as it is and within a sentence: base/SystemMessage.

#include "base/SystemMessage.h"

#include <gtest/gtest.h>

#include <windows.h>

TEST(SystemMessage, APhraseIsTheMessageWithoutItsFullStopAndLineBreak) {
    for (const unsigned long code : {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY}) {
        const std::wstring phrase = GetSystemPhrase(code);
        EXPECT_FALSE(phrase.empty());
        EXPECT_EQ(phrase + L".\r\n", GetSystemMessage(code));
    }
}

TEST(SystemMessage, ACodeWithoutAMessageHasNone) {
    EXPECT_EQ(GetSystemMessage(0xA0001234), L"");
    EXPECT_EQ(GetSystemPhrase(0xA0001234), L"");
}
