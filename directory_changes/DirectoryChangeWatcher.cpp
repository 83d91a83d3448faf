// The watcher: refuses arguments that name nothing, and lets no exception out.
#include "directory_changes/ChangeIo.h"
#include "directory_changes/DirectoryChanges.h"
#include "directory_changes/WatchEngine.h"

#include <new>
#include <system_error>

namespace
{

bool RequireNonNull(const void* argument)
{
    if (!argument)
        SetLastError(ERROR_INVALID_PARAMETER);
    return argument != nullptr;
}

template <typename Operation>
DWORD RunReturningError(Operation operation) noexcept
{
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (const std::system_error& error) {
        return error.code().value() ? static_cast<DWORD>(error.code().value()) : DWORD(ERROR_GEN_FAILURE);
    } catch (...) {
        return ERROR_GEN_FAILURE;
    }
}

} // namespace

CDirectoryChangeWatcher::CDirectoryChangeWatcher(bool appHasGui, DWORD filterFlags)
    : CDirectoryChangeWatcher(SystemChangeIo(), appHasGui, filterFlags)
{
}

CDirectoryChangeWatcher::CDirectoryChangeWatcher(ChangeIo& io, bool appHasGui, DWORD filterFlags)
    : m_engine(std::make_shared<WatchEngine>(*this, io, appHasGui, filterFlags)),
      m_records(m_engine->Records())
{
}

CDirectoryChangeWatcher::~CDirectoryChangeWatcher() { UnwatchAllDirectories(); }

void CDirectoryChangeWatcher::OnThreadStart() {}
void CDirectoryChangeWatcher::OnThreadExit() {}

DWORD CDirectoryChangeWatcher::WatchDirectory(const wchar_t* path, CDirectoryChangeHandler* handler)
{
    const DWORD error = path && *path && handler ? RunReturningError([&] { return m_engine->Watch(path, *handler); })
                                                 : DWORD(ERROR_INVALID_PARAMETER);
    SetLastError(error);
    return error;
}

bool CDirectoryChangeWatcher::UnwatchDirectory(const wchar_t* path)
{
    return RequireNonNull(path) && m_engine->Unwatch({.path = path});
}

bool CDirectoryChangeWatcher::UnwatchDirectory(CDirectoryChangeHandler* handler)
{
    return RequireNonNull(handler) && m_engine->Unwatch({.handler = handler});
}

bool CDirectoryChangeWatcher::IsWatchingDirectory(const wchar_t* path) const
{
    return RequireNonNull(path) && m_engine->IsWatching(path);
}

// A handler may destroy the watcher in an event that this call dispatches: the engine stays until the end.
bool CDirectoryChangeWatcher::UnwatchAllDirectories()
{
    const std::shared_ptr<WatchEngine> engine = m_engine;
    engine->UnwatchAll();
    return true;
}
