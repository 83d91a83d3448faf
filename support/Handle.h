// Handles that close themselves. The invalid value is part of the type: files
// fail with INVALID_HANDLE_VALUE, everything else with null.
#pragma once

#include <windows.h>

#include <utility>

template <typename Traits>
class BasicHandle
{
public:
    BasicHandle() noexcept = default;
    explicit BasicHandle(HANDLE handle) noexcept : m_handle(handle) {}
    BasicHandle(BasicHandle&& other) noexcept : m_handle(other.Detach()) {}
    BasicHandle& operator=(BasicHandle&& other) noexcept
    {
        Reset(other.Detach());
        return *this;
    }
    ~BasicHandle() { Reset(); }

    explicit operator bool() const noexcept { return m_handle != Traits::Invalid(); }
    HANDLE Get() const noexcept { return m_handle; }
    HANDLE Detach() noexcept { return std::exchange(m_handle, Traits::Invalid()); }

    // Closing keeps the thread's last error, so that a failure can be reported after it.
    void Reset(HANDLE handle = Traits::Invalid()) noexcept
    {
        const HANDLE old = std::exchange(m_handle, handle);
        if (old == Traits::Invalid())
            return;
        const DWORD error = GetLastError();
        Traits::Close(old);
        SetLastError(error);
    }

private:
    HANDLE m_handle = Traits::Invalid();
};

struct KernelHandleTraits {
    static HANDLE Invalid() noexcept { return nullptr; }
    static void Close(HANDLE handle) noexcept { CloseHandle(handle); }
};
struct FileHandleTraits {
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(HANDLE handle) noexcept { CloseHandle(handle); }
};
struct FindHandleTraits {
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(HANDLE handle) noexcept { FindClose(handle); }
};

using KernelHandle = BasicHandle<KernelHandleTraits>;
using FileHandle = BasicHandle<FileHandleTraits>;
using FindHandle = BasicHandle<FindHandleTraits>;

// True when the thread or event behind the handle is set now.
inline bool IsSignalled(HANDLE handle) noexcept { return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }
