#include "support/PathFingerprint.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

namespace
{

// The reference's check values: secret 00 01 .. 0F over the bytes 00 01 ..
PathFingerprint OfBytes(std::size_t count)
{
    std::array<std::byte, 64> bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::byte>(i);
    return SipHash128(std::span(bytes).first(count), 0x0706050403020100, 0x0F0E0D0C0B0A0908);
}

TEST(PathFingerprints, AreSipHash)
{
    EXPECT_EQ(OfBytes(0), (PathFingerprint{0xE6A825BA047F81A3, 0x930255C71472F66D}));
    EXPECT_EQ(OfBytes(1), (PathFingerprint{0x44AF996BD8C187DA, 0x45FC229B11597634}));
}

TEST(PathFingerprints, AreEqualInWhateverCaseAndForNothingElse)
{
    EXPECT_EQ(FingerprintOf(L"C:\\\u00e4\\File"), FingerprintOf(L"c:\\\u00c4\\fILE"));
    const std::wstring path = L"C:\\" + std::wstring(1000, L'a');
    std::set<std::uint64_t> seen;
    for (std::size_t length = 0; length <= path.size(); ++length)
        EXPECT_TRUE(seen.insert(FingerprintOf(path.substr(0, length)).first).second) << length;
}

} // namespace
