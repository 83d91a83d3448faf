// Packs every call of the engine into an event, which a notifier dispatches to the caller's handler on its own thread,
// after a filter test.
//
// The worker, or the thread that ends the watch in its place, calls the slots and PostFence. The notifier's thread
// dispatches. After the fence nothing more is posted.
#pragma once

#include "directory_changes/DelayedNotifier.h"
#include "directory_changes/DirectoryChanges.h"
#include "mfc/CEvent.h"

#include <atomic>
#include <memory>
#include <vector>

namespace FilterFlags
{
constexpr DWORD SkipPatterns = 1;
constexpr DWORD TestPartialPath = 4; // from behind the watched directory on
constexpr DWORD TestFileName = 8;    // only what is behind the last backslash
constexpr DWORD AskHandlerFirst = 16;
constexpr DWORD NeverAskHandler = 32;
constexpr DWORD NoWatchStarted = 64;
constexpr DWORD NoWatchStopped = 128; // or any higher bit
} // namespace FilterFlags

// The matcher of the pattern lists. Process-wide; null restores the built-in one.
using PatternMatcher = bool (*)(std::wstring_view pattern, std::wstring_view text);
void SetPatternMatcher(PatternMatcher matcher);

// Hears that a fence has been passed. The calls come on the notifier's thread, or on the thread that finds the notifier
// ended; each comes once.
class FenceListener
{
public:
    // Every event that was posted before the fence has been dispatched. An event may still be in progress.
    virtual void OnDrained() noexcept = 0;
    // No event is in progress any more. Returns what keeps the delayed handler alive until Idle is set.
    virtual std::shared_ptr<const void> OnIdle() noexcept = 0;

protected:
    ~FenceListener() = default;
};

class CDelayedDirectoryChangeHandler : public CDirectoryChangeHandler
{
public:
    // Throws what the notifier's constructor throws.
    CDelayedDirectoryChangeHandler(CDirectoryChangeHandler* realHandler, bool appHasGui, DWORD filterFlags,
                                   FenceListener* listener = nullptr);
    // Deletes a real handler that was not taken out.
    ~CDelayedDirectoryChangeHandler() override;

    void OnFileAdded(const wchar_t* path) override;
    void OnFileRemoved(const wchar_t* path) override;
    void OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath) override;
    void OnFileModified(const wchar_t* path) override;
    void OnReadChangesError(DWORD error, const wchar_t* directory) override;
    void OnWatchStarted(DWORD error, const wchar_t* directory) override;
    // Waits until the real handler has handled the event.
    void OnWatchStopped(const wchar_t* directory) override;
    // Does not wait. For the worker, which must not wait for handlers: one of them may wait for the worker.
    void PostWatchStopped(const wchar_t* directory);

    // The last call of the engine: later ones are dropped. Once all events before the fence have been dispatched,
    // Drained is set; once no event is in progress besides, the notifier is left and Idle is set. Asks for no memory
    // when Reserve was called.
    void PostFence();
    HANDLE Drained() const { return m_drained; }
    HANDLE Idle() const { return m_idle; }
    // For a waiting thread: passes the fence when the notifier has ended without dispatching it.
    void PassFenceOfEndedNotifier();
    // Posts the fence and waits until Idle, or, on the notifier's own thread, until Drained.
    void Retire();
    CDelayedNotifier& Notifier() { return *m_notifier; }
    // Returns true when the notifier has refused an event since it has ended: the real handler hears nothing more.
    bool IsUnheard() const { return m_unheard; }

    // Null once it was taken out.
    CDirectoryChangeHandler* RealHandler() const { return m_realHandler; }
    // Returns the real handler to one caller, and null to all others.
    CDirectoryChangeHandler* TakeRealHandler();
    void SetRealHandler(CDirectoryChangeHandler* handler) { m_realHandler = handler; }
    // Sets memory aside for the fence, and for reporting a change for which there is no memory as lost. Throws
    // std::bad_alloc.
    void Reserve(const CString& directory);
    // Call these two before the watch starts.
    void SetPartialPathOffset(DWORD offset) { m_partialPathOffset = offset; }
    void SetPatterns(std::vector<CString> include, std::vector<CString> exclude);

    // On the notifier's thread.
    void Dispatch(const DelayedEvent& event);

private:
    struct ReservedEvent {
        struct Free {
            void operator()(DelayedEvent* reserved) const;
        };
        std::unique_ptr<DelayedEvent, Free> event;

        void Make(CDelayedDirectoryChangeHandler* handler, EventCode code, const wchar_t* path, DWORD error);
    };

    bool Post(EventCode code, const wchar_t* first, const wchar_t* second = nullptr, DWORD error = 0);
    bool PostToNotifier(DelayedEvent* event);
    void PostLost();
    bool PostStopped(const wchar_t* directory);
    void WaitDispatching(HANDLE event);
    void PassFence(bool eventsMayBeInProgress);
    void BecomeIdle();
    void Deliver(const DelayedEvent& event);
    void DeliverStopped(const DelayedEvent& event);
    void CallRealHandler(CDirectoryChangeHandler& real, const DelayedEvent& event);
    void ReportDeliveryFailure() noexcept;
    bool Passes(CDirectoryChangeHandler& real, const DelayedEvent& event) const;
    bool PassesPatterns(const wchar_t* path, std::size_t offset) const;

    FenceListener* const m_listener;
    const bool m_waitPumpsMessages;
    const DWORD m_filterFlags;
    DWORD m_partialPathOffset = 0;
    std::vector<CString> m_includePatterns;
    std::vector<CString> m_excludePatterns;
    ReservedEvent m_fence, m_lost;

    std::atomic<CDirectoryChangeHandler*> m_realHandler;
    std::atomic<bool> m_lostPosted{false}, m_unheard{false};
    std::atomic<bool> m_fencePosted{false}, m_fencePassed{false}, m_isIdle{false};
    int m_eventsInProgress = 0; // of the notifier's thread
    CEvent m_stopAcknowledged;
    CEvent m_drained{false, true}, m_idle{false, true};
    std::unique_ptr<CDelayedNotifier> m_notifier; // last: the first to go
};
