/// @file
/// Handles that close themselves. The type knows the invalid value: INVALID_HANDLE_VALUE for files, null for everything
/// else.
#pragma once

#include <windows.h>

#include <utility>

/// Owns a handle of one kind. One thread at a time.
template <typename Traits>
class BasicHandle
{
public:
    /// Holds no handle.
    BasicHandle() noexcept = default;
    /// Takes ownership of the handle.
    explicit BasicHandle(HANDLE handle) noexcept : m_handle(handle) {}
    /// Takes the handle from `other`.
    BasicHandle(BasicHandle&& other) noexcept : m_handle(other.Detach()) {}
    /// Closes its own handle, and takes the one of `other`.
    BasicHandle& operator=(BasicHandle&& other) noexcept
    {
        Reset(other.Detach());
        return *this;
    }
    /// Closes the handle.
    ~BasicHandle() { Reset(); }

    /// Returns true when it holds a handle.
    explicit operator bool() const noexcept { return m_handle != Traits::Invalid(); }
    /// Returns the handle; ownership is retained.
    HANDLE Get() const noexcept { return m_handle; }
    /// Returns the handle; the caller owns it now.
    HANDLE Detach() noexcept { return std::exchange(m_handle, Traits::Invalid()); }

    /// Closes the handle and takes the new one. Closing keeps the thread's last error, so that a failure can be
    /// reported after it.
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

/// Processes, threads, events and other handles whose functions fail with null.
struct KernelHandleTraits {
    /// Returns the value that is no handle.
    static HANDLE Invalid() noexcept { return nullptr; }
    /// Closes the handle.
    static void Close(HANDLE handle) noexcept { CloseHandle(handle); }
};
/// Files and other handles whose functions fail with INVALID_HANDLE_VALUE.
struct FileHandleTraits {
    /// Returns the value that is no handle.
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    /// Closes the handle.
    static void Close(HANDLE handle) noexcept { CloseHandle(handle); }
};
/// Searches for files.
struct FindHandleTraits {
    /// Returns the value that is no handle.
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    /// Closes the handle.
    static void Close(HANDLE handle) noexcept { FindClose(handle); }
};

/// A process, a thread, an event.
using KernelHandle = BasicHandle<KernelHandleTraits>;
/// A file.
using FileHandle = BasicHandle<FileHandleTraits>;
/// A search for files.
using FindHandle = BasicHandle<FindHandleTraits>;

/// Returns true when the thread or event behind the handle is set now.
inline bool IsSignalled(HANDLE handle) noexcept { return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }
