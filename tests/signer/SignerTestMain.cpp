#include "TestAuthority.h"

#include <log4cxx/logger.h>

#include <gtest/gtest.h>

int main(int count, char** values) {
    testing::InitGoogleTest(&count, values);
    if (!CTestAuthority::IsChild() && !testing::GTEST_FLAG(list_tests))
        return CTestAuthority::RunChild();
    // Refusals are what most of this is about; the tests that read the log turn it on.
    log4cxx::Logger::getRootLogger()->setLevel(log4cxx::Level::getOff());
    return RUN_ALL_TESTS();
}
