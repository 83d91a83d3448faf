// The estimator out of the DLL, with nothing of its inside.
#include "orbwatcher4/Scanner.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace
{

static_assert(std::is_base_of_v<SmartScanCaller, Scanner>);
static_assert(!std::has_virtual_destructor_v<Scanner>);

TEST(ExportedScanner, EstimatesASelectionFromItsFile)
{
    const TempFolder folder;
    folder.WriteBytes(L"tree\\a.txt", "123");
    folder.WriteBytes(L"tree\\d\\b.doc", "1234");
    folder.WriteBytes(L"tree\\d\\c.tmp", "12345");
    const CString tree = folder.Path(L"tree\\");
    const std::wstring path(tree);
    folder.WriteBytes(L"data.xml", "<Data><Item type=\"1\" includeSub=\"1\" pluginId=\"3\" path=\"" +
                                       std::string(path.begin(), path.end()) + "\"/></Data>");
    Scanner scanner(folder.Path(L"data.xml"), L"", L"");
    scanner.Start();
    EXPECT_EQ(scanner.GetTotalSize(), 0.0);
    scanner.AddProfile(3);
    scanner.UpdateTotals();
    EXPECT_EQ(scanner.GetTotalSize(), 12.0);
    EXPECT_EQ(scanner.GetTotalCost(), 0.0);
    scanner.RemovePath(tree + L"d\\", true);
    const auto copy = std::make_unique<Scanner>(scanner);
    const Estimate estimate = copy->GetEstimate();
    EXPECT_EQ(estimate.included, (SizeTotal{1, 3}));
    ASSERT_EQ(estimate.leftOut.size(), 1u);
    EXPECT_EQ(estimate.leftOut[0].total, (SizeTotal{2, 9}));
    ASSERT_EQ(estimate.extensions.size(), 1u);
    EXPECT_EQ(estimate.folders.front().total, (SizeTotal{1, 3}));
    EXPECT_EQ(copy->GetScanProgress().files, 3u);
    EXPECT_TRUE(copy->GetPassedOver().empty());
}

} // namespace
