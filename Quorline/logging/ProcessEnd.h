#pragma once

// The end of the process. Before the system tells the DLLs of it, it ends every thread but one, wherever they are; what
// they had locked stays locked. Whoever takes a lock of log4cxx's from then on may wait for ever.

#include <memory>
#include <utility>

/// True from the moment at which the other threads are gone. Any thread; never fails.
bool IsProcessEnding() noexcept;

/// Owns a static object that cleans up when the library is unloaded, and that is left as it is when the process ends.
template <class T> class CKeptAtProcessEnd {
public:
    explicit CKeptAtProcessEnd(std::unique_ptr<T> object) noexcept : m_object(std::move(object)) {}
    ~CKeptAtProcessEnd() {
        if (IsProcessEnding())
            static_cast<void>(m_object.release());
    }
    CKeptAtProcessEnd(const CKeptAtProcessEnd&) = delete;
    CKeptAtProcessEnd& operator=(const CKeptAtProcessEnd&) = delete;

    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object.get(); }

private:
    std::unique_ptr<T> m_object;
};
