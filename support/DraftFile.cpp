#include "support/DraftFile.h"

#include "support/Clock.h"
#include "support/Handle.h"

#include <algorithm>
#include <atomic>
#include <string_view>

namespace
{

constexpr std::uint64_t dayOfFileTime = 24ull * 60 * 60 * 10'000'000;

bool TakeFromEnd(std::wstring_view& text, std::wstring_view ending)
{
    if (!text.ends_with(ending))
        return false;
    text.remove_suffix(ending.size());
    return true;
}

bool TakeNumberFromEnd(std::wstring_view& text)
{
    const std::size_t before = text.size();
    while (!text.empty() && text.back() >= L'0' && text.back() <= L'9')
        text.remove_suffix(1);
    return text.size() < before;
}

// NAME.ENDING.NUMBER-NUMBER.tmp, or the journal that a database keeps beside it.
bool IsDraftName(std::wstring_view name, std::wstring_view ending)
{
    TakeFromEnd(name, L"-journal");
    return TakeFromEnd(name, L".tmp") && TakeNumberFromEnd(name) && TakeFromEnd(name, L"-") &&
           TakeNumberFromEnd(name) && TakeFromEnd(name, L".") && name.size() > ending.size() && name.ends_with(ending);
}

bool IsOld(const WIN32_FIND_DATAW& file)
{
    const FILETIME& time = file.ftLastWriteTime;
    const std::uint64_t written = time.dwLowDateTime | std::uint64_t(time.dwHighDateTime) << 32;
    const std::uint64_t now = SystemClock().FileTime();
    return written < now && now - written > dayOfFileTime;
}

} // namespace

CString DraftPath(const CString& target)
{
    static std::atomic<unsigned> counter{0};
    CString path;
    path.Format(L"%s.%u-%u.tmp", target.GetString(), GetCurrentProcessId(), ++counter);
    return path;
}

void RemoveOldDrafts(const CString& target)
{
    const CString folder = target.Left(target.ReverseFind(L'\\') + 1);
    const CString name = target.Mid(folder.GetLength());
    const int dot = name.ReverseFind(L'.');
    if (dot <= 0)
        return;
    const CString ending = name.Mid(dot);
    WIN32_FIND_DATAW found;
    const FindHandle search(FindFirstFileW(folder + L"*.tmp*", &found));
    if (!search)
        return;
    do
        // Who has a draft open does not let it be deleted.
        if (IsDraftName(found.cFileName, ending.View()) && IsOld(found))
            DeleteFileW(folder + found.cFileName);
    while (FindNextFileW(search.Get(), &found));
}
