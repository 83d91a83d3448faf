#include "directory_changes/EndingWatches.h"

#include "directory_changes/DirWatchInfo.h"
#include "directory_changes/EngineRun.h"
#include "directory_changes/MessagePump.h"
#include "directory_changes/NeverDestroyed.h"
#include "directory_changes/WatchEngine.h"
#include "support/CaseFold.h"
#include "support/Handle.h"

#include <utility>

namespace
{

constexpr DWORD WaitSlice = 5000;       // milliseconds
constexpr DWORD ClosedWaitSlice = 500;  // while the last read is waited for
constexpr DWORD EndedNotifierPause = 5; // while the watch that the ended notifier served is still being ended
// The time that a closed directory may take to complete its last read. A handler may take as long as it wants; the
// system may not.
constexpr ULONGLONG LastReadLimit = 10000;
constexpr const wchar_t* WorkerName = L"engine worker";
constexpr const wchar_t* NotifierName = L"notifier thread";

// Returns the event of the watch that a caller waits for.
HANDLE OverOf(CDirWatchInfo& record, bool insideEvent)
{
    const DeliveryFence& fence = record.Handler().Fence();
    return insideEvent ? fence.Drained() : fence.Idle();
}

// Waits for one watch, and ends it in the place of a worker or notifier that has ended.
class Waiting
{
public:
    Waiting(const std::shared_ptr<CDirWatchInfo>& record, bool insideEvent)
        : m_record(record),
          m_over(OverOf(*record, insideEvent))
    {
    }

    void Run()
    {
        while (!IsSignalled(m_over)) {
            const bool workerHasEnded = IsSignalled(m_record->Run().Worker());
            if (workerHasEnded || LastReadIsLate())
                WatchEngine::PerformFor(m_record, m_record->State().Take(WatchInput::GivenUp, workerHasEnded));
            m_record->Handler().Fence().PassOfEndedNotifier();
            WaitOnce(workerHasEnded);
        }
    }

private:
    void WaitOnce(bool workerHasEnded) const
    {
        const HANDLE either[] = {m_over, m_record->Run().Worker()};
        const std::size_t count = workerHasEnded ? 1 : 2; // a worker that has ended would cut each wait short
        WaitPumping(std::span(either, count), Slice());
    }
    DWORD Slice() const
    {
        if (m_record->Handler().Notifier().HasEnded())
            return EndedNotifierPause;
        return m_record->State().Now() == StateStopped ? ClosedWaitSlice : WaitSlice;
    }
    bool LastReadIsLate()
    {
        const ULONGLONG now = GetTickCount64();
        if (m_record->State().Now() != StateStopped)
            return false;
        if (!m_closedAt)
            m_closedAt = now;
        return now - m_closedAt > LastReadLimit;
    }

    const std::shared_ptr<CDirWatchInfo>& m_record;
    const HANDLE m_over;
    ULONGLONG m_closedAt = 0;
};

void WaitFor(const std::shared_ptr<CDirWatchInfo>& record, bool insideEvent)
{
    if (!insideEvent) {
        const LockOrder::WaitScope notifier(NotifierName);
    }
    {
        const LockOrder::WaitScope worker(WorkerName);
        Waiting(record, insideEvent).Run();
    }
    if (!insideEvent)
        record->Handler().Notifier().WaitForEnd();
}

} // namespace

bool WatchSelector::Matches(const CDirWatchInfo& watch) const noexcept
{
    return (!engine || &watch.Engine() == engine) && (!handler || watch.Owner().Handler() == handler) &&
           (!record || &watch == record) && (!path || EqualNoCase(watch.Name().View(), path));
}

EndingWatches& EndingWatches::Instance() noexcept
{
    static NeverDestroyed<EndingWatches> list;
    return list.Get();
}

void EndingWatches::Add(const Record& record) noexcept
{
    const CSingleLock lock(m_section);
    record->endingNumber = ++m_added;
    record->nextEnding = std::exchange(m_first, record);
}

void EndingWatches::Remove(const CDirWatchInfo& record) noexcept
{
    Record removed; // let go of outside the section
    const CSingleLock lock(m_section);
    for (Record* place = &m_first; *place; place = &(*place)->nextEnding)
        if (place->get() == &record) {
            removed = std::move(*place);
            *place = std::move(removed->nextEnding);
            return;
        }
}

bool EndingWatches::IsEmpty() const noexcept
{
    const CSingleLock lock(m_section);
    return !m_first;
}

// Returns the wanted record that was added first.
template <typename Predicate>
EndingWatches::Record EndingWatches::Find(Predicate wanted) noexcept
{
    Record found;
    const CSingleLock lock(m_section);
    for (const Record* place = &m_first; *place; place = &(*place)->nextEnding)
        if (wanted(**place))
            found = *place;
    return found;
}

unsigned long long EndingWatches::Newest() noexcept
{
    const CSingleLock lock(m_section);
    return m_added;
}

bool EndingWatches::EndAndWait(const WatchSelector& selector) noexcept
{
    const unsigned long long newest = Newest();
    const auto concerned = [&](const CDirWatchInfo& record) {
        return record.endingNumber <= newest && selector.Matches(record);
    };
    // All stops are asked for before the first one is waited for. Another thread may have taken a record out and not
    // have asked yet: its call is not waited for.
    while (const Record record = Find([&](CDirWatchInfo& r) { return concerned(r) && !r.State().IsEnding(); }))
        WatchEngine::AskToStop(record);

    const bool insideEvent = IsInsideEvent();
    bool waited = false;
    const auto isOver = [&](CDirWatchInfo& r) { return IsSignalled(OverOf(r, insideEvent)); };
    while (const Record record = Find([&](CDirWatchInfo& r) { return concerned(r) && !isOver(r); })) {
        WaitFor(record, insideEvent);
        waited = true;
    }
    return waited;
}

void EndingWatches::ForgetHandler(const CDirectoryChangeHandler& handler) noexcept
{
    EndAndWait({.handler = &handler});
    // Only inside an event something is left: watches with an event in progress.
    unsigned long long seen = 0;
    const auto next = [&](const CDirWatchInfo& r) { return r.Owner().Handler() == &handler && r.endingNumber > seen; };
    while (const Record record = Find(next)) {
        seen = record->endingNumber;
        if (!record->Owner().Forget() && !record->Handler().Notifier().IsNotifierThread())
            WaitForSingleObject(record->Handler().Fence().Idle(),
                                INFINITE); // the notifier lets go of the handler right now
    }
}
