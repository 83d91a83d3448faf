// The attachments of handed-out files, which callers in other modules free here.
#include "orbwatcher4/QueueDatum.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>

QueueAttachment* AllocateQueueAttachment(const wchar_t* text)
{
    const std::size_t size = (std::wcslen(text) + 1) * sizeof(wchar_t);
    auto* attachment = static_cast<QueueAttachment*>(std::malloc(sizeof(QueueAttachment)));
    auto* copy = static_cast<wchar_t*>(std::malloc(size));
    if (!attachment || !copy) {
        std::free(attachment);
        std::free(copy);
        return nullptr;
    }
    std::copy_n(text, size / sizeof(wchar_t), copy);
    attachment->text = copy;
    return attachment;
}

void FreeQueueAttachment(QueueAttachment* attachment)
{
    if (attachment)
        std::free(attachment->text);
    std::free(attachment);
}
