// The page of the dump file.
#include "orbwatcher4/core/pending/DumpFile.h"
#include "orbwatcher4/core/pending/DumpLines.h"
#include "support/FileWriter.h"
#include "tests/documents/Page.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

const std::vector<std::wstring> paths = {L"C:\\Users\\Anna\\notes.txt", L"C:\\Users\\Anna\\Documents\\\xDC"
                                                                        L"bung.odt"};

TEST(DumpFilePage, TheExampleIsWhatIsWrittenForTheTwoPaths)
{
    FileWriter disk;
    const TempFolder folder;
    {
        DumpWriter writer(folder.Path(L"dump.bin"), disk);
        for (const std::wstring& path : paths)
            ASSERT_TRUE(writer.Add(path.c_str()));
        ASSERT_TRUE(writer.Finish());
    }
    EXPECT_EQ(folder.ReadBytes(L"dump.bin"), Pages::Example("watcher_dump.bin"));
}

TEST(DumpFilePage, TheExampleIsReadAsTheTwoPaths)
{
    std::vector<std::wstring> read;
    const CString file(std::wstring_view(Pages::ExampleFile("watcher_dump.bin").wstring()));
    EXPECT_EQ(
        ReadDump(file, [] { return false; }, [&](const CString& path) { read.emplace_back(path); }), DumpRead::Whole);
    EXPECT_EQ(read, paths);
}

TEST(DumpFilePage, TheLongestLineIsThatOfThePage)
{
    const std::string page = Pages::Read("dump-file.md");
    EXPECT_NE(page.find("more than " + std::to_string(DumpLines::LongestLine) + " units"), std::string::npos);
}

} // namespace
