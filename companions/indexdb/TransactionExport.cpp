#include "companions/indexdb/TransactionExport.h"

#include "companions/indexdb/IndexConnection.h"
#include "companions/indexdb/IndexSchema.h"
#include "support/DraftFile.h"
#include "support/Handle.h"
#include "support/OwnerAccess.h"

#include <windows.h>

namespace
{

// The file in the making, which goes when it could not be finished.
class Draft
{
public:
    explicit Draft(const CString& target) : m_target(target), m_path(DraftPath(target)), m_journal(m_path + L"-journal")
    {
        RemoveOldDrafts(target);
        Remove();
        // Made here, so that it is the owner's alone; one that cannot be made is told of when it is opened.
        OwnerAccess access;
        FileHandle(
            CreateFileW(m_path, GENERIC_WRITE, 0, access.Attributes(), CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
    ~Draft() { Remove(); }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    const CString& Path() const { return m_path; }

    void Publish(bool reserved) const
    {
        const DWORD flags = MOVEFILE_WRITE_THROUGH | (reserved ? MOVEFILE_REPLACE_EXISTING : 0);
        if (MoveFileExW(m_path, m_target, flags))
            return;
        CString text;
        text.Format(L"the file cannot be put in its place (error %u)", GetLastError());
        throw IndexError{CIndexDB::Error::Failed, text};
    }

private:
    void Remove() const
    {
        DeleteFileW(m_path);
        DeleteFileW(m_journal);
    }

    CString m_target;
    CString m_path;
    CString m_journal;
};

// True when an empty file holds the name.
bool IsReserved(const CString& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(path, GetFileExInfoStandard, &data))
        return false;
    const bool folder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (folder || data.nFileSizeLow != 0 || data.nFileSizeHigh != 0)
        throw IndexError{CIndexDB::Error::Failed, L"the file exists already"};
    return true;
}

void Write(const CString& path, const SettingsDatum& job, const std::vector<DeleteDatum>& deletes)
{
    IndexConnection file;
    file.Open(path, IndexConnection::Access::Create, 0);
    IndexSchema::RegisterCollation(file);
    IndexSchema::Create(file);
    IndexTransaction transaction(file);
    file.Execute("INSERT INTO jobs(id, started, ended, items, flags) VALUES(?, ?, ?, ?, ?)", job.jobId, job.startTime,
                 job.endTime, job.itemCount, job.flags);
    IndexStatement insert(file.Get(), "INSERT INTO deletes(job, item, deleted) VALUES(?, ?, ?)");
    for (const DeleteDatum& record : deletes) {
        insert.BindAll(record.jobId, record.id, record.deletionTime);
        insert.Step();
    }
    insert.Close();
    transaction.Commit();
}

} // namespace

void ExportTransaction(const CString& path, const SettingsDatum& job, const std::vector<DeleteDatum>& deletes)
{
    const bool reserved = IsReserved(path);
    try {
        const Draft draft(path);
        Write(draft.Path(), job, deletes);
        draft.Publish(reserved);
    } catch (...) {
        // What was reserved for this transaction would otherwise be taken for one.
        if (reserved)
            DeleteFileW(path);
        throw;
    }
}
