// Reading reparse data.
#include "orbwatcher4/filter/ReparseData.h"
#include "tests/filter/ReparseBytes.h"

#include <gtest/gtest.h>

namespace
{

void Put16(Bytes& bytes, std::size_t at, unsigned value)
{
    bytes[at] = static_cast<std::byte>(value & 0xFF);
    bytes[at + 1] = static_cast<std::byte>(value >> 8);
}

TEST(ReparseData, AMountPointLeadsToItsSubstituteNameWithoutTheObjectPrefix)
{
    ReparseTarget target;
    ASSERT_EQ(ParseReparseData(MountPoint(L"\\??\\D:\\Target"), target), ReparseKind::Link);
    EXPECT_TRUE(target.name == L"D:\\Target");
    EXPECT_FALSE(target.relative);
}

TEST(ReparseData, ASymbolicLinkSaysWhetherItIsRelative)
{
    ReparseTarget target;
    ASSERT_EQ(ParseReparseData(SymbolicLink(L"..\\there", true), target), ReparseKind::Link);
    EXPECT_TRUE(target.name == L"..\\there");
    EXPECT_TRUE(target.relative);
    ASSERT_EQ(ParseReparseData(SymbolicLink(L"\\??\\D:\\x", false), target), ReparseKind::Link);
    EXPECT_TRUE(target.name == L"D:\\x");
    EXPECT_FALSE(target.relative);
}

TEST(ReparseData, OtherTagsLeadNowhere)
{
    ReparseTarget target;
    EXPECT_EQ(ParseReparseData(WithHeader(0x9000001A, NamesOf(L"x", L"y", {})), target), ReparseKind::NoLink);
    EXPECT_EQ(ParseReparseData(WithHeader(0x80000013, {}), target), ReparseKind::NoLink);
}

TEST(ReparseData, DataThatIsCutAtAnyByteIsDamaged)
{
    for (const Bytes& whole : {MountPoint(L"\\??\\D:\\T"), SymbolicLink(L"..\\t", true)})
        for (std::size_t size = 0; size < whole.size(); ++size) {
            // A buffer of its own size, so that reading beyond it is seen.
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            ReparseTarget target;
            EXPECT_EQ(ParseReparseData(cut, target), ReparseKind::Damaged) << size;
        }
}

TEST(ReparseData, ANameOutsideOfTheDataIsDamaged)
{
    ReparseTarget target;
    for (const std::size_t field : {8u, 10u, 4u})
        for (const unsigned value : {0xFFFFu, 0xFFFEu, 0x7FFEu}) {
            Bytes bytes = MountPoint(L"\\??\\D:\\T");
            Put16(bytes, field, value);
            EXPECT_EQ(ParseReparseData(bytes, target), ReparseKind::Damaged) << field << ' ' << value;
        }
    Bytes odd = MountPoint(L"\\??\\D:\\T");
    Put16(odd, 10, 3);
    EXPECT_EQ(ParseReparseData(odd, target), ReparseKind::Damaged);
    // The name ends in the buffer, but beyond the data that the header tells of.
    Bytes behind = MountPoint(L"\\??\\D:\\T");
    behind.resize(behind.size() + 2);
    Put16(behind, 8, 12);
    EXPECT_EQ(ParseReparseData(behind, target), ReparseKind::Damaged);
}

TEST(ReparseData, AnEmptyNameAndOneWithAZeroAreDamaged)
{
    ReparseTarget target;
    for (const wchar_t* empty : {L"", L"\\??\\"}) {
        EXPECT_EQ(ParseReparseData(MountPoint(empty), target), ReparseKind::Damaged);
        EXPECT_EQ(ParseReparseData(SymbolicLink(empty, true), target), ReparseKind::Damaged);
    }
    EXPECT_EQ(ParseReparseData(MountPoint(std::wstring_view(L"D:\\a\0b", 6)), target), ReparseKind::Damaged);
}

TEST(ReparseData, ARelativeNameIsSeenFromTheFolderThatTheLinkLiesIn)
{
    EXPECT_TRUE(ResolveRelative(L"C:\\a\\link", L"t") == L"C:\\a\\t");
    EXPECT_TRUE(ResolveRelative(L"C:\\a\\link\\", L"..\\b\\.\\c") == L"C:\\b\\c");
    EXPECT_TRUE(ResolveRelative(L"C:\\a\\link", L"../b") == L"C:\\b");
    EXPECT_TRUE(ResolveRelative(L"C:\\a\\link", L"..\\..\\..") == L"C:\\");
    EXPECT_TRUE(ResolveRelative(L"C:\\a\\link", L"\\top") == L"C:\\top");
    EXPECT_TRUE(ResolveRelative(L"\\\\srv\\share\\a\\link", L"..\\..\\..\\x") == L"\\\\srv\\share\\x");
    EXPECT_TRUE(ResolveRelative(L"C:\\a.\\link", L"b. ") == L"C:\\a.\\b. ");
}

} // namespace
