// The threads of a watcher. The part that starts a thread keeps its handle, and waits for its end.
#pragma once

#include "support/Handle.h"
#include "support/LockOrder.h"

// Starts a thread. Returns null when the system refuses.
KernelHandle StartWatcherThread(unsigned(__stdcall* entry)(void*), void* argument);
// Waits for a thread without limit and closes it; `name` is the thread's name in the log.
void JoinWatcherThread(KernelHandle& thread, const wchar_t* name);

constexpr const wchar_t* WatchThreadName = L"watch thread";
constexpr const wchar_t* OverlayThreadName = L"overlay thread";
constexpr const wchar_t* OverlaySenderName = L"overlay sender";
constexpr const wchar_t* FirstRunThreadName = L"first-run thread";
constexpr const wchar_t* DeletedFilesThreadName = L"deleted-files thread";

// Begins each thread of a watcher: the check of the lock order knows the thread by its name, and the system shows no
// box for a drive without a medium.
class WatcherThreadScope
{
public:
    explicit WatcherThreadScope(const wchar_t* name);

private:
    const LockOrder::ThreadScope m_scope;
};
