// Dropping what is pending below a path.
#include "companions/settings/OrbSettings.h"
#include "support/Hashes.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class PendingRemoval : public WatcherFixture
{
protected:
    PendingRemoval()
    {
        SelectTree();
        for (const wchar_t* name : {L"d\\a.TXT", L"d\\b.doc", L"d\\e\\c.txt", L"dd.txt"})
            Put(Write(name));
    }
    void Put(const CString& path) { Parts().pending.Put(path, std::make_shared<Notification>()); }
    std::set<std::wstring> Left()
    {
        std::set<std::wstring> left;
        const PendingStore::Locked store(Parts().pending);
        store->ForEach([&](const CString& path, const NotificationPtr&) {
            left.insert(path.Mid(InTree(L"").GetLength()).GetString());
            return true;
        });
        return left;
    }
};

TEST_F(PendingRemoval, TakesEverythingBelowAFolder)
{
    watcher.RemoveChildNotificationsEx(InTree(L"D"));
    EXPECT_EQ(Left(), std::set<std::wstring>{L"dd.txt"});
    EXPECT_TRUE(log.Has(L"Scaning notifications for matching paths " + std::wstring(InTree(L"D"))));
    EXPECT_TRUE(log.Has(L"Removing: " + std::wstring(InTree(L"d\\a.TXT"))));
}

TEST_F(PendingRemoval, WithoutMasksTakesEverythingThatBeginsSo)
{
    watcher.ForceRemoveItemNotifications(InTree(L"d"), false, {}, {});
    EXPECT_TRUE(Left().empty());
}

TEST_F(PendingRemoval, OfRemovedMasksTakesThoseEndingsWhateverTheirCase)
{
    watcher.ForceRemoveItemNotifications(InTree(L"d"), true, {PathHash64(L".txt")}, {PathHash64(L".txt")});
    EXPECT_EQ(Left(), (std::set<std::wstring>{L"d\\b.doc", L"dd.txt"}));
    EXPECT_TRUE(log.Has(L"Extension not found in remove masks set -- SKIPPING FILE"));
}

TEST_F(PendingRemoval, OfSkippedMasksTakesAllOthers)
{
    watcher.ForceRemoveItemNotifications(InTree(L"d"), true, {}, {PathHash64(L".txt")});
    EXPECT_EQ(Left(), (std::set<std::wstring>{L"d\\a.TXT", L"d\\e\\c.txt", L"dd.txt"}));
    EXPECT_TRUE(log.Has(L"Extension found in skip masks set -- SKIPPING FILE"));
}

TEST_F(PendingRemoval, ByTheDiskTakesTheFilesThatItShows)
{
    Put(InTree(L"d\\vanished.txt"));
    watcher.RemoveChildNotifications(InTree(L"d\\"));
    EXPECT_EQ(Left(), (std::set<std::wstring>{L"d\\vanished.txt", L"dd.txt"}));
    EXPECT_TRUE(log.Has(L"Scaning Directory " + std::wstring(InTree(L"d\\e\\")) + L" for pending notifications"));
}

TEST_F(PendingRemoval, ByTheDiskEntersLinksOnceEach)
{
    const CString link = InTree(L"d\\link"), circle = InTree(L"elsewhere\\circle");
    Write(L"elsewhere\\f.txt");
    ASSERT_TRUE(MakeLink(link.GetString(), InTree(L"elsewhere").GetString()));
    ASSERT_TRUE(MakeLink(circle.GetString(), InTree(L"elsewhere").GetString()));
    Put(InTree(L"d\\link\\f.txt"));
    watcher.RemoveChildNotifications(InTree(L"d\\"));
    EXPECT_EQ(Left(), std::set<std::wstring>{L"dd.txt"});
    EXPECT_TRUE(RemoveLink(circle.GetString()));
    EXPECT_TRUE(RemoveLink(link.GetString()));
}

TEST_F(PendingRemoval, EndsAtOnceWhenAskedTo)
{
    EXPECT_FALSE(watcher.IsAbortExcludeDelete());
    const KernelHandle abort(
        CreateEventW(nullptr, TRUE, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutex::GUID_ABORT_EXCLUDE")));
    EXPECT_FALSE(watcher.IsAbortExcludeDelete());
    SetEvent(abort.Get());
    EXPECT_TRUE(watcher.IsAbortExcludeDelete());
    watcher.RemoveChildNotificationsEx(InTree(L"d"));
    watcher.RemoveChildNotifications(InTree(L"d\\"));
    watcher.ForceRemoveItemNotifications(InTree(L"d"), true, {}, {});
    EXPECT_EQ(Left().size(), 4u);
}

} // namespace
