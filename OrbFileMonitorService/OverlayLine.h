// The objects of one connection to the overlay service. Their users share them: one thread may drop a connection while
// another still waits on it.
#pragma once

#include "OrbFileMonitorService/OverlayBlock.h"
#include "OrbFileMonitorService/OverlayNames.h"
#include "support/Handle.h"

#include <memory>

// A file mapping with a view of all its memory.
class OverlayView
{
public:
    OverlayView() = default;
    ~OverlayView() { Unmap(); }
    OverlayView(const OverlayView&) = delete;
    OverlayView& operator=(const OverlayView&) = delete;

    // Takes the mapping over; returns false when it cannot be mapped for reading and writing.
    bool Map(KernelHandle mapping);
    OverlayBlock* Block() const { return m_block; }

private:
    void Unmap();

    KernelHandle m_mapping;
    OverlayBlock* m_block = nullptr;
};

struct OverlayLine {
    KernelHandle request;
    KernelHandle token;
    OverlayView view;
    // The block belongs to an account that may learn the paths of all files (support/HandleOwner.h).
    bool trusted = false;
};

// Returns null when one of the events or the block is missing: then no service runs.
std::shared_ptr<OverlayLine> OpenOverlayLine(const OverlayNames& names);
// Opens an event that the service has made; returns null when there is none.
KernelHandle OpenOverlayEvent(const wchar_t* name);
