#pragma once

// How the session's objects fail: by exceptions inside, and for a script as an HRESULT with error information that says
// which member of which object failed and why. No exception leaves a method:
//
//     STDMETHODIMP CThing::get_Name(BSTR* pName) {
//         return Answer(*this, L"Name", pName, [&] { return ReadName(); });
//     }
//
// An object has a static ErrorInterface(), the interface whose members fail, and Describe(), the object in words.

#include <windows.h>

#include <oleauto.h>

#include <exception>
#include <string>
#include <utility>

/// A failure whose cause is known.
class CSessionError : public std::exception {
public:
    CSessionError(HRESULT result, std::wstring reason) : m_result(result), m_reason(std::move(reason)) {}
    HRESULT Result() const noexcept { return m_result; }
    const std::wstring& Reason() const noexcept { return m_reason; }
    const char* what() const noexcept override { return "a session object failed"; }

private:
    HRESULT m_result;
    std::wstring m_reason;
};

/// Throws CSessionError with the calling thread's last error and the system's text for it.
[[noreturn]] void ThrowLastError();

/// Call inside a catch block: the HRESULT of the exception that is being handled. Leaves error information on the
/// thread, as far as memory suffices.
HRESULT ReportException(REFIID iid, const wchar_t* member, const std::wstring& object) noexcept;

template <class Object> std::wstring DescribeNoThrow(const Object& object) noexcept {
    try {
        return object.Describe();
    } catch (...) {
        return {}; // out of memory: the failure itself matters more than where it was
    }
}

/// The boundary: runs the body of a method, which returns an HRESULT or throws.
template <class Object, class Body> HRESULT Guarded(const Object& object, const wchar_t* member, Body body) noexcept {
    try {
        return body();
    } catch (...) {
        return ReportException(Object::ErrorInterface(), member, DescribeNoThrow(object));
    }
}

/// What a computed answer is for the caller, who then owns it.
inline long ToCaller(long number) noexcept {
    return number;
}
inline VARIANT_BOOL ToCaller(bool truth) noexcept {
    return truth ? VARIANT_TRUE : VARIANT_FALSE;
}
BSTR ToCaller(const std::wstring& text);
template <class Interface, template <class> class Pointer> Interface* ToCaller(Pointer<Interface> object) noexcept {
    return object.Detach();
}

/// The body of a method with one answer: computes it and hands it out. A failure leaves zero or null.
template <class Object, class Result, class Compute>
HRESULT Answer(const Object& object, const wchar_t* member, Result* result, Compute compute) noexcept {
    return Guarded(object, member, [&] {
        if (result == nullptr)
            throw CSessionError(E_POINTER, L"there is no place for the answer");
        *result = Result();
        *result = ToCaller(compute());
        return S_OK;
    });
}
