#include "directory_changes/DirWatchInfo.h"

#include "directory_changes/EndingWatches.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/WatchEngine.h"

#include <utility>

CDirWatchInfo::CDirWatchInfo(std::shared_ptr<WatchEngine> engine, DirectoryHandle directory, const wchar_t* name,
                             CDirectoryChangeHandler& handler, bool appHasGui, DWORD filterFlags)
    : m_engine(std::move(engine)),
      m_name(name),
      m_handler(nullptr, appHasGui, filterFlags, this),
      m_owner(m_handler, handler),
      m_read(std::move(directory))
{
    m_handler.Prepare(m_name);
    ++s_liveCount;
}

CDirWatchInfo::~CDirWatchInfo() { --s_liveCount; }

void CDirWatchInfo::Join(std::shared_ptr<EngineRun> run, ULONG_PTR key)
{
    m_run = std::move(run);
    m_key = key;
}

bool CDirWatchInfo::PostPacket() { return m_run->Post(m_key, &m_control); }

void CDirWatchInfo::Finish(WatchEnding ending, DWORD error)
{
    m_read.Close();
    m_reports.ReportEnd(ending, error);
    m_handler.Fence().Post();
}

// The record stays in the list of ending watches until the handler has been let go: a thread that destroys the handler
// waits for that.
std::shared_ptr<const void> CDirWatchInfo::OnIdle() noexcept
{
    std::shared_ptr<const void> alive = shared_from_this();
    m_owner.LetGo();
    // A read that is still out keeps the record, whose buffer the system may write to.
    if (m_run && !m_read.IsPending())
        m_run->Keys().Remove(m_key);
    EndingWatches::Instance().Remove(*this);
    return alive;
}
