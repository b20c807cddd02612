// Proves what becomes of a save that was ended before it had asked for a document: InterruptedSave. With documents, the
// worker's tests prove it.

#include "InterruptedSave.h"

#include <gtest/gtest.h>

TEST(InterruptedSave, VetoesWithoutAnyDocument) {
    CStatusLine status = CStatusLine::OfConsole();
    const CSaveProgress progress(L"hibernate", status);
    const CSaveResult result = CompleteInterruptedSave(progress, Hibernate);
    EXPECT_TRUE(result.vetoed);
    EXPECT_TRUE(result.documents.empty());
    EXPECT_TRUE(result.directory.empty());
}
