#include "support/Hashes.h"

#include <bit>
#include <cstring>
#include <vector>

static_assert(std::endian::native == std::endian::little, "keys are defined over little-endian units");

namespace
{

constexpr std::uint32_t WideStringSeed = 0xDEADBEEF;
constexpr std::uint32_t PathKeySeed = 0x1337;

std::uint32_t Block(const unsigned char* bytes)
{
    std::uint32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

std::uint32_t FinalMix(std::uint32_t h)
{
    h ^= h >> 16;
    h *= 0x85EBCA6B;
    h ^= h >> 13;
    h *= 0xC2B2AE35;
    return h ^ (h >> 16);
}

// Returns the bytes after the last whole block, as one little-endian word.
std::uint32_t Tail(const unsigned char* bytes, std::size_t count)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count && i < 4; ++i)
        value |= std::uint32_t(bytes[i]) << (8 * i);
    return value;
}

// The units of a text as 16-bit words, whatever the size of wchar_t.
class Units
{
public:
    explicit Units(std::size_t count) : m_count(count)
    {
        if (count > m_near.size())
            m_far.resize(count);
    }
    std::uint16_t* Data() { return m_count > m_near.size() ? m_far.data() : m_near.data(); }
    std::size_t Bytes() const { return m_count * sizeof(std::uint16_t); }

private:
    std::size_t m_count;
    std::array<std::uint16_t, 320> m_near; // a path of usual length needs no allocation
    std::vector<std::uint16_t> m_far;
};

} // namespace

std::uint32_t MurmurHash3x86_32(const void* data, std::size_t length, std::uint32_t seed)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    const auto scramble = [](std::uint32_t k) { return std::rotl(k * 0xCC9E2D51u, 15) * 0x1B873593u; };
    std::uint32_t h = seed;
    const std::size_t blocks = length / 4;
    for (std::size_t i = 0; i < blocks; ++i)
        h = std::rotl(h ^ scramble(Block(bytes + i * 4)), 13) * 5 + 0xE6546B64u;
    if (length % 4 != 0)
        h ^= scramble(Tail(bytes + blocks * 4, length % 4));
    return FinalMix(h ^ static_cast<std::uint32_t>(length));
}

std::array<std::uint32_t, 4> MurmurHash3x86_128(const void* data, std::size_t length, std::uint32_t seed)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    constexpr std::uint32_t c[4] = {0x239B961B, 0xAB0E9789, 0x38B34AE5, 0xA1E38B93};
    constexpr int before[4] = {15, 16, 17, 18};
    constexpr int after[4] = {19, 17, 15, 13};
    constexpr std::uint32_t add[4] = {0x561CCD1B, 0x0BCAA747, 0x96CD1C35, 0x32AC3B17};
    std::array<std::uint32_t, 4> h = {seed, seed, seed, seed};
    const auto scramble = [&](std::uint32_t k, int lane) {
        return std::rotl(k * c[lane], before[lane]) * c[(lane + 1) % 4];
    };
    const std::size_t blocks = length / 16;
    for (std::size_t i = 0; i < blocks; ++i)
        for (int lane = 0; lane < 4; ++lane) {
            h[lane] ^= scramble(Block(bytes + i * 16 + lane * 4), lane);
            h[lane] = (std::rotl(h[lane], after[lane]) + h[(lane + 1) % 4]) * 5 + add[lane];
        }
    const std::size_t rest = length % 16;
    for (int lane = 0; lane < 4; ++lane)
        if (rest > static_cast<std::size_t>(lane) * 4)
            h[lane] ^= scramble(Tail(bytes + blocks * 16 + lane * 4, rest - lane * 4), lane);
    for (auto& word : h)
        word ^= static_cast<std::uint32_t>(length);
    const auto spread = [&] {
        h[0] += h[1] + h[2] + h[3];
        for (int lane = 1; lane < 4; ++lane)
            h[lane] += h[0];
    };
    spread();
    for (auto& word : h)
        word = FinalMix(word);
    spread();
    return h;
}

std::uint32_t HashWideString32(const wchar_t* text, int byteLength)
{
    const std::size_t count = static_cast<std::size_t>(byteLength) / 2;
    if constexpr (sizeof(wchar_t) == sizeof(std::uint16_t))
        return MurmurHash3x86_32(text, count * 2, WideStringSeed);
    Units units(count);
    for (std::size_t i = 0; i < count; ++i)
        units.Data()[i] = static_cast<std::uint16_t>(text[i]);
    return MurmurHash3x86_32(units.Data(), units.Bytes(), WideStringSeed);
}

std::array<std::uint32_t, 4> HashPathKey128(std::wstring_view path)
{
    Units units(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        const auto unit = static_cast<std::uint16_t>(path[i]);
        units.Data()[i] = unit >= 'A' && unit <= 'Z' ? static_cast<std::uint16_t>(unit + 32) : unit;
    }
    return MurmurHash3x86_128(units.Data(), units.Bytes(), PathKeySeed);
}

std::uint64_t PathHash64(std::wstring_view path)
{
    const auto key = HashPathKey128(path);
    return key[0] | std::uint64_t(key[1]) << 32;
}
