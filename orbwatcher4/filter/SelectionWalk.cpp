#include "orbwatcher4/filter/SelectionWalk.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/ReparsePoint.h"
#include "support/Backslash.h"

#include <algorithm>
#include <tuple>

namespace
{

WalkOptions WithBounds(WalkOptions options, const ScanBounds& bounds)
{
    options.bounds = &bounds;
    return options;
}

auto DepthOf(const CString& folder)
{
    const std::wstring_view path = folder.View();
    return std::count(path.begin(), path.end(), L'\\');
}

} // namespace

SelectionWalk::SelectionWalk(WalkMemory& memory, ScanDisk& disk, const ScanLists& lists, SmartScanCaller* caller,
                             WalkOptions options)
    : m_memory(memory),
      m_disk(disk),
      m_lists(lists),
      m_bounds(lists),
      m_walk(memory, disk, caller, WithBounds(options, m_bounds))
{
    // Each root is checked on the disk, which takes long on a dead share. An aborted walk goes nowhere.
    for (const ScanLists::Root& root : lists.roots) {
        if (m_walk.IsAborted())
            break;
        AddStart(root);
    }
    // The widest roots come first, so that the files in them are met in the disk's own letters. Links come after plain
    // folders, which are walked under the names of the rules.
    std::stable_sort(m_starts.begin(), m_starts.end(), [](const Start& left, const Start& right) {
        return std::tuple(!left.includeSub, left.IsLink(), DepthOf(left.folder)) <
               std::tuple(!right.includeSub, right.IsLink(), DepthOf(right.folder));
    });
}

void SelectionWalk::AddStart(const ScanLists::Root& root)
{
    Start start{WithBackslash(root.path), WithBackslash(root.path), root.includeSub};
    if (m_bounds.IsExcluded(start.folder))
        return;
    const DWORD attributes = m_disk.Attributes(start.folder);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        const DWORD error = attributes == INVALID_FILE_ATTRIBUTES ? GetLastError() : ERROR_PATH_NOT_FOUND;
        return PassOverStart(start.folder, error);
    }
    CString destination;
    switch (GetReparseDestination(m_disk, start.folder, attributes, destination)) {
    case ReparseResult::Unusable:
        return m_walk.PassOver(start.folder, PathOutcome::Unreadable);
    case ReparseResult::Leads:
        start.destination = WithBackslash(destination);
        break;
    case ReparseResult::NoLink:
        break;
    }
    m_starts.push_back(start);
}

void SelectionWalk::PassOverStart(const CString& folder, DWORD error)
{
    // Windows also says ERROR_DIRECTORY when a file stands there.
    const bool gone = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
                      error == ERROR_DIRECTORY;
    if (gone)
        g_OrbLog.Log(L"The selected folder %s is not there: %d", folder.GetString(), error);
    else
        g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"The selected folder %s cannot be walked: %d", folder.GetString(),
                          error);
    gone ? m_walk.PassOverMissing(folder) : m_walk.PassOver(folder, PathOutcome::Unreadable);
}

bool SelectionWalk::Run()
{
    return TakeFiles() && !m_walk.IsAborted() &&
           std::all_of(m_starts.begin(), m_starts.end(), [&](Start& start) { return TakeStart(start); });
}

bool SelectionWalk::TakeFiles()
{
    for (const CString& file : m_lists.files) {
        if (m_walk.IsAborted())
            return false;
        const std::optional<unsigned __int64> size = m_disk.FileSize(file);
        if (size && !m_walk.TakeFile(file, *size))
            return false;
        if (size)
            continue;
        g_OrbLog.Log(L"The selected file %s is not there", file.GetString());
        m_walk.PassOverMissing(file);
    }
    return true;
}

bool SelectionWalk::IsWalkedAlready(const Start& start) const
{
    if (m_memory.IsScanned(start.folder))
        return true;
    if (!start.IsLink())
        return false;
    // A link whose target no rule names is the only name that selects its files. It is walked even if another junction
    // has led there before.
    return m_linkTargets.contains(start.destination) ||
           (m_memory.IsScanned(start.destination) && m_bounds.CoverOf(start.destination) == ScanBounds::Cover::Walked);
}

bool SelectionWalk::TakeStart(Start& start)
{
    if (m_walk.IsAborted())
        return false;
    if (IsWalkedAlready(start)) {
        g_OrbLog.Log(L"Skipping already-scanned directory %s mapping to %s", start.folder.GetString(),
                     start.destination.GetString());
        return true;
    }
    m_memory.Forget(start.folder); // a link, too, is walked by its own name here
    if (!start.includeSub)
        return m_memory.AreFilesReported(start.folder) || m_walk.WalkFiles(start.folder);
    if (start.IsLink())
        m_linkTargets.insert(start.destination);
    m_memory.AddScanned(start.folder);
    m_memory.AddScanned(start.destination);
    return m_walk.WalkTree(start.folder);
}
