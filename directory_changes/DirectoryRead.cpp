#include "directory_changes/DirectoryRead.h"

#include "directory_changes/LastError.h"

#include <algorithm>
#include <utility>

namespace
{

// A server that answers every read at once without a change would keep the worker from all other watches.
constexpr int MostUselessReads = 16;

} // namespace

DirectoryHandle OpenDirectory(ChangeIo& io, const wchar_t* path)
{
    const HANDLE directory = io.OpenDirectory(path);
    return {directory == INVALID_HANDLE_VALUE ? nullptr : directory, {&io}};
}

DWORD DirectoryRead::Issue()
{
    m_overlapped = {};
    m_pending = true; // before the call: its packet may come at once
    const auto read = [&] {
        return m_directory.get_deleter().io->ReadChanges(Directory(), m_buffer.data() + m_carry, m_size - m_carry, true,
                                                         ChangeFilter, &m_overlapped);
    };
    bool issued = read();
    if (!issued && GetLastError() == ERROR_INVALID_PARAMETER && m_size > NetworkBufferSize) {
        m_size = NetworkBufferSize;
        issued = read();
    }
    if (issued)
        return ERROR_SUCCESS;
    const DWORD error = LastErrorOr(ERROR_GEN_FAILURE);
    m_pending = false;
    return error;
}

void DirectoryRead::Decode(DWORD bytes, std::wstring_view directory, ChangeRecordSink& sink)
{
    const std::size_t size = std::min(std::size_t(std::exchange(m_carry, 0)) + bytes, m_buffer.size());
    m_carry = static_cast<DWORD>(DecodeChanges(m_buffer.data(), size, directory, sink));
}

void DirectoryRead::GiveUpCarried(std::wstring_view directory, ChangeRecordSink& sink)
{
    if (const DWORD carried = std::exchange(m_carry, 0))
        GiveUpCarriedName(m_buffer.data(), carried, directory, sink);
}

bool DirectoryRead::IsHopeless() const { return m_uselessReads >= MostUselessReads; }

void DirectoryRead::Close()
{
    if (!m_directory)
        return;
    m_completedBeforeClose = HasOverlappedIoCompleted(&m_overlapped);
    m_directory.reset();
}

bool DirectoryRead::LastWasLost() const
{
    // ReadDirectoryChangesW leaves this status when the system's buffer has overflowed.
    constexpr ULONG_PTR statusNotifyEnumDir = 0x10C;
    return m_completedBeforeClose || m_overlapped.Internal == statusNotifyEnumDir;
}
