#include "orbwatcher4/filter/DirectoryWalk.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/ReparsePoint.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Dots.h"
#include "support/Wildcard.h"

#include <shlwapi.h>

#include <algorithm>

namespace
{

bool IsFolder(DWORD attributes)
{
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// Returns true for a junction of the system, which gives an old name to a new place. Its contents are met in that
// place.
bool IsSystemJunction(DWORD attributes)
{
    constexpr DWORD all = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    return (attributes & all) == all;
}

bool IsNotThere(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

} // namespace

DirectoryWalk::DirectoryWalk(WalkMemory& memory, ScanDisk& disk, SmartScanCaller* caller, const WalkOptions& options)
    : m_memory(memory),
      m_disk(disk),
      m_caller(caller),
      m_options(options),
      m_abort(options.abort)
{
}

bool DirectoryWalk::MayEnter(DWORD attributes, bool includeHidden)
{
    return !IsSystemJunction(attributes) && (includeHidden || !(attributes & FILE_ATTRIBUTE_HIDDEN));
}

void DirectoryWalk::PassOver(const CString& path, PathOutcome why) const
{
    if (m_options.observer)
        m_options.observer->PassedOver(path, why);
}

void DirectoryWalk::PassOverMissing(const CString& path) const
{
    if (m_options.observer)
        m_options.observer->SelectedMissing(path);
    PassOver(path, PathOutcome::Missing);
}

void DirectoryWalk::PassOverKnown(const CString& folder, const CString& destination) const
{
    g_OrbLog.Log(L"Skipping already-scanned directory %s mapping to %s", folder.GetString(), destination.GetString());
    PassOver(folder, PathOutcome::WalkedAlready);
}

bool DirectoryWalk::WalkTree(const CString& folder)
{
    if (IsAborted())
        return false;
    Begin(folder);
    m_folders.push_back(m_root);
    while (!m_folders.empty()) {
        const CString next = m_folders.back();
        m_folders.pop_back();
        if (IsAborted() || !ReadFolder(next, true))
            return false;
    }
    return true;
}

bool DirectoryWalk::WalkFiles(const CString& folder)
{
    if (IsAborted())
        return false;
    Begin(folder);
    return ReadFolder(m_root, false);
}

void DirectoryWalk::Begin(const CString& root)
{
    m_root = WithBackslash(root);
    if (m_caller)
        m_caller->FolderFoundCallback(m_root);
}

bool DirectoryWalk::TakeFile(const CString& path, unsigned __int64 size)
{
    if (!MayGoOn())
        return false;
    if (!MatchesPattern(PathFindFileNameW(path)) || !m_singleFiles.insert(path).second)
        return true;
    if (m_caller)
        m_caller->FileFoundCallback(path, size);
    return true;
}

bool DirectoryWalk::MayGoOn() { return !IsAborted() && (!m_caller || m_caller->ProgressCallback()); }

bool DirectoryWalk::ReadFolder(const CString& folder, bool withSubFolders)
{
    const bool withFiles = folder == m_root || !m_memory.AreFilesReported(folder);
    bool goOn = true;
    m_nameHashes.clear();
    if (m_options.observer)
        m_options.observer->Entering(folder);
    const DWORD error = m_disk.List(folder, m_options.listPattern, [&](const WIN32_FIND_DATAW& data) {
        goOn = MayGoOn();
        if (!goOn || IsDots(data.cFileName))
            return goOn;
        m_nameHashes.push_back(HashNoCase(data.cFileName));
        const bool isFolder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (isFolder && withSubFolders)
            TakeFolder(folder + data.cFileName + L'\\', data.dwFileAttributes);
        else if (!isFolder && withFiles)
            ReportFile(folder, data);
        return true;
    });
    if (goOn)
        TellTwins(folder);
    if (error)
        TakeReadError(folder, error);
    else if (goOn)
        TellRead(folder, ERROR_SUCCESS);
    if (goOn && !error && !withSubFolders)
        m_memory.AddFilesReported(folder);
    return goOn;
}

void DirectoryWalk::TellTwins(const CString& folder)
{
    std::sort(m_nameHashes.begin(), m_nameHashes.end());
    if (std::adjacent_find(m_nameHashes.begin(), m_nameHashes.end()) == m_nameHashes.end())
        return;
    FoldedSet names;
    m_disk.List(folder, m_options.listPattern, [&](const WIN32_FIND_DATAW& data) {
        const auto [first, isNew] = names.insert(data.cFileName);
        if (!isNew && first->View() != data.cFileName)
            g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__,
                              L"Two names differ in upper and lower case alone, and only one of them is backed up: "
                              L"%s%s and %s; rename one of them",
                              folder.GetString(), first->GetString(), data.cFileName);
        return true;
    });
}

void DirectoryWalk::TakeReadError(const CString& folder, DWORD error) const
{
    g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"The folder %s could not be read to its end: %d", folder.GetString(),
                      error);
    // A folder that disappears while it is read fails in many ways.
    const bool gone = error == ERROR_PATH_NOT_FOUND ||
                      (m_disk.Attributes(folder) == INVALID_FILE_ATTRIBUTES && IsNotThere(GetLastError()));
    PassOver(folder, gone ? PathOutcome::Missing : PathOutcome::Unreadable);
    if (!gone)
        TellRead(folder, error);
}

void DirectoryWalk::TellRead(const CString& folder, DWORD error) const
{
    if (m_options.observer)
        m_options.observer->ListRead(folder, error);
}

void DirectoryWalk::ReportFile(const CString& folder, const WIN32_FIND_DATAW& data)
{
    if (!m_caller || !MatchesPattern(data.cFileName))
        return;
    const CString path = folder + data.cFileName;
    const unsigned __int64 high = data.nFileSizeHigh;
    if (!m_singleFiles.empty() && m_singleFiles.contains(path))
        return;
    Show(data.dwFileAttributes);
    m_caller->FileFoundCallback(path, high << 32 | data.nFileSizeLow);
}

void DirectoryWalk::TakeFolder(CString folder, DWORD attributes)
{
    if (!MayEnter(attributes, m_options.includeHidden))
        return PassOver(folder, IsSystemJunction(attributes) ? PathOutcome::SystemLink : PathOutcome::Hidden);
    if (m_options.bounds && m_options.bounds->IsExcluded(folder))
        return PassOver(folder, PathOutcome::Excluded);
    CString destination;
    switch (GetReparseDestination(m_disk, folder, attributes, destination)) {
    case ReparseResult::NoLink:
        return TakePlainFolder(folder, attributes);
    case ReparseResult::Leads:
        return TakeLink(folder, destination);
    case ReparseResult::Unusable:
        return PassOver(folder, PathOutcome::Unreadable);
    }
}

void DirectoryWalk::TakePlainFolder(CString& folder, DWORD attributes)
{
    m_memory.Forget(folder);
    if (!m_memory.AddScanned(folder))
        return PassOverKnown(folder, folder);
    Push(folder, attributes);
}

void DirectoryWalk::TakeLink(const CString& link, CString& destination)
{
    if (!IsFolder(m_disk.Attributes(destination))) {
        g_OrbLog.Log(L"Skipping invalid junction point %s mapping to %s", link.GetString(), destination.GetString());
        return PassOver(link, PathOutcome::BrokenLink);
    }
    // A link that a rule names is walked by its own name, because the rule selects that name.
    if (m_options.bounds && m_options.bounds->RootSpelling(link))
        return;
    if (m_options.bounds && m_options.bounds->CoverOf(destination) == ScanBounds::Cover::Excluded)
        return PassOver(link, PathOutcome::Excluded);
    if (!m_memory.AddScanned(destination)) {
        m_memory.Correct(link, destination);
        return PassOverKnown(link, destination);
    }
    m_memory.Remember(link, destination);
    Push(destination, std::nullopt);
}

void DirectoryWalk::Push(const CString& folder, std::optional<DWORD> attributes)
{
    m_folders.push_back(folder);
    if (!m_caller || m_memory.AreFilesReported(folder))
        return;
    if (attributes)
        Show(*attributes);
    m_caller->FolderFoundCallback(folder);
}

void DirectoryWalk::Show(DWORD attributes) const
{
    if (m_options.observer)
        m_options.observer->Shown(attributes);
}

bool DirectoryWalk::MatchesPattern(const wchar_t* name) const
{
    const std::wstring_view pattern = m_options.filePattern.View();
    return pattern == L"*" || pattern == L"*.*" || MatchWildcard(pattern, name); // the system's "*.*" needs no dot
}
