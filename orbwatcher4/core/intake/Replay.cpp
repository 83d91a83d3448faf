#include "orbwatcher4/core/intake/Replay.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "support/Backslash.h"
#include "support/SystemPath.h"

namespace
{

// Returns true for a full path as the store writes it: with a drive or a share, and without a device, "/", "." or "..".
bool IsPlain(const CString& path)
{
    return path.View().find(L'?') == std::wstring_view::npos && SystemPath(path).View().starts_with(L"\\\\?\\");
}

// Decides by the rules and the index alone, without the disk: opening a path that another account has written could
// tell that account's server who this service is.
bool ConcernsSelection(Selection& selection, const CString& line)
{
    FilterList rules;
    const auto concerns = [&](OrbFilter& filter) {
        const InclusionType result = filter.CheckForInclusion(line, &rules, true, false);
        return result == Included || result == NotApplicable;
    };
    {
        const CSingleLock lock(selection.primaryLock);
        if (concerns(selection.primary))
            return true;
    }
    {
        const CSingleLock lock(selection.secondaryLock);
        if (concerns(selection.secondary))
            return true;
    }
    CachedDatum datum;
    const CString path = WithoutBackslash(line);
    return CIndexDB::GetCachedData(path.GetString(), datum) || CIndexDB::HasCachedItemsBelow(path);
}

} // namespace

void Replay::Start()
{
    const ActingForUser user(m.config.userToken);
    if (user.Acts())
        Completes(L"The replay of the dump", [this] { TakeDump(); });
    else
        m_waits = true;
}

void Replay::StartWaiting()
{
    if (!m_waits || !m.selection.loaded)
        return;
    const ActingForUser user(m.config.userToken);
    if (!user.Acts())
        return;
    m_waits = false;
    Completes(L"The replay of the dump", [this] { TakeDump(); });
}

void Replay::TakeDump()
{
    // Without the selection, paths would be dropped, and the dump with them.
    if (!m.selection.loaded)
        m.selection.Load(m.overlay.ForFilter());
    if (!m.selection.loaded) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump waits until the selection can be read");
        m_waits = true;
        return;
    }
    m_dump.Replay([this] { return m.stop.IsSet(); }, [this](const CString& line) { TakeLine(line); });
}

// The dump does not contain the kinds of changes: a path that is gone was deleted, then or since.
void Replay::TakeLine(const CString& line)
{
    // Events name a folder without its backslash, and their length is limited.
    const bool folder = line.GetLength() > 3 && line[line.GetLength() - 1] == L'\\';
    const CString path = folder ? line.Left(line.GetLength() - 1) : line;
    if (!IsPlain(path)) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The dump names what is no path; it is not looked at: %s",
                          path.GetString());
        m.due.MakeFull(); // another path may have stood there
        return;
    }
    if (!ConcernsSelection(m.selection, line)) {
        if (!CIndexDB::CacheLoaded())
            m.due.MakeFull(); // it may be a folder with items in the index
        return;
    }
    // A file with this path on another volume is not the file that changed.
    if (m.selection.volumes.IsOther(path))
        return KeepUnreachable(line);
    if (const FileFacts facts = FileFacts::Of(path); facts.AreKnown())
        m_handler.ProcessChangedFile(path, Arrival::Found, facts);
    else if (m.selection.IsGone(path))
        TakeRemoval(path);
    else
        KeepUnreachable(line);
}

// The path may have been deleted, so that a rescan of its root looks for it when the drive is there.
void Replay::KeepUnreachable(const CString& line)
{
    m_handler.KeepUnreachable(line);
    m.due.Rescans().Report(OrbFilter::StripToRoot(line), DueRescans::DriveReturned, m.config.clock->Seconds());
}

// Without the index it is unknown whether the path was backed up, so a full enumeration becomes due.
void Replay::TakeRemoval(const CString& path)
{
    if (!CIndexDB::CacheLoaded())
        m.due.MakeFull();
    m_handler.OnFileRemoved(path);
}
