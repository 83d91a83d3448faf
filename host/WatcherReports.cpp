#include "host/WatcherReports.h"

#include "companions/settings/OrbSettings.h"
#include "host/records/FileRecords.h"

#include <algorithm>

bool WatcherReports::TellEvents()
{
    const std::vector<WatcherEvents::Rescan> rescans = m_events.TakeRescans();
    for (const WatcherEvents::Rescan& rescan : rescans)
        m_writer.Write(RescanRecord{rescan.root, rescan.reason});
    return TellSkipped() || !rescans.empty();
}

bool WatcherReports::TellSkipped()
{
    const SkippedPaths skipped = m_watcher.TakeSkippedPaths();
    for (const PassedOverPath& path : skipped.paths)
        TellSkipped(path);
    if (skipped.more != 0)
        m_writer.Note(L"the enumeration skipped more than it names: " + std::to_wstring(skipped.more));
    return !skipped.paths.empty();
}

void WatcherReports::TellSkipped(const PassedOverPath& path)
{
    constexpr std::size_t mostKept = 10000;
    m_skipped = true;
    if (m_toldSkipped.size() >= mostKept)
        m_toldSkipped.clear();
    if (m_toldSkipped.insert(path.path.GetString()).second)
        m_writer.Write(SkippedRecord{path});
}

bool WatcherReports::TellMessages()
{
    const std::vector<LibraryMessages::Line> lines =
        m_messages ? m_messages->Take() : std::vector<LibraryMessages::Line>();
    // The selection may have been read again since.
    TellFindings(m_watcher.TakeSelectionFindings(), m_files, UnreadFiles::AreNotes, m_writer);
    for (const LibraryMessages::Line& line : lines) {
        if (line.finding)
            continue;
        if (const std::wstring refused = RefusedNameIn(line.text); !refused.empty())
            TellSkipped({refused.c_str(), PathOutcome::Unreadable});
        else if (TellsOfUnkept(line.text))
            TellUnkept(line.text);
        else if (!IsToldByRecord(line.text))
            m_writer.Note(line.text);
        m_skipped = m_skipped || TellsOfLeftOut(line.text);
    }
    return std::any_of(lines.begin(), lines.end(), [](const LibraryMessages::Line& line) { return !line.finding; });
}

// Each save tries again.
void WatcherReports::TellUnkept(const std::wstring& message)
{
    if (m_unkept.insert(message).second)
        m_writer.Note(message);
}

void WatcherReports::TellUnmarked()
{
    if (m_unmarked || m_watcher.IsCrashNoticed())
        return;
    m_unmarked = true;
    m_writer.Error(L"no running mark can be made in the data folder: if this run is killed, what is pending is lost. "
                   L"Can this account write there?",
                   GetMainSettings().GetDataFolderPath().GetString());
}
