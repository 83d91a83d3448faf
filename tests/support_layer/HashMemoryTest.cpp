#include "support/HashMemory.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace
{

// A table that can be emptied, and not be copied.
struct UncopiedTable {
    UncopiedTable() = default;
    UncopiedTable(const UncopiedTable&) { throw std::length_error("resize overflow"); }
    void clear_no_resize() { emptied = true; }
    void swap(UncopiedTable&) {}

    bool emptied = false;
};

} // namespace

TEST(HashMemory, EmptiesATableWhateverTheCopyOfItThrows)
{
    UncopiedTable table;
    EmptyTable(table);
    EXPECT_TRUE(table.emptied);
}
