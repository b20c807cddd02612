// Proves which code an exception becomes at a COM boundary: com/ExceptionHResult.

#include "com/ExceptionHResult.h"

#include "base/Exceptions.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace {
template <class Exception> HRESULT ResultOf(const Exception& exception) {
    try {
        throw exception;
    } catch (...) {
        return HResultOfException();
    }
}
} // namespace

TEST(ExceptionHResult, AnExceptionOfTheSystemsHasItsOwnCode) {
    EXPECT_EQ(ResultOf(COSException(ERROR_ACCESS_DENIED)), E_ACCESSDENIED);
    EXPECT_EQ(ResultOf(COSException(static_cast<unsigned long>(E_POINTER))), E_POINTER);
}

TEST(ExceptionHResult, AnExceptionIsAFailureWhateverCodeItWasGiven) {
    EXPECT_EQ(ResultOf(COSException(ERROR_SUCCESS)), E_FAIL);
    EXPECT_EQ(ResultOf(CMorvaneException()), E_FAIL);
    EXPECT_EQ(ResultOf(std::runtime_error("anything")), E_FAIL);
    EXPECT_EQ(ResultOf(std::bad_alloc()), E_OUTOFMEMORY);
}
