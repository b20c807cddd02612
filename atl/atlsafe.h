#pragma once

// Owner of a one-dimensional SAFEARRAY of BSTR, VARIANT or plain numbers. Bad bounds, a wrong element type and failed
// allocations raise CAtlException.

#include "atlcomcli.h"

namespace ATL {

template <class T> struct CSafeArrayType;
template <> struct CSafeArrayType<BSTR> { static constexpr VARTYPE type = VT_BSTR; };
template <> struct CSafeArrayType<VARIANT> { static constexpr VARTYPE type = VT_VARIANT; };
template <> struct CSafeArrayType<long> { static constexpr VARTYPE type = VT_I4; };
template <> struct CSafeArrayType<unsigned char> { static constexpr VARTYPE type = VT_UI1; };

template <class T> class CComSafeArray {
public:
    static constexpr VARTYPE Type = CSafeArrayType<T>::type;

    CComSafeArray() noexcept = default;
    explicit CComSafeArray(ULONG count, LONG lowerBound = 0) { ThrowFailure(Create(count, lowerBound)); }
    explicit CComSafeArray(const SAFEARRAY* source) { ThrowFailure(CopyFrom(source)); }
    CComSafeArray(const CComSafeArray& other) : CComSafeArray() {
        if (other.m_psa != nullptr)
            ThrowFailure(CopyFrom(other.m_psa));
    }
    CComSafeArray(CComSafeArray&& other) noexcept : m_psa(other.Detach()) {}
    ~CComSafeArray() { Destroy(); }

    CComSafeArray& operator=(CComSafeArray other) noexcept {
        std::swap(m_psa, other.m_psa);
        return *this;
    }

    HRESULT Create(ULONG count = 0, LONG lowerBound = 0) noexcept {
        SAFEARRAYBOUND bound{count, lowerBound};
        SAFEARRAY* const created = SafeArrayCreate(Type, 1, &bound);
        if (created == nullptr)
            return E_OUTOFMEMORY;
        Destroy();
        m_psa = created;
        return S_OK;
    }
    /// E_INVALIDARG for an array of another element type or with more dimensions.
    HRESULT CopyFrom(const SAFEARRAY* source) noexcept {
        if (!Fits(source))
            return E_INVALIDARG;
        SAFEARRAY* copy = nullptr;
        const HRESULT hr = SafeArrayCopy(const_cast<SAFEARRAY*>(source), &copy);
        if (SUCCEEDED(hr)) {
            Destroy();
            m_psa = copy;
        }
        return hr;
    }
    HRESULT CopyTo(SAFEARRAY** destination) const noexcept {
        return destination == nullptr ? E_POINTER : SafeArrayCopy(m_psa, destination);
    }
    HRESULT Attach(SAFEARRAY* source) noexcept {
        if (!Fits(source))
            return E_INVALIDARG;
        Destroy();
        m_psa = source;
        return S_OK;
    }
    SAFEARRAY* Detach() noexcept { return std::exchange(m_psa, nullptr); }
    HRESULT Destroy() noexcept { return m_psa == nullptr ? S_OK : SafeArrayDestroy(Detach()); }

    operator SAFEARRAY*() const noexcept { return m_psa; }
    SAFEARRAY* GetSafeArrayPtr() const noexcept { return m_psa; }

    ULONG GetCount() const { return Bound().cElements; }
    LONG GetLowerBound() const { return Bound().lLbound; }
    /// One below the lower bound when empty.
    LONG GetUpperBound() const { return GetLowerBound() + static_cast<LONG>(GetCount()) - 1; }

    T& GetAt(LONG index) const {
        if (index < GetLowerBound() || index > GetUpperBound())
            AtlThrow(E_INVALIDARG);
        return static_cast<T*>(m_psa->pvData)[index - GetLowerBound()];
    }
    T& operator[](LONG index) const { return GetAt(index); }

    /// Stores a copy; throws on a bad index.
    HRESULT SetAt(LONG index, const T& value) {
        GetAt(index);
        void* source = const_cast<T*>(&value);
        if constexpr (Type == VT_BSTR)
            source = value;
        return SafeArrayPutElement(m_psa, &index, source);
    }
    /// Appends a copy, creating the array when there is none.
    HRESULT Add(const T& value) {
        const HRESULT hr = m_psa == nullptr ? Create(1) : Resize(GetCount() + 1);
        return FAILED(hr) ? hr : SetAt(GetUpperBound(), value);
    }
    HRESULT Resize(ULONG count) {
        SAFEARRAYBOUND bound{count, GetLowerBound()};
        return SafeArrayRedim(m_psa, &bound);
    }

    SAFEARRAY* m_psa = nullptr;

private:
    static bool Fits(const SAFEARRAY* source) noexcept {
        VARTYPE type = VT_EMPTY;
        return source != nullptr && SafeArrayGetDim(const_cast<SAFEARRAY*>(source)) == 1 &&
               SUCCEEDED(SafeArrayGetVartype(const_cast<SAFEARRAY*>(source), &type)) && type == Type;
    }
    const SAFEARRAYBOUND& Bound() const {
        if (m_psa == nullptr)
            AtlThrow(E_INVALIDARG);
        return m_psa->rgsabound[0];
    }
    static void ThrowFailure(HRESULT hr) {
        if (FAILED(hr))
            AtlThrow(hr);
    }
};

} // namespace ATL
