// Any bytes as what a read brought, the first byte saying where the read is cut in two:
// nothing beyond the bytes is looked at, each path lies below the directory, and what is
// carried from one read to the next is delivered once.
#include "fuzz/FuzzInput.h"

#include "directory_changes/ChangeRecords.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace
{

constexpr std::wstring_view Directory = L"C:\\d";

class Sink final : public ChangeRecordSink
{
public:
    std::size_t events = 0;

    void Added(const wchar_t* path) override { Take(path); }
    void Removed(const wchar_t* path) override { Take(path); }
    void Modified(const wchar_t* path) override { Take(path); }
    void Renamed(const wchar_t* oldPath, const wchar_t* newPath) override
    {
        Take(oldPath);
        Take(newPath);
    }

private:
    void Take(std::wstring_view path)
    {
        ++events;
        Require(path.starts_with(Directory) && path[Directory.size()] == L'\\');
        Require(path.size() <= Directory.size() + 1 + LongestRecordName);
    }
};

// A block of exactly the bytes that decoding may touch, so that a step outside is seen.
class Read
{
public:
    Read(const std::vector<std::uint8_t>& before, const std::uint8_t* data, std::size_t size)
        : m_size(before.size() + size),
          m_bytes(std::max(m_size, LongestCarry))
    {
        std::copy(before.begin(), before.end(), m_bytes.begin());
        std::copy_n(data, size, m_bytes.begin() + static_cast<std::ptrdiff_t>(before.size()));
    }

    // The bytes that are carried over.
    std::vector<std::uint8_t> Decode(Sink& sink)
    {
        const std::size_t carry = DecodeChanges(m_bytes.data(), m_size, Directory, sink);
        Require(carry % 4 == 0 && carry <= LongestCarry);
        return {m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(carry)};
    }

private:
    std::size_t m_size;
    std::vector<std::uint8_t> m_bytes;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::size_t first = std::min<std::size_t>(std::size_t(data[0]) * 4, size - 1);
    Sink sink;
    std::vector<std::uint8_t> carried = Read({}, data + 1, first).Decode(sink);
    carried = Read(carried, data + 1 + first, size - 1 - first).Decode(sink);
    if (carried.empty())
        return 0;
    const std::size_t before = sink.events;
    GiveUpCarriedName(carried.data(), carried.size(), Directory, sink);
    Require(sink.events == before + 1);
    return 0;
}
