// The page that shows an estimate.
#include "host/EstimateReport.h"

#include <gtest/gtest.h>

namespace
{

// Deeper than the stack would bear.
TEST(EstimateReports, AVeryDeepTreeIsShownByItsUpperFolders)
{
    EstimateReport report;
    report.estimate.included = {1, 100};
    CString path = L"q:";
    for (int depth = 0; depth < 6000; ++depth, path += L"\\d")
        report.estimate.folders.push_back({path, report.estimate.included});
    EXPECT_LT(EstimatePage(report).size(), 100000u); // 6,000 names are more than that
}

} // namespace
