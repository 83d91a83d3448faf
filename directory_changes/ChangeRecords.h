// Decodes the change records that the system writes into the buffer of a watch.
//
// A record is a FILE_NOTIFY_INFORMATION: next-entry offset, action and name length in bytes (32 bits each,
// little-endian), then the name in UTF-16. No pointer into the buffer outlives the call. Any thread. Portable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Receives the decoded changes. Paths are full paths, valid during the call.
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

// Decodes `size` bytes. When the last record is the old name of a rename, moves it to the start of the buffer and
// returns its size, a multiple of 4: the next read goes behind it. Returns 0 otherwise. The buffer must have room for
// LongestCarry, however few bytes came. Throws std::bad_alloc.
std::size_t DecodeChanges(std::uint8_t* buffer, std::size_t size, std::wstring_view directory, ChangeRecordSink& sink);

// Reports the old name that DecodeChanges has moved to the start as removed: its new name will not come. Throws
// std::bad_alloc.
void GiveUpCarriedName(const std::uint8_t* buffer, std::size_t carry, std::wstring_view directory,
                       ChangeRecordSink& sink);
