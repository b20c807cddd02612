#include "com/PlatformException.h"

#include <atlexcept.h>

#include <comdef.h>

#include <new>

HRESULT HResultOfPlatformException() noexcept {
    try {
        throw;
    } catch (const CAtlException& e) {
        return e;
    } catch (const _com_error& e) {
        return e.Error();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}
