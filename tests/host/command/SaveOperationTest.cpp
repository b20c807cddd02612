// Proves how a save's operation tells why it failed: SaveOperation, ScriptError.

#include "SaveOperation.h"

#include <gtest/gtest.h>

TEST(SaveOperation, AnExceptionStaysInsideAndSaysWhatItIs) {
    CSaveOperation op;
    EXPECT_EQ(op.GetFailure(), L"it was never started");
    EXPECT_EQ(op.Run(), E_FAIL) << "there is no state change";
    EXPECT_EQ(op.GetFailure(), L"a check of the library failed");
    EXPECT_FALSE(op.TakeScriptError());
}
