#include "orbwatcher4/core/pending/PendingRemoval.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Dots.h"
#include "support/Hashes.h"
#include "support/SystemPath.h"
#include "support/WithoutThreadToken.h"

#include <shlwapi.h>

#include <optional>
#include <utility>

namespace
{

std::uint64_t ExtensionHash(const CString& path)
{
    const std::uint64_t hash = PathHash64(CString(PathFindExtensionW(path)).MakeLower().View());
    g_OrbLog.Log(L"Ext Hash: %I64u", hash);
    return hash;
}

bool IsRemoved(const CString& path, const std::set<std::uint64_t>& masks)
{
    g_OrbLog.Log(L"Checking for removed masks");
    g_OrbLog.Log(L"Current File Path: %s", path.GetString());
    g_OrbLog.Log(L"Checking for extension: %s in remove masks", PathFindExtensionW(path));
    if (masks.contains(ExtensionHash(path)))
        return true;
    g_OrbLog.Log(L"Extension not found in remove masks set -- SKIPPING FILE");
    return false;
}

bool IsSkipped(const CString& path, const std::set<std::uint64_t>& masks)
{
    g_OrbLog.Log(L"Checking for skipped masks");
    g_OrbLog.Log(L"Current File Path: %s", path.GetString());
    g_OrbLog.Log(L"Checking for extension: %s in skipped masks", PathFindExtensionW(path));
    if (!masks.contains(ExtensionHash(path)))
        return false;
    g_OrbLog.Log(L"Extension found in skip masks set -- SKIPPING FILE");
    return true;
}

KernelHandle OpenAbortEvent()
{
    const WithoutThreadToken asProcess; // the event may be closed to the user
    return KernelHandle(
        OpenEventW(EVENT_ALL_ACCESS, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutex::GUID_ABORT_EXCLUDE")));
}

// Tells a removal whether it is to end. The event is opened once. While it does not exist, opening is tried again only
// when the system's clock has advanced: a system call for each entry would cost more than the removal.
class RemovalAbort
{
public:
    bool IsSet()
    {
        if (!m_event && GetTickCount64() != m_lookedAt) {
            m_lookedAt = GetTickCount64();
            m_event = OpenAbortEvent();
        }
        return m_event && IsSignalled(m_event.Get());
    }

private:
    KernelHandle m_event = OpenAbortEvent();
    ULONGLONG m_lookedAt = GetTickCount64();
};

// Identifies a folder by volume and number, whatever path leads to it. Nothing when it cannot be opened.
using FolderIdentity = std::pair<DWORD, std::uint64_t>;
std::optional<FolderIdentity> IdentityOf(const CString& folder)
{
    const FileHandle handle(CreateFileW(SystemPath(folder), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!handle || !GetFileInformationByHandle(handle.Get(), &information))
        return std::nullopt;
    return FolderIdentity{information.dwVolumeSerialNumber,
                          information.nFileIndexLow | std::uint64_t(information.nFileIndexHigh) << 32};
}

// Erases the chosen entries below the prefix.
template <typename Choice>
void EraseBelow(PendingStore& pending, const CString& prefix, Choice chosen)
{
    RemovalAbort abort;
    const PendingStore::Locked store(pending);
    std::vector<CString> doomed;
    const auto choose = [&](const CString& path) {
        if (BeginsNoCase(path.View(), prefix.View()) && chosen(path))
            doomed.push_back(path);
    };
    store->ForEach([&](const CString& path, const NotificationPtr&) {
        if (abort.IsSet()) {
            pending.mayHoldUnselected = true;
            return false;
        }
        choose(path);
        return true;
    });
    for (const auto& [folder, deletion] : store.Replaced().All())
        choose(WithBackslash(folder));
    for (const CString& path : doomed) {
        g_OrbLog.Log(L"Removing: %s", path.GetString());
        store->Erase(path);
        store.Replaced().Erase(path);
    }
}

void EraseFile(Selection& selection, PendingStore& pending, CString path)
{
    selection.FollowLinks(path);
    const PendingStore::Locked store(pending);
    if (!store->Find(path))
        return;
    g_OrbLog.Log(L"Removing: %s", path.GetString());
    store->Erase(path);
}

} // namespace

bool PendingRemoval::IsAborted()
{
    const KernelHandle event = OpenAbortEvent();
    return event && IsSignalled(event.Get());
}

void PendingRemoval::RemoveBelow(PendingStore& pending, const CString& prefix)
{
    EraseBelow(pending, prefix, [](const CString&) { return true; });
}

void PendingRemoval::RemoveByMasks(PendingStore& pending, const CString& prefix,
                                   const std::set<std::uint64_t>& removedMasks,
                                   const std::set<std::uint64_t>& skippedMasks)
{
    EraseBelow(pending, prefix, [&](const CString& path) {
        if (!removedMasks.empty())
            return IsRemoved(path, removedMasks);
        return skippedMasks.empty() || !IsSkipped(path, skippedMasks);
    });
}

// Walks the disk instead of the store. Folders wait in a list, because a tree may be deeper than the stack. Links to
// folders are entered, because files behind them may be pending; each target is entered once, because links may form
// circles.
void PendingRemoval::RemoveOnDisk(Selection& selection, PendingStore& pending, const CString& directory)
{
    RemovalAbort abort;
    std::set<FolderIdentity> targets; // targets of links that were entered
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
            if (abort.IsSet()) {
                pending.mayHoldUnselected = true;
                return;
            }
            if (IsDots(data.cFileName))
                continue;
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
                const CString below = folder + data.cFileName + L"\\";
                const bool link = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
                const std::optional<FolderIdentity> target = link ? IdentityOf(below) : std::nullopt;
                if (!link || (target && targets.insert(*target).second))
                    waiting.push_back(below);
            } else {
                EraseFile(selection, pending, WithBackslash(folder) + data.cFileName);
            }
        } while (FindNextFileW(search.Get(), &data));
    }
}
