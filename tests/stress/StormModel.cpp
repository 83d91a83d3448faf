#include "tests/stress/StormModel.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "support/Handle.h"
#include "tests/support/TestMachine.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace
{

std::wstring Folded(std::wstring path)
{
    if (path.ends_with(L'\\'))
        path.pop_back();
    CharLowerW(path.data());
    return path;
}

std::wstring Wide(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

bool IsBelow(const std::wstring& path, const std::wstring& folder)
{
    const std::wstring begin = Folded(folder) + L"\\";
    return Folded(path).starts_with(begin);
}

// As records tell it.
std::string TimeText(const FILETIME& time)
{
    SYSTEMTIME t = {};
    FileTimeToSystemTime(&time, &t);
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", t.wYear, t.wMonth, t.wDay, t.wHour,
                  t.wMinute, t.wSecond, t.wMilliseconds);
    return text;
}

bool IsRecorded(const std::wstring& path, CachedDatum& datum)
{
    return CIndexDB::GetCachedData(path.c_str(), datum) && !(datum.flags & CachedDatum::NoDeleteRecord);
}

} // namespace

struct StormModel::Found {
    std::wstring path;
    FILETIME modified;
    bool isFolder;
};

void StormModel::Take(const std::vector<nlohmann::json>& records)
{
    for (const nlohmann::json& record : records) {
        const std::string type = record.at("type");
        m_deleted += type == "deleted" ? 1 : 0;
        if (type != "pending")
            continue;
        ++m_handedOut;
        const nlohmann::json& modified = record.at("modified");
        m_told[Folded(Wide(record.at("path")))] = modified.is_null() ? "" : modified.get<std::string>();
    }
}

bool StormModel::IsSelected(const std::wstring& path) const
{
    const auto holds = [&](const std::wstring& folder) { return IsBelow(path, folder); };
    const bool excluded = std::any_of(m_excluded.begin(), m_excluded.end(), holds) ||
                          std::any_of(m_excluded.begin(), m_excluded.end(),
                                      [&](const std::wstring& folder) { return Folded(path) == Folded(folder); });
    return !excluded && !(IsBelow(path, m_included.front()) && path.ends_with(L".tmp"));
}

void StormModel::Walk(const std::wstring& folder, std::vector<Found>& found) const
{
    for (const Found& entry : ListOf(folder))
        if (IsSelected(entry.path)) {
            found.push_back(entry);
            if (entry.isFolder)
                Walk(entry.path, found);
        }
}

void StormModel::WalkEnding(const std::wstring& folder, const std::wstring& ending, std::vector<Found>& found) const
{
    for (const Found& entry : ListOf(folder)) {
        if (entry.isFolder)
            WalkEnding(entry.path, ending, found);
        else if (Folded(entry.path).ends_with(ending))
            found.push_back(entry);
    }
}

// Links are left out: what they lead to has a path of its own.
std::vector<StormModel::Found> StormModel::ListOf(const std::wstring& folder)
{
    std::vector<Found> entries;
    WIN32_FIND_DATAW data;
    const FindHandle search(FindFirstFileW((folder + L"\\*").c_str(), &data));
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.Get(), &data) != FALSE) {
        const std::wstring name = data.cFileName;
        if (name != L"." && name != L".." && !(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
            entries.push_back(
                {folder + L"\\" + name, data.ftLastWriteTime, (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    }
    return entries;
}

// Folders that are moved into each other reach lengths that no backup takes (docs/guarantees.md).
void StormModel::Judge(const Found& found, std::vector<std::string>& lost) const
{
    constexpr std::size_t longest = 260 - 1; // a folder is also looked at with a backslash
    if (found.path.size() > longest)
        return;
    const std::string path = Narrow(found.path), time = TimeText(found.modified);
    CachedDatum datum;
    const auto told = m_told.find(Folded(found.path));
    if (told == m_told.end())
        lost.push_back(path + " was never handed out");
    else if (!found.isFolder && told->second != time)
        lost.push_back(path + " was handed out as of " + told->second + " and is of " + time);
    else if (!IsRecorded(found.path, datum))
        lost.push_back(path + " is not in the index");
    else if (const FILETIME recorded = {static_cast<DWORD>(datum.modificationTime),
                                        static_cast<DWORD>(datum.modificationTime >> 32)};
             !found.isFolder && CompareFileTime(&recorded, &found.modified) != 0)
        lost.push_back(path + " is in the index as of " + TimeText(recorded) + " and is of " + time);
}

std::vector<std::string> StormModel::Lost(const std::wstring& index) const
{
    CIndexDB database;
    database.SetDBFilePath(index.c_str());
    if (!database.Open(0, 0, 0) || !database.LoadCache())
        throw std::runtime_error("the index cannot be read");
    std::vector<Found> found;
    for (const std::wstring& folder : m_included)
        Walk(folder, found);
    for (const auto& [folder, ending] : m_endings)
        WalkEnding(folder, ending, found);
    std::vector<std::string> lost;
    for (const Found& one : found)
        Judge(one, lost);
    CachedDatum datum;
    for (const auto& [path, time] : m_told)
        if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES && IsRecorded(path, datum))
            lost.push_back(Narrow(path) + " is gone and was not recorded as deleted");
    CIndexDB::ClearCache();
    return lost;
}
