#include "support/DraftFile.h"

#include "support/Clock.h"
#include "support/Handle.h"
#include "support/SystemPath.h"

#include <array>
#include <string_view>

#include <ntsecapi.h>

namespace
{

constexpr std::uint64_t DayOfFileTime = 24ull * 60 * 60 * 10'000'000;

bool TakeFromEnd(std::wstring_view& text, std::wstring_view ending)
{
    if (!text.ends_with(ending))
        return false;
    text.remove_suffix(ending.size());
    return true;
}

bool IsHexNumber(std::wstring_view text)
{
    return !text.empty() && text.find_first_not_of(L"0123456789abcdef") == text.npos;
}

// Returns true for ~oHEX-HEX.tmp, and for the journal that a database keeps beside such a file.
bool IsDraftName(std::wstring_view name)
{
    TakeFromEnd(name, L"-journal");
    if (!TakeFromEnd(name, L".tmp") || !name.starts_with(L"~o"))
        return false;
    name.remove_prefix(2);
    const std::size_t dash = name.find(L'-');
    return dash != name.npos && IsHexNumber(name.substr(0, dash)) && IsHexNumber(name.substr(dash + 1));
}

CString FolderOf(const CString& path) { return path.Left(path.ReverseFind(L'\\') + 1); }

bool IsOld(const WIN32_FIND_DATAW& file)
{
    const FILETIME& time = file.ftLastWriteTime;
    const std::uint64_t written = time.dwLowDateTime | std::uint64_t(time.dwHighDateTime) << 32;
    const std::uint64_t now = SystemClock().FileTime();
    return written < now && now - written > DayOfFileTime;
}

} // namespace

CString DraftPath(const CString& target)
{
    CString path;
    std::array<unsigned, 2> random;
    if (RtlGenRandom(random.data(), sizeof random))
        path.Format(L"%s~o%08x-%08x.tmp", FolderOf(target).GetString(), random[0], random[1]);
    return path;
}

void RemoveOldDrafts(const CString& target)
{
    const CString folder = FolderOf(target);
    WIN32_FIND_DATAW found;
    const FindHandle search(FindFirstFileW(SystemPath(folder + L"~o*.tmp*"), &found));
    if (!search)
        return;
    do
        // A draft that a process has open cannot be deleted.
        if (IsDraftName(found.cFileName) && IsOld(found))
            DeleteFileW(SystemPath(folder + found.cFileName));
    while (FindNextFileW(search.Get(), &found));
}
