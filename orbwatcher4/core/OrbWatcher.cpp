// The facade: configuration and state.
#include "orbwatcher4/OrbWatcher.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/WatcherState.h"

#include <shlwapi.h>

namespace
{

bool HasText(const wchar_t* text) { return text && *text; }
bool IsThere(const wchar_t* path) { return HasText(path) && PathFileExistsW(path); }
CString IfThere(const wchar_t* path) { return IsThere(path) ? CString(path) : CString(); }

void Fill(KeySet& set, const std::set<unsigned __int64>& keys)
{
    EmptyTable(set);
    for (const std::uint64_t key : keys)
        if (key != 0xFFFFFFFFFFFFFFFFull)
            set.insert(key);
}

} // namespace

COrbWatcher::COrbWatcher(bool useDrDeleteMap) : m(std::make_unique<WatcherState>(*this, useDrDeleteMap)) {}
COrbWatcher::~COrbWatcher() = default;

void COrbWatcher::Init()
{
    for (CString* path : {&m->dataXmlPath, &m->dataXmlPath2, &m->queueDB, &m->indexDB, &m->destBackupFolderDB})
        path->Empty();
    m->enableFirstTime = 0;
    {
        const ObjectLock lock(m->locks, &m->firstTime);
        m->firstTime.running = 0;
    }
    m->firstTime.succeeded = 0;
    m->firstTimeHidden = 0;
    m->initialized = 1;
}

void COrbWatcher::SetDataXmlPath(const wchar_t* path)
{
    if (IsThere(path))
        m->dataXmlPath = path;
}

void COrbWatcher::SetAdvancedFiltersPath(const wchar_t* path)
{
    if (IsThere(path))
        m->advancedFiltersPath = path;
}

void COrbWatcher::SetDataXMLFiles(const wchar_t* data, const wchar_t* data2, const wchar_t* advanced)
{
    if (HasText(data))
        m->dataXmlPath = data;
    m->dataXmlPath2 = IfThere(data2);
    m->advancedFiltersPath = IfThere(advanced);
}

void COrbWatcher::SetSecondaryXMLFile(const wchar_t* secondary, const wchar_t* secondaryExtra)
{
    m->secondaryXmlPath = HasText(secondary) ? CString(secondary) : CString();
    m->secondaryXmlPath2 = IfThere(secondaryExtra);
}

void COrbWatcher::SetQueueDB(const wchar_t* path)
{
    m->queueDB = path;
    m->ownFiles.SetDatabases(m->queueDB, m->indexDB);
}

void COrbWatcher::SetIndexDB(const wchar_t* path)
{
    m->indexDB = path;
    m->ownFiles.SetDatabases(m->queueDB, m->indexDB);
}

void COrbWatcher::SetDestBackupFolderDB(const wchar_t* path) { m->destBackupFolderDB = path; }

void COrbWatcher::SetInstantRunExt(const wchar_t* patterns)
{
    if (patterns)
        m->instantRunExt = CString(patterns).MakeLower();
}

void COrbWatcher::SetBlockLevelExt(const wchar_t* patterns) { m->blockLevelExt = CString(patterns).MakeLower(); }

void COrbWatcher::SetOverlay(bool on)
{
    g_OrbLog.Log(L"Overlay : %d", static_cast<int>(on));
    m->overlay = on;
}

void COrbWatcher::SetUserToken(HANDLE token) { m->userToken = token; }
void COrbWatcher::SetFirstTimeWatcherHide(int hidden) { m->firstTimeHidden = hidden; }
void COrbWatcher::EnableBackupHiddenFiles(bool enable) { m->backupHiddenFiles = enable; }
void COrbWatcher::SetBackupFrequency(DWORD frequency) { m->backupFrequency = frequency; }

void COrbWatcher::UpdateThreadsPriority(CPUSpeedMode mode)
{
    // The throttle is the whole effect; the name is historical.
    m->enumThrottleMs = mode == CPUSpeedFull || mode == CPUSpeedAutomatic ? 0 : 3;
}

void COrbWatcher::SetOnlineHandler(std::shared_ptr<OnlineCallbackHandler> handler)
{
    if (handler)
        m->online = std::move(handler);
}

void COrbWatcher::SetFirstTimeCompletionEvent(const wchar_t* name) { m->completionEvent = name; }

void COrbWatcher::SetIgnoredDedup(const std::set<unsigned __int64>& names, const std::set<unsigned __int64>& extensions,
                                  const std::set<unsigned __int64>& folders)
{
    Fill(m->ignoredNames, names);
    Fill(m->ignoredExtensions, extensions);
    Fill(m->ignoredFolders, folders);
}

int COrbWatcher::IsInitilized() { return m->initialized; }
int COrbWatcher::IsEnableFirstTime() { return m->enableFirstTime; }
int COrbWatcher::IsFirstTimeEnumRunning() { return m->firstTimeHidden ? 0 : m->firstTime.running.load(); }
int COrbWatcher::IsFirstTimeFinshedsuccessfully() { return m->firstTime.succeeded; }
bool COrbWatcher::IsBackupHiddenFiles() { return m->backupHiddenFiles; }
__int64 COrbWatcher::GetTotalFilesInMem() { return m->store.LiveCount(); }

int COrbWatcher::IsBackupRunning()
{
    const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START");
    const KernelHandle mutex(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name));
    return mutex ? 1 : 0;
}

bool COrbWatcher::ProgressCallback()
{
    if (const DWORD pause = m->enumThrottleMs)
        Sleep(pause);
    if (!m->stop.IsSet())
        return true;
    constexpr int ProgressLine = 2198;
    g_OrbLog.WriteLog(1, L"OrbWatcher", ProgressLine, L"Used Aborted, stop enumeration");
    return false;
}
