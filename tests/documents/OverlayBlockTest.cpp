// The page of the overlay block.
#include "OrbFileMonitorService/OverlayBlock.h"
#include "tests/documents/Page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace
{

TEST(OverlayBlockPage, TheExampleIsTheRequestThatSetsAStatus)
{
    OverlayBlock block = {};
    block.kind = static_cast<std::int32_t>(OverlayRequest::SetStatus);
    constexpr std::u16string_view path = u"C:\\Docs\\a.txt";
    std::copy(path.begin(), path.end(), block.path);
    block.status = OverlayStatus::Pending;
    const std::string bytes(reinterpret_cast<const char*>(&block), sizeof block);
    EXPECT_EQ(Pages::HexDump(bytes), Pages::HexDump(Pages::Example("overlay-block.bin")));
}

TEST(OverlayBlockPage, TheTableHasTheFieldsWhereTheyAre)
{
    const auto row = [](std::size_t offset, std::size_t size) {
        return Pages::Row{std::to_string(offset), std::to_string(size)};
    };
    std::vector<Pages::Row> expected = {row(offsetof(OverlayBlock, kind), sizeof OverlayBlock::kind),
                                        row(offsetof(OverlayBlock, path), sizeof OverlayBlock::path),
                                        row(offsetof(OverlayBlock, status), sizeof OverlayBlock::status)};
    std::vector<Pages::Row> found;
    for (const Pages::Row& cells : Pages::Table("overlay-block.md", {"Offset", "Size"}))
        if (!cells[0].empty())
            found.push_back({cells[0], cells[1]});
    EXPECT_EQ(found, expected);
}

} // namespace
