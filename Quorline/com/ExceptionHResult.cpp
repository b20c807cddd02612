#include "com/ExceptionHResult.h"

#include "base/Exceptions.h"
#include "com/PlatformException.h"

HRESULT HResultOfException() noexcept {
    try {
        throw;
    } catch (const COSException& e) {
        // An exception always is a failure, whatever code it was given.
        const HRESULT hr = static_cast<HRESULT>(e.GetHResult());
        return FAILED(hr) ? hr : E_FAIL;
    } catch (...) {
        return HResultOfPlatformException();
    }
}
