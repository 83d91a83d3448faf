// Marks automatically excluded files in the overlay service when watching starts.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/OverlayRemover.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Impersonation.h"

namespace
{

void ImpersonateOrTell(HANDLE token)
{
    if (ImpersonateUser(token))
        return;
    const DWORD error = GetLastError();
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to impersonate user");
    g_OrbLog.Log(L"Last error: %d", error);
}

void MarkRule(WatcherState& watcher, const Filter& rule)
{
    OverlayRemover remover(watcher);
    if (IsDirectory(rule.path))
        remover.ScanFolder(rule);
    else
        remover.FileFoundCallback(rule.path, 0);
}

// The rules are copied, because the walk may take long and changes are judged meanwhile.
void MarkAutoExcluded(WatcherState& m)
{
    FilterList rules;
    {
        const CSingleLock lock(m.selection.primaryLock);
        rules = m.selection.primary.RulesWith(RuleFlags::AutoExclude);
    }
    for (const FilterPtr& rule : rules) {
        if (m.stop.IsSet())
            break;
        MarkRule(m, *rule);
    }
}

} // namespace

unsigned __stdcall COrbWatcher::_FirstTimeAutoExOverlayUpdater(void* watcher)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstTimeAutoExOverlayUpdater");
    const LockOrder::ThreadScope scope(OverlayThreadName);
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    WatcherState& m = *static_cast<COrbWatcher*>(watcher)->m;
    ImpersonateOrTell(m.config.userToken);
    Completes(L"The overlay thread", [&] { MarkAutoExcluded(m); });
    return 0;
}
