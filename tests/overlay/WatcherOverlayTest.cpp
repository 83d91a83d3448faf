// The requests of a watcher to the overlay service.
#include "orbwatcher4/core/environment/WatcherThread.h"
#include "orbwatcher4/core/overlay/OverlayRemover.h"
#include "tests/host/HostProcess.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/overlay/ScriptedWaiter.h"

#include <future>
#include <memory>

namespace
{

class WatcherOverlays : public WatcherFixture
{
protected:
    WatcherOverlays()
    {
        Parts().overlay.WaitWith(waiter);
        watcher.SetOverlay(true);
    }
    ~WatcherOverlays() override
    {
        watcher.AbortWatching(); // its thread uses the waiter
        service->Interrupt();
    }

    void Start(const std::vector<std::wstring>& more = {})
    {
        std::vector<std::wstring> arguments = {L"overlay", L"--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        service = std::make_unique<HostProcess>(arguments);
        ASSERT_EQ(service->WaitForType("ready").value("type", ""), "ready");
    }

    struct Told {
        std::wstring path;
        int status;
        bool operator==(const Told&) const = default;
        friend void PrintTo(const Told& told, std::ostream* out) { *out << Utf8(told.path) << " " << told.status; }
    };
    // Waits until the service was told of everything so far.
    void WaitUntilTold()
    {
        const ULONGLONG end = GetTickCount64() + 30000;
        while (!Parts().overlay.Sender().IsIdle() && GetTickCount64() < end)
            Sleep(1); // between two looks at a queue that another thread empties
        EXPECT_TRUE(Parts().overlay.Sender().IsIdle());
    }
    // Everything that the service has printed, which then ends.
    std::vector<Told> AllTold()
    {
        WaitUntilTold();
        service->Interrupt();
        EXPECT_EQ(service->Finish(), 130);
        std::vector<Told> all;
        for (const HostProcess::Json& record : service->Records())
            if (record["type"] == "overlay")
                all.push_back({Wide(record["path"]), record["status"]});
        return all;
    }
    static std::wstring Wide(const std::string& text) { return {text.begin(), text.end()}; } // ASCII
    static Told As(const CString& path, int status) { return {path.GetString(), status}; }

    std::string Exclusion(const CString& path, const std::wstring& more = L" type=\"1\" includeSub=\"1\"")
    {
        return Item(L"path=\"" + std::wstring(path) + L"\" exclude=\"1\"" + more);
    }
    void SelectAllBut(const CString& excluded) { Select(TreeItem() + Exclusion(excluded)); }
    // A selection with exclusions of the product.
    void SelectWithAutomatic(const std::string& items, const std::string& automatic)
    {
        watcher.SetDataXMLFiles(WriteRules(L"data.xml", items), WriteRules(L"automatic.xml", automatic), L"");
        ASSERT_TRUE(watcher.LoadSelection());
    }
    AddQueueItemResult Add(const std::string& items)
    {
        return watcher.AddNewQueueItem(WriteRules(L"new.xml", items), false, nullptr, 0);
    }

    RealWaiter waiter;
    std::unique_ptr<HostProcess> service;
};

class ChangeOverlays : public WatcherOverlays
{
protected:
    ChangeOverlays()
    {
        Start();
        SelectAllBut(InTree(L"out"));
    }
};

TEST_F(ChangeOverlays, AnExcludedPathIsMarkedHoweverItChanges)
{
    const CString added = Write(L"out\\a.txt"), modified = Write(L"out\\b.LNK");
    Handler().OnFileAdded(added);
    Handler().OnFileModified(modified);
    Handler().OnFileModified(InTree(L"out"));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
    EXPECT_EQ(AllTold(), (std::vector{As(added, 8), As(modified, 16), As(InTree(L"out\\"), 8)}));
}

TEST_F(ChangeOverlays, AnAddedPathWaitsAndAFolderIsNamedWithABackslash)
{
    const CString file = Write(L"new\\a.txt");
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_EQ(AllTold(), (std::vector{As(file, 4), As(InTree(L"new\\"), 4)}));
}

TEST_F(ChangeOverlays, AModificationSetsOneBitAndTheNextOneAnother)
{
    const CString file = Write(L"a.txt");
    Handler().OnFileModified(file);
    Handler().OnFileModified(file); // is pending already
    WaitUntilTold();
    Drain();
    Handler().OnFileModified(file);
    EXPECT_EQ(AllTold(), (std::vector{As(file, 1), As(file, 3)}));
}

TEST_F(ChangeOverlays, AModificationKeepsTheOtherBits)
{
    const CString file = Write(L"a.txt");
    Handler().OnFileAdded(file);
    WaitUntilTold();
    Drain();
    Handler().OnFileModified(file);
    EXPECT_EQ(AllTold(), (std::vector{As(file, 4), As(file, 5)}));
}

TEST_F(ChangeOverlays, AFileThatIsBackedUpAsItStandsIsInSync)
{
    const CString file = Write(L"a.txt");
    Record(file);
    Handler().OnFileModified(file);
    EXPECT_EQ(AllTold(), (std::vector{As(file, 0)}));
}

TEST_F(ChangeOverlays, AFileThatIsNotSelectedIsNotToldOf)
{
    folder.WriteBytes(L"elsewhere.txt", "x");
    Handler().OnFileAdded(folder.Path(L"elsewhere.txt"));
    EXPECT_TRUE(AllTold().empty());
}

TEST_F(ChangeOverlays, ARuleForDisasterRecoveryShowsNothing)
{
    Select(Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" flags=\"262144\""));
    const CString file = Write(L"a.txt");
    Handler().OnFileAdded(file);
    Drain();
    Handler().OnFileModified(file);
    EXPECT_TRUE(Pending(file));
    EXPECT_TRUE(AllTold().empty());
}

TEST_F(ChangeOverlays, NothingIsToldWhileOverlaysAreOff)
{
    watcher.SetOverlay(false);
    Handler().OnFileAdded(Write(L"out\\a.txt"));
    Handler().OnFileAdded(Write(L"a.txt"));
    Drain();
    Handler().OnFileModified(Write(L"a.txt"));
    EXPECT_EQ(Add(Exclusion(InTree(L"sub"))), ExclusionsFound);
    EXPECT_TRUE(AllTold().empty());
    EXPECT_EQ(waiter.waits, 0);
}

TEST_F(WatcherOverlays, AModificationWhoseStatusIsNotToldStartsFromSixteen)
{
    Start({L"--fault", L"silent", L"--times", L"1"});
    SelectTree();
    const CString file = Write(L"a.txt");
    waiter.patient = false;
    Handler().OnFileModified(file);
    EXPECT_EQ(AllTold(), (std::vector{As(file, 17)}));
}

TEST_F(ChangeOverlays, AStatusThatComesAfterAnEndIsToldAllTheSame)
{
    watcher.AbortWatching();
    const CString file = Write(L"a.txt");
    Handler().OnFileAdded(file);
    EXPECT_EQ(AllTold(), (std::vector{As(file, 4)}));
    watcher.DeInit();
    EXPECT_FALSE(Parts().overlay.Sender().IsRunning());
}

TEST_F(WatcherOverlays, AChangeIsPendingThoughNoServiceRuns)
{
    Start();
    AllTold();
    SelectTree();
    Handler().OnFileAdded(Write(L"a.txt"));
    Handler().OnFileModified(Write(L"b.txt"));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 2);
}

// Notes the threads that wait for a service, which never answers.
class WaitsByThread final : public OverlayWaiter
{
public:
    DWORD Wait(HANDLE, DWORD) override
    {
        const CSingleLock lock(m_lock);
        m_threads.push_back(GetCurrentThreadId());
        return WAIT_TIMEOUT;
    }
    std::vector<DWORD> Threads() const
    {
        const CSingleLock lock(m_lock);
        return m_threads;
    }

private:
    mutable CCriticalSection m_lock;
    std::vector<DWORD> m_threads;
};

class ServiceThatHangs : public WatcherFixture
{
protected:
    ServiceThatHangs()
    {
        Parts().overlay.WaitWith(waits);
        watcher.SetOverlay(true);
        Select(TreeItem() + Item(L"path=\"" + std::wstring(InTree(L"out")) + L"\" exclude=\"1\" type=\"1\""));
    }
    ~ServiceThatHangs() override { watcher.AbortWatching(); }

    const OverlayObjects objects;
    WaitsByThread waits;
};

TEST_F(ServiceThatHangs, IsNotWaitedForByAThreadThatHasAChange)
{
    for (const wchar_t* name : {L"a.txt", L"out\\b.txt", L"c.txt", L"d.txt"})
        Handler().OnFileAdded(Write(name));
    Handler().OnFileModified(InTree(L"out\\b.txt"));
    EXPECT_TRUE(watcher.FirstRun(tree));
    const ULONGLONG end = GetTickCount64() + 30000;
    while (waits.Threads().size() < OverlayCache::MostTimeouts && GetTickCount64() < end)
        Sleep(1); // between two looks at what another thread does
    const std::vector<DWORD> threads = waits.Threads();
    EXPECT_GE(threads.size(), std::size_t(OverlayCache::MostTimeouts));
    EXPECT_EQ(std::count(threads.begin(), threads.end(), GetCurrentThreadId()), 0);
    EXPECT_TRUE(Pending(InTree(L"a.txt")));

    watcher.AbortWatching();
    EXPECT_FALSE(Parts().overlay.Sender().IsRunning());
}

class NewExclusions : public WatcherOverlays
{
protected:
    NewExclusions()
    {
        Start();
        SelectTree();
    }
};

TEST_F(NewExclusions, EverythingBelowANewExclusionIsMarked)
{
    const CString file = Write(L"out\\a.txt"), deep = Write(L"out\\deep\\b.txt");
    Write(L"stays.txt");
    EXPECT_EQ(Add(Exclusion(InTree(L"out"))), ExclusionsFound);
    const std::vector<Told> told = AllTold();
    for (const CString& path : {InTree(L"out\\"), file, InTree(L"out\\deep\\"), deep})
        EXPECT_EQ(std::count(told.begin(), told.end(), As(path, 8)), 1) << Narrow(path.View());
    EXPECT_EQ(told.size(), 4u);
}

TEST_F(NewExclusions, OnlyTheEndingsOfTheMaskAreLookedForAndNeverShortcuts)
{
    const CString temporary = Write(L"out\\a.tmp"), backup = Write(L"out\\b.BAK");
    Write(L"out\\c.lnk");
    Write(L"out\\d.txt");
    EXPECT_EQ(Add(Exclusion(InTree(L"out"), L" type=\"1\" includeSub=\"1\" mask=\".tmp;;.LNK;*.lnk;.bak;\"")),
              RulesQueued);
    EXPECT_EQ(AllTold(), (std::vector{As(temporary, 8), As(backup, 8)}));
}

TEST_F(NewExclusions, ASingleFileIsMarkedUnderItsOwnPath)
{
    const CString file = Write(L"a.txt");
    EXPECT_EQ(Add(Exclusion(file, L" type=\"0\"")), ExclusionsFound);
    EXPECT_EQ(AllTold(), (std::vector{As(file, 8)}));
}

TEST_F(NewExclusions, MergingAloneMarksNothing)
{
    Write(L"out\\a.txt");
    EXPECT_EQ(watcher.AddNewQueueItem(WriteRules(L"new.xml", Exclusion(InTree(L"out"))), false, nullptr, 1),
              RulesQueued);
    EXPECT_TRUE(AllTold().empty());
}

// Tries the filter's lock on another thread while a request waits.
class FilterProbe final : public OverlayWaiter
{
public:
    explicit FilterProbe(WatcherParts& state) : m(state) {}
    DWORD Wait(HANDLE event, DWORD) override
    {
        attempts.push_back(std::async(std::launch::async, [this] { const CSingleLock lock(m.selection.primaryLock); }));
        if (attempts.back().wait_for(std::chrono::seconds(10)) != std::future_status::ready)
            ++refused;
        return WaitForSingleObject(event, 30000);
    }
    std::vector<std::future<void>> attempts; // one a wait
    int refused = 0;

private:
    WatcherParts& m;
};

TEST_F(NewExclusions, TheSelectionIsFreeWhileTheServiceIsWaitedFor)
{
    FilterProbe probe(Parts());
    Parts().overlay.WaitWith(probe);
    Write(L"out\\a.txt");
    EXPECT_EQ(Add(Exclusion(InTree(L"out"))), ExclusionsFound);
    EXPECT_GE(probe.attempts.size(), 2u);
    EXPECT_EQ(probe.refused, 0);
}

TEST_F(WatcherOverlays, AFoundFolderIsSentAsItIsNamed)
{
    Start();
    const CString out = MakeFolder(L"out");
    SelectAllBut(out);
    OverlayRemover remover(Parts().selection, Parts().overlay, Parts().stop);
    remover.FileFoundCallback(out, 0);
    remover.FolderFoundCallback(out);
    remover.FileFoundCallback(Write(L"stays.txt"), 0);
    EXPECT_EQ(AllTold(), (std::vector{As(out, 8), As(out + L"\\", 8)}));
}

class AutomaticExclusions : public WatcherOverlays
{
protected:
    AutomaticExclusions() { Start(); }
    std::string UserSelection() { return TreeItem() + Exclusion(InTree(L"out")); }
    std::string Automatic(const std::wstring& more) { return Exclusion(tree, L" type=\"1\" includeSub=\"1\"" + more); }
};

TEST_F(AutomaticExclusions, WhatTheyNameAndTheUserExcludesIsMarked)
{
    const CString out = Write(L"out\\a.tmp");
    Write(L"out\\b.txt");
    Write(L"c.tmp"); // kept out by the product alone
    SelectWithAutomatic(UserSelection(), Automatic(L" mask=\".tmp\""));
    Parts().overlayUpdater.Run();
    EXPECT_EQ(AllTold(), (std::vector{As(InTree(L"out\\"), 8), As(out, 8)}));
}

TEST_F(AutomaticExclusions, AFolderWithoutAMaskIsWalkedWhole)
{
    const CString file = Write(L"out\\a.txt");
    SelectWithAutomatic(UserSelection(), Exclusion(InTree(L"out")));
    Parts().overlayUpdater.Run();
    EXPECT_EQ(AllTold(), (std::vector{As(InTree(L"out\\"), 8), As(file, 8)}));
}

TEST_F(AutomaticExclusions, WhatIsNoFolderIsMarkedUnderItsOwnPath)
{
    SelectWithAutomatic(UserSelection(),
                        Exclusion(InTree(L"out\\gone"), L" type=\"1\" includeSub=\"1\" mask=\".tmp\""));
    Parts().overlayUpdater.Run();
    EXPECT_EQ(AllTold(), (std::vector{As(InTree(L"out\\gone\\"), 8)}));
}

TEST_F(AutomaticExclusions, ShortcutsAreNotLookedFor)
{
    Write(L"out\\a.lnk");
    for (const wchar_t* mask : {L".lnk", L"*.LNK", L";"}) {
        SelectWithAutomatic(UserSelection(), Automatic(L" mask=\"" + std::wstring(mask) + L"\""));
        Parts().overlayUpdater.Run();
    }
    EXPECT_TRUE(AllTold().empty());
}

TEST_F(AutomaticExclusions, RulesOfTheUserAreNotWalked)
{
    Write(L"out\\a.txt");
    SelectWithAutomatic(UserSelection(), "");
    Parts().overlayUpdater.Run();
    EXPECT_TRUE(AllTold().empty());
}

TEST_F(AutomaticExclusions, AStopEndsTheWalk)
{
    Write(L"out\\a.tmp");
    SelectWithAutomatic(UserSelection(),
                        Automatic(L" mask=\".tmp\"") +
                            Exclusion(InTree(L"out\\gone"), L" type=\"1\" includeSub=\"1\" mask=\".tmp\""));
    Parts().stop.SetEvent();
    Parts().overlayUpdater.Run();
    EXPECT_TRUE(AllTold().empty());
}

TEST_F(AutomaticExclusions, AUserWhoCannotBeImpersonatedIsLoggedAndTheWorkGoesOn)
{
    const CString out = Write(L"out\\a.tmp");
    SelectWithAutomatic(UserSelection(), Automatic(L" mask=\".tmp\""));
    watcher.SetUserToken(INVALID_HANDLE_VALUE);
    Parts().overlayUpdater.Run();
    EXPECT_EQ(log.Count(L"Failed to impersonate user"), 1);
    EXPECT_EQ(AllTold(), (std::vector{As(InTree(L"out\\"), 8), As(out, 8)}));
}

TEST_F(AutomaticExclusions, TheyAreMarkedWhenWatchingStartsAndStartsAgain)
{
    const CString out = Write(L"out\\a.tmp");
    SelectWithAutomatic(UserSelection(), Automatic(L" mask=\".tmp\""));
    watcher.StartWatch();
    EXPECT_EQ(service->WaitForPath(out.GetString())["status"], 8);
    AllTold();
    Start();
    watcher.StartWatch(); // the thread of the first start is known still
    EXPECT_EQ(service->WaitForPath(out.GetString())["status"], 8);
    watcher.AbortWatching();
    EXPECT_FALSE(Parts().overlayUpdater.IsStarted());
}

TEST_F(AutomaticExclusions, NoThreadRunsWhileOverlaysAreOff)
{
    watcher.SetOverlay(false);
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    watcher.StartWatch();
    EXPECT_FALSE(Parts().overlayUpdater.IsStarted());
}

unsigned __stdcall RunUntilStopped(void* state) { return static_cast<WatcherParts*>(state)->stop.Lock(30000) ? 0 : 1; }

TEST_F(AutomaticExclusions, DeInitEndsAThreadThatRunsAlone)
{
    WatcherAccess::OverlayThread(watcher) = StartWatcherThread(&RunUntilStopped, &Parts());
    watcher.DeInit();
    EXPECT_FALSE(Parts().overlayUpdater.IsStarted());
}

} // namespace
