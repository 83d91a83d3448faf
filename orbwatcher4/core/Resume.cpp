// Keeps pending files over a restart.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/DumpFile.h"
#include "orbwatcher4/core/DumpNote.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/Impersonation.h"
#include "support/SystemPath.h"
#include "support/TrustedFile.h"

namespace
{

// Returns true for a full path as the store writes it: with a drive or a share, and without a device, "/", "." or "..".
bool IsPlain(const CString& path)
{
    return path.View().find(L'?') == std::wstring_view::npos && SystemPath(path).View().starts_with(L"\\\\?\\");
}

// Decides by the rules and the index alone, without the disk: opening a path that another account has written could
// tell that account's server who this service is.
bool ConcernsSelection(WatcherState& state, const CString& line)
{
    FilterList rules;
    const auto concerns = [&](OrbFilter& filter) {
        const InclusionType result = filter.CheckForInclusion(line, &rules, true, false);
        return result == Included || result == NotApplicable;
    };
    {
        const CSingleLock lock(state.selection.primaryLock);
        if (concerns(state.selection.primary))
            return true;
    }
    {
        const CSingleLock lock(state.selection.secondaryLock);
        if (concerns(state.selection.secondary))
            return true;
    }
    CachedDatum datum;
    const CString path = WithoutBackslash(line);
    return CIndexDB::GetCachedData(path.GetString(), datum) || CIndexDB::HasCachedItemsBelow(path);
}

// Returns how the dump differs from what the last run left; null when it does not, or when an older version left it.
// `digest`: of the dump; null when there is none.
const wchar_t* WhyOther(const FileDigest* digest)
{
    const std::optional<CString> note = DumpNote::Read();
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

const wchar_t* WhyDamaged(DumpRead read, const FileDigest& digest)
{
    if (const wchar_t* other = WhyOther(&digest))
        return other;
    if (read == DumpRead::Cut)
        return L"its last line is cut";
    return read == DumpRead::LinesPassedOver ? L"a line is longer than any path" : nullptr;
}

// The readable lines of a damaged dump are replayed all the same; the full enumeration finds the rest.
void TakeForDamaged(WatcherState& state, const wchar_t* why)
{
    if (!why)
        return;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"The dump %s is not as the last run left it, %s: a full enumeration is due",
                      DumpFilePath().GetString(), why);
    DueEnumerations::ForgetLastCheck();
    state.due.MakeFull(FullDue::Dump);
}

// Without a dump, the note must not speak of one. If it cannot be written, the next start takes the dump for lost.
void NoteThatNoneIsThere(WatcherState& state)
{
    TakeForDamaged(state, WhyOther(nullptr));
    DumpNote::Write(DumpNote::NoDump);
}

bool NoteTheDump()
{
    FileDigest digest;
    const DumpRead read = ReadLines(digest);
    return read != DumpRead::Broken && read != DumpRead::NotTrusted && DumpNote::Write(digest.Text());
}

// No start could read it, and no end could write a dump in its place.
void TakeFolderAway(WatcherState& state)
{
    TakeForDamaged(state, L"a folder stands in its place");
    if (SetDumpAside())
        DumpNote::Write(DumpNote::NoDump);
}

// Examines an earlier dump that was not replayed. The next note covers it, so that its damage is noticed now or never.
void CheckEarlierDump(WatcherState& state)
{
    if (!DumpExists())
        return TakeForDamaged(state, WhyOther(nullptr));
    FileDigest digest;
    const DumpRead read = ReadLines(digest);
    if (read == DumpRead::Broken || read == DumpRead::NotTrusted)
        state.due.MakeFull();
    else
        TakeForDamaged(state, WhyDamaged(read, digest));
}

} // namespace

// If the replay fails, the dump stays.
void COrbWatcher::Resume()
{
    const ActingForUser user(m->userToken);
    m->due.BeginRun(m->Use());
    if (!user.Acts()) {
        m->dumpWaits = true;
        return;
    }
    Completes(L"The replay of the dump", [this] { ReplayPending(); });
}

void COrbWatcher::ReplayWaitingDump()
{
    if (!m->dumpWaits)
        return;
    const ActingForUser user(m->userToken);
    if (!user.Acts())
        return;
    m->dumpWaits = false;
    Completes(L"The replay of the dump", [this] { ReplayPending(); });
}

void COrbWatcher::ReplayPending()
{
    // The replay asks both filters with the store locked, so their locks come first. Without the selection, paths would
    // be dropped, and the dump with them.
    const CSingleLock primary(m->selection.primaryLock);
    const CSingleLock secondary(m->selection.secondaryLock);
    if (!m->selectionLoaded && !ReloadRules()) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump waits until the selection can be read");
        m->dumpWaits = true;
        return;
    }
    const CSingleLock store(m->storeLock);
    ReplayDump();
}

void COrbWatcher::ReplayDump()
{
    if (m->due.IsFolderForeign())
        return;
    if (!DumpExists())
        return NoteThatNoneIsThere(*m);
    if (IsDumpAFolder())
        return TakeFolderAway(*m);
    FileDigest digest;
    const auto stop = [this] { return m->stop.IsSet(); };
    const auto replay = [this](const CString& line) { ReplayLine(line); };
    const DumpRead read = ReadDump(DumpFilePath(), stop, replay, &digest);
    if (read == DumpRead::NotTrusted)
        DistrustDump(GetLastError());
    if (read == DumpRead::NotTrusted && !DumpExists())
        DumpNote::Write(DumpNote::NoDump); // it was put aside
    if (read == DumpRead::NotTrusted || read == DumpRead::Broken)
        return;
    TakeForDamaged(*m, WhyDamaged(read, digest));
    if (RemoveDump()) {
        DumpNote::Write(DumpNote::NoDump);
        return;
    }
    // The next start replays it once more, which hands files out twice and loses none.
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"The dump %s cannot be removed: error %u. It is replayed again at each start; remove it, or let "
                      L"this account do so",
                      DumpFilePath().GetString(), GetLastError());
    DumpNote::Write(digest.Text());
}

// The paths in it may be invented, and pending paths may be missing, so a full enumeration becomes due.
void COrbWatcher::DistrustDump(DWORD error)
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump %s is not replayed: %s.", DumpFilePath().GetString(),
                      OpeningFailure(error).GetString());
    if (m->due.MakeFull(FullDue::Dump) && error != LinkMet && !SetDumpAside())
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump cannot be put aside: %d", GetLastError());
}

// The dump does not contain the kinds of changes: a path that is gone was deleted, then or since.
void COrbWatcher::ReplayLine(const CString& line)
{
    // Events name a folder without its backslash, and their length is limited.
    const bool folder = line.GetLength() > 3 && line[line.GetLength() - 1] == L'\\';
    const CString path = folder ? line.Left(line.GetLength() - 1) : line;
    if (!IsPlain(path)) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump names what is no path; it is not looked at: %s",
                          path.GetString());
        m->due.MakeFull(); // another path may have stood there
        return;
    }
    if (!ConcernsSelection(*m, line)) {
        if (!CIndexDB::CacheLoaded())
            m->due.MakeFull(); // it may be a folder with items in the index
        return;
    }
    if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES)
        m->changeHandler.ProcessChangedFile(path, false, false);
    else if (m->IsGone(path))
        ReplayRemoval(path);
    else
        m->changeHandler.KeepUnreachable(line);
}

// Without the index it is unknown whether the path was backed up, so a full enumeration becomes due.
void COrbWatcher::ReplayRemoval(const CString& path)
{
    if (!CIndexDB::CacheLoaded())
        m->due.MakeFull();
    m->changeHandler.OnFileRemoved(path);
}

void COrbWatcher::DumpStore()
{
    const CSingleLock lock(m->storeLock);
    const std::int64_t count = m->store.LiveCount();
    g_OrbLog.Log(L"Dumping %d files to disk", static_cast<int>(count));
    m->pendingKept = true;
    if (count > 0 && m->due.IsFolderForeign()) {
        m->pendingKept = false;
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"The data folder is that of another selection: %d pending files are not kept, a full "
                          L"enumeration is due at the next start",
                          static_cast<int>(count));
        return;
    }
    if (count > 0 && !WriteDump())
        return;
    if (count == 0 && !m->due.IsFolderForeign() && !DumpExists())
        NoteThatNoneIsThere(*m);
    g_OrbLog.Log(L"Watcher dump completed.");
}

// Returns false when the dump cannot be opened. If anything else fails, a full enumeration becomes due.
bool COrbWatcher::WriteDump()
{
    m->storeLock.RequireHeld();
    CheckEarlierDump(*m);
    bool whole = false;
    {
        DumpWriter dump(DumpFilePath(), *m->writer);
        if (dump.IsOpen()) {
            whole = true;
            m->store.ForEach([&](const CString& path, const NotificationPtr& notification) {
                // A list of paths cannot express the deletion of a folder's children when another file has taken its
                // place.
                if (notification->kind == NotificationKind::Deleted && !IsReallyGone(WithoutBackslash(path)))
                    m->due.MakeFull();
                return whole = dump.Write(path);
            });
        }
        // The dump is on the disk before the running mark is removed: a power cut after an orderly end must not lose
        // both.
        whole = whole && dump.Flush();
        m->pendingKept = whole;
        if (!whole)
            m->due.MakeFull(); // the full enumeration finds the paths that could not be written
        if (!dump.IsOpen())
            return false;
    }
    // The dump is whole, whether it can be noted or not.
    bool noted = false;
    Completes(L"Noting the dump", [&] { noted = NoteTheDump(); });
    if (!noted)
        m->due.MakeFull();
    return true;
}
