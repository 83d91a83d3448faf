#include "orbwatcher4/core/environment/SharedEvent.h"

#include "support/SharedAccess.h"

KernelHandle CreateSharedEvent(const wchar_t* name, bool manualReset, bool initiallySet)
{
    SharedAccess everyone;
    return KernelHandle(CreateEventW(everyone.Attributes(), manualReset, initiallySet, name));
}
