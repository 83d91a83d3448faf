#include "directory_changes/DelayedDirectoryChangeHandler.h"

#include "directory_changes/DelayedNotificationThread.h"
#include "directory_changes/DelayedNotificationWindow.h"
#include "directory_changes/MessagePump.h"
#include "support/Wildcard.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <new>
#include <utility>

namespace
{

constexpr DWORD WaitSlice = 5000;

bool BuiltInMatcher(std::wstring_view pattern, std::wstring_view text) { return MatchWildcard(pattern, text); }
std::atomic<PatternMatcher> g_matcher{&BuiltInMatcher};

bool MatchesAny(const std::vector<CString>& patterns, std::wstring_view text)
{
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const CString& pattern) { return g_matcher.load()(pattern.View(), text); });
}

std::wstring_view TextOf(const wchar_t* text) noexcept { return text ? text : L""; }

// Returns the place behind the copy.
wchar_t* CopyText(std::wstring_view text, wchar_t* to) noexcept
{
    to = std::copy(text.begin(), text.end(), to);
    *to = 0;
    return to + 1;
}

std::unique_ptr<CDelayedNotifier> MakeNotifier(bool appHasGui)
{
    if (appHasGui)
        return std::make_unique<CDelayedNotificationWindow>();
    return std::make_unique<CDelayedNotificationThread>();
}

} // namespace

void SetPatternMatcher(PatternMatcher matcher) { g_matcher = matcher ? matcher : &BuiltInMatcher; }

DelayedEvent* MakeDelayedEvent(CDelayedDirectoryChangeHandler* handler, EventCode code, const wchar_t* firstPath,
                               const wchar_t* secondPath, DWORD error, DWORD partialPathOffset) noexcept
{
    // One block for the event and its paths: hundreds of thousands are on their way in a storm.
    const std::wstring_view first = TextOf(firstPath), second = TextOf(secondPath);
    void* const memory = std::malloc(sizeof(QueuedEvent) + (first.size() + second.size() + 2) * sizeof(wchar_t));
    if (!memory)
        return nullptr;
    auto* const event =
        new (memory) QueuedEvent{{handler, code, false, nullptr, nullptr, error, partialPathOffset}, nullptr};
    event->firstPath = reinterpret_cast<wchar_t*>(event + 1);
    event->secondPath = CopyText(first, event->firstPath);
    CopyText(second, event->secondPath);
    return event;
}

void FreeDelayedEvent(DelayedEvent* event) noexcept
{
    if (event->reserved)
        return;
    std::free(event);
}

void DispatchDelayedEvent(DelayedEvent* event)
{
    // A reserved event is not touched after its dispatch: the thread that waited for that may have destroyed it.
    struct Freeing {
        DelayedEvent* event;
        ~Freeing()
        {
            if (event)
                FreeDelayedEvent(event);
        }
    } const freeing{event->reserved ? nullptr : event};
    event->handler->Dispatch(*event);
}

void ReceiveDelayedEvent(LPARAM carried)
{
    auto* const event = reinterpret_cast<DelayedEvent*>(carried);
    if (!event)
        return;
    if (event->handler)
        DispatchDelayedEvent(event);
    else
        FreeDelayedEvent(event);
}

CDelayedDirectoryChangeHandler::CDelayedDirectoryChangeHandler(CDirectoryChangeHandler* realHandler, bool appHasGui,
                                                               DWORD filterFlags, FenceListener* listener)
    : m_listener(listener),
      m_waitPumpsMessages(appHasGui),
      m_filterFlags(filterFlags),
      m_realHandler(realHandler),
      m_notifier(MakeNotifier(appHasGui))
{
}

CDelayedDirectoryChangeHandler::~CDelayedDirectoryChangeHandler() { delete TakeRealHandler(); }

void CDelayedDirectoryChangeHandler::ReservedEvent::Make(CDelayedDirectoryChangeHandler* handler, EventCode code,
                                                         const wchar_t* path, DWORD error)
{
    event.reset(MakeDelayedEvent(handler, code, path, nullptr, error, 0));
    if (!event)
        throw std::bad_alloc();
    event->reserved = true;
}

void CDelayedDirectoryChangeHandler::ReservedEvent::Free::operator()(DelayedEvent* reserved) const
{
    reserved->reserved = false;
    FreeDelayedEvent(reserved);
}

void CDelayedDirectoryChangeHandler::Reserve(const CString& directory)
{
    m_fence.Make(this, EventFence, L"", ERROR_SUCCESS);
    m_lost.Make(this, EventReadError, directory, ERROR_NOTIFY_ENUM_DIR);
}

CDirectoryChangeHandler* CDelayedDirectoryChangeHandler::TakeRealHandler() { return m_realHandler.exchange(nullptr); }

void CDelayedDirectoryChangeHandler::SetPatterns(std::vector<CString> include, std::vector<CString> exclude)
{
    m_includePatterns = std::move(include);
    m_excludePatterns = std::move(exclude);
}

bool CDelayedDirectoryChangeHandler::Post(EventCode code, const wchar_t* first, const wchar_t* second, DWORD error)
{
    if (m_fencePosted)
        return false;
    if (DelayedEvent* event = MakeDelayedEvent(this, code, first, second, error, m_partialPathOffset))
        return PostToNotifier(event);
    PostLost();
    return false;
}

// There is no memory for an event. A report that is still on its way covers this one, too.
void CDelayedDirectoryChangeHandler::PostLost()
{
    if (m_lost.event && !m_lostPosted.exchange(true))
        PostToNotifier(m_lost.event.get());
}

bool CDelayedDirectoryChangeHandler::PostToNotifier(DelayedEvent* event)
{
    if (m_notifier->PostEvent(event))
        return true;
    m_unheard = true;
    return false;
}

void CDelayedDirectoryChangeHandler::OnFileAdded(const wchar_t* path) { Post(EventAdded, path); }
void CDelayedDirectoryChangeHandler::OnFileRemoved(const wchar_t* path) { Post(EventRemoved, path); }
void CDelayedDirectoryChangeHandler::OnFileModified(const wchar_t* path) { Post(EventModified, path); }

void CDelayedDirectoryChangeHandler::OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath)
{
    Post(EventRenamed, oldPath, newPath);
}

void CDelayedDirectoryChangeHandler::OnReadChangesError(DWORD error, const wchar_t* directory)
{
    Post(EventReadError, directory, nullptr, error);
}

void CDelayedDirectoryChangeHandler::OnWatchStarted(DWORD error, const wchar_t* directory)
{
    if (!(m_filterFlags & FilterFlags::NoWatchStarted))
        Post(EventWatchStarted, directory, nullptr, error);
}

bool CDelayedDirectoryChangeHandler::PostStopped(const wchar_t* directory)
{
    return m_filterFlags < FilterFlags::NoWatchStopped && Post(EventWatchStopped, directory);
}

void CDelayedDirectoryChangeHandler::PostWatchStopped(const wchar_t* directory) { PostStopped(directory); }

void CDelayedDirectoryChangeHandler::OnWatchStopped(const wchar_t* directory)
{
    m_stopAcknowledged.ResetEvent();
    if (PostStopped(directory))
        WaitDispatching(m_stopAcknowledged);
}

// Waits for an event that the notifier sets, and no longer than there is a notifier.
void CDelayedDirectoryChangeHandler::WaitDispatching(HANDLE event)
{
    constexpr DWORD allButSent = QS_ALLINPUT & ~QS_SENDMESSAGE;
    // On the notifier's own thread, no other thread dispatches what is queued.
    const bool pump = m_waitPumpsMessages || m_notifier->IsNotifierThread();
    const auto waits = [&] {
        return pump ? !WaitPumping(event, WaitSlice, allButSent)
                    : WaitForSingleObject(event, WaitSlice) != WAIT_OBJECT_0;
    };
    while (waits())
        if (m_notifier->HasEnded())
            return;
}

void CDelayedDirectoryChangeHandler::PostFence()
{
    if (m_fencePosted.exchange(true))
        return;
    DelayedEvent* const fence =
        m_fence.event ? m_fence.event.get() : MakeDelayedEvent(this, EventFence, L"", nullptr, 0, 0);
    // The object may be gone after a fence that was posted.
    if (!fence || !m_notifier->PostEvent(fence))
        PassFence(false);
}

void CDelayedDirectoryChangeHandler::PassFenceOfEndedNotifier()
{
    if (!m_fencePosted || !m_notifier->HasEnded())
        return;
    m_notifier->Close();
    PassFence(false);
}

void CDelayedDirectoryChangeHandler::Retire()
{
    const bool own = m_notifier->IsNotifierThread();
    PostFence();
    WaitDispatching(own && m_eventsInProgress > 0 ? m_drained : m_idle);
    PassFenceOfEndedNotifier();
    if (!IsInsideEvent())
        m_notifier->WaitForEnd();
}

void CDelayedDirectoryChangeHandler::PassFence(bool eventsMayBeInProgress)
{
    if (m_fencePassed.exchange(true))
        return;
    if (m_listener)
        m_listener->OnDrained();
    m_drained.SetEvent();
    if (!eventsMayBeInProgress || m_eventsInProgress == 0)
        BecomeIdle();
}

// The last step: the listener may have let go of this object by the end.
void CDelayedDirectoryChangeHandler::BecomeIdle()
{
    if (m_isIdle.exchange(true))
        return;
    const std::shared_ptr<const void> alive = m_listener ? m_listener->OnIdle() : nullptr;
    m_notifier->Leave();
    m_idle.SetEvent();
}

void CDelayedDirectoryChangeHandler::Dispatch(const DelayedEvent& event)
{
    if (event.code == EventFence) {
        PassFence(true);
        return;
    }
    // A handler that waits dispatches events: then this runs within itself, the fence included.
    ++m_eventsInProgress;
    Deliver(event);
    if (--m_eventsInProgress == 0 && m_fencePassed)
        BecomeIdle();
}

void CDelayedDirectoryChangeHandler::Deliver(const DelayedEvent& event)
{
    if (event.code == EventWatchStopped) {
        DeliverStopped(event);
        return;
    }
    if (&event == m_lost.event.get())
        m_lostPosted = false; // before the handler hears of it: later losses are reported anew
    try {
        if (CDirectoryChangeHandler* real = m_realHandler; real && Passes(*real, event))
            CallRealHandler(*real, event);
    } catch (...) {
        ReportDeliveryFailure();
    }
}

// A handler that failed with a change has lost it; the thread serves other handlers, too.
void CDelayedDirectoryChangeHandler::ReportDeliveryFailure() noexcept
{
    CDirectoryChangeHandler* const real = m_realHandler;
    if (!real || !m_lost.event)
        return;
    try {
        real->OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, m_lost.event->firstPath);
    } catch (...) {
        // The handler refuses the report as well.
    }
}

void CDelayedDirectoryChangeHandler::CallRealHandler(CDirectoryChangeHandler& real, const DelayedEvent& event)
{
    switch (event.code) {
    case EventAdded:
        real.OnFileAdded(event.firstPath);
        break;
    case EventRemoved:
        real.OnFileRemoved(event.firstPath);
        break;
    case EventModified:
        real.OnFileModified(event.firstPath);
        break;
    case EventRenamed:
        real.OnFileNameChanged(event.firstPath, event.secondPath);
        break;
    case EventReadError:
        real.OnReadChangesError(event.error, event.firstPath);
        break;
    case EventWatchStarted:
        real.OnWatchStarted(event.error, event.firstPath);
        break;
    default:
        break;
    }
}

// Whatever the handler does, a thread that waits for the stop goes on.
void CDelayedDirectoryChangeHandler::DeliverStopped(const DelayedEvent& event)
{
    try {
        if (CDirectoryChangeHandler* real = m_realHandler)
            real->OnWatchStopped(event.firstPath);
    } catch (...) {
        MessageBeep(0xFFFF);
        MessageBeep(0xFFFF);
    }
    m_stopAcknowledged.SetEvent();
}

bool CDelayedDirectoryChangeHandler::Passes(CDirectoryChangeHandler& real, const DelayedEvent& event) const
{
    const bool skipPatterns = m_filterFlags & FilterFlags::SkipPatterns;
    const bool neverAsk = m_filterFlags & FilterFlags::NeverAskHandler;
    const bool askFirst = m_filterFlags & FilterFlags::AskHandlerFirst;
    if ((skipPatterns && neverAsk) || event.code >= EventReadError)
        return true;
    const auto handlerAgrees = [&] { return real.OnFilterNotification(event.code, event.firstPath, event.secondPath); };
    if (askFirst && !neverAsk && !handlerAgrees())
        return false;
    if (!skipPatterns) {
        std::size_t offset = 0;
        if (m_filterFlags & FilterFlags::TestFileName) {
            const wchar_t* last = std::wcsrchr(event.firstPath, L'\\');
            offset = last ? static_cast<std::size_t>(last - event.firstPath) + 1 : 0;
        } else if (m_filterFlags & FilterFlags::TestPartialPath) {
            offset = event.partialPathOffset;
        }
        const bool passes = PassesPatterns(event.firstPath, offset) ||
                            (event.code == EventRenamed && PassesPatterns(event.secondPath, offset));
        if (!passes)
            return false;
    }
    return askFirst || neverAsk || handlerAgrees();
}

bool CDelayedDirectoryChangeHandler::PassesPatterns(const wchar_t* path, std::size_t offset) const
{
    std::wstring_view text = path;
    text.remove_prefix(std::min(offset, text.size()));
    return (m_includePatterns.empty() || MatchesAny(m_includePatterns, text)) && !MatchesAny(m_excludePatterns, text);
}
