// Decoding the change records that the system writes into a watch's buffer.
//
// A record is FILE_NOTIFY_INFORMATION: next-entry offset, action and name length
// in bytes (32 bits each, little-endian), then the name in UTF-16. No pointer
// into the buffer outlives the call. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Receives the decoded changes; full paths.
class ChangeRecordSink
{
public:
    virtual void Added(const wchar_t* path) = 0;
    virtual void Removed(const wchar_t* path) = 0;
    virtual void Modified(const wchar_t* path) = 0;
    virtual void Renamed(const wchar_t* oldPath, const wchar_t* newPath) = 0;

protected:
    ~ChangeRecordSink() = default;
};

constexpr std::size_t LongestRecordName = 260; // units; longer names are cut

constexpr std::size_t LongestCarry = 536; // bytes: the longest name, its header, and what rounding adds

// Decodes `size` bytes. When the last record is the old name of a rename, it is moved to the start of the
// buffer and its size is returned, a multiple of 4: the next read goes behind it. 0 otherwise. The buffer has
// room for LongestCarry, however few bytes came.
std::size_t DecodeChanges(std::uint8_t* buffer, std::size_t size, std::wstring_view directory, ChangeRecordSink& sink);

// The old name that DecodeChanges has moved to the start will get no successor: it is gone.
void GiveUpCarriedName(const std::uint8_t* buffer, std::size_t carry, std::wstring_view directory,
                       ChangeRecordSink& sink);
