// The read of a watch: a directory that is open, and the buffer that the system fills with its changes. A
// rename's old name that ends a read is carried: it stays at the beginning of the buffer, and the next read is put
// behind it.
//
// Threads: one at a time. During a watch that is the worker with the lease (WatchState.h), then the thread that ends
// the watch. IsPending and IsOf: any thread.
#pragma once

#include "directory_changes/ChangeIo.h"
#include "directory_changes/ChangeRecords.h"

#include <array>
#include <atomic>
#include <memory>

// A directory that closes itself. The io must outlive it.
struct CloseByIo {
    ChangeIo* io;
    void operator()(HANDLE directory) const { io->CloseDirectory(directory); }
};
using DirectoryHandle = std::unique_ptr<void, CloseByIo>;

// Returns null, with the thread's last error, when the directory cannot be opened.
DirectoryHandle OpenDirectory(ChangeIo& io, const wchar_t* path);

class DirectoryRead
{
public:
    static constexpr DWORD BufferSize = 0x100000;
    static constexpr DWORD NetworkBufferSize = 0x10000; // a network share refuses more
    static constexpr DWORD ChangeFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                                          FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
    static_assert(ChangeFilter == 27);

    explicit DirectoryRead(DirectoryHandle directory) : m_directory(std::move(directory)) {}

    HANDLE Directory() const { return m_directory.get(); }
    // Returns true as long as the system may write to the buffer.
    bool IsPending() const { return m_pending; }
    // Returns true for the packet of a read.
    bool IsOf(const OVERLAPPED* overlapped) const { return overlapped == &m_overlapped; }

    // Issues the next read. Returns 0 or the error.
    DWORD Issue();
    // The packet of the read has come.
    void ComeBack() { m_pending = false; }
    // Gives the sink what the read has brought. Throws std::bad_alloc, and then carries nothing.
    void Decode(DWORD bytes, std::wstring_view directory, ChangeRecordSink& sink);
    // Gives the sink a carried old name as removed: it gets no successor. Throws std::bad_alloc.
    void GiveUpCarried(std::wstring_view directory, ChangeRecordSink& sink);
    // Counts successive reads without a change.
    void NoteUse(bool useful) { m_uselessReads = useful ? 0 : m_uselessReads + 1; }
    // Returns true when so many reads have brought no change that the directory is to be given up.
    bool IsHopeless() const;

    // A pending read comes back.
    void Close();
    // Returns whether the last read was lost, rather than ended by the closing.
    bool LastWasLost() const;

private:
    DirectoryHandle m_directory;
    DWORD m_carry = 0;
    DWORD m_size = BufferSize;
    int m_uselessReads = 0;
    bool m_completedBeforeClose = false;
    std::atomic<bool> m_pending{false};
    OVERLAPPED m_overlapped = {};
    alignas(8) std::array<std::uint8_t, BufferSize> m_buffer;
};
