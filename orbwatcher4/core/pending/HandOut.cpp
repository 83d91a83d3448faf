#include "orbwatcher4/core/pending/HandOut.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"

#include <atomic>
#include <utility>

namespace
{

// Process-wide: an emptied store releases its memory once.
std::atomic<bool> g_shrunk{false};

// Judges the entry of the last step, and erases a settled one. Returns true when it is to be handed out. The store is
// unlocked meanwhile: the disk may need long to answer, and other threads must not wait for it.
bool Offer(PendingStore::Locked& store, HandOutJudge& judge, const NotificationStore::Entry& entry)
{
    const NotificationStore::Look look(*store, entry.path);
    HandOutJudge::Verdict verdict = HandOutJudge::Verdict::Keep;
    {
        const PendingStore::Left left(store);
        verdict = judge.Offer(entry);
    }
    if (verdict == HandOutJudge::Verdict::Keep)
        return false;
    bool given = verdict == HandOutJudge::Verdict::Give;
    if (look.Reports() != 0) {
        // A change that was reported meanwhile stays pending. A deletion is the later change; after any other change
        // the file is handed out once more.
        const NotificationPtr now = store->Find(entry.path);
        given = given && now && now->kind != NotificationKind::Deleted;
    } else {
        given = store->EraseVisited() && given; // another thread may have erased the entry
    }
    if (verdict == HandOutJudge::Verdict::Give && !given)
        judge.TakeBack(entry.path);
    return given;
}

} // namespace

HandOut::HandOut(const Config& config, Selection& selection, PendingStore& pending,
                 std::function<void()> processDeletions)
    : m_config(config),
      m_selection(selection),
      m_pending(pending),
      m_processDeletions(std::move(processDeletions))
{
}

bool HandOut::Take(std::set<std::uint64_t>* sameRunIds, QueueDatum& out, FileIdentity* identity)
{
    std::optional<ActingForUser> user;
    if (m_config.userToken)
        user.emplace(m_config.userToken);
    if (user && !user->Acts())
        return false;
    bool given = false;
    Completes(L"The hand-out", [&] { given = TakeOne(sameRunIds, out, identity); });
    return given;
}

bool HandOut::IsNothingPending(PendingStore::Locked& store)
{
    if (!store.IsEmpty()) {
        g_shrunk = false;
        return false;
    }
    m_pending.mayHoldUnselected = false;
    g_OrbLog.Log(L"No files to move to queue. Exiting.");
    if (!g_shrunk.exchange(true))
        store->Shrink();
    return true;
}

bool HandOut::TakeOne(std::set<std::uint64_t>* sameRunIds, QueueDatum& out, FileIdentity* identity)
{
    const CSingleLock oneAtATime(m_lock);
    PendingStore::Locked store(m_pending);
    if (IsNothingPending(store))
        return false;
    HandOutJudge judge(m_config, m_selection, m_pending, m_memory, sameRunIds, out);
    bool deletionsProcessed = false;
    // Once is enough for all deletions.
    const auto processDeletions = [&] {
        if (std::exchange(deletionsProcessed, true))
            return;
        const PendingStore::Left left(store); // it comes later in the lock order
        m_processDeletions();
    };
    if (store.Replaced().Count() != 0)
        processDeletions();
    store->BeginRound();
    for (NotificationStore::Entry entry; store->NextInRound(entry);) {
        if (entry.notification->kind == NotificationKind::Deleted) {
            processDeletions();
            continue;
        }
        if (judge.IsKnownAway(entry.path) || !Offer(store, judge, entry))
            continue;
        g_OrbLog.Log(L"Adding ...  %s", entry.path.GetString());
        if (identity)
            *identity = judge.Identity();
        return true;
    }
    return false;
}
