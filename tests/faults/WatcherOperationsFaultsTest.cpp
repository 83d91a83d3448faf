// Every operation of the watcher, without memory: no exception leaves it, and it works again afterwards.
#include "orbwatcher4/filter/Filter.h"
#include "tests/faults/FaultyWatcher.h"
#include "xml/Markup.h"

namespace
{

class FaultyOperations : public FaultyWatcher
{
protected:
    FaultyOperations()
    {
        file = Write(L"file.txt");
        Write(L"sub\\deep.txt");
        SelectTree();
        Index();
        watcher.SetIndexDB(database);
        watcher.UpdateThreadsPriority(CPUSpeedFull);
        WriteRules(L"other.xml", TreeItem());
    }
    ~FaultyOperations() override { CIndexDB::m_mapDeletePtr.clear(); }

    // The selection as it was, one pending file, one path in the delete map.
    void Prepare()
    {
        watcher.SetDataXmlPath(selection);
        WriteRules(L"data.xml", TreeItem());
        WriteRules(L"new.xml", TreeItem());
        ASSERT_TRUE(watcher.LoadSelection());
        watcher.ClearNotifications();
        ASSERT_TRUE(watcher.AddSingleNotification(file));
        CIndexDB::m_mapDeletePtr[file] = CIndexDB::CalculateUuid(file);
        rules = {};
        for (int i = 0; i < 2; ++i) {
            auto rule = std::make_shared<Filter>();
            rule->path = tree;
            rule->itemText = L"<Item path=\"C:\\x\"/>";
            rules.push_back(rule);
        }
        document = CMarkup();
        document.SetDoc(L"<Data><Item path=\"C:\\y\"/></Data>");
    }
    // It still decides and hands out.
    void Check()
    {
        watcher.AbortWatching();
        watcher.SetDataXmlPath(selection);
        ASSERT_TRUE(watcher.LoadSelection());
        EXPECT_EQ(watcher.Explain(file).decision, Included);
        watcher.AddSingleNotification(file);
        EXPECT_TRUE(Pending(file));
    }
    void Try(const char* name, const std::function<void()>& run)
    {
        SCOPED_TRACE(name);
        TryFaults({name, [this] { Prepare(); }, run, [this] { Check(); }, true});
    }

    const CString selection = folder.Path(L"data.xml"), other = folder.Path(L"other.xml");
    const CString added = folder.Path(L"new.xml"), database = folder.Path(L"index.db"), list = folder.Path(L"list.xml");
    const std::set<unsigned __int64> keys{1, 2, 3};
    CString file;
    FilterList rules;
    CMarkup document;
};

TEST_P(FaultyOperations, LetNoExceptionOutOfTheSetters)
{
    Try("Init", [this] { watcher.Init(); });
    Try("SetDataXmlPath", [this] { watcher.SetDataXmlPath(other); });
    Try("SetAdvancedFiltersPath", [this] { watcher.SetAdvancedFiltersPath(nullptr); });
    Try("SetDataXMLFiles", [this] { watcher.SetDataXMLFiles(other, other, nullptr); });
    Try("SetSecondaryXMLFile", [this] { watcher.SetSecondaryXMLFile(other, other); });
    watcher.SetSecondaryXMLFile(nullptr, nullptr);
    Try("SetQueueDB", [this] { watcher.SetQueueDB(database); });
    Try("SetIndexDB", [this] { watcher.SetIndexDB(database); });
    Try("SetDestBackupFolderDB", [this] { watcher.SetDestBackupFolderDB(other); });
    Try("SetInstantRunExt", [this] { watcher.SetInstantRunExt(L"*.txt;*.doc"); });
    Try("SetBlockLevelExt", [this] { watcher.SetBlockLevelExt(L"*.txt;*.doc"); });
    Try("SetOverlay", [this] { watcher.SetOverlay(false); });
    Try("SetUserToken", [this] { watcher.SetUserToken(nullptr); });
    Try("SetFirstTimeWatcherHide", [this] { watcher.SetFirstTimeWatcherHide(0); });
    Try("EnableBackupHiddenFiles", [this] { watcher.EnableBackupHiddenFiles(false); });
    Try("SetBackupFrequency", [this] { watcher.SetBackupFrequency(1); });
    Try("UpdateThreadsPriority", [this] { watcher.UpdateThreadsPriority(CPUSpeedFull); });
    Try("SetOnlineHandler", [this] { watcher.SetOnlineHandler(nullptr); });
    Try("SetFirstTimeCompletionEvent",
        [this] { watcher.SetFirstTimeCompletionEvent(L"an event that nobody has made"); });
    Try("SetIgnoredDedup", [this] { watcher.SetIgnoredDedup(keys, keys, keys); });
    Try("SetDeletionListener", [this] { watcher.SetDeletionListener(nullptr); });
    Try("SetRescanListener", [this] { watcher.SetRescanListener(nullptr); });
}

TEST_P(FaultyOperations, LetNoExceptionOutOfTheQueries)
{
    Try("IsPendingKept", [this] { watcher.IsPendingKept(); });
    Try("WaitUntilReady", [this] { watcher.WaitUntilReady(0); });
    Try("GetWatchedRoots", [this] { watcher.GetWatchedRoots(); });
    Try("IsInitilized", [this] { watcher.IsInitilized(); });
    Try("IsEnableFirstTime", [this] { watcher.IsEnableFirstTime(); });
    Try("IsFirstTimeEnumRunning", [this] { watcher.IsFirstTimeEnumRunning(); });
    Try("IsFirstTimeFinshedsuccessfully", [this] { watcher.IsFirstTimeFinshedsuccessfully(); });
    Try("IsBackupHiddenFiles", [this] { watcher.IsBackupHiddenFiles(); });
    Try("GetTotalFilesInMem", [this] { watcher.GetTotalFilesInMem(); });
    Try("IsBackupRunning", [] { COrbWatcher::IsBackupRunning(); });
    Try("Explain", [this] { watcher.Explain(file); });
    Try("IsOnlineInstantRunAllowed", [this] { watcher.IsOnlineInstantRunAllowed(file); });
    Try("IsAbortExcludeDelete", [this] { watcher.IsAbortExcludeDelete(); });
    Try("GetEnumerationProgress", [this] { watcher.GetEnumerationProgress(); });
    Try("GetWatchedDrives", [this] {
        CString drives;
        watcher.GetWatchedDrives(drives);
    });
}

TEST_P(FaultyOperations, LetNoExceptionOutOfWhatIsDoneWithPendingFiles)
{
    Try("GetSingleNotification", [this] {
        QueueDatum datum;
        watcher.GetSingleNotification(nullptr, datum);
    });
    Try("AddSingleNotification", [this] { watcher.AddSingleNotification(file); });
    Try("ClearNotifications", [this] { watcher.ClearNotifications(); });
    Try("AddNewQueueItem", [this] { watcher.AddNewQueueItem(added, true, nullptr, 0); });
    Try("SignalInstantRunEvent", [this] { watcher.SignalInstantRunEvent(); });
    Try("ImmediateProcessDeletedFiles", [this] { watcher.ImmediateProcessDeletedFiles(); });
    Try("RemoveChildNotifications", [this] { watcher.RemoveChildNotifications(tree); });
    Try("RemoveChildNotificationsEx", [this] { watcher.RemoveChildNotificationsEx(tree); });
    Try("ForceRemoveItemNotifications", [this] { watcher.ForceRemoveItemNotifications(tree, true, keys, keys); });
    Try("TrimDeleteMap", [this] { watcher.TrimDeleteMap(); });
    Try("RemoveFromDeleteMap", [this] { watcher.RemoveFromDeleteMap(file); });
    int count = 10;
    Try("ExportFilesToXML", [this, &count] { watcher.ExportFilesToXML(list, count); });
}

TEST_P(FaultyOperations, LetNoExceptionOutOfTheSelection)
{
    Try("LoadSelection", [this] { watcher.LoadSelection(); });
    Try("FillPluginTable", [this] { watcher.FillPluginTable(); });
    Try("CleanAddedFilters", [this] { watcher.CleanAddedFilters(rules); });
    Try("XMLMerge of a file", [this] { watcher.XMLMerge(other, rules); });
    Try("XMLMerge of a document", [this] { watcher.XMLMerge(document, rules); });
    Try("UpdateDrive", [this] { watcher.UpdateDrive(L"C:\\", WatcherEnum::DriveReappeared); });
    Try("EnumerateIncludedFiles", [this] { watcher.EnumerateIncludedFiles(L"c:\\", L"*", true); });
    Try("FirstRun", [this] { watcher.FirstRun(L"c:\\"); });
    Try("NoteFirstTimeRunCompleted", [this] { watcher.NoteFirstTimeRunCompleted(); });
}

TEST_P(FaultyOperations, LetNoExceptionOutOfALife)
{
    Try("StartFirstTimeRun", [this] { watcher.StartFirstTimeRun(1); });
    Try("Resume", [this] { watcher.Resume(); });
    Try("StartWatch", [this] { watcher.StartWatch(); });
    Try("AbortWatching", [this] { watcher.AbortWatching(); });
    Try("DeInit", [this] { watcher.DeInit(); });
}

INSTANTIATE_TEST_SUITE_P(, FaultyOperations, testing::Values(Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
