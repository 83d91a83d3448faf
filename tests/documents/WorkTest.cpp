// The table of work in docs/performance.md: the calls of the system and the locks of one file on each of its roads.
#include "tests/documents/Page.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/CountedCalls.h"
#include "tests/support/FolderTree.h"
#include "tests/support/ImportedCall.h"

#include <functional>

namespace
{

// Functions that stay in the process: everything else counts as a call of the system. The exclusive locks of this list
// are those of the checks of the tests.
const std::set<std::string> inProcess = {"AcquireSRWLockExclusive",
                                         "AcquireSRWLockShared",
                                         "CharLowerBuffW",
                                         "CharUpperBuffW",
                                         "EnterCriticalSection",
                                         "GetCurrentThreadId",
                                         "GetEnvironmentVariableW",
                                         "GetFullPathNameW",
                                         "GetLastError",
                                         "GetModuleHandleW",
                                         "GetSystemTimeAsFileTime",
                                         "GetTickCount64",
                                         "LeaveCriticalSection",
                                         "PathIsRootW",
                                         "ReleaseSRWLockExclusive",
                                         "ReleaseSRWLockShared",
                                         "RtlDosPathNameToNtPathName_U",
                                         "RtlFreeUnicodeString",
                                         "SetLastError",
                                         "TlsGetValue",
                                         "TlsSetValue",
                                         "VirtualProtect", // by which the counting begins
                                         "WideCharToMultiByte"};

struct Work {
    std::uint64_t calls = 0;
    std::uint64_t locks = 0;
};

Work WorkOf(const CountedCalls::Counts& counts)
{
    Work work;
    for (const auto& [name, count] : counts)
        if (name == "EnterCriticalSection" || name == "AcquireSRWLockShared")
            work.locks += count;
        else if (!inProcess.contains(name))
            work.calls += count;
    return work;
}

ULONGLONG WINAPI StoppedClock() { return 1'000'000; }

class WorkTable : public WatcherFixture
{
protected:
    static constexpr int Few = 100, Many = 150;

    WorkTable()
    {
        SelectTree();
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.UpdateThreadsPriority(CPUSpeedFull);
    }

    // The files of one round, which lie in a folder of their own.
    std::vector<CString> Files(int count)
    {
        std::vector<CString> files;
        ++m_round;
        for (int i = 0; i < count; ++i)
            files.push_back(Write(L"round " + std::to_wstring(m_round) + L"\\file " + std::to_wstring(100 + i)));
        return files;
    }
    // Files that the index holds as they are on the disk, or with another time.
    std::vector<CString> Recorded(const std::vector<CString>& files)
    {
        for (const CString& file : files)
            Record(file);
        return files;
    }
    std::vector<CString> Outdated(const std::vector<CString>& files)
    {
        for (const CString& file : files)
            RecordWithTime(file, 1);
        return files;
    }

    // Returns what each further file costs. `prepare` makes so many files; `road` takes them. The first round, whose
    // cost does not come again, is not counted.
    template <typename Prepare, typename Road>
    std::string PerFile(Prepare prepare, Road road)
    {
        Count(prepare(1), road);
        const Work few = Count(prepare(Few), road), many = Count(prepare(Many), road);
        constexpr std::uint64_t further = Many - Few;
        EXPECT_EQ((many.calls - few.calls) % further, 0u) << "each file must cost the same";
        // A table that grows takes a lock now and then.
        const auto rounded = [](std::uint64_t locks) { return (locks + further / 2) / further; };
        return std::to_string((many.calls - few.calls) / further) + " calls, " +
               std::to_string(rounded(many.locks - few.locks)) + " locks";
    }

    // Returns the road of events of this kind.
    auto Reports(void (ChangeHandler::*slot)(const wchar_t*))
    {
        return [this, slot](const std::vector<CString>& files) {
            for (const CString& file : files)
                (Handler().*slot)(file);
        };
    }
    std::vector<CString> PendingFiles(int count)
    {
        const std::vector<CString> files = Files(count);
        const auto add = Reports(&ChangeHandler::OnFileAdded);
        add(files);
        return files;
    }

    // Returns what the page says of the road.
    static std::string Said(const std::string& road)
    {
        for (const Pages::Row& row : Pages::Table("performance.md", {"One file", "Calls", "Floor", "Locks"}))
            if (row.at(0) == road)
                return row.at(1) + " calls, " + row.at(3) + " locks";
        return "the page has no row for it";
    }

private:
    Work Count(const std::vector<CString>& files, const std::function<void(const std::vector<CString>&)>& road)
    {
        const CountedCalls counted{nullptr,           L"OrbIndexDB.dll",     L"OrbSettings.dll",
                                   L"OrbLogging.dll", L"ReadersWriters.dll", L"OnlineHandler.dll"};
        const ImportedCall clock(nullptr, "GetTickCount64", StoppedClock);
        road(files);
        const CountedCalls::Counts counts = counted.Now();
        if (files.size() == Many)
            for (const auto& [name, count] : counts)
                if (!inProcess.contains(name))
                    RecordProperty(name, std::to_string(count));
        return WorkOf(counts);
    }

    int m_round = 0;
};

TEST_F(WorkTable, SaysWhatANewFileCosts)
{
    const auto prepare = [&](int count) { return Files(count); };
    EXPECT_EQ(PerFile(prepare, Reports(&ChangeHandler::OnFileAdded)), Said("new"));
}

TEST_F(WorkTable, SaysWhatAChangedFileCosts)
{
    const auto prepare = [&](int count) { return Outdated(Files(count)); };
    EXPECT_EQ(PerFile(prepare, Reports(&ChangeHandler::OnFileModified)), Said("changed"));
}

TEST_F(WorkTable, SaysWhatAnotherEventOfANewFileCosts)
{
    const auto prepare = [&](int count) { return PendingFiles(count); };
    EXPECT_EQ(PerFile(prepare, Reports(&ChangeHandler::OnFileModified)), Said("new, another event"));
}

TEST_F(WorkTable, SaysWhatADeletedFileCosts)
{
    const auto prepare = [&](int count) {
        const std::vector<CString> files = Recorded(Files(count));
        for (const CString& file : files)
            DeleteFileW(file);
        return files;
    };
    EXPECT_EQ(PerFile(prepare, Reports(&ChangeHandler::OnFileRemoved)), Said("deleted"));
}

TEST_F(WorkTable, SaysWhatAFileCostsThatIsHandedOut)
{
    const auto prepare = [&](int count) { return PendingFiles(count); };
    const auto road = [&](const std::vector<CString>& files) {
        QueueDatum datum;
        for (std::size_t i = 0; i < files.size(); ++i)
            EXPECT_TRUE(watcher.GetSingleNotification(nullptr, datum));
    };
    EXPECT_EQ(PerFile(prepare, road), Said("handed out"));
}

class EnumerationWorkTable : public WorkTable
{
protected:
    // Only the files of the round are in the tree.
    std::vector<CString> FilesAlone(int count)
    {
        watcher.ClearNotifications();
        Parts().selection.primary.ClearJunctionCache();
        RemoveTree(tree.GetString());
        return Files(count);
    }
    void Enumerate() { EXPECT_TRUE(watcher.FirstRun(tree)); }
};

TEST_F(EnumerationWorkTable, SaysWhatANewFileCosts)
{
    const auto prepare = [&](int count) { return FilesAlone(count); };
    EXPECT_EQ(PerFile(prepare, [&](const std::vector<CString>&) { Enumerate(); }), Said("enumerated, new"));
}

TEST_F(EnumerationWorkTable, SaysWhatAnUnchangedFileCosts)
{
    const auto prepare = [&](int count) { return Recorded(FilesAlone(count)); };
    EXPECT_EQ(PerFile(prepare, [&](const std::vector<CString>&) { Enumerate(); }), Said("enumerated, unchanged"));
}

} // namespace
