#include "directory_changes/ChangeRecords.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

namespace
{

enum Action : std::uint32_t {
    ActionAdded = 1,
    ActionRemoved = 2,
    ActionModified = 3,
    ActionOldName = 4,
    ActionNewName = 5
};

constexpr std::size_t HeaderSize = 12;
// The fixed part of a record that is moved, its two first units' worth included.
constexpr std::size_t CarriedHeaderSize = 14;
static_assert((CarriedHeaderSize + LongestRecordName * 2 + 3) / 4 * 4 == LongestCarry);

struct Record {
    std::size_t offset;
    std::uint32_t next;
    std::uint32_t action;
    std::size_t nameBytes; // inside the buffer
};

std::uint32_t Word(const std::uint8_t* bytes)
{
    std::uint32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

void SetWord(std::uint8_t* bytes, std::uint32_t value) { std::memcpy(bytes, &value, sizeof value); }

std::optional<Record> RecordAt(const std::uint8_t* buffer, std::size_t size, std::size_t offset)
{
    if (offset > size || size - offset < HeaderSize)
        return std::nullopt;
    const std::uint8_t* at = buffer + offset;
    const std::size_t room = size - offset - HeaderSize;
    return Record{offset, Word(at), Word(at + 4), std::min<std::size_t>(Word(at + 8), room)};
}

// Next-entry offsets lead forwards only; 0 and whatever leads out of the buffer end the walk.
std::optional<Record> After(const std::uint8_t* buffer, std::size_t size, const Record& record)
{
    if (record.next == 0 || record.next > size - record.offset)
        return std::nullopt;
    return RecordAt(buffer, size, record.offset + record.next);
}

std::wstring PathOf(const std::uint8_t* buffer, const Record& record, std::wstring_view directory)
{
    std::wstring path(directory);
    if (path.empty() || path.back() != L'\\')
        path += L'\\';
    const std::size_t units = std::min(record.nameBytes / 2, LongestRecordName);
    const std::uint8_t* name = buffer + record.offset + HeaderSize;
    for (std::size_t i = 0; i < units; ++i) {
        std::uint16_t unit;
        std::memcpy(&unit, name + i * 2, sizeof unit);
        if (unit == 0)
            break;
        path += static_cast<wchar_t>(unit);
    }
    return path;
}

// A name is kept as far as it will ever be reported, so that what is carried leaves room for the next read.
std::size_t Carry(std::uint8_t* buffer, const Record& record)
{
    const std::size_t nameBytes = std::min(record.nameBytes, LongestRecordName * 2);
    const std::size_t used = HeaderSize + nameBytes;
    // The system refuses a buffer that does not begin at a multiple of 4.
    const std::size_t carry = (CarriedHeaderSize + nameBytes + 3) / 4 * 4;
    std::memmove(buffer, buffer + record.offset, used);
    std::memset(buffer + used, 0, carry - used);
    SetWord(buffer, static_cast<std::uint32_t>(carry));
    SetWord(buffer + 8, static_cast<std::uint32_t>(nameBytes));
    return carry;
}

} // namespace

std::size_t DecodeChanges(std::uint8_t* buffer, std::size_t size, std::wstring_view directory, ChangeRecordSink& sink)
{
    std::optional<Record> record = RecordAt(buffer, size, 0);
    while (record) {
        std::optional<Record> next = After(buffer, size, *record);
        const auto path = [&] { return PathOf(buffer, *record, directory); };
        switch (record->action) {
        case ActionAdded:
            sink.Added(path().c_str());
            break;
        case ActionRemoved:
            sink.Removed(path().c_str());
            break;
        case ActionModified:
            sink.Modified(path().c_str());
            break;
        case ActionOldName:
            if (!next)
                return Carry(buffer, *record);
            if (next->action == ActionNewName) {
                sink.Renamed(path().c_str(), PathOf(buffer, *next, directory).c_str());
                next = After(buffer, size, *next);
            } else {
                sink.Removed(path().c_str());
            }
            break;
        default:
            break; // a new name without its old one, and actions that nobody asked for
        }
        record = next;
    }
    return 0;
}

void GiveUpCarriedName(const std::uint8_t* buffer, std::size_t carry, std::wstring_view directory,
                       ChangeRecordSink& sink)
{
    if (const std::optional<Record> record = RecordAt(buffer, carry, 0))
        sink.Removed(PathOf(buffer, *record, directory).c_str());
}
