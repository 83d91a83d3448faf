// The facade of the watcher: configuration and state.
#include "orbwatcher4/OrbWatcher.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/CaseFold.h"

#include <shlwapi.h>

#include <utility>

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

namespace
{

// The environment comes before the settings: it is that of this process alone.
void SetLogLevel()
{
    wchar_t level[16] = L"";
    if (GetEnvironmentVariableW(L"ORB_LOG_LEVEL", level, 16) == 0)
        GetMainSettings().GetValue(L"Main::LogLevel", level, 16);
    g_OrbLog.SetLevel(EqualNoCase(level, L"all") ? LogLevel::Info : LogLevel::Abort);
}

} // namespace

void COrbWatcher::Init()
{
    Completes(L"Setting the level of the log", SetLogLevel);
    for (CString* path : {&m->dataXmlPath, &m->dataXmlPath2, &m->queueDB, &m->indexDB})
        path->Empty();
    SetDestBackupFolderDB(nullptr);
    SetOwnFiles({});
    Completes(L"Forgetting the databases", [this] { TakeDatabases({}, {}); });
    m->selectionLoaded = false;
    m->enableFirstTime = 0;
    Completes(L"Init", [this] {
        const CSingleLock lock(m->firstTime.lock);
        m->firstTime.running = 0;
    });
    m->firstTime.succeeded = 0;
    m->firstTimeHidden = 0;
    m->initialized = 1;
}

// If memory is exhausted, a setting stays as it was.
void COrbWatcher::SetDataXmlPath(const wchar_t* path)
{
    Completes(L"SetDataXmlPath", [&] {
        if (IsThere(path))
            m->dataXmlPath = path;
    });
}

void COrbWatcher::SetAdvancedFiltersPath(const wchar_t* path)
{
    Completes(L"SetAdvancedFiltersPath", [&] {
        if (IsThere(path))
            m->advancedFiltersPath = path;
    });
}

void COrbWatcher::SetDataXMLFiles(const wchar_t* data, const wchar_t* data2, const wchar_t* advanced)
{
    Completes(L"SetDataXMLFiles", [&] {
        CString first = HasText(data) ? CString(data) : m->dataXmlPath;
        CString second = IfThere(data2), third = IfThere(advanced);
        std::swap(m->dataXmlPath, first);
        std::swap(m->dataXmlPath2, second);
        std::swap(m->advancedFiltersPath, third);
    });
}

void COrbWatcher::SetSecondaryXMLFile(const wchar_t* secondary, const wchar_t* secondaryExtra)
{
    Completes(L"SetSecondaryXMLFile", [&] {
        CString first = HasText(secondary) ? CString(secondary) : CString();
        CString second = IfThere(secondaryExtra);
        std::swap(m->secondaryXmlPath, first);
        std::swap(m->secondaryXmlPath2, second);
    });
}

void COrbWatcher::SetQueueDB(const wchar_t* path)
{
    Completes(L"SetQueueDB", [&] { TakeDatabases(path, m->indexDB); });
}

void COrbWatcher::SetIndexDB(const wchar_t* path)
{
    Completes(L"SetIndexDB", [&] { TakeDatabases(m->queueDB, path); });
}

void COrbWatcher::SetDestBackupFolderDB(const wchar_t* path)
{
    Completes(L"SetDestBackupFolderDB", [&] {
        CString folder = path;
        m->selection.Edit([&](OrbFilter& filter) { filter.SetDestination(folder); });
        const CSingleLock lock(m->selection.primaryLock);
        std::swap(m->destBackupFolderDB, folder);
    });
    // What lies in the earlier one is kept out no more, and was never looked at.
    if (m->watching.IsSet())
        Completes(L"Comparing the destination with the earlier one",
                  [&] { m->due.NoticeOtherDestinations(m->Destinations()); });
}

void COrbWatcher::SetOwnFiles(const std::vector<CString>& files)
{
    Completes(L"SetOwnFiles", [&] { m->selection.Edit([&](OrbFilter& filter) { filter.SetOwnFiles(files); }); });
}

// Takes them last: a setting is whole, or stays as it was.
void COrbWatcher::TakeDatabases(CString queue, CString index)
{
    m->ownFiles.SetDatabases(queue, index);
    const std::vector<CString> databases{queue, index};
    m->selection.Edit([&](OrbFilter& filter) { filter.SetDatabases(databases); });
    std::swap(m->queueDB, queue);
    std::swap(m->indexDB, index);
}

void COrbWatcher::SetInstantRunExt(const wchar_t* patterns)
{
    if (patterns)
        Completes(L"SetInstantRunExt", [&] { m->instantRunExt = CString(patterns).MakeLower(); });
}

void COrbWatcher::SetBlockLevelExt(const wchar_t* patterns)
{
    Completes(L"SetBlockLevelExt", [&] { m->blockLevelExt = CString(patterns).MakeLower(); });
}

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
    // The pause is the only effect; the name is historical.
    m->enumThrottleMs = mode == CPUSpeedFull || mode == CPUSpeedAutomatic ? 0 : 3;
}

void COrbWatcher::SetOnlineHandler(std::shared_ptr<OnlineCallbackHandler> handler)
{
    if (handler)
        m->online = std::move(handler);
}

void COrbWatcher::SetFirstTimeCompletionEvent(const wchar_t* name)
{
    Completes(L"SetFirstTimeCompletionEvent", [&] { m->completionEvent = name; });
}

void COrbWatcher::SetIgnoredDedup(const std::set<unsigned __int64>& names, const std::set<unsigned __int64>& extensions,
                                  const std::set<unsigned __int64>& folders)
{
    Completes(L"SetIgnoredDedup", [&] {
        Fill(m->ignoredNames, names);
        Fill(m->ignoredExtensions, extensions);
        Fill(m->ignoredFolders, folders);
    });
}

int COrbWatcher::IsInitilized() { return m->initialized; }
int COrbWatcher::IsEnableFirstTime() { return m->enableFirstTime; }
int COrbWatcher::IsFirstTimeEnumRunning() { return m->firstTimeHidden ? 0 : m->firstTime.running.load(); }
int COrbWatcher::IsFirstTimeFinshedsuccessfully() { return m->firstTime.succeeded; }
bool COrbWatcher::IsBackupHiddenFiles() { return m->backupHiddenFiles; }
__int64 COrbWatcher::GetTotalFilesInMem() { return m->PendingCount(); }

int COrbWatcher::IsBackupRunning()
{
    constexpr DWORD BackupMutexAccess = 0x1F0003; // as services that make the mutex expect it to be opened
    bool running = false;
    Completes(L"IsBackupRunning", [&] {
        const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START");
        running = static_cast<bool>(KernelHandle(OpenMutexW(BackupMutexAccess, FALSE, name)));
    });
    return running ? 1 : 0;
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
