// Packs every call of the engine into an event (EventPoster), which a notifier dispatches on its own thread to the
// caller's handler (EventDelivery), after a filter test (EventFilter).
//
// The worker, or the thread that ends the watch in its place, calls the slots and posts the fence (DeliveryFence). The
// notifier's thread dispatches. After the fence nothing more is posted.
#pragma once

#include "directory_changes/DelayedNotifier.h"
#include "directory_changes/DeliveryFence.h"
#include "directory_changes/DirectoryChanges.h"
#include "directory_changes/EventDelivery.h"
#include "directory_changes/EventPoster.h"

#include <memory>

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
    // Does not wait. For the worker, which must not wait for handlers: one of them may wait for the worker. Returns
    // false when nothing was posted.
    bool PostWatchStopped(const wchar_t* directory);
    // Returns true when the notifier has ended: the real handler receives no more events.
    bool HasNotifierEnded() const { return m_poster.HasNotifierEnded(); }

    // Before the watch starts: sets memory aside for the fence and for reporting losses. Throws std::bad_alloc.
    void Prepare(const CString& directory);
    EventDelivery& Delivery() { return m_delivery; }
    DeliveryFence& Fence() { return m_fence; }
    CDelayedNotifier& Notifier() { return *m_notifier; }

    // On the notifier's thread.
    void Dispatch(const DelayedEvent& event) noexcept;

private:
    const bool m_waitPumpsMessages;
    std::unique_ptr<CDelayedNotifier> m_notifier;
    EventDelivery m_delivery;
    DeliveryFence m_fence;
    EventPoster m_poster;
    CEvent m_stopAcknowledged;
};
