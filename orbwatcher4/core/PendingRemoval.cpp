// Taking pending files out of the store, for rules that are gone.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Hashes.h"
#include "support/SystemPath.h"

#include <shlwapi.h>

namespace
{

std::uint64_t ExtensionHash(const CString& path)
{
    const std::uint64_t hash = PathHash64(CString(PathFindExtensionW(path)).MakeLower().View());
    g_OrbLog.Log(L"Ext Hash: %I64u", hash);
    return hash;
}

bool IsRemoved(const CString& path, const std::set<unsigned __int64>& masks)
{
    g_OrbLog.Log(L"Checking for removed masks");
    g_OrbLog.Log(L"Current File Path: %s", path.GetString());
    g_OrbLog.Log(L"Checking for extension: %s in remove masks", PathFindExtensionW(path));
    if (masks.contains(ExtensionHash(path)))
        return true;
    g_OrbLog.Log(L"Extension not found in remove masks set -- SKIPPING FILE");
    return false;
}

bool IsSkipped(const CString& path, const std::set<unsigned __int64>& masks)
{
    g_OrbLog.Log(L"Checking for skipped masks");
    g_OrbLog.Log(L"Current File Path: %s", path.GetString());
    g_OrbLog.Log(L"Checking for extension: %s in skipped masks", PathFindExtensionW(path));
    if (!masks.contains(ExtensionHash(path)))
        return false;
    g_OrbLog.Log(L"Extension found in skip masks set -- SKIPPING FILE");
    return true;
}

} // namespace

bool COrbWatcher::IsAbortExcludeDelete()
{
    const KernelHandle event(
        OpenEventW(EVENT_ALL_ACCESS, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutex::GUID_ABORT_EXCLUDE")));
    return event && IsSignalled(event.Get());
}

// Erases what lies below the prefix and is chosen.
void COrbWatcher::RemovePending(const CString& prefix, const std::function<bool(const CString&)>& chosen)
{
    const ObjectLock lock(m->locks, &m->store);
    std::vector<CString> doomed;
    m->store.ForEach([&](const CString& path, const NotificationPtr& notification) {
        if (IsAbortExcludeDelete())
            return false;
        if (notification && BeginsNoCase(path.View(), prefix.View()) && chosen(path))
            doomed.push_back(path);
        return true;
    });
    for (const CString& path : doomed) {
        g_OrbLog.Log(L"Removing: %s", path.GetString());
        m->store.Erase(path);
    }
}

void COrbWatcher::RemoveChildNotificationsEx(CString directory)
{
    const COrbFuncLog guard(L"COrbWatcher::RemoveChildNotificationsEx");
    g_OrbLog.Log(L"Scaning notifications for matching paths %s", directory.GetString());
    RemovePending(WithBackslash(directory), [](const CString&) { return true; });
}

void COrbWatcher::ForceRemoveItemNotifications(const wchar_t* path, bool addBackslash,
                                               const std::set<unsigned __int64>& removedMasks,
                                               const std::set<unsigned __int64>& skippedMasks)
{
    const COrbFuncLog guard(L"COrbWatcher::ForceRemoveItemNotifications");
    g_OrbLog.Log(L"Scaning notifications for matching paths %s", path);
    RemovePending(addBackslash ? WithBackslash(path) : CString(path), [&](const CString& pending) {
        if (!removedMasks.empty())
            return IsRemoved(pending, removedMasks);
        return skippedMasks.empty() || !IsSkipped(pending, skippedMasks);
    });
}

// Looks at the disk, not at the store. Folders wait in a list: a tree may be deeper than a stack.
void COrbWatcher::RemoveChildNotifications(CString directory)
{
    const COrbFuncLog guard(L"COrbWatcher::RemoveChildNotifications");
    std::vector<CString> waiting{directory};
    while (!waiting.empty()) {
        const CString folder = waiting.back();
        waiting.pop_back();
        g_OrbLog.Log(L"Scaning Directory %s for pending notifications", folder.GetString());
        WIN32_FIND_DATAW data;
        const FindHandle search(FindFirstFileW(SystemPath(folder + L"*.*"), &data));
        if (!search)
            continue;
        do {
            if (IsAbortExcludeDelete())
                return;
            const std::wstring_view name = data.cFileName;
            if (name == L"." || name == L"..")
                continue;
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
                if (!(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
                    waiting.push_back(folder + data.cFileName + L"\\");
            } else {
                RemovePendingFile(WithBackslash(folder) + data.cFileName);
            }
        } while (FindNextFileW(search.Get(), &data));
    }
}

void COrbWatcher::RemovePendingFile(CString path)
{
    {
        const ObjectLock lock(m->locks, &m->filter);
        m->filter.UpdateJunctionDestination(path);
    }
    const ObjectLock lock(m->locks, &m->store);
    if (!m->store.Find(path))
        return;
    g_OrbLog.Log(L"Removing: %s", path.GetString());
    m->store.Erase(path);
}
