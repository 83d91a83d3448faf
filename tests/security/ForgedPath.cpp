#include "tests/security/ForgedPath.h"

#include "support/Hashes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <stdexcept>

namespace
{

using Words = std::array<std::uint32_t, 4>;

constexpr std::uint32_t Seed = 0x1337;
constexpr Words Factor = {0x239B961B, 0xAB0E9789, 0x38B34AE5, 0xA1E38B93};
constexpr std::array<int, 4> Before = {15, 16, 17, 18};
constexpr std::array<int, 4> After = {19, 17, 15, 13};
constexpr Words Added = {0x561CCD1B, 0x0BCAA747, 0x96CD1C35, 0x32AC3B17};
constexpr std::size_t BlockUnits = 8;

// Returns the number that undoes a multiplication by an odd number.
constexpr std::uint32_t Inverse(std::uint32_t odd)
{
    std::uint32_t inverse = odd;
    for (int i = 0; i < 5; ++i)
        inverse *= 2 - odd * inverse;
    return inverse;
}

std::uint32_t Scramble(std::uint32_t k, std::size_t lane)
{
    return std::rotl(k * Factor[lane], Before[lane]) * Factor[(lane + 1) % 4];
}

std::uint32_t Unscramble(std::uint32_t k, std::size_t lane)
{
    return std::rotr(k * Inverse(Factor[(lane + 1) % 4]), Before[lane]) * Inverse(Factor[lane]);
}

std::uint32_t UndoFinalMix(std::uint32_t h)
{
    h ^= h >> 16;
    h *= Inverse(0xC2B2AE35);
    h ^= (h >> 13) ^ (h >> 26);
    h *= Inverse(0x85EBCA6B);
    return h ^ (h >> 16);
}

void UndoSpread(Words& h)
{
    for (std::size_t lane = 1; lane < 4; ++lane)
        h[lane] -= h[0];
    h[0] -= h[1] + h[2] + h[3];
}

wchar_t Lower(wchar_t unit) { return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + 32) : unit; }

// Returns the words of up to eight units, in the form that the hash reads.
Words WordsOf(std::wstring_view units)
{
    Words words{};
    for (std::size_t i = 0; i < units.size(); ++i)
        words[i / 2] |= std::uint32_t(static_cast<std::uint16_t>(Lower(units[i]))) << (i % 2 * 16);
    return words;
}

// Returns the state of the hash after whole blocks.
Words StateAfter(std::wstring_view blocks)
{
    Words h = {Seed, Seed, Seed, Seed};
    for (; !blocks.empty(); blocks.remove_prefix(BlockUnits)) {
        const Words k = WordsOf(blocks.substr(0, BlockUnits));
        for (std::size_t lane = 0; lane < 4; ++lane) {
            h[lane] ^= Scramble(k[lane], lane);
            h[lane] = (std::rotl(h[lane], After[lane]) + h[(lane + 1) % 4]) * 5 + Added[lane];
        }
    }
    return h;
}

// Returns the state before the ending that gives the whole path the key; two words of the hash are free.
Words StateBefore(std::wstring_view ending, std::uint64_t key, std::uint32_t length, std::uint32_t third,
                  std::uint32_t fourth)
{
    const auto first = static_cast<std::uint32_t>(key), second = static_cast<std::uint32_t>(key >> 32);
    Words h = {0, second - first, third, fourth};
    h[0] = first - h[1] - h[2] - h[3];
    for (auto& word : h)
        word = UndoFinalMix(word);
    UndoSpread(h);
    const Words tail = WordsOf(ending);
    for (std::size_t lane = 0; lane < 4; ++lane)
        h[lane] ^= length ^ (ending.size() > lane * 2 ? Scramble(tail[lane], lane) : 0);
    return h;
}

// Returns the units of the block that leads from one state to the other.
std::wstring BlockBetween(const Words& from, const Words& to)
{
    Words h = to;
    std::wstring units(BlockUnits, L'\0');
    // Each lane was mixed with its neighbour's value at that time: the last lane with the first one, which was new
    // already.
    for (std::size_t lane = 4; lane-- > 0;) {
        const std::uint32_t neighbour = lane == 3 ? to[0] : from[lane + 1];
        h[lane] = std::rotr((to[lane] - Added[lane]) * Inverse(5) - neighbour, After[lane]);
        const std::uint32_t k = Unscramble(h[lane] ^ from[lane], lane);
        units[lane * 2] = static_cast<wchar_t>(k & 0xFFFF);
        units[lane * 2 + 1] = static_cast<wchar_t>(k >> 16);
    }
    return units;
}

// Returns true for ideographs and Hangul syllables, which have no other case.
bool IsLetter(wchar_t unit)
{
    return (unit >= 0x3400 && unit <= 0x4DB5) || (unit >= 0x4E00 && unit <= 0x9FA5) ||
           (unit >= 0xAC00 && unit <= 0xD7A3);
}

} // namespace

std::wstring ForgedPath(std::wstring_view folder, std::wstring_view victim, std::wstring_view ending)
{
    std::wstring path(folder);
    path.append(BlockUnits - path.size() % BlockUnits, L'x');
    const Words from = StateAfter(path);
    const auto length = static_cast<std::uint32_t>((path.size() + BlockUnits + ending.size()) * 2);
    const std::uint64_t key = PathHash64(victim);
    for (std::uint32_t attempt = 0; attempt < 100'000; ++attempt) {
        const std::wstring block = BlockBetween(from, StateBefore(ending, key, length, attempt, attempt * 0x9E3779B9));
        if (std::any_of(block.begin(), block.end(), [](wchar_t unit) { return !IsLetter(unit); }))
            continue;
        path.append(block).append(ending);
        if (PathHash64(path) == key)
            return path;
        break;
    }
    throw std::logic_error("no path with this key: has the hash changed?");
}
