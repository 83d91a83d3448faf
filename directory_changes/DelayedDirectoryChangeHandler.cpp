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

// Returns where the copy ends.
wchar_t* CopyText(std::wstring_view text, wchar_t* to) noexcept
{
    to = std::copy(text.begin(), text.end(), to);
    *to = 0;
    return to + 1;
}

} // namespace

void SetPatternMatcher(PatternMatcher matcher) { g_matcher = matcher ? matcher : &BuiltInMatcher; }

DelayedEvent* MakeDelayedEvent(CDelayedDirectoryChangeHandler* handler, EventCode code, const wchar_t* firstPath,
                               const wchar_t* secondPath, DWORD error, DWORD partialPathOffset) noexcept
{
    // The paths lie behind the event: hundreds of thousands are on their way in a storm.
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
    // Of a reserved one nothing may be left once it has been dispatched: whoever waited for that destroys it.
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
                                                               DWORD filterFlags)
    : m_realHandler(realHandler),
      m_waitPumpsMessages(appHasGui),
      m_filterFlags(filterFlags)
{
    if (appHasGui)
        m_notifier = std::make_unique<CDelayedNotificationWindow>();
    else
        m_notifier = std::make_unique<CDelayedNotificationThread>();
}

CDelayedDirectoryChangeHandler::~CDelayedDirectoryChangeHandler() { delete m_realHandler; }

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

CDirectoryChangeHandler* CDelayedDirectoryChangeHandler::TakeRealHandler()
{
    return std::exchange(m_realHandler, nullptr);
}

void CDelayedDirectoryChangeHandler::SetPatterns(std::vector<CString> include, std::vector<CString> exclude)
{
    m_includePatterns = std::move(include);
    m_excludePatterns = std::move(exclude);
}

bool CDelayedDirectoryChangeHandler::Post(EventCode code, const wchar_t* first, const wchar_t* second, DWORD error)
{
    if (!m_notifier)
        return false;
    if (DelayedEvent* event = MakeDelayedEvent(this, code, first, second, error, m_partialPathOffset))
        return m_notifier->PostEvent(event);
    PostLost();
    return false;
}

// There is no memory for an event. One that is still on its way tells of this one, too.
void CDelayedDirectoryChangeHandler::PostLost()
{
    if (m_lost.event && !m_lostPosted.exchange(true))
        m_notifier->PostEvent(m_lost.event.get());
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

void CDelayedDirectoryChangeHandler::OnWatchStopped(const wchar_t* directory)
{
    if (m_filterFlags < FilterFlags::NoWatchStopped)
        PostAndWait([&] { return Post(EventWatchStopped, directory); });
}

void CDelayedDirectoryChangeHandler::Retire()
{
    if (!m_notifier)
        return;
    Fence();
    m_notifier.reset();
}

// What is queued refers to this object: the fence must not fail for want of memory.
void CDelayedDirectoryChangeHandler::Fence()
{
    PostAndWait([&] { return m_fence.event ? m_notifier->PostEvent(m_fence.event.get()) : Post(EventFence, L""); });
}

// Waits only for what was really posted, and no longer than there is somebody to dispatch it.
template <typename Posting>
void CDelayedDirectoryChangeHandler::PostAndWait(Posting post)
{
    m_stopAcknowledged.ResetEvent();
    if (!post())
        return;
    constexpr DWORD allButSent = QS_ALLINPUT & ~QS_SENDMESSAGE;
    // On the notifier's own thread nobody else dispatches what is queued.
    const bool pump = m_waitPumpsMessages || m_notifier->IsNotifierThread();
    while (!(pump ? WaitPumping(m_stopAcknowledged, WaitSlice, allButSent) : m_stopAcknowledged.Lock(WaitSlice)))
        if (m_notifier->HasEnded())
            return;
}

void CDelayedDirectoryChangeHandler::Dispatch(const DelayedEvent& event)
{
    if (event.code == EventFence) {
        m_stopAcknowledged.SetEvent();
        return;
    }
    if (event.code == EventWatchStopped) {
        DispatchStopped(event);
        return;
    }
    if (&event == m_lost.event.get())
        m_lostPosted = false; // before the handler hears of it: what is lost from here on is told anew
    if (!m_realHandler)
        return;
    try {
        if (Passes(event))
            Tell(event);
    } catch (...) {
        TellUnheard();
    }
}

// A handler that could not take a change in has lost it; the thread serves other handlers, too.
void CDelayedDirectoryChangeHandler::TellUnheard() noexcept
{
    try {
        if (m_lost.event)
            m_realHandler->OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, m_lost.event->firstPath);
    } catch (...) {
        // It does not want to know.
    }
}

void CDelayedDirectoryChangeHandler::Tell(const DelayedEvent& event)
{
    switch (event.code) {
    case EventAdded:
        m_realHandler->OnFileAdded(event.firstPath);
        break;
    case EventRemoved:
        m_realHandler->OnFileRemoved(event.firstPath);
        break;
    case EventModified:
        m_realHandler->OnFileModified(event.firstPath);
        break;
    case EventRenamed:
        m_realHandler->OnFileNameChanged(event.firstPath, event.secondPath);
        break;
    case EventReadError:
        m_realHandler->OnReadChangesError(event.error, event.firstPath);
        break;
    case EventWatchStarted:
        m_realHandler->OnWatchStarted(event.error, event.firstPath);
        break;
    default:
        break;
    }
}

// Whatever the handler does, the stopping thread must go on.
void CDelayedDirectoryChangeHandler::DispatchStopped(const DelayedEvent& event)
{
    try {
        if (m_realHandler)
            m_realHandler->OnWatchStopped(event.firstPath);
    } catch (...) {
        MessageBeep(0xFFFF);
        MessageBeep(0xFFFF);
    }
    m_stopAcknowledged.SetEvent();
}

bool CDelayedDirectoryChangeHandler::Passes(const DelayedEvent& event) const
{
    const bool skipPatterns = m_filterFlags & FilterFlags::SkipPatterns;
    const bool neverAsk = m_filterFlags & FilterFlags::NeverAskHandler;
    const bool askFirst = m_filterFlags & FilterFlags::AskHandlerFirst;
    if ((skipPatterns && neverAsk) || event.code >= EventReadError)
        return true;
    const auto handlerAgrees = [&] {
        return m_realHandler->OnFilterNotification(event.code, event.firstPath, event.secondPath);
    };
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
