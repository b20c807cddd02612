#pragma once

// Owners for what Windows hands out, one type per way of closing:
//
//     CUniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
//     CheckWin32Error(QUORLINE_HERE, event ? 0 : GetLastError(), L"CreateEvent");

#include <windows.h>

#include <io.h>

#include <cstdio>
#include <memory>
#include <utility>

/// Traits gives the handle's type, its null value and how it is closed.
template <class Traits> class CUnique {
public:
    using Type = typename Traits::Type;

    CUnique() = default;
    explicit CUnique(Type value) noexcept : m_value(value) {}
    CUnique(CUnique&& other) noexcept : m_value(other.Detach()) {}
    CUnique& operator=(CUnique&& other) noexcept {
        Reset(other.Detach());
        return *this;
    }
    ~CUnique() { Reset(); }

    Type Get() const noexcept { return m_value; }
    explicit operator bool() const noexcept { return Traits::IsValid(m_value); }
    Type Detach() noexcept { return std::exchange(m_value, Traits::Null()); }
    void Reset(Type value = Traits::Null()) noexcept {
        const Type old = std::exchange(m_value, value);
        if (Traits::IsValid(old))
            Traits::Close(old);
    }
    /// For calls that write a handle through a pointer; what was held before is closed.
    Type* Put() noexcept {
        Reset();
        return &m_value;
    }

private:
    Type m_value = Traits::Null();
};

template <class T, auto CloseFunction> struct CNullableTraits {
    using Type = T;
    static Type Null() noexcept { return nullptr; }
    static bool IsValid(Type value) noexcept { return value != nullptr; }
    static void Close(Type value) noexcept { CloseFunction(value); }
};

/// Closed with CloseHandle; null and INVALID_HANDLE_VALUE both count as empty (files, processes, tokens, events).
struct CKernelHandleTraits : CNullableTraits<HANDLE, &CloseHandle> {
    static bool IsValid(Type value) noexcept { return value != nullptr && value != INVALID_HANDLE_VALUE; }
};

struct CFindHandleTraits : CNullableTraits<HANDLE, &FindClose> {
    static bool IsValid(Type value) noexcept { return value != nullptr && value != INVALID_HANDLE_VALUE; }
};

using CUniqueHandle = CUnique<CKernelHandleTraits>;
using CUniqueFindHandle = CUnique<CFindHandleTraits>;
using CUniqueRegKey = CUnique<CNullableTraits<HKEY, &RegCloseKey>>;

/// A file of the C runtime, by its number.
struct CDescriptorTraits {
    using Type = int;
    static Type Null() noexcept { return -1; }
    static bool IsValid(Type value) noexcept { return value != Null(); }
    static void Close(Type value) noexcept { _close(value); }
};
using CUniqueDescriptor = CUnique<CDescriptorTraits>;

struct CStreamCloser {
    void operator()(FILE* stream) const noexcept { std::fclose(stream); }
};
using CUniqueStream = std::unique_ptr<FILE, CStreamCloser>;

struct CLocalFreeDeleter {
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};

/// Memory that the system allocated for the caller (FormatMessageW and others).
template <class T> using CUniqueLocalMemory = std::unique_ptr<T, CLocalFreeDeleter>;
