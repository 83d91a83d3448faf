#include "support/Hashes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <string>
#include <vector>

namespace
{

template <typename Hash>
std::uint32_t Verification(std::size_t resultSize, Hash hash)
{
    std::vector<unsigned char> key(256), results;
    std::iota(key.begin(), key.end(), static_cast<unsigned char>(0));
    for (std::size_t length = 0; length < 256; ++length) {
        const auto result = hash(key.data(), length, static_cast<std::uint32_t>(256 - length));
        const auto* bytes = reinterpret_cast<const unsigned char*>(&result);
        results.insert(results.end(), bytes, bytes + resultSize);
    }
    const auto final = hash(results.data(), results.size(), 0);
    std::uint32_t value;
    std::memcpy(&value, &final, sizeof value);
    return value;
}

TEST(Hashes, The32BitFormHasThePublishedVerificationValue)
{
    EXPECT_EQ(Verification(4, MurmurHash3x86_32), 0xB0F57EE3u);
}

TEST(Hashes, The128BitFormHasThePublishedVerificationValue)
{
    EXPECT_EQ(Verification(16, MurmurHash3x86_128), 0xB3ECE62Au);
}

TEST(Hashes, KnownTextsHaveTheirPublishedValues)
{
    const auto hash = [](const std::string& text, std::uint32_t seed) {
        return MurmurHash3x86_32(text.data(), text.size(), seed);
    };
    EXPECT_EQ(hash("", 0), 0u);
    EXPECT_EQ(hash("abc", 0), 0xB3DD93FAu);
    EXPECT_EQ(hash("Hello, world!", 0x9747B28C), 0x24884CBAu);
    EXPECT_EQ(hash("The quick brown fox jumps over the lazy dog", 0x9747B28C), 0x2FA826CDu);
}

TEST(Hashes, TheBytesZeroTo255HaveTheirPublished128BitWords)
{
    std::vector<unsigned char> bytes(256);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
    const std::array<std::uint32_t, 4> words = {0x2c56c88f, 0xdb4503df, 0xd352b21a, 0x494ca2c0};
    EXPECT_EQ(MurmurHash3x86_128(bytes.data(), bytes.size(), 0), words);
}

TEST(Hashes, TheWideHashOfTheEmptyStringIsTheFinalMixOfTheSeed)
{
    std::uint32_t h = 0xDEADBEEF;
    h = (h ^ (h >> 16)) * 0x85EBCA6B;
    h = (h ^ (h >> 13)) * 0xC2B2AE35;
    EXPECT_EQ(HashWideString32(L"", 0), h ^ (h >> 16));
}

TEST(Hashes, TheWideHashReadsUnitsAsLittleEndianBytes)
{
    const unsigned char bytes[] = {'a', 0, 0xE4, 0, 0x34, 0x12};
    EXPECT_EQ(HashWideString32(L"aä\x1234", 6), MurmurHash3x86_32(bytes, 6, 0xDEADBEEF));
}

TEST(Hashes, APathAndItsUpperCaseFormShareTheirKeyButNotTheir32BitHash)
{
    const std::wstring lower = L"c:\\docs\\a.txt", upper = L"C:\\DOCS\\A.TXT";
    EXPECT_EQ(HashPathKey128(lower), HashPathKey128(upper));
    EXPECT_EQ(PathHash64(lower), PathHash64(upper));
    EXPECT_NE(HashWideString32(lower.c_str(), 26), HashWideString32(upper.c_str(), 26));
}

TEST(Hashes, KeysLowerCaseOnlyTheLettersAToZ) { EXPECT_NE(PathHash64(L"Ä"), PathHash64(L"ä")); }

TEST(Hashes, ThePathKeyIsSeededWith4919AndItsFirstTwoWordsMakeThe64BitKeyLowWordFirst)
{
    const unsigned char bytes[] = {'a', 0, 'b', 0};
    const auto words = MurmurHash3x86_128(bytes, 4, 4919);
    EXPECT_EQ(HashPathKey128(L"AB"), words);
    EXPECT_EQ(PathHash64(L"ab"), words[0] | std::uint64_t(words[1]) << 32);
}

TEST(Hashes, LongPathsAreHashedWhole)
{
    const std::wstring path(5000, L'x');
    EXPECT_NE(PathHash64(path), PathHash64(path.substr(1)));
}

} // namespace
