// A watcher with a data folder, a clock and a selected tree of the test's own.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "orbwatcher4/core/drives/WatchLoop.h"
#include "orbwatcher4/core/due/TimeRule.h"
#include "support/FileTimes.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/orbwatcher4/TestClock.h"
#include "tests/orbwatcher4/WatcherAccess.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

class WatcherFixture : public testing::Test
{
protected:
    WatcherFixture()
    {
        std::filesystem::create_directories(folder.Path(L"data").GetString());
        std::filesystem::create_directories(tree.GetString());
        wchar_t before[1024] = {};
        GetEnvironmentVariableW(L"ORB_DATA_FOLDER", before, 1024);
        m_dataFolderBefore = before;
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", folder.Path(L"data"));
        CIndexDB::ClearCache();
        TimeRule::ForgetLastCheck();
        // Shared with every process on the machine: what others have left is taken back.
        ResetEvent(WatcherAccess::DeletionsEvent(watcher));
        Parts().config.clock = &clock;
        watcher.Init();
    }
    ~WatcherFixture() override
    {
        watcher.AbortWatching();
        CIndexDB::ClearCache();
        g_OrbLog.Close();
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", m_dataFolderBefore.c_str());
    }

    WatcherParts& Parts() { return WatcherAccess::Parts(watcher); }
    ChangeHandler& Handler() { return WatcherAccess::Handler(watcher); }

    // The attributes of an Item element.
    static std::string Item(const std::wstring& attributes) { return "<Item " + Narrow(attributes) + "/>"; }
    std::string TreeItem() { return Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\""); }

    // Writes a selection and gives it to the watcher, without loading it.
    CString WriteRules(const wchar_t* name, const std::string& items)
    {
        folder.WriteBytes(name, "<Data>" + items + "</Data>");
        return folder.Path(name);
    }
    void Select(const std::string& items)
    {
        watcher.SetDataXmlPath(WriteRules(L"data.xml", items));
        ASSERT_TRUE(watcher.LoadSelection());
    }
    void SelectTree() { Select(TreeItem()); }

    // A file in the selected tree; its full path.
    CString Write(const std::wstring& name, const std::string& bytes = "x")
    {
        folder.WriteBytes((L"tree\\" + name).c_str(), bytes);
        return InTree(name);
    }
    CString MakeFolder(const std::wstring& name)
    {
        std::filesystem::create_directories(InTree(name).GetString());
        return InTree(name);
    }
    CString InTree(const std::wstring& name) { return tree + L"\\" + name.c_str(); }

    NotificationPtr Pending(const CString& path) { return Parts().pending.Find(path); }
    // The pending deletion of a folder whose place something else has taken.
    NotificationPtr PendingBelow(const CString& folder)
    {
        const PendingStore::Locked store(Parts().pending);
        const auto found = store.Replaced().All().find(folder);
        return found == store.Replaced().All().end() ? nullptr : found->second;
    }
    // Every path that is handed out now, in the order of hand-out.
    std::vector<std::wstring> Drain()
    {
        std::vector<std::wstring> paths;
        QueueDatum datum;
        while (watcher.GetSingleNotification(nullptr, datum))
            paths.push_back(datum.path);
        return paths;
    }

    // An index with its cache in this process.
    CIndexDB& Index()
    {
        if (!m_index) {
            m_index = std::make_unique<CIndexDB>();
            m_index->SetDBFilePath(folder.Path(L"index.db"));
            EXPECT_TRUE(m_index->Open(1, 0, 0)) << Narrow(m_index->GetLastDbErrorText().View());
            EXPECT_TRUE(m_index->LoadCache());
        }
        return *m_index;
    }
    // Closes the index; the next call of Index opens it again, or makes it.
    void ForgetIndex() { m_index.reset(); }
    // Records a path as backed up, as it is on the disk now.
    void Record(const CString& path, std::uint32_t flags = 0)
    {
        const bool directory = (GetFileAttributesW(path) & FILE_ATTRIBUTE_DIRECTORY) != 0;
        std::uint64_t modified = 0;
        ASSERT_TRUE(GetFileTimes(path, directory, nullptr, &modified));
        RecordWithTime(path, modified, flags);
    }
    void RecordWithTime(const CString& path, std::uint64_t modified, std::uint32_t flags = 0,
                        std::int64_t delayedUntil = 0)
    {
        const bool directory = (GetFileAttributesW(path) & FILE_ATTRIBUTE_DIRECTORY) != 0;
        ASSERT_TRUE(Index().RecordItem({path, directory ? 1u : 0u, modified, flags, delayedUntil}));
    }

    TempFolder folder;
    const CString tree = folder.Path(L"tree");
    TestClock clock;
    LogCapture log;
    COrbWatcher watcher{false};

private:
    std::wstring m_dataFolderBefore;
    std::unique_ptr<CIndexDB> m_index;
};
