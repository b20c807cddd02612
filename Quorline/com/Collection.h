#pragma once

// An ordered list of COM objects behind an automation collection: zero-based, filled by the library, read by scripts.

#include <atlcomcli.h>

#include <limits>
#include <new>
#include <vector>

template <class T> class CCollection {
public:
    /// Takes a reference.
    HRESULT Append(T* item) noexcept {
        try {
            m_items.emplace_back(item);
            return S_OK;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }

protected:
    ~CCollection() = default;

    /// One reference for the caller. E_INVALIDARG past the end.
    HRESULT GetItem(unsigned long index, T** item) const noexcept {
        if (item == nullptr)
            return E_POINTER;
        return index < m_items.size() ? m_items[index].CopyTo(item) : E_INVALIDARG;
    }
    /// E_FAIL when the number does not fit.
    HRESULT GetCount(unsigned long* count) const noexcept {
        if (count == nullptr)
            return E_POINTER;
        if (m_items.size() > std::numeric_limits<unsigned long>::max())
            return E_FAIL;
        *count = static_cast<unsigned long>(m_items.size());
        return S_OK;
    }

private:
    std::vector<ATL::CComPtr<T>> m_items;
};
