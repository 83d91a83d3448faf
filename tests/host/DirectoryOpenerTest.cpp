// The folders of the selection are opened once each, and Ctrl-C or the time limit ends the opening.
#include "host/DirectoryOpener.h"
#include "tests/support/ImportedCall.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace
{

unsigned g_opened = 0;
unsigned g_listed = 0;

HANDLE WINAPI CountedFind(const wchar_t* path, WIN32_FIND_DATAW* data)
{
    ++g_opened;
    return SystemFunction<decltype(FindFirstFileW)>("FindFirstFileW")(path, data);
}
BOOL WINAPI CountedNext(HANDLE search, WIN32_FIND_DATAW* data)
{
    ++g_listed;
    return SystemFunction<decltype(FindNextFileW)>("FindNextFileW")(search, data);
}

class OpenedFolders : public testing::Test
{
protected:
    OpenedFolders()
    {
        g_opened = 0;
        g_listed = 0;
    }
    // Rules for so many folders side by side.
    std::vector<SelectionView::Folder> Siblings(unsigned count)
    {
        std::vector<SelectionView::Folder> folders;
        for (unsigned i = 0; i < count; ++i) {
            const std::wstring path = folder.Path((L"n" + std::to_wstring(i)).c_str()).GetString();
            std::filesystem::create_directories(path);
            folders.push_back({path + L"\\", true});
        }
        return folders;
    }
    void Open(std::vector<SelectionView::Folder> folders, std::function<bool()> stop)
    {
        const ImportedCall first(nullptr, "FindFirstFileW", CountedFind);
        const ImportedCall next(nullptr, "FindNextFileW", CountedNext);
        DirectoryOpener opener(std::move(folders), std::move(stop));
        opener.Open({L"c:\\"});
    }
    // The folders from below the root down to the one of the test.
    unsigned Above()
    {
        const std::wstring path = folder.Path(L"").GetString();
        return static_cast<unsigned>(std::count(path.begin(), path.end(), L'\\')) - 1;
    }

    const TempFolder folder;
};

TEST_F(OpenedFolders, AreOpenedOnceHoweverManyRulesLeadThroughThem)
{
    Open(Siblings(40), [] { return false; });
    EXPECT_EQ(g_opened, 40 + Above());
    EXPECT_LE(g_listed, 40 * 3u); // of each its own entries, and none of those beside it
}

TEST_F(OpenedFolders, AreOpenedOnceWhenOneRuleIsBelowAnother)
{
    std::vector<SelectionView::Folder> folders = Siblings(5);
    folders.push_back({std::wstring(folder.Path(L"").GetString()), true});
    Open(std::move(folders), [] { return false; });
    EXPECT_EQ(g_opened, 5 + Above());
}

TEST_F(OpenedFolders, AreLeftAsSoonAsTheWatchIsToEnd)
{
    Open(Siblings(40), [] { return g_opened >= 3; });
    EXPECT_LE(g_opened, 3u);
}

} // namespace
