// The four objects as a service makes them, without a service: the test plays
// the service, on its own thread.
#pragma once

#include "OrbFileMonitorService/OverlayBlock.h"
#include "OrbFileMonitorService/OverlayLine.h"
#include "OrbFileMonitorService/OverlayNames.h"
#include "support/SharedAccess.h"

#include <string>

class OverlayObjects
{
public:
    OverlayObjects()
    {
        MakeEvents();
        SharedAccess access;
        view.Map(KernelHandle(CreateFileMappingW(INVALID_HANDLE_VALUE, access.Attributes(), PAGE_READWRITE, 0,
                                                 sizeof(OverlayBlock), names.block)));
    }
    struct EventsOnly {
    };
    explicit OverlayObjects(EventsOnly) { MakeEvents(); }

    OverlayBlock& Block() const { return *view.Block(); }
    std::wstring Path() const
    {
        const char16_t* path = Block().path;
        return {path, path + std::char_traits<char16_t>::length(path)};
    }
    bool IsTurnFree() const
    {
        const bool isFree = IsSignalled(token.Get());
        if (isFree)
            SetEvent(token.Get());
        return isFree;
    }
    bool TakeRequest() const { return IsSignalled(request.Get()); }

    static bool EventExists(const CString& name) { return static_cast<bool>(OpenOverlayEvent(name)); }

    const OverlayNames names = OverlayNames::OfThisInstallation();
    KernelHandle request, response, token;
    OverlayView view;

private:
    void MakeEvents()
    {
        request.Reset(CreateEventW(nullptr, FALSE, FALSE, names.request));
        response.Reset(CreateEventW(nullptr, FALSE, FALSE, names.response));
        token.Reset(CreateEventW(nullptr, FALSE, TRUE, names.token));
    }
};
