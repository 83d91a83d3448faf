// The number by which a volume is known, whatever letter it has. Any thread.
#pragma once

#include "support/Backslash.h"
#include "support/LockOrder.h"

#include <cstdint>
#include <optional>

#include <windows.h>

// Returns the serial number of the volume with this root; 0 when its file system gives none. Nothing when it cannot be
// asked: the drive is away, or holds no volume.
inline std::optional<std::int32_t> VolumeSerial(const CString& root)
{
    DWORD serial = 0;
    if (!GetVolumeInformationW(WithBackslash(root), nullptr, 0, &serial, nullptr, nullptr, nullptr, 0))
        return std::nullopt;
    return static_cast<std::int32_t>(serial);
}

// Returns true when the root holds the volume. A volume without a number (0) may be any.
inline bool HoldsVolume(const CString& root, std::int32_t serial)
{
    return serial == 0 || VolumeSerial(root) == serial;
}
