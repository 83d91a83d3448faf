// The service's side of the overlay connection (docs/overlay-block.md): makes the objects and takes one request after
// the other. One thread.
#pragma once

#include "OrbFileMonitorService/OverlayLine.h"

#include <cstdint>
#include <optional>
#include <string>

class OverlayService
{
public:
    struct Message {
        std::int32_t kind;
        std::optional<std::wstring> path; // none: the path has no terminating zero
        std::int32_t status;
    };

    // Makes the objects, or takes over those that clients of an earlier service still hold. Returns false, and sets
    // `failure`, when that is not possible or another service of this installation runs.
    bool Open(std::wstring& failure);

    // Waits for a request. Returns false when `interrupt` was set first. Gives back a turn in which no request comes:
    // its client has died, or has lost its connection.
    bool WaitForRequest(HANDLE interrupt);
    Message Read() const;
    void Answer() { SetEvent(m_response.Get()); }
    void Answer(std::int32_t status);

    // Waits until the client has given up, and takes the turn itself. Returns false when `interrupt` was set first.
    bool TakeTurn(HANDLE interrupt);
    void GiveTurnBack() { SetEvent(m_token.Get()); }

private:
    KernelHandle m_only; // held by the only service of the installation
    KernelHandle m_token, m_request, m_response;
    OverlayView m_view;
};
