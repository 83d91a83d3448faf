#include "orbwatcher4/core/pending/HandOutJudge.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/environment/BackupRunning.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/environment/NamePatterns.h"
#include "orbwatcher4/core/selection/Classify.h"
#include "support/Backslash.h"
#include "support/FileTimes.h"
#include "support/SystemPath.h"
#include "support/WithoutThreadToken.h"

#include <algorithm>
#include <cwchar>

namespace
{

template <std::size_t Capacity>
void CopyCut(wchar_t (&to)[Capacity], const CString& from)
{
    const std::size_t length = std::min<std::size_t>(Capacity - 1, static_cast<std::size_t>(from.GetLength()));
    std::copy_n(from.GetString(), length, to);
    to[length] = 0;
}

void UpperCaseRoot(wchar_t* path)
{
    if (std::wcslen(path) > 2 && path[1] == L':')
        CharUpperBuffW(path, 1);
    else if (path[0] == L'\\' && path[1] == L'\\' && path[2])
        CharUpperBuffW(path + 2, 1);
}

// Returns the time of the file itself. The list of its folder may be older while the file is open.
std::uint64_t LastWriteTime(const wchar_t* path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(SystemPath(path), GetFileExInfoStandard, &data))
        return 0;
    return data.ftLastWriteTime.dwLowDateTime | std::uint64_t(data.ftLastWriteTime.dwHighDateTime) << 32;
}

struct Attributes {
    DWORD attributes;
    std::uint64_t size;
};

// Returns the attributes of a link for those of its target, which the system may have found.
DWORD OfLinkItself(const CString& folder, DWORD found)
{
    const DWORD own = EndsInBackslash(folder) ? OwnAttributes(folder) : found;
    return own == INVALID_FILE_ATTRIBUTES ? found : own;
}

// Returns the attributes of the path, for a file with one call of the system; nothing when they cannot be read.
std::optional<Attributes> ReadAttributes(const CString& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(SystemPath(path), GetFileExInfoStandard, &data))
        return std::nullopt;
    if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return Attributes{OfLinkItself(path, data.dwFileAttributes), 0};
    return Attributes{data.dwFileAttributes, data.nFileSizeLow | std::uint64_t(data.nFileSizeHigh) << 32};
}

// Returns the attributes that the folder's list shows for a file that cannot be opened at all.
std::optional<Attributes> ListedAttributes(const CString& path)
{
    WIN32_FIND_DATAW data;
    if (GetFileFindData(path, &data))
        return Attributes{data.dwFileAttributes, data.nFileSizeLow | std::uint64_t(data.nFileSizeHigh) << 32};
    g_OrbLog.Log(L"Failed to get file info: %s", path.GetString());
    return std::nullopt;
}

void Reset(QueueDatum& out)
{
    FreeQueueAttachment(out.attachment);
    out = QueueDatum();
}

} // namespace

HandOutJudge::HandOutJudge(const Config& config, Selection& selection, const PendingStore& pending,
                           HandOutMemory& memory, std::set<std::uint64_t>* sameRunIds, QueueDatum& out)
    : m_config(config),
      m_selection(selection),
      m_pending(pending),
      m_memory(memory),
      m_sameRunIds(sameRunIds),
      m_out(out),
      m_online(GetMainSettings().IsOnline())
{
    if (m_sameRunIds)
        m_memory.given.Follow(*m_sameRunIds);
}

// Without memory, a root that this call has not met is asked later than it could be.
HandOutJudge::~HandOutJudge()
{
    try {
        m_roots.TakeUnusable(m_memory.roots);
    } catch (const std::bad_alloc&) {
    }
    m_memory.roots = std::move(m_roots);
}

HandOutJudge::Verdict HandOutJudge::Offer(const NotificationStore::Entry& entry)
{
    const CString& path = entry.path;
    m_identity = {};
    // It may be pending since before the destination was set.
    if (m_selection.IsKeptOut(path)) {
        g_OrbLog.Log(L"Not backing up %s, which is never backed up.", path.GetString());
        return Verdict::Drop;
    }
    if (IsStillAway(path))
        return Verdict::Keep;
    std::optional<Attributes> attributes = ReadAttributes(path);
    if (!attributes && m_selection.IsGone(path)) {
        g_OrbLog.Log(L"Not backing up deleted file %s.", path.GetString());
        return Verdict::Drop;
    }
    // When a drive is away, its pending files stay pending.
    if (!attributes && !IsRootThere(path))
        return Verdict::Keep;
    // A file with this path on another volume is not the file that changed. The handle of most files answers this
    // below, without another call.
    if ((!attributes || m_pending.mayHoldUnselected || m_online) && IsOnOtherVolume(path))
        return Verdict::Keep;
    if (!attributes)
        attributes = ListedAttributes(path);
    if (!attributes)
        return Verdict::Keep;
    // Any process can set the event that ends a removal, and keep it set.
    if (m_pending.mayHoldUnselected && !IsSelected(path)) {
        g_OrbLog.Log(L"Not backing up %s, which is not selected any more.", path.GetString());
        return Verdict::Drop;
    }
    Reset(m_out);
    if (m_online)
        if (const std::optional<Verdict> verdict = JudgeUploaded(path))
            return *verdict;
    CachedDatum datum;
    const std::uint64_t id = CIndexDB::CalculateUuid(path);
    bool indexed = CIndexDB::GetCachedData(id, datum, 1);
    if (indexed && !CIndexDB::IsItemOf(path, datum)) {
        indexed = false;
        datum = CachedDatum();
    }
    const bool isNew = !indexed || (datum.flags & CachedDatum::NoDeleteRecord);
    FillFromNotification(entry, isNew);
    const bool directory = (attributes->attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    m_out.size = attributes->size;
    if (!ReadTimes(path, directory) || IsOnOtherVolume(path))
        return Verdict::Keep;
    if (!isNew && static_cast<std::uint64_t>(m_out.modificationTime) == datum.modificationTime)
        return Verdict::Drop; // unchanged since it was backed up
    const bool oncePerRun = m_sameRunIds && IsBackupRunning();
    if (oncePerRun && m_sameRunIds->count(id) != 0 && m_memory.given.Holds(id, path.View())) {
        if (datum.flags & CachedDatum::DropSameRunChange)
            return Verdict::Drop;
        g_OrbLog.Log(L"Delaying backup of file %s due to same run.", path.GetString());
        return Verdict::Keep;
    }
    Finish(entry, directory, id, attributes->attributes);
    // This comes last: a failure before the file is handed out must not count it as handed out in this run.
    if (oncePerRun) {
        m_memory.given.Insert(id, path.View());
        m_sameRunIds->insert(id);
    }
    m_counted = oncePerRun;
    return Verdict::Give;
}

void HandOutJudge::TakeBack(const CString& path) noexcept
{
    if (m_counted && m_memory.given.Erase(m_out.id, path.View()))
        m_sameRunIds->erase(m_out.id);
}

// Asks a root that was away in the last call before anything else. While it stays away, this is the only question.
bool HandOutJudge::IsStillAway(const CString& path)
{
    if (m_memory.roots.IsUsable(path) != false)
        return false;
    return !m_roots.IsUsable(
        path, [&] { return StateOfRoot(path) != RootState::Away && !m_selection.volumes.IsOther(path); });
}

bool HandOutJudge::IsRootThere(const CString& path)
{
    const RootState state = StateOfRoot(path);
    if (state == RootState::Away)
        m_roots.Note(path, false);
    return state == RootState::There;
}

// Asks nothing when the file was opened and is on the recorded volume.
bool HandOutJudge::IsOnOtherVolume(const CString& path)
{
    if (m_selection.volumes.IsRecorded(path, m_identity.volumeSerial))
        return false;
    const bool other = m_selection.volumes.IsOther(path);
    if (other)
        m_roots.Note(path, false);
    return other;
}

bool HandOutJudge::IsSelected(const CString& path)
{
    const InclusionType decision = Classify(m_selection, path).decision;
    return decision == Included || decision == NotApplicable;
}

// Asks when it is needed, and once.
bool HandOutJudge::IsBackupRunning()
{
    if (m_backupRunning)
        return *m_backupRunning;
    // The mutex may be closed to the user.
    std::optional<WithoutThreadToken> asProcess;
    if (m_config.userToken)
        asProcess.emplace();
    m_backupRunning = ::IsBackupRunning();
    return *m_backupRunning;
}

// The online mode has just uploaded the file: it is unchanged, or has a later version.
std::optional<HandOutJudge::Verdict> HandOutJudge::JudgeUploaded(const CString& path)
{
    std::uint64_t uploaded = 0;
    if (!m_config.online->FindUploaded(path, uploaded))
        return std::nullopt;
    if (LastWriteTime(path) == uploaded) {
        g_OrbLog.Log(L"Skipping duplicate notification for file %s.", path.GetString());
        return Verdict::Drop;
    }
    g_OrbLog.Log(L"Delaying new version notification for file %s.", path.GetString());
    return Verdict::Keep;
}

void HandOutJudge::FillFromNotification(const NotificationStore::Entry& entry, bool isNew)
{
    m_out.flags = entry.notification->ruleFlags | (isNew ? QueueFlags::New : 0);
    CopyCut(m_out.firstText, entry.notification->firstText);
    CopyCut(m_out.secondText, entry.notification->secondText);
    CopyCut(m_out.path, entry.path);
    UpperCaseRoot(m_out.path);
}

// Returns false when another program must release the file first.
bool HandOutJudge::ReadTimes(const CString& path, bool directory)
{
    m_out.modificationTime = -1;
    m_out.creationTime = 0;
    m_identity = {};
    FileTimes times;
    switch (ReadFileTimes(path, directory, times)) {
    case FileTimesResult::Read:
        m_out.modificationTime = static_cast<std::int64_t>(times.modification);
        m_out.creationTime = static_cast<std::int64_t>(times.creation);
        m_identity = {times.volumeSerial, times.fileId};
        return true;
    case FileTimesResult::Held:
        g_OrbLog.Log(L"Delaying backup of file %s, another program holds it.", path.GetString());
        return false;
    case FileTimesResult::Unreadable:
        break;
    }
    g_OrbLog.Log(L"Warning: Failed to get file's modification date (inaccessible file)");
    if (directory)
        m_out.modificationTime = 0;
    return true;
}

void HandOutJudge::Finish(const NotificationStore::Entry& entry, bool directory, std::uint64_t id, DWORD attributes)
{
    if (directory)
        m_out.flags |= QueueFlags::Directory;
    else
        m_out.flags |=
            QueueFlags::File | (MatchesNamePatterns(entry.path, m_config.blockLevelNames) ? QueueFlags::BlockLevel : 0);
    if ((m_out.flags & QueueFlags::DedupCandidate) && m_config.notForDedup.Contains(entry.path))
        m_out.flags &= ~QueueFlags::DedupCandidate;
    m_out.attributes = attributes;
    m_out.constant2 = QueueDatum::Constant2;
    m_out.ruleValue = entry.notification->ruleValue;
    m_out.id = id;
}
