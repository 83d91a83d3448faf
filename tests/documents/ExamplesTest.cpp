// Checks that concern all pages.
#include "tests/documents/Page.h"

#include <gtest/gtest.h>

namespace
{

TEST(Examples, EachIsShownByAPageAsItIs)
{
    for (const std::string& example : Pages::AllExamples()) {
        int shown = 0;
        for (const std::string& page : Pages::All())
            if (const std::string lines = Pages::Shown(page, example); !lines.empty()) {
                EXPECT_EQ(lines, Pages::AsShown(example)) << page;
                ++shown;
            }
        EXPECT_EQ(shown, 1) << example;
    }
}

TEST(AllPages, EachStandsInTheListOfPages)
{
    const std::string list = Pages::Read("README.md");
    for (const std::string& page : Pages::All())
        EXPECT_TRUE(page == "README.md" || list.find("](" + page + ")") != std::string::npos) << page;
}

} // namespace
