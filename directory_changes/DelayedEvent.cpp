#include "directory_changes/DelayedEvent.h"

#include "directory_changes/DelayedDirectoryChangeHandler.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>

namespace
{

std::wstring_view TextOf(const wchar_t* text) noexcept { return text ? text : L""; }

// Returns the place behind the copy.
wchar_t* CopyText(std::wstring_view text, wchar_t* to) noexcept
{
    to = std::copy(text.begin(), text.end(), to);
    *to = 0;
    return to + 1;
}

} // namespace

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
    if (!event->reserved)
        std::free(event);
}

void FreeReservedEvent::operator()(DelayedEvent* event) const noexcept { std::free(event); }

ReservedEvent ReserveDelayedEvent(CDelayedDirectoryChangeHandler* handler, EventCode code, const wchar_t* path,
                                  DWORD error)
{
    ReservedEvent event(MakeDelayedEvent(handler, code, path, nullptr, error, 0));
    if (!event)
        throw std::bad_alloc();
    event->reserved = true;
    return event;
}

void DispatchDelayedEvent(DelayedEvent* event)
{
    // A reserved event is not touched after its dispatch: the thread that waited for that may have destroyed it.
    const bool reserved = event->reserved;
    event->handler->Dispatch(*event);
    if (!reserved)
        FreeDelayedEvent(event);
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
