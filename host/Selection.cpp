#include "host/Selection.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <mutex>

namespace
{

// The library says in its log why a file could not be read: a failure, the file, the reason.
class LoadFailures
{
public:
    struct Failure {
        std::wstring file;
        std::wstring reason;
    };

    LoadFailures()
        : m_token(g_OrbLog.AddSink([this](const LogLine& line) {
              const std::scoped_lock lock(m_mutex);
              m_lines.push_back({line.level, line.text});
          }))
    {
    }
    ~LoadFailures() { g_OrbLog.RemoveSink(m_token); }
    LoadFailures(const LoadFailures&) = delete;
    LoadFailures& operator=(const LoadFailures&) = delete;

    std::vector<Failure> Found() const
    {
        const std::wstring filePrefix = L"File : ";
        const std::scoped_lock lock(m_mutex);
        std::vector<Failure> failures;
        for (std::size_t i = 0; i + 2 < m_lines.size(); ++i)
            if (m_lines[i].level == LogLevel::Error && m_lines[i].text.starts_with(L"Failed to load") &&
                m_lines[i + 1].text.starts_with(filePrefix))
                failures.push_back({m_lines[i + 1].text.substr(filePrefix.size()), m_lines[i + 2].text});
        return failures;
    }

private:
    struct Line {
        LogLevel level;
        std::wstring text;
    };
    mutable std::mutex m_mutex;
    std::vector<Line> m_lines;
    const std::uint64_t m_token;
};

bool IsFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool AllAreThere(const SelectionFiles& files, RecordWriter& writer)
{
    bool good = true;
    for (const std::wstring* file : {&files.data, &files.autoExclude, &files.advanced, &files.secondary})
        if (!file->empty() && !IsFile(*file)) {
            writer.Error(L"the file is not there or cannot be reached", *file);
            good = false;
        }
    return good;
}

bool IsWatched(const CString& root, const std::vector<CString>& watched)
{
    return std::any_of(watched.begin(), watched.end(),
                       [&](const CString& other) { return EqualNoCase(other.View(), root.View()); });
}

} // namespace

bool LoadSelection(COrbWatcher& watcher, const SelectionFiles& files, RecordWriter& writer)
{
    if (!AllAreThere(files, writer))
        return false;
    watcher.SetDataXMLFiles(files.data.c_str(), files.autoExclude.c_str(), files.advanced.c_str());
    watcher.SetSecondaryXMLFile(files.secondary.c_str(), nullptr);
    LoadFailures failures;
    const bool loaded = watcher.LoadSelection();
    const std::vector<LoadFailures::Failure> found = failures.Found();
    for (const LoadFailures::Failure& failure : found)
        writer.Error(L"cannot be read as a selection: " + failure.reason, failure.file);
    if (!loaded && found.empty())
        writer.Error(L"the selection could not be loaded", files.data);
    return loaded && found.empty();
}

void TellWhatIsNotWatched(const SelectionFiles& files, const std::vector<CString>& watched, RecordWriter& writer)
{
    OrbFilter filter;
    filter.LoadXmlFilters(files.data.c_str(), files.autoExclude.c_str(), nullptr);
    bool selectsSomething = false;
    for (const auto& [root, drive] : filter.GenerateDriveList()) {
        if (!filter.IsDriveIncludeRules(root))
            continue;
        selectsSomething = true;
        if (!IsWatched(root, watched))
            writer.Note(L"not watched now: " + std::wstring(root.GetString()) +
                        L" (the drive is not there, or holds another volume); it is watched when it comes");
    }
    if (!selectsSomething)
        writer.Note(L"the selection includes nothing");
}

std::vector<std::wstring> IncludedFolders(const SelectionFiles& files)
{
    OrbFilter filter;
    filter.LoadXmlFilters(files.data.c_str(), nullptr, nullptr);
    std::vector<std::wstring> folders;
    for (const auto& [root, drive] : filter.GenerateDriveList()) {
        for (const CString& folder : filter.GenerateDirectoryList(root, WatcherEnum::Include))
            folders.push_back(folder.GetString());
        for (const CString& file : filter.GenerateFileList(root, WatcherEnum::Include))
            folders.push_back(file.Left(file.ReverseFind(L'\\') + 1).GetString());
    }
    return folders;
}
