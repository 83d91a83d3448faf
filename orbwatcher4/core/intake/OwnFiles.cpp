#include "orbwatcher4/core/intake/OwnFiles.h"

#include "companions/settings/DataFolder.h"
#include "orbwatcher4/core/due/RunningMark.h"
#include "orbwatcher4/filter/KeptOutPaths.h"
#include "support/CaseFold.h"
#include "support/Wildcard.h"

#include <windows.h>

#include <algorithm>
#include <utility>

namespace
{

constexpr const wchar_t* InDataFolder[] = {L"OrbWatcher*.log", RunningMark::FilePattern, L"watcher_claim.txt"};

CString FullPath(const wchar_t* path)
{
    CString full;
    const DWORD size = GetFullPathNameW(path, 0, nullptr, nullptr);
    const DWORD length = GetFullPathNameW(path, size, full.GetBuffer(static_cast<int>(size)), nullptr);
    full.ReleaseBuffer(static_cast<int>(length < size ? length : 0));
    return full;
}

bool IsInDataFolder(const CString& path)
{
    const int slash = path.ReverseFind(L'\\');
    const wchar_t* name = path.GetString() + slash + 1;
    return std::any_of(std::begin(InDataFolder), std::end(InDataFolder),
                       [&](const wchar_t* pattern) { return MatchWildcard(pattern, name); }) &&
           EqualNoCase(path.Left(slash).View(), DataFolder::Path().View());
}

} // namespace

void OwnFiles::SetDatabases(const CString& queue, const CString& index)
{
    std::vector<CString> files;
    for (const CString& path : {queue, index})
        for (CString& file : KeptOutPaths::FilesOfDatabase(path.IsEmpty() ? path : FullPath(path)))
            files.push_back(std::move(file));
    m_databases.swap(files);
}

bool OwnFiles::Contains(const CString& path) const
{
    return std::any_of(m_databases.begin(), m_databases.end(),
                       [&](const CString& file) { return EqualNoCase(path.View(), file.View()); }) ||
           IsInDataFolder(path);
}
