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
// A carried record counts as 14 bytes and its name, rounded up.
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

// A next-entry offset of 0, or one that leads out of the buffer, ends the walk.
std::optional<Record> After(const std::uint8_t* buffer, std::size_t size, const Record& record)
{
    if (record.next == 0 || record.next > size - record.offset)
        return std::nullopt;
    return RecordAt(buffer, size, record.offset + record.next);
}

// Builds the path of one record after the other in the same memory.
class Paths
{
public:
    Paths(const std::uint8_t* buffer, std::wstring_view directory) : m_buffer(buffer)
    {
        m_path.reserve(directory.size() + 1 + LongestRecordName);
        m_path = directory;
        if (m_path.empty() || m_path.back() != L'\\')
            m_path += L'\\';
        m_nameStart = m_path.size();
    }

    // The result is valid until the next call.
    const wchar_t* Of(const Record& record)
    {
        m_path.resize(m_nameStart);
        const std::size_t units = std::min(record.nameBytes / 2, LongestRecordName);
        const std::uint8_t* name = m_buffer + record.offset + HeaderSize;
        for (std::size_t i = 0; i < units; ++i) {
            std::uint16_t unit;
            std::memcpy(&unit, name + i * 2, sizeof unit);
            if (unit == 0)
                break;
            m_path += static_cast<wchar_t>(unit);
        }
        return m_path.c_str();
    }

private:
    const std::uint8_t* const m_buffer;
    std::wstring m_path;
    std::size_t m_nameStart;
};

// Moves the record to the start of the buffer and returns its size. A name is cut to the length that is reported, so
// that it leaves room for the next read.
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
    Paths paths(buffer, directory);
    std::optional<Record> record = RecordAt(buffer, size, 0);
    while (record) {
        std::optional<Record> next = After(buffer, size, *record);
        switch (record->action) {
        case ActionAdded:
            sink.Added(paths.Of(*record));
            break;
        case ActionRemoved:
            sink.Removed(paths.Of(*record));
            break;
        case ActionModified:
            sink.Modified(paths.Of(*record));
            break;
        case ActionOldName:
            if (!next)
                return Carry(buffer, *record);
            if (next->action == ActionNewName) {
                const std::wstring oldPath = paths.Of(*record);
                sink.Renamed(oldPath.c_str(), paths.Of(*next));
                next = After(buffer, size, *next);
            } else {
                sink.Removed(paths.Of(*record));
            }
            break;
        default:
            break; // a new name without its old one, and actions outside the change filter
        }
        record = next;
    }
    return 0;
}

void GiveUpCarriedName(const std::uint8_t* buffer, std::size_t carry, std::wstring_view directory,
                       ChangeRecordSink& sink)
{
    if (const std::optional<Record> record = RecordAt(buffer, carry, 0))
        sink.Removed(Paths(buffer, directory).Of(*record));
}
