// The facade of the watcher: its configuration.
#include "orbwatcher4/OrbWatcher.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/WatcherParts.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "support/CaseFold.h"

#include <shlwapi.h>

#include <utility>

namespace
{

bool HasText(const wchar_t* text) { return text && *text; }
bool IsThere(const wchar_t* path) { return HasText(path) && PathFileExistsW(path); }
CString IfThere(const wchar_t* path) { return IsThere(path) ? CString(path) : CString(); }

// Takes the paths last: a setting is whole, or stays as it was.
void TakeDatabases(WatcherParts& parts, CString queue, CString index)
{
    parts.intake.handler.Own().SetDatabases(queue, index);
    const std::vector<CString> databases{queue, index};
    parts.selection.Edit([&](OrbFilter& filter) { filter.SetDatabases(databases); });
    std::swap(parts.config.queueDatabase, queue);
    std::swap(parts.config.indexDatabase, index);
}

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
    for (CString* path :
         {&m->config.files.data, &m->config.files.autoExclude, &m->config.queueDatabase, &m->config.indexDatabase})
        path->Empty();
    SetDestBackupFolderDB(nullptr);
    SetOwnFiles({});
    Completes(L"Forgetting the databases", [this] { TakeDatabases(*m, {}, {}); });
    m->selection.loaded = false;
    m->enumerator.Reset();
    m->lifecycle.initialized = 1;
}

// If memory is exhausted, a setting stays as it was.
void COrbWatcher::SetDataXmlPath(const wchar_t* path)
{
    Completes(L"SetDataXmlPath", [&] {
        if (IsThere(path))
            m->config.files.data = path;
    });
}

void COrbWatcher::SetAdvancedFiltersPath(const wchar_t* path)
{
    Completes(L"SetAdvancedFiltersPath", [&] {
        if (IsThere(path))
            m->config.files.advanced = path;
    });
}

void COrbWatcher::SetDataXMLFiles(const wchar_t* data, const wchar_t* data2, const wchar_t* advanced)
{
    Completes(L"SetDataXMLFiles", [&] {
        CString first = HasText(data) ? CString(data) : m->config.files.data;
        CString second = IfThere(data2), third = IfThere(advanced);
        std::swap(m->config.files.data, first);
        std::swap(m->config.files.autoExclude, second);
        std::swap(m->config.files.advanced, third);
    });
}

void COrbWatcher::SetSecondaryXMLFile(const wchar_t* secondary, const wchar_t* secondaryExtra)
{
    Completes(L"SetSecondaryXMLFile", [&] {
        CString first = HasText(secondary) ? CString(secondary) : CString();
        CString second = IfThere(secondaryExtra);
        std::swap(m->config.files.secondary, first);
        std::swap(m->config.files.secondaryAutoExclude, second);
    });
}

void COrbWatcher::SetQueueDB(const wchar_t* path)
{
    Completes(L"SetQueueDB", [&] { TakeDatabases(*m, path, m->config.indexDatabase); });
}

void COrbWatcher::SetIndexDB(const wchar_t* path)
{
    Completes(L"SetIndexDB", [&] { TakeDatabases(*m, m->config.queueDatabase, path); });
}

void COrbWatcher::SetDestBackupFolderDB(const wchar_t* path)
{
    Completes(L"SetDestBackupFolderDB", [&] { m->selection.SetDestination(path); });
    // The contents of the earlier one are kept out no more, and were never looked at.
    if (m->selection.requestedRoots.IsWatching())
        Completes(L"Comparing the destination with the earlier one",
                  [this] { m->due.NoticeOtherDestinations(m->selection.KeptOutDestinations()); });
}

void COrbWatcher::SetOwnFiles(const std::vector<CString>& files)
{
    Completes(L"SetOwnFiles", [&] { m->selection.Edit([&](OrbFilter& filter) { filter.SetOwnFiles(files); }); });
}

void COrbWatcher::SetInstantRunExt(const wchar_t* patterns)
{
    if (patterns)
        Completes(L"SetInstantRunExt", [&] { m->config.instantRunNames = CString(patterns).MakeLower(); });
}

void COrbWatcher::SetBlockLevelExt(const wchar_t* patterns)
{
    Completes(L"SetBlockLevelExt", [&] { m->config.blockLevelNames = CString(patterns).MakeLower(); });
}

void COrbWatcher::SetOverlay(bool on)
{
    g_OrbLog.Log(L"Overlay : %d", static_cast<int>(on));
    m->config.overlay = on;
}

void COrbWatcher::SetUserToken(HANDLE token) { m->config.userToken = token; }
void COrbWatcher::SetFirstTimeWatcherHide(int hidden) { m->enumerator.Hide(hidden); }
void COrbWatcher::EnableBackupHiddenFiles(bool enable) { m->config.hiddenFiles = enable; }
void COrbWatcher::SetBackupFrequency(DWORD frequency) { m->config.backupFrequency = frequency; }

void COrbWatcher::UpdateThreadsPriority(CPUSpeedMode mode)
{
    // The pause is the only effect; the name is historical.
    m->enumerator.Found().SetPause(mode == CPUSpeedFull || mode == CPUSpeedAutomatic ? 0 : 3);
}

void COrbWatcher::SetOnlineHandler(std::shared_ptr<OnlineCallbackHandler> handler)
{
    if (handler)
        m->config.online = std::move(handler);
}

void COrbWatcher::SetFirstTimeCompletionEvent(const wchar_t* name)
{
    Completes(L"SetFirstTimeCompletionEvent", [&] { m->config.completionEvent = name; });
}

void COrbWatcher::SetIgnoredDedup(const std::set<unsigned __int64>& names, const std::set<unsigned __int64>& extensions,
                                  const std::set<unsigned __int64>& folders)
{
    Completes(L"SetIgnoredDedup", [&] { m->config.notForDedup.Set(names, extensions, folders); });
}
