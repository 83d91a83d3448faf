// The base of the tests of deletions: a selected tree, an index, and pending deletions.
#pragma once

#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

class DeletionsFixture : public WatcherFixture
{
protected:
    DeletionsFixture()
    {
        SelectTree();
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.SetDestBackupFolderDB(folder.Path(L"destination\\deeper"));
        watcher.SetDeletionListener([this](const DeletionRecord& record) { told.push_back(record); });
    }

    // A file that the index holds, gone from the disk, with its deletion pending.
    CString DeleteIndexed(const std::wstring& name, std::uint32_t flags = 0)
    {
        const CString path = Write(name);
        RecordWithTime(path, 1, flags);
        EXPECT_TRUE(DeleteFileW(path));
        MarkDeleted(path);
        return path;
    }
    void MarkDeleted(const CString& path)
    {
        auto notification = std::make_shared<Notification>();
        notification->kind = NotificationKind::Deleted;
        notification->timeStamp = clock.FileTime();
        Parts().pending.Put(path, notification);
    }
    SettingsDatum LastJob()
    {
        SettingsDatum job;
        EXPECT_TRUE(Index().GetLastJobData(job));
        return job;
    }
    std::set<std::uint64_t> RecordedIds(std::int32_t job)
    {
        std::set<std::uint64_t> ids;
        for (const DeleteDatum& record : Index().GetDeletes(job))
            ids.insert(record.id);
        return ids;
    }
    bool Exported(const wchar_t* name)
    {
        return GetFileAttributesW(folder.Path(L"destination\\deeper") + L"\\" + name) != INVALID_FILE_ATTRIBUTES;
    }
    static std::uint64_t Id(const CString& path) { return CIndexDB::CalculateUuid(path); }

    std::vector<DeletionRecord> told;
};
