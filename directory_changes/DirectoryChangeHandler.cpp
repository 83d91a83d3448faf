// The base handler: counting its users and knowing the watcher it is linked to.
#include "directory_changes/DirectoryChanges.h"

CDirectoryChangeHandler::CDirectoryChangeHandler() = default;

CDirectoryChangeHandler::~CDirectoryChangeHandler()
{
    CDirectoryChangeWatcher* watcher;
    {
        const CSingleLock lock(m_section);
        watcher = m_watcher;
    }
    if (watcher)
        watcher->UnwatchDirectory(this);
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

// A handler belongs to one watcher: linking it to another one ends its watches there.
bool CDirectoryChangeHandler::EndWatchesElsewhere(CDirectoryChangeWatcher* watcher)
{
    CDirectoryChangeWatcher* before;
    {
        const CSingleLock lock(m_section);
        before = m_watcher;
    }
    return before && before != watcher && before->UnwatchDirectory(this);
}

// When there was nothing to end, a link to another watcher stays where it is.
long CDirectoryChangeHandler::LinkWatcher(CDirectoryChangeWatcher* watcher, bool endedElsewhere)
{
    const CSingleLock lock(m_section);
    if (m_watcher && m_watcher != watcher) {
        if (endedElsewhere) {
            m_watcher = watcher;
            m_linkCount = 1;
        }
        return m_linkCount;
    }
    m_watcher = watcher;
    return watcher ? ++m_linkCount : m_linkCount;
}

bool CDirectoryChangeHandler::IsLinkedTo(const CDirectoryChangeWatcher* watcher) const
{
    const CSingleLock lock(m_section);
    return m_watcher == watcher;
}

void CDirectoryChangeHandler::UnlinkWatcher()
{
    const CSingleLock lock(m_section);
    if (--m_linkCount < 1) {
        m_watcher = nullptr;
        m_linkCount = 0;
    }
}
