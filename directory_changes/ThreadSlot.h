// A pointer of each thread's own. Unlike a thread_local of this compiler, it needs no memory on a thread that only
// asks.
#pragma once

#include <windows.h>

#include <type_traits>

template <typename T>
class ThreadSlot
{
public:
    ThreadSlot() : m_index(TlsAlloc()) {}
    ThreadSlot(const ThreadSlot&) = delete;
    ThreadSlot& operator=(const ThreadSlot&) = delete;

    // Returns null on a thread that has set nothing. Keeps the thread's last error.
    T* Get() const noexcept
    {
        const DWORD error = GetLastError();
        T* const value = static_cast<T*>(TlsGetValue(m_index));
        SetLastError(error);
        return value;
    }
    void Set(T* value) const noexcept { TlsSetValue(m_index, const_cast<std::remove_const_t<T>*>(value)); }

private:
    const DWORD m_index; // given back by the end of the process
};
