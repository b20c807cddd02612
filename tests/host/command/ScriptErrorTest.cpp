// Proves how a script's error is told: ScriptError.

#include "ScriptError.h"

#include <gtest/gtest.h>

TEST(ScriptError, ALineAndACharacterAreCountedFromOne) {
    CScriptError error;
    error.script = L"save.vbs";
    error.line = 3;
    error.character = 4;
    error.description = L"Object required";
    error.source = L"Microsoft VBScript runtime error";
    error.number = 0x800A01A8;
    error.processId = 420;
    EXPECT_EQ(error.Describe(), L"'save.vbs', line 3, character 5: Object required (Microsoft VBScript runtime error)");
}

TEST(ScriptError, WithoutWordsAllThatIsKnownIsTold) {
    CScriptError error;
    error.script = L"save.vbs";
    EXPECT_EQ(error.Describe(), L"'save.vbs': the engine gave no description");
    error.number = 0x800A000B;
    error.processId = 420;
    error.sourceLine = L"y = x / 0";
    EXPECT_EQ(error.Describe(),
              L"'save.vbs': the engine gave no description; Division by zero (error 11); process 420; "
              L"the line is: y = x / 0");
}

TEST(ScriptError, ALineOfATextIsFoundByItsNumberWithoutItsBreak) {
    EXPECT_EQ(LineOf(L"one\r\ntwo\nthree", 1), L"one");
    EXPECT_EQ(LineOf(L"one\r\ntwo\nthree", 2), L"two");
    EXPECT_EQ(LineOf(L"one\r\ntwo\nthree", 3), L"three");
    EXPECT_EQ(LineOf(L"one\r\ntwo\nthree", 4), L"");
    EXPECT_EQ(LineOf(L"one", 0), L"");
}
