// The line that shows how an enumeration goes.
#include "host/ProgressLine.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

EnumerationProgress Progress(const wchar_t* folder)
{
    EnumerationProgress progress;
    progress.files = 12;
    progress.folders = 3;
    progress.folder = folder;
    return progress;
}

TEST(ProgressLines, CountFilesAndFoldersAndNameTheRateAndTheFolder)
{
    EXPECT_EQ(ProgressText(Progress(L"C:\\docs\\"), 2, 80), "12 files, 3 folders, 7/s  C:\\docs\\");
}

TEST(ProgressLines, AreNeverLongerThanTheTerminalIsWide)
{
    const auto progress = Progress(L"C:\\a folder\\with a long\\name\\");
    EXPECT_EQ(ProgressText(progress, 2, 39), "12 files, 3 folders, 7/s  ...long\\name\\");
    for (std::size_t columns = 0; columns < 60; ++columns)
        EXPECT_LE(ProgressText(progress, 2, columns).size(), columns);
}

TEST(ProgressLines, OfAnEstimateCountItsDrivesAndSecondsToo)
{
    ScanProgress progress;
    progress.files = 12;
    progress.folders = 3;
    progress.drives = 2;
    progress.drivesDone = 1;
    progress.folder = L"c:\\docs";
    EXPECT_EQ(ProgressText(progress, 2.9, 80), "drives 1/2, 2 s, 12 files, 3 folders, 5/s  c:\\docs");
}

TEST(ProgressLines, AreNotWrittenToAFile)
{
    const TempFolder folder;
    FILE* file = _wfopen(folder.Path(L"out.txt"), L"wb");
    ASSERT_TRUE(file);
    ProgressLine line(OutputStream::Of(file));
    line.Show(Progress(L"C:\\"), 1);
    line.Erase();
    std::fclose(file);
    EXPECT_EQ(folder.ReadBytes(L"out.txt"), "");
}

} // namespace
