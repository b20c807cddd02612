#pragma once

// Owners for what COM hands out: interface pointers, BSTRs and VARIANTs.
//
//     CComPtr<IRegistrar> registrar;
//     HRESULT hr = registrar.CoCreateInstance(CLSID_Registrar);
//
// Failed allocations and copies raise CAtlException; everything else returns its HRESULT. No type here is shared
// between threads.

#include "atlexcept.h"

#include <objbase.h>
#include <oleauto.h>

#include <cstring>
#include <cwchar>
#include <utility>

namespace ATL {

/// Holds one reference.
template <class T> class CComPtr {
public:
    CComPtr() noexcept = default;
    CComPtr(std::nullptr_t) noexcept {}
    CComPtr(T* object) noexcept : p(object) { AddRefHeld(); }
    CComPtr(const CComPtr& other) noexcept : p(other.p) { AddRefHeld(); }
    CComPtr(CComPtr&& other) noexcept : p(other.Detach()) {}
    ~CComPtr() { Release(); }

    CComPtr& operator=(const CComPtr& other) noexcept {
        CComPtr(other).Swap(*this);
        return *this;
    }
    CComPtr& operator=(CComPtr&& other) noexcept {
        Attach(other.Detach());
        return *this;
    }
    CComPtr& operator=(T* object) noexcept {
        CComPtr(object).Swap(*this);
        return *this;
    }

    operator T*() const noexcept { return p; }
    T& operator*() const noexcept { return *p; }
    T* operator->() const noexcept { return p; }
    /// For calls that hand a reference out through a pointer; what is held must have been released before.
    T** operator&() noexcept { return &p; }
    bool operator!() const noexcept { return p == nullptr; }

    void Release() noexcept {
        if (T* const old = std::exchange(p, nullptr))
            old->Release();
    }
    void Attach(T* object) noexcept {
        if (T* const old = std::exchange(p, object))
            old->Release();
    }
    T* Detach() noexcept { return std::exchange(p, nullptr); }
    void Swap(CComPtr& other) noexcept { std::swap(p, other.p); }

    HRESULT CopyTo(T** object) const noexcept {
        if (object == nullptr)
            return E_POINTER;
        AddRefHeld();
        *object = p;
        return S_OK;
    }
    /// Whether both are the same object, whatever interfaces of it are held.
    bool IsEqualObject(IUnknown* other) const noexcept {
        if (p == nullptr || other == nullptr)
            return p == nullptr && other == nullptr;
        CComPtr<IUnknown> left;
        CComPtr<IUnknown> right;
        p->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&left));
        other->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&right));
        return left.p == right.p;
    }
    HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer = nullptr, DWORD context = CLSCTX_ALL) noexcept {
        return ::CoCreateInstance(clsid, outer, context, __uuidof(T), reinterpret_cast<void**>(&p));
    }
    template <class Q> HRESULT QueryInterface(Q** object) const noexcept {
        return p->QueryInterface(__uuidof(Q), reinterpret_cast<void**>(object));
    }

    T* p = nullptr;

private:
    void AddRefHeld() const noexcept {
        if (p != nullptr)
            p->AddRef();
    }
};

/// Asks what it is given for its own interface; empty when the object has none.
template <class T> class CComQIPtr : public CComPtr<T> {
public:
    using CComPtr<T>::CComPtr;
    CComQIPtr(IUnknown* object) noexcept { Query(object); }

    CComQIPtr& operator=(IUnknown* object) noexcept {
        CComQIPtr(object).Swap(*this);
        return *this;
    }

private:
    void Query(IUnknown* object) noexcept {
        if (object != nullptr && FAILED(object->QueryInterface(__uuidof(T), reinterpret_cast<void**>(&this->p))))
            this->p = nullptr;
    }
};

/// Owns a BSTR; a null BSTR is an empty text.
class CComBSTR {
public:
    CComBSTR() noexcept = default;
    CComBSTR(const OLECHAR* text) : m_str(Allocate(text)) {}
    CComBSTR(int length, const OLECHAR* text) : m_str(Checked(SysAllocStringLen(text, static_cast<UINT>(length)))) {}
    CComBSTR(const CComBSTR& other) : m_str(other.Copy()) {}
    CComBSTR(CComBSTR&& other) noexcept : m_str(other.Detach()) {}
    ~CComBSTR() { SysFreeString(m_str); }

    CComBSTR& operator=(const CComBSTR& other) {
        if (this != &other)
            Attach(other.Copy());
        return *this;
    }
    CComBSTR& operator=(CComBSTR&& other) noexcept {
        Attach(other.Detach());
        return *this;
    }
    CComBSTR& operator=(const OLECHAR* text) {
        Attach(Allocate(text));
        return *this;
    }

    operator BSTR() const noexcept { return m_str; }
    /// For calls that hand a BSTR out through a pointer; what is held must have been emptied before.
    BSTR* operator&() noexcept { return &m_str; }
    bool operator!() const noexcept { return m_str == nullptr; }
    bool operator==(const OLECHAR* text) const noexcept {
        return std::wcscmp(m_str != nullptr ? m_str : L"", text != nullptr ? text : L"") == 0;
    }

    /// Characters without the terminator; embedded zeros count.
    unsigned int Length() const noexcept { return SysStringLen(m_str); }
    unsigned int ByteLength() const noexcept { return SysStringByteLen(m_str); }

    /// A copy for the caller to free; null stays null.
    BSTR Copy() const { return m_str == nullptr ? nullptr : Checked(SysAllocStringLen(m_str, SysStringLen(m_str))); }
    HRESULT CopyTo(BSTR* text) const noexcept {
        if (text == nullptr)
            return E_POINTER;
        *text = m_str == nullptr ? nullptr : SysAllocStringLen(m_str, SysStringLen(m_str));
        return m_str != nullptr && *text == nullptr ? E_OUTOFMEMORY : S_OK;
    }
    void Attach(BSTR text) noexcept { SysFreeString(std::exchange(m_str, text)); }
    BSTR Detach() noexcept { return std::exchange(m_str, nullptr); }
    void Empty() noexcept { Attach(nullptr); }

    HRESULT Append(const OLECHAR* text) noexcept {
        const UINT added = text != nullptr ? static_cast<UINT>(std::wcslen(text)) : 0;
        OLECHAR* const joined = SysAllocStringLen(nullptr, Length() + added);
        if (joined == nullptr)
            return E_OUTOFMEMORY;
        if (m_str != nullptr)
            std::memcpy(joined, m_str, Length() * sizeof(OLECHAR));
        if (added != 0)
            std::memcpy(joined + Length(), text, added * sizeof(OLECHAR));
        Attach(joined);
        return S_OK;
    }

    BSTR m_str = nullptr;

private:
    static BSTR Allocate(const OLECHAR* text) { return text == nullptr ? nullptr : Checked(SysAllocString(text)); }
    static BSTR Checked(BSTR text) {
        if (text == nullptr)
            AtlThrow(E_OUTOFMEMORY);
        return text;
    }
};

/// Owns what a VARIANT holds.
class CComVariant : public VARIANT {
public:
    CComVariant() noexcept { VariantInit(this); }
    CComVariant(const VARIANT& value) : CComVariant() { ThrowFailure(Copy(&value)); }
    CComVariant(const CComVariant& value) : CComVariant(static_cast<const VARIANT&>(value)) {}
    CComVariant(CComVariant&& other) noexcept : CComVariant() { other.Detach(this); }
    CComVariant(const OLECHAR* text) : CComVariant() {
        bstrVal = CComBSTR(text).Detach();
        vt = VT_BSTR;
    }
    CComVariant(bool value) noexcept : CComVariant() {
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
        vt = VT_BOOL;
    }
    CComVariant(short value) noexcept : CComVariant() {
        iVal = value;
        vt = VT_I2;
    }
    /// The type is VT_I4 or VT_INT.
    CComVariant(int value, VARTYPE type = VT_I4) noexcept : CComVariant() {
        intVal = value;
        vt = type;
    }
    /// The type is VT_I4 or VT_ERROR.
    CComVariant(long value, VARTYPE type = VT_I4) noexcept : CComVariant() {
        lVal = value;
        vt = type;
    }
    CComVariant(unsigned long value) noexcept : CComVariant() {
        ulVal = value;
        vt = VT_UI4;
    }
    CComVariant(double value) noexcept : CComVariant() {
        dblVal = value;
        vt = VT_R8;
    }
    CComVariant(IDispatch* object) noexcept : CComVariant() {
        pdispVal = CComPtr<IDispatch>(object).Detach();
        vt = VT_DISPATCH;
    }
    CComVariant(IUnknown* object) noexcept : CComVariant() {
        punkVal = CComPtr<IUnknown>(object).Detach();
        vt = VT_UNKNOWN;
    }
    ~CComVariant() { VariantClear(this); }

    CComVariant& operator=(const CComVariant& value) {
        if (this != &value)
            ThrowFailure(Copy(&value));
        return *this;
    }
    CComVariant& operator=(CComVariant&& other) noexcept {
        if (this != &other) {
            VariantClear(this);
            other.Detach(this);
        }
        return *this;
    }

    HRESULT Clear() noexcept { return VariantClear(this); }
    HRESULT Copy(const VARIANT* source) noexcept { return VariantCopy(this, Source(source)); }
    /// In place, or from the source; a failed conversion leaves the value as it was.
    HRESULT ChangeType(VARTYPE type, const VARIANT* source = nullptr) noexcept {
        return VariantChangeType(this, source != nullptr ? Source(source) : this, 0, type);
    }
    HRESULT Attach(VARIANT* source) noexcept {
        const HRESULT hr = Clear();
        if (SUCCEEDED(hr)) {
            static_cast<VARIANT&>(*this) = *source;
            VariantInit(source);
        }
        return hr;
    }
    /// Moves the value out over whatever bits the destination holds.
    HRESULT Detach(VARIANT* destination) noexcept {
        *destination = *this;
        VariantInit(this);
        return S_OK;
    }

private:
    // Some compilers' headers declare what is only read without const.
    static VARIANT* Source(const VARIANT* source) noexcept { return const_cast<VARIANT*>(source); }
    static void ThrowFailure(HRESULT hr) {
        if (FAILED(hr))
            AtlThrow(hr);
    }
};

} // namespace ATL

#ifndef _ATL_NO_AUTOMATIC_NAMESPACE
using namespace ATL;
#endif
