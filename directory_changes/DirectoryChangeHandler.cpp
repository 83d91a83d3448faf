// The base handler: counts its users and knows the watcher that it is linked to.
#include "directory_changes/DirectoryChanges.h"
#include "directory_changes/EndingWatches.h"
#include "directory_changes/WatchEngine.h"

#include <utility>

CDirectoryChangeHandler::CDirectoryChangeHandler() = default;

CDirectoryChangeHandler::~CDirectoryChangeHandler()
{
    std::shared_ptr<WatchEngine> engine;
    {
        const CSingleLock lock(m_section);
        engine = m_engine;
    }
    if (engine)
        engine->Unwatch({.handler = this});
    EndingWatches::Instance().ForgetHandler(*this);
}

void CDirectoryChangeHandler::OnFileAdded(const wchar_t*) {}
void CDirectoryChangeHandler::OnFileRemoved(const wchar_t*) {}
void CDirectoryChangeHandler::OnFileNameChanged(const wchar_t*, const wchar_t*) {}
void CDirectoryChangeHandler::OnFileModified(const wchar_t*) {}
void CDirectoryChangeHandler::OnReadChangesError(DWORD, const wchar_t*) {}
void CDirectoryChangeHandler::OnWatchStarted(DWORD, const wchar_t*) {}
void CDirectoryChangeHandler::OnWatchStopped(const wchar_t*) {}
bool CDirectoryChangeHandler::OnFilterNotification(DWORD, const wchar_t*, const wchar_t*) { return true; }

long CDirectoryChangeHandler::AddRef() { return ++m_references; }

long CDirectoryChangeHandler::Release()
{
    const long left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

CString CDirectoryChangeHandler::GetChangedDirectoryName() const
{
    const CSingleLock lock(m_section);
    return m_changedDirectoryName;
}

void CDirectoryChangeHandler::SetChangedDirectoryName(const CString& name)
{
    const CSingleLock lock(m_section);
    m_changedDirectoryName = name;
}

void CDirectoryChangeHandler::EndWatchesElsewhere(const WatchEngine* engine)
{
    std::shared_ptr<WatchEngine> before;
    {
        const CSingleLock lock(m_section);
        before = m_engine;
    }
    if (before && before.get() != engine)
        before->Unwatch({.handler = this});
}

// The link to another engine has ended with the last watch there. If a link to it exists, it belongs to watches that
// another thread has begun since, and stays.
long CDirectoryChangeHandler::LinkWatcher(std::shared_ptr<WatchEngine> engine)
{
    const CSingleLock lock(m_section);
    if (m_engine && m_engine != engine)
        return m_linkCount;
    m_engine = std::move(engine);
    return m_engine ? ++m_linkCount : m_linkCount;
}

bool CDirectoryChangeHandler::IsLinkedTo(const WatchEngine* engine) const
{
    const CSingleLock lock(m_section);
    return m_engine.get() == engine;
}

void CDirectoryChangeHandler::UnlinkWatcher(const WatchEngine* engine)
{
    std::shared_ptr<WatchEngine> before; // let go of outside the section
    const CSingleLock lock(m_section);
    if (m_engine.get() != engine || --m_linkCount >= 1)
        return;
    before = std::move(m_engine);
    m_linkCount = 0;
}
