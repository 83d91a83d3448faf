#include "orbwatcher4/core/due/DueEnumerations.h"

#include "companions/indexdb/IndexExamination.h"
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/due/SelectionNote.h"
#include "orbwatcher4/core/due/TimeRule.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "support/BarList.h"
#include "support/CaseFold.h"
#include "support/WithoutThreadToken.h"

#include <windows.h>

#include <algorithm>

namespace
{

constexpr std::size_t LongestList = 4096; // units

std::set<CString> HandedOver(const CServiceRunSettings& settings)
{
    std::vector<wchar_t> list(LongestList);
    return settings.GetValue(RescansDueKey, list.data(), list.size()) ? SplitAtBars(list.data()) : std::set<CString>();
}

CString NotedReason(const CServiceRunSettings& settings)
{
    wchar_t reason[32] = L"";
    return settings.GetValue(FullDueReasonKey, reason, std::size(reason)) ? CString(reason) : CString();
}

void NoteReason(CServiceRunSettings& settings, const wchar_t* reason)
{
    if (reason || !NotedReason(settings).IsEmpty())
        settings.SetValue(FullDueReasonKey, reason);
}

bool TellsOfLoss(const CString& reason)
{
    return reason == FullDue::Killed || reason == FullDue::Dump || reason == FullDue::Index;
}

// Returns true when something in the folder is not kept out by the present destinations.
bool HoldsMoreThan(const std::set<CString>& present, const CString& folder)
{
    return std::none_of(present.begin(), present.end(),
                        [&](const CString& other) { return BeginsNoCase(folder.View(), other.View()); });
}

} // namespace

void DueEnumerations::BeginRun(const FolderUse& use)
{
    const WithoutThreadToken asProcess; // the data folder and the index are the service's
    Completes(L"Finding out whether the data folder was used", [this] { FindOutWhetherUsed(); });
    Completes(L"Finding out whose data folder this is", [&] { FindOutWhoseFolder(use); });
    if (m_foreign)
        return;
    Completes(L"Comparing the index with that of the last run", [&] { NoticeAnotherIndex(use.index); });
    KeepFull();
    // If earlier marks cannot be searched for, they stay, and a later start finds them.
    Completes(L"Looking for an unclean end", [this] { NoticeUncleanEnd(); });
    Completes(L"Noting that this run has begun", [this] { m_mark.Set(); });
}

// Asked once in a run, before it notes anything itself.
void DueEnumerations::FindOutWhetherUsed()
{
    if (m_begun.exchange(true))
        return;
    m_hadEarlierRun = true; // if this cannot be found out, more is looked at than need be
    const FolderUse owner = GetFolderUse();
    m_hadEarlierRun = !owner.selection.IsEmpty() || !owner.index.IsEmpty() || !GetFolderIndexIdentity().IsEmpty();
}

void DueEnumerations::FindOutWhoseFolder(const FolderUse& use)
{
    const FolderUse owner = GetFolderUse();
    const bool foreign = !AreSameUse(owner, use);
    if (!foreign && (owner.selection.IsEmpty() || owner.index.IsEmpty()))
        SetFolderUse(use); // what cannot be written is logged, and tried again at the next start
    if (m_foreign.exchange(foreign) || !foreign)
        return;
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                      L"The data folder belongs to the selection %s with the index %s. What is pending for %s is not "
                      L"kept there; use another data folder",
                      owner.selection.GetString(), owner.index.GetString(), use.selection.GetString());
    TimeRule::ForgetLastCheck();
    MakeFull();
}

// A folder that remembers no index takes this one: a service may set the time of the last enumeration itself.
void DueEnumerations::NoticeAnotherIndex(const CString& index)
{
    const CString before = index.IsEmpty() ? CString() : GetFolderIndexIdentity();
    const CString now = index.IsEmpty() ? CString() : IndexIdentity(index);
    const bool missing = now.IsEmpty() && GetFileAttributesW(index) == INVALID_FILE_ATTRIBUTES;
    if (before == now || (now.IsEmpty() && !missing))
        return;
    if (!before.IsEmpty()) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          missing ? L"The index %s is lost: a full enumeration is due"
                                  : L"The index %s is not the one of the last run: a full enumeration is due",
                          index.GetString());
        TimeRule::ForgetLastCheck();
        if (!MakeFull(FullDue::Index))
            return; // the next run notices it again
    }
    if (!missing)
        SetFolderIndexIdentity(now);
}

void DueEnumerations::NoticeAnotherSelection(const CString& content)
{
    if (m_foreign || content.IsEmpty())
        return;
    const CString before = SelectionNote::Read();
    if (before == content)
        return;
    if (!before.IsEmpty() || m_hadEarlierRun) {
        g_OrbLog.WriteLog(
            2, L"OrbWatcher", __LINE__,
            before.IsEmpty() ? L"Which selection was last looked at is not known: a full enumeration is due"
                             : L"The selection is not as it was when it was last looked at: a full enumeration is due");
        TimeRule::ForgetLastCheck();
        if (!MakeFull(FullDue::Selection))
            return; // the next run notices it again
    }
    SelectionNote::Write(content);
}

void DueEnumerations::NoticeOtherDestinations(const std::set<CString>& folders)
{
    if (m_foreign)
        return;
    const std::set<CString> before = SelectionNote::ReadDestinations();
    if (before == folders)
        return;
    bool due = false;
    for (const CString& folder : before) {
        if (!HoldsMoreThan(folders, folder))
            continue;
        due = true;
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"%s is no destination any more, and what lies in it was never looked at: a full enumeration "
                          L"is due",
                          folder.GetString());
    }
    if (due) {
        TimeRule::ForgetLastCheck();
        if (!MakeFull(FullDue::Destination))
            return; // the next run notices it again
    }
    SelectionNote::WriteDestinations(folders);
}

void DueEnumerations::NoteLookedAt(const CString& content, const std::set<CString>& folders)
{
    if (m_foreign)
        return;
    if (!content.IsEmpty() && content != SelectionNote::Read())
        SelectionNote::Write(content);
    if (folders != SelectionNote::ReadDestinations())
        SelectionNote::WriteDestinations(folders);
}

void DueEnumerations::NoteNewRules(const CString& before, const CString& now)
{
    if (!m_foreign && !before.IsEmpty() && !now.IsEmpty() && before == SelectionNote::Read())
        SelectionNote::Write(now);
}

void DueEnumerations::NoticeUncleanEnd()
{
    const std::vector<CString> left = RunningMark::FindLeft();
    if (left.empty())
        return;
    g_OrbLog.WriteLog(1, L"OrbWatcher", __LINE__, L"The last run did not end in an orderly way");
    TimeRule::ForgetLastCheck();
    if (MakeFull(FullDue::Killed))
        RunningMark::Forget(left);
}

void DueEnumerations::EndRun(bool pendingKept)
{
    m_begun = false;
    if (m_foreign)
        return; // a full enumeration is due at the next start anyway
    // No later pass begins these rescans.
    bool handedOver = false;
    Completes(L"Handing rescans over to the next start",
              [&] { handedOver = HandOver([](const CString&) { return true; }); });
    if (!handedOver)
        MakeFull();
    if (KeepFull() && pendingKept)
        m_mark.Clear();
    else
        m_mark.Leave();
}

bool DueEnumerations::MakeFull(const wchar_t* reason) noexcept
{
    m_fullDueAgain = true;
    if (m_foreign) {
        m_ownFull = 0;
        return true;
    }
    bool written = false;
    Completes(L"Making a full enumeration due", [&] { written = WriteFull(reason); });
    m_fullUnwritten = !written;
    if (!written)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to make a full enumeration due");
    return written;
}

bool DueEnumerations::KeepFull() noexcept { return !m_fullUnwritten || MakeFull(); }

bool DueEnumerations::WriteFull(const wchar_t* reason)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    const bool read = settings.Load();
    const bool due = settings.GetValue(FirstTimeRunTimeKey, 1) == 0;
    // Many folders may fail one after the other. Writing once is enough, unless another process has noted an
    // enumeration since then. (A missing value is written.)
    if (m_fullWritten && read && due && !reason)
        return true;
    settings.SetValue(FirstTimeRunTimeKey, 0);
    // A loss is told until an enumeration has made up for it.
    if (!due || (reason && !TellsOfLoss(NotedReason(settings))))
        NoteReason(settings, reason);
    return m_fullWritten = settings.Save();
}

void DueEnumerations::MakeFullOnceFor(const CString& path) noexcept
{
    bool isNew = true;
    Completes(L"Noting an unknown path", [&] {
        const CSingleLock lock(m_section);
        isNew = m_unknown.insert(path).second;
    });
    if (isNew)
        MakeFull();
}

void DueEnumerations::Found(const CString& path) noexcept
{
    const CSingleLock lock(m_section);
    if (!m_unknown.empty())
        m_unknown.erase(path);
}

void DueEnumerations::KeepDueUntilCompleted()
{
    if (m_foreign) {
        m_ownFull = 0;
        return;
    }
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    if (settings.GetValue(FirstTimeRunTimeKey, 0) != 0)
        NoteReason(settings, FullDue::Time);
    settings.SetValue(FirstTimeRunTimeKey, 0);
    settings.Save();
}

void DueEnumerations::FullBegins() { m_fullDueAgain = false; }

void DueEnumerations::NoteFullCompleted(const Clock& clock)
{
    if (m_fullDueAgain)
        return;
    if (m_foreign) {
        m_ownFull = clock.Seconds();
        if (m_fullDueAgain)
            m_ownFull = 0;
        return;
    }
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.SetValue(FirstTimeRunTimeKey, static_cast<std::int32_t>(clock.Seconds()));
    NoteReason(settings, nullptr);
    // A loss that was reported after the check has written its value before this one.
    if (m_fullDueAgain)
        settings.SetValue(FirstTimeRunTimeKey, 0);
    if (!settings.Save())
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to note that the first-time run has completed");
}

std::int64_t DueEnumerations::FullCompletedAt()
{
    if (m_foreign)
        return m_ownFull;
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    return settings.GetValue(FirstTimeRunTimeKey, 0);
}

bool DueEnumerations::HandOver(const std::function<bool(const CString& root)>& isAway)
{
    auto [away, all] = m_rescans.RemoveAll(isAway);
    if (away.empty() || m_foreign)
        return all;
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    away.merge(HandedOver(settings));
    const CString list = JoinWithBars(away);
    if (static_cast<std::size_t>(list.GetLength()) >= LongestList)
        return false;
    settings.SetValue(RescansDueKey, list);
    return settings.Save() && all;
}

void DueEnumerations::TakeOver(const std::set<CString>& roots, Roots known, std::int64_t now)
{
    if (m_foreign)
        return; // the full enumeration that is due covers them
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    std::set<CString> left = HandedOver(settings);
    const std::size_t before = left.size();
    for (const CString& root : roots)
        if (left.erase(root) != 0)
            m_rescans.Report(root, DueRescans::DriveReturned, now);
    if (!left.empty() && known == Roots::AreAll) {
        TimeRule::ForgetLastCheck();
        if (MakeFull(FullDue::Root))
            left.clear();
    }
    if (left.size() == before)
        return;
    // A root that is kept although this run has taken it is rescanned once more; that does no harm.
    settings.SetValue(RescansDueKey, JoinWithBars(left));
    settings.Save();
}
