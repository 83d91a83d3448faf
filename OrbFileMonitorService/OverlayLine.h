// The objects of one connection to the overlay service. Shared by those who use
// them: a connection may be dropped by one thread while another still waits.
#pragma once

#include "OrbFileMonitorService/OverlayBlock.h"
#include "OrbFileMonitorService/OverlayNames.h"
#include "support/Handle.h"

#include <memory>

// A file mapping and all of its memory.
class OverlayView
{
public:
    OverlayView() = default;
    ~OverlayView() { Unmap(); }
    OverlayView(const OverlayView&) = delete;
    OverlayView& operator=(const OverlayView&) = delete;

    // Takes the mapping over; false when it cannot be mapped for reading and writing.
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
};

// Null when one of the events is missing, or when the block is: then no service runs.
std::shared_ptr<OverlayLine> OpenOverlayLine(const OverlayNames& names);
// An event that the service has made; null when there is none.
KernelHandle OpenOverlayEvent(const wchar_t* name);
