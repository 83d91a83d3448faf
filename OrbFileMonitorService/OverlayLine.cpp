#include "OrbFileMonitorService/OverlayLine.h"

#include "support/HandleOwner.h"

// Memory is mapped in whole pages: however small another program's mapping is, the block is inside.
static_assert(sizeof(OverlayBlock) <= 4096);

bool OverlayView::Map(KernelHandle mapping)
{
    Unmap();
    m_mapping = std::move(mapping);
    m_block = static_cast<OverlayBlock*>(MapViewOfFile(m_mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, 0));
    return m_block != nullptr;
}

void OverlayView::Unmap()
{
    if (m_block)
        UnmapViewOfFile(m_block);
    m_block = nullptr;
    m_mapping.Reset();
}

KernelHandle OpenOverlayEvent(const wchar_t* name)
{
    return KernelHandle(OpenEventW(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, name));
}

std::shared_ptr<OverlayLine> OpenOverlayLine(const OverlayNames& names)
{
    auto line = std::make_shared<OverlayLine>();
    line->request = OpenOverlayEvent(names.request);
    line->token = OpenOverlayEvent(names.token);
    if (!line->request || !line->token)
        return nullptr;
    // Only the service makes the block: making one for the whole machine needs a right that its clients may lack.
    KernelHandle mapping(OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, names.block));
    line->trusted = mapping && IsOwnedByTrusted(mapping.Get());
    if (!mapping || !line->view.Map(std::move(mapping)))
        return nullptr;
    return line;
}
