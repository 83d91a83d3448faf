// The data folder of the process, and which selection it belongs to.
#include "tests/capi/CapiTest.h"

namespace
{

class DataFolderFunctions : public CapiTest
{
protected:
    static std::wstring Folder()
    {
        wchar_t text[1024] = {};
        EXPECT_EQ(OrbGetDataFolder(text, 1024, nullptr), ORB_OK);
        return text;
    }
};

TEST_F(DataFolderFunctions, TheFolderThatIsSetHoldsWhatIsPending)
{
    ASSERT_EQ(OrbSetDataFolder(Path(L"mine").c_str()), ORB_OK);
    EXPECT_EQ(Folder(), Path(L"mine"));
    wchar_t variable[1024] = {};
    GetEnvironmentVariableW(L"ORB_DATA_FOLDER", variable, 1024);
    EXPECT_EQ(std::wstring(variable), Path(L"mine"));
    Watch();
    ASSERT_EQ(OrbPendingPutBack(watcher.get(), Write(L"a.txt").c_str()), ORB_OK);
    EXPECT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    EXPECT_TRUE(std::filesystem::exists(Path(L"mine\\watcher_dump.bin")));
}

TEST_F(DataFolderFunctions, WithoutAFolderTheProductsOwnIsUsed)
{
    ASSERT_EQ(OrbSetDataFolder(nullptr), ORB_OK);
    EXPECT_TRUE(Folder().ends_with(L"\\OrbWatcher4"));
}

TEST_F(DataFolderFunctions, TheFolderStaysWhileAWatcherExists)
{
    const std::wstring before = Folder();
    ASSERT_EQ(Create(Options()), ORB_OK);
    EXPECT_EQ(OrbSetDataFolder(Path(L"mine").c_str()), ORB_WRONG_STATE);
    EXPECT_EQ(Folder(), before);
    watcher.reset();
    EXPECT_EQ(OrbSetDataFolder(Path(L"mine").c_str()), ORB_OK);
}

TEST_F(DataFolderFunctions, AnEmptyFolderIsRefused) { EXPECT_EQ(OrbSetDataFolder(L""), ORB_BAD_ARGUMENT); }

} // namespace
