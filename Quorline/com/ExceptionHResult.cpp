#include "com/ExceptionHResult.h"

#include "base/Exceptions.h"

#include <atlexcept.h>

#include <comdef.h>

#include <new>

HRESULT HResultOfException() noexcept {
    try {
        throw;
    } catch (const CAtlException& e) {
        return e;
    } catch (const COSException& e) {
        // An exception always is a failure, whatever code it was given.
        const HRESULT hr = static_cast<HRESULT>(e.GetHResult());
        return FAILED(hr) ? hr : E_FAIL;
    } catch (const _com_error& e) {
        return e.Error();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}
