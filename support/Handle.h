/// @file
/// Handles that close themselves. The invalid value is part of the type: files
/// fail with INVALID_HANDLE_VALUE, everything else with null.
#pragma once

#include <windows.h>

#include <utility>

/// Owns a handle of one kind. One thread at a time.
template <typename Traits>
class BasicHandle
{
public:
    /// No handle.
    BasicHandle() noexcept = default;
    /// Takes it over.
    explicit BasicHandle(HANDLE handle) noexcept : m_handle(handle) {}
    /// Takes it from the other one.
    BasicHandle(BasicHandle&& other) noexcept : m_handle(other.Detach()) {}
    /// Closes its own, and takes that of the other one.
    BasicHandle& operator=(BasicHandle&& other) noexcept
    {
        Reset(other.Detach());
        return *this;
    }
    /// Closes it.
    ~BasicHandle() { Reset(); }

    /// True when it holds one.
    explicit operator bool() const noexcept { return m_handle != Traits::Invalid(); }
    /// It stays with the object.
    HANDLE Get() const noexcept { return m_handle; }
    /// It belongs to the caller now.
    HANDLE Detach() noexcept { return std::exchange(m_handle, Traits::Invalid()); }

    /// Closing keeps the thread's last error, so that a failure can be reported after it.
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

/// Processes, threads, events and whatever fails with null.
struct KernelHandleTraits {
    /// The value that is no handle.
    static HANDLE Invalid() noexcept { return nullptr; }
    /// Gives it back to the system.
    static void Close(HANDLE handle) noexcept { CloseHandle(handle); }
};
/// Files, and whatever fails with INVALID_HANDLE_VALUE.
struct FileHandleTraits {
    /// The value that is no handle.
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    /// Gives it back to the system.
    static void Close(HANDLE handle) noexcept { CloseHandle(handle); }
};
/// Searches for files.
struct FindHandleTraits {
    /// The value that is no handle.
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    /// Gives it back to the system.
    static void Close(HANDLE handle) noexcept { FindClose(handle); }
};

/// A process, a thread, an event.
using KernelHandle = BasicHandle<KernelHandleTraits>;
/// A file.
using FileHandle = BasicHandle<FileHandleTraits>;
/// A search for files.
using FindHandle = BasicHandle<FindHandleTraits>;

/// True when the thread or event behind the handle is set now.
inline bool IsSignalled(HANDLE handle) noexcept { return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }
