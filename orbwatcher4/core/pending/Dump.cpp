#include "orbwatcher4/core/pending/Dump.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/due/TimeRule.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "orbwatcher4/core/pending/DumpNote.h"
#include "support/Backslash.h"
#include "support/TrustedFile.h"

#include <algorithm>

namespace
{

// Returns how the dump differs from what the last run left; null when it does not, or when an older version left it.
// `digest`: of the dump; null when there is none.
const wchar_t* WhyOther(const DueEnumerations& due, const FileDigest* digest)
{
    const std::optional<CString> note = DumpNote::Read();
    if (!note && due.HadEarlierRun())
        return digest ? L"its note in the settings is lost" : L"it is missing, and its note in the settings is lost";
    if (!note || *note == (digest ? digest->Text() : CString(DumpNote::NoDump)))
        return nullptr;
    if (!digest)
        return L"it is missing";
    if (*note == DumpNote::NoDump)
        return L"it was put there since";
    const std::uint64_t length = wcstoull(*note, nullptr, 10);
    return digest->Length() < length   ? L"it is shorter"
           : digest->Length() > length ? L"it is longer"
                                       : L"it was changed";
}

DumpRead ReadLines(FileDigest& digest)
{
    return ReadDump(DumpFilePath(), [] { return false; }, [](const CString&) {}, &digest);
}

const wchar_t* WhyDamaged(const DueEnumerations& due, DumpRead read, const FileDigest& digest)
{
    if (const wchar_t* other = WhyOther(due, &digest))
        return other;
    if (read == DumpRead::Cut)
        return L"its last line is cut";
    return read == DumpRead::LinesPassedOver ? L"a line is longer than any path" : nullptr;
}

// The readable lines of a damaged dump are replayed all the same; the full enumeration finds the rest.
void TakeForDamaged(DueEnumerations& due, const wchar_t* why)
{
    if (!why)
        return;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"The dump %s is not as the last run left it, %s: a full enumeration is due",
                      DumpFilePath().GetString(), why);
    TimeRule::ForgetLastCheck();
    due.MakeFull(FullDue::Dump);
}

// Without a dump, the note must not speak of one. If it cannot be written, the next start takes the dump for lost.
void NoteThatNoneIsThere(DueEnumerations& due)
{
    TakeForDamaged(due, WhyOther(due, nullptr));
    DumpNote::Write(DumpNote::NoDump);
}

bool NoteTheDump()
{
    FileDigest digest;
    const DumpRead read = ReadLines(digest);
    return read != DumpRead::Broken && read != DumpRead::NotTrusted && DumpNote::Write(digest.Text());
}

// No start could read it, and no end could write a dump in its place.
void TakeFolderAway(DueEnumerations& due)
{
    TakeForDamaged(due, L"a folder stands in its place");
    if (SetDumpAside())
        DumpNote::Write(DumpNote::NoDump);
}

// Examines an earlier dump that was not replayed. The next note covers it, so that its damage is noticed now or never.
void CheckEarlierDump(DueEnumerations& due)
{
    if (!DumpExists())
        return TakeForDamaged(due, WhyOther(due, nullptr));
    FileDigest digest;
    const DumpRead read = ReadLines(digest);
    if (read == DumpRead::Broken || read == DumpRead::NotTrusted)
        due.MakeFull();
    else
        TakeForDamaged(due, WhyDamaged(due, read, digest));
}

// The paths in it may be invented, and pending paths may be missing, so a full enumeration becomes due.
void Distrust(DueEnumerations& due, DWORD error)
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump %s is not replayed: %s.", DumpFilePath().GetString(),
                      OpeningFailure(error).GetString());
    if (due.MakeFull(FullDue::Dump) && error != LinkMet && !SetDumpAside())
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump cannot be put aside: %d", GetLastError());
}

} // namespace

void Dump::Replay(const std::function<bool()>& stop, const std::function<void(const CString&)>& line)
{
    if (m_due.IsFolderForeign())
        return;
    if (!DumpExists())
        return NoteThatNoneIsThere(m_due);
    if (IsDumpAFolder())
        return TakeFolderAway(m_due);
    FileDigest digest;
    const DumpRead read = ReadDump(DumpFilePath(), stop, line, &digest);
    if (read == DumpRead::NotTrusted)
        Distrust(m_due, GetLastError());
    if (read == DumpRead::NotTrusted && !DumpExists())
        DumpNote::Write(DumpNote::NoDump); // it was put aside
    if (read == DumpRead::NotTrusted || read == DumpRead::Broken)
        return;
    TakeForDamaged(m_due, WhyDamaged(m_due, read, digest));
    if (RemoveDump()) {
        DumpNote::Write(DumpNote::NoDump);
        return;
    }
    const DWORD error = GetLastError();
    // The next start replays it once more, which hands files out twice and loses none.
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"The dump %s cannot be removed: error %u. It is replayed again at each start; remove it, or let "
                      L"this account do so",
                      DumpFilePath().GetString(), error);
    DumpNote::Write(digest.Text());
}

void Dump::Write()
{
    m_kept = true;
    if (!Completes(L"The dump", [this] { WritePending(); })) {
        m_kept = false;
        m_due.MakeFull();
    }
}

void Dump::WritePending()
{
    const std::vector<NotificationStore::Entry> entries = m_pending.Entries();
    const int count = static_cast<int>(entries.size());
    g_OrbLog.Log(L"Dumping %d files to disk", count);
    if (m_pending.Count() != count)
        m_due.MakeFull(); // a list of paths cannot express the deletion of what was below a replaced folder
    if (count > 0 && m_due.IsFolderForeign()) {
        m_kept = false;
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"The data folder is that of another selection: %d pending files are not kept, a full "
                          L"enumeration is due at the next start",
                          count);
        return;
    }
    if (count > 0 && !WriteLines(entries))
        return;
    if (count == 0 && !m_due.IsFolderForeign() && !DumpExists())
        NoteThatNoneIsThere(m_due);
    g_OrbLog.Log(L"Watcher dump completed.");
}

// Returns false when the dump cannot be opened. If anything else fails, a full enumeration becomes due.
bool Dump::WriteLines(const std::vector<NotificationStore::Entry>& entries)
{
    CheckEarlierDump(m_due);
    bool whole = false;
    {
        DumpWriter dump(DumpFilePath(), *m_config.writer);
        if (dump.IsOpen()) {
            whole = std::ranges::all_of(entries, [&](const NotificationStore::Entry& entry) {
                // The dump does not say what has changed: a path that is back would count as changed, and what was
                // below it as there.
                if (entry.notification->kind == NotificationKind::Deleted &&
                    !IsReallyGone(WithoutBackslash(entry.path)))
                    m_due.MakeFull();
                return dump.Add(entry.path);
            });
        }
        // The dump is on the disk before the running mark is removed: a power cut after an orderly end must not lose
        // both.
        whole = whole && dump.Finish();
        m_kept = whole;
        if (!whole)
            m_due.MakeFull(); // the full enumeration finds the paths that could not be written
        if (!dump.IsOpen())
            return false;
    }
    // The dump is whole, whether it can be noted or not.
    bool noted = false;
    Completes(L"Noting the dump", [&] { noted = NoteTheDump(); });
    if (!noted)
        m_due.MakeFull();
    return true;
}
