// Decides whether a path is as it was backed up.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/intake/ChangeHandler.h"
#include "support/FileTimes.h"

namespace
{

constexpr std::uint32_t FolderKind = 1; // the kind of a folder's item in the index

// Returns true for the version that the online mode has just uploaded.
bool WasUploaded(const Config& config, const CString& path, std::uint64_t modificationTime)
{
    std::uint64_t uploaded = 0;
    if (!config.online->FindUploaded(path, uploaded) || uploaded != modificationTime)
        return false;
    g_OrbLog.Log(L"Skipping duplicate notification for file %s.", path.GetString());
    return true;
}

// Returns true when one question about the file itself shows that it has the time of the index. The list that has shown
// the file is no proof. A file that has another time, or cannot be asked so, is opened.
bool IsProvedUnchanged(const ChangeHandler::EventPath& event, const CachedDatum& datum)
{
    if (event.throughLink || !event.facts.AreOfLocalFile())
        return false;
    const LockOrder::DiskScope disk;
    std::uint64_t modified = 0;
    return ReadModificationTime(event.path, modified) && modified == datum.modificationTime;
}

} // namespace

std::optional<PathOutcome> ChangeHandler::IsDuplicateNotification(const EventPath& event)
{
    const CString& path = event.path;
    CachedDatum datum;
    if (!CIndexDB::GetCachedData(CIndexDB::CalculateUuid(path), datum, 1) || !CIndexDB::IsItemOf(path, datum) ||
        (datum.flags & CachedDatum::NoDeleteRecord))
        return std::nullopt;
    if (IsProvedUnchanged(event, datum)) {
        m.overlay.Set(path, OverlayStatus::InSync);
        return PathOutcome::Unchanged;
    }
    // Another item may have taken the place of the one that the event has shown.
    const bool directory = IsDirectory(path);
    std::uint64_t modified = 0;
    const bool known = GetFileTimes(path, directory, nullptr, &modified);
    // A folder in the place of a file that was backed up is a change.
    if (directory ? datum.kind == FolderKind : known && modified == datum.modificationTime) {
        m.overlay.Set(path, OverlayStatus::InSync);
        return PathOutcome::Unchanged;
    }
    std::int64_t until = 0;
    if (CIndexDB::IsDelayedItemWatcher(path, until) && until > m.config.clock->Seconds())
        return PathOutcome::Delayed;
    if (known && WasUploaded(m.config, path, modified))
        return PathOutcome::Uploaded;
    return std::nullopt;
}
