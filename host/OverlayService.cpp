#include "host/OverlayService.h"

#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "support/HandleOwner.h"
#include "support/SharedAccess.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr DWORD LongestTurn = 1000; // milliseconds; a client gives up much earlier

KernelHandle MakeEvent(const wchar_t* name, bool initiallySet)
{
    SharedAccess access;
    return KernelHandle(CreateEventW(access.Attributes(), FALSE, initiallySet, name));
}

// Returns null for a block that a program of another user has made: its clients would not use it.
KernelHandle MakeBlock(const wchar_t* name)
{
    SharedAccess access;
    KernelHandle block(
        CreateFileMappingW(INVALID_HANDLE_VALUE, access.Attributes(), PAGE_READWRITE, 0, sizeof(OverlayBlock), name));
    return block && IsOwnedByTrusted(block.Get()) ? std::move(block) : KernelHandle();
}

// Returns null when another process holds the mutex. If that process has died meanwhile, this process owns the mutex
// now.
KernelHandle BecomeTheOnlyService()
{
    SharedAccess access;
    KernelHandle mutex(
        CreateMutexW(access.Attributes(), FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::OVERLAY_SERVICE")));
    const DWORD taken = WaitForSingleObject(mutex.Get(), 0);
    return taken == WAIT_OBJECT_0 || taken == WAIT_ABANDONED ? std::move(mutex) : KernelHandle();
}

} // namespace

bool OverlayService::Open(std::wstring& failure)
{
    m_only = BecomeTheOnlyService();
    if (!m_only) {
        failure = L"another overlay service is running on this data folder; end it first";
        return false;
    }
    const OverlayNames names = OverlayNames::OfThisInstallation();
    m_response = MakeEvent(names.response, false);
    m_request = MakeEvent(names.request, false);
    // The block is made before the token: a client that gets the turn must find it.
    KernelHandle block = MakeBlock(names.block);
    const bool mapped = block && m_view.Map(std::move(block));
    const DWORD error = GetLastError();
    // Requests to a service that has died are not answered any more, and its block may change at any time.
    ResetEvent(m_request.Get());
    m_token = MakeEvent(names.token, true);
    if (m_response && m_request && mapped && m_token)
        return true;
    failure = L"the shared objects cannot be made: " + SystemText(mapped ? GetLastError() : error) +
              L" Does a program of another user, or with other rights, hold them?";
    return false;
}

bool OverlayService::WaitForRequest(HANDLE interrupt)
{
    const HANDLE events[] = {interrupt, m_request.Get()};
    for (bool missed = false;;) {
        const DWORD came = WaitForMultipleObjects(2, events, FALSE, LongestTurn);
        if (came != WAIT_TIMEOUT)
            return came == WAIT_OBJECT_0 + 1;
        // A client may have taken the turn just now: the turn counts as lost when it is missing twice.
        const bool isFree = IsSignalled(m_token.Get());
        if (isFree || missed)
            GiveTurnBack();
        missed = !isFree && !missed;
    }
}

OverlayService::Message OverlayService::Read() const
{
    const OverlayBlock& block = *m_view.Block();
    Message message{block.kind, std::nullopt, block.status};
    const auto end = std::find(std::begin(block.path), std::end(block.path), u'\0');
    if (end != std::end(block.path))
        message.path = std::wstring(std::begin(block.path), end);
    return message;
}

void OverlayService::Answer(std::int32_t status)
{
    m_view.Block()->kind = status;
    Answer();
}

bool OverlayService::TakeTurn(HANDLE interrupt)
{
    const HANDLE events[] = {interrupt, m_token.Get()};
    return WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1;
}
