#include "support/PathFingerprint.h"

#include "support/CaseFold.h"

#include <array>
#include <bit>
#include <cstring>
#include <random>
#include <vector>

static_assert(std::endian::native == std::endian::little, "SipHash reads little-endian words");

namespace
{

class SipState
{
public:
    SipState(std::uint64_t first, std::uint64_t second)
        : m_v{first ^ 0x736F6D6570736575, second ^ 0x646F72616E646F6D ^ 0xEE, first ^ 0x6C7967656E657261,
              second ^ 0x7465646279746573}
    {
    }
    void Mix(std::uint64_t word)
    {
        m_v[3] ^= word;
        Rounds(2);
        m_v[0] ^= word;
    }
    PathFingerprint Finish()
    {
        m_v[2] ^= 0xEE;
        Rounds(4);
        const std::uint64_t first = Result();
        m_v[1] ^= 0xDD;
        Rounds(4);
        return {first, Result()};
    }

private:
    std::uint64_t Result() const { return m_v[0] ^ m_v[1] ^ m_v[2] ^ m_v[3]; }
    void Rounds(int count)
    {
        for (int i = 0; i < count; ++i) {
            HalfRound(0, 1, 13, 32);
            HalfRound(2, 3, 16, 0);
            HalfRound(0, 3, 21, 0);
            HalfRound(2, 1, 17, 32);
        }
    }
    void HalfRound(std::size_t a, std::size_t b, int turn, int turnSum)
    {
        m_v[a] += m_v[b];
        m_v[b] = std::rotl(m_v[b], turn) ^ m_v[a];
        m_v[a] = std::rotl(m_v[a], turnSum);
    }

    std::array<std::uint64_t, 4> m_v;
};

struct Secret {
    std::uint64_t first = Random(), second = Random();

    static std::uint64_t Random()
    {
        std::random_device device;
        return std::uint64_t(device()) << 32 | device();
    }
};

const Secret& OfThisProcess()
{
    static const Secret secret;
    return secret;
}

} // namespace

PathFingerprint SipHash128(std::span<const std::byte> bytes, std::uint64_t firstSecret, std::uint64_t secondSecret)
{
    SipState state(firstSecret, secondSecret);
    std::uint64_t word = std::uint64_t(bytes.size()) << 56; // the last word: the bytes that no whole word holds
    for (; bytes.size() >= sizeof word; bytes = bytes.subspan(sizeof word)) {
        std::uint64_t whole;
        std::memcpy(&whole, bytes.data(), sizeof whole);
        state.Mix(whole);
    }
    for (std::size_t i = 0; i < bytes.size(); ++i)
        word |= std::uint64_t(bytes[i]) << (8 * i);
    state.Mix(word);
    return state.Finish();
}

PathFingerprint FingerprintOf(std::wstring_view path)
{
    const std::uint16_t* const upper = UpperUnits();
    std::array<std::uint16_t, 320> near; // a path of usual length needs no allocation
    std::vector<std::uint16_t> far;
    if (path.size() > near.size())
        far.resize(path.size());
    std::uint16_t* const units = far.empty() ? near.data() : far.data();
    for (std::size_t i = 0; i < path.size(); ++i)
        units[i] = upper[static_cast<std::uint16_t>(path[i])];
    const Secret& secret = OfThisProcess();
    return SipHash128(std::as_bytes(std::span(units, path.size())), secret.first, secret.second);
}
