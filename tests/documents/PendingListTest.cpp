// The page of the pending list.
#include "tests/documents/Page.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class PendingListPage : public WatcherFixture
{
protected:
    int ExportOnly(const wchar_t* path)
    {
        watcher.ClearNotifications();
        {
            Parts().pending.Put(path, std::make_shared<Notification>());
        }
        int count = 100;
        EXPECT_TRUE(watcher.ExportFilesToXML(folder.Path(L"pending.xml"), count));
        return count;
    }
};

TEST_F(PendingListPage, TheExampleIsWhatTwoExportsWrite)
{
    EXPECT_EQ(ExportOnly(L"C:\\Docs\\a.txt"), 1);
    EXPECT_EQ(ExportOnly(L"C:\\Docs\\R&D.txt"), 1);
    EXPECT_EQ(folder.ReadBytes(L"pending.xml"), Pages::Example("pending-list.xml"));
}

} // namespace
