// Named objects are open to every process: tests of what another user's program can do with them.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class SharedObjects : public WatcherFixture
{
protected:
    // Makes an event as another user's program would, under the name that the watcher asks for.
    static KernelHandle Event(const wchar_t* name, bool set)
    {
        return KernelHandle(
            CreateEventW(nullptr, TRUE, set ? TRUE : FALSE, GetMainSettings().GetMainSettingsMutex(name)));
    }
    static DWORD HandlesOfTheProcess()
    {
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        return count;
    }
};

TEST_F(SharedObjects, AnAbortEventThatIsKeptSetLeavesNoExcludedFilePending)
{
    Select(TreeItem());
    const CString excluded = Write(L"out\\a.txt"), selected = Write(L"in\\a.txt");
    Handler().OnFileAdded(excluded);
    Handler().OnFileAdded(selected);
    Select(TreeItem() +
           Item(L"path=\"" + std::wstring(InTree(L"out")) + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\""));
    const KernelHandle abort = Event(L"mutex::GUID_ABORT_EXCLUDE", true);
    watcher.RemoveChildNotificationsEx(InTree(L"out"));
    watcher.RemoveChildNotifications(InTree(L"out\\"));
    EXPECT_EQ(Drain(), std::vector<std::wstring>{std::wstring(selected)});
    EXPECT_FALSE(Pending(excluded));
}

TEST_F(SharedObjects, InstantRunsOfManyFilesTakeOneHandle)
{
    const KernelHandle run = Event(L"mutexs::GUID_ONLINE_INSTANT_RUN", false);
    watcher.SignalInstantRunEvent();
    const DWORD before = HandlesOfTheProcess();
    for (int i = 0; i < 50; ++i) {
        ResetEvent(run.Get());
        watcher.SignalInstantRunEvent();
        ASSERT_TRUE(IsSignalled(run.Get()));
    }
    EXPECT_EQ(HandlesOfTheProcess(), before);
}

} // namespace
