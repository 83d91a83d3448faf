// Packs every call of the engine into an event, which a notifier dispatches to
// the caller's handler on its own thread, after a filter test.
//
// The engine's worker calls the slots; the notifier's thread dispatches.
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

// The matcher of the pattern lists. Process-wide; null puts the built-in one back.
using PatternMatcher = bool (*)(std::wstring_view pattern, std::wstring_view text);
void SetPatternMatcher(PatternMatcher matcher);

class CDelayedDirectoryChangeHandler : public CDirectoryChangeHandler
{
public:
    CDelayedDirectoryChangeHandler(CDirectoryChangeHandler* realHandler, bool appHasGui, DWORD filterFlags);
    ~CDelayedDirectoryChangeHandler() override;

    void OnFileAdded(const wchar_t* path) override;
    void OnFileRemoved(const wchar_t* path) override;
    void OnFileNameChanged(const wchar_t* oldPath, const wchar_t* newPath) override;
    void OnFileModified(const wchar_t* path) override;
    void OnReadChangesError(DWORD error, const wchar_t* directory) override;
    void OnWatchStarted(DWORD error, const wchar_t* directory) override;
    // Returns when the real handler has been told.
    void OnWatchStopped(const wchar_t* directory) override;

    // Everything that was posted so far is dispatched, and the notifier let go; later calls are dropped.
    void Retire();

    CDirectoryChangeHandler* RealHandler() const { return m_realHandler; }
    // The real handler belongs to the caller: whoever destroys this object takes it out first.
    CDirectoryChangeHandler* TakeRealHandler();
    void SetRealHandler(CDirectoryChangeHandler* handler) { m_realHandler = handler; }
    // Sets aside what must not fail later: with it, a change that cannot be told for want of memory is told as lost.
    // Throws std::bad_alloc.
    void Reserve(const CString& directory);
    void SetPartialPathOffset(DWORD offset) { m_partialPathOffset = offset; }
    // Before the watch starts.
    void SetPatterns(std::vector<CString> include, std::vector<CString> exclude);

    // On the notifier's thread.
    void Dispatch(const DelayedEvent& event);

private:
    bool Post(EventCode code, const wchar_t* first, const wchar_t* second = nullptr, DWORD error = 0);
    struct ReservedEvent {
        struct Free {
            void operator()(DelayedEvent* reserved) const;
        };
        std::unique_ptr<DelayedEvent, Free> event;

        void Make(CDelayedDirectoryChangeHandler* handler, EventCode code, const wchar_t* path, DWORD error);
    };

    void PostLost();
    void Fence();
    template <typename Posting>
    void PostAndWait(Posting post);
    void Tell(const DelayedEvent& event);
    void TellUnheard() noexcept;
    bool Passes(const DelayedEvent& event) const;
    bool PassesPatterns(const wchar_t* path, std::size_t offset) const;
    void DispatchStopped(const DelayedEvent& event);

    std::unique_ptr<CDelayedNotifier> m_notifier;
    CDirectoryChangeHandler* m_realHandler;
    const bool m_waitPumpsMessages;
    const DWORD m_filterFlags;
    DWORD m_partialPathOffset = 0;
    CEvent m_stopAcknowledged;
    ReservedEvent m_fence, m_lost;
    std::atomic<bool> m_lostPosted{false};
    std::vector<CString> m_includePatterns;
    std::vector<CString> m_excludePatterns;
};
