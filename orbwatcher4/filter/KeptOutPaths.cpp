#include "orbwatcher4/filter/KeptOutPaths.h"

#include "support/Backslash.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <iterator>

bool KeptOutPaths::Entry::Covers(std::wstring_view asked) const
{
    const std::wstring_view own = path.View();
    if (!folder)
        return asked.size() == own.size() && EqualNoCase(asked, own);
    if (asked.size() >= own.size())
        return asked[own.size() - 1] == L'\\' && BeginsNoCase(asked, own);
    return asked.size() + 1 == own.size() && EqualNoCase(asked, own.substr(0, asked.size()));
}

void KeptOutPaths::Replace(Source source, const std::vector<Entry>& entries)
{
    std::vector<Entry> all;
    std::copy_if(m_entries.begin(), m_entries.end(), std::back_inserter(all),
                 [source](const Entry& entry) { return entry.source != source; });
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(all),
                 [](const Entry& entry) { return !entry.path.IsEmpty(); });
    m_entries.swap(all);
}

void KeptOutPaths::SetFolder(Source source, const CString& folder, KeptOut why)
{
    Replace(source, {{source, why, folder.IsEmpty() ? folder : WithBackslash(folder), true}});
}

void KeptOutPaths::SetFiles(Source source, const std::vector<CString>& files, KeptOut why)
{
    std::vector<Entry> entries;
    entries.reserve(files.size());
    for (const CString& file : files)
        entries.push_back({source, why, file, false});
    Replace(source, entries);
}

void KeptOutPaths::Take(Source source, const KeptOutPaths& from)
{
    std::vector<Entry> entries;
    std::copy_if(from.m_entries.begin(), from.m_entries.end(), std::back_inserter(entries),
                 [source](const Entry& entry) { return entry.source == source; });
    Replace(source, entries);
}

KeptOut KeptOutPaths::Why(std::wstring_view path) const
{
    for (const Entry& entry : m_entries)
        if (entry.Covers(path))
            return entry.why;
    return KeptOut::No;
}

std::vector<CString> KeptOutPaths::Folders() const
{
    std::vector<CString> folders;
    for (const Entry& entry : m_entries)
        if (entry.folder)
            folders.push_back(entry.path);
    return folders;
}

std::vector<CString> KeptOutPaths::FilesOfDatabase(const CString& database)
{
    std::vector<CString> files;
    if (!database.IsEmpty())
        for (const wchar_t* ending : {L"", L"-wal", L"-shm", L"-journal", L"-claim"})
            files.push_back(database + ending);
    return files;
}
