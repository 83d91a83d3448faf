#include "companions/indexdb/TransactionExport.h"

#include "companions/indexdb/IndexConnection.h"
#include "companions/indexdb/IndexSchema.h"
#include "support/DraftFile.h"
#include "support/Handle.h"
#include "support/OwnerAccess.h"

#include <windows.h>

namespace
{

// The unfinished file; the destructor removes it when it could not be finished.
class Draft
{
public:
    explicit Draft(const CString& target) : m_target(target)
    {
        RemoveOldDrafts(target);
        Make();
    }
    ~Draft()
    {
        m_held.Reset();
        DeleteFileW(m_path);
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    const CString& Path() const { return m_path; }
    // Until this call, no other process can remove the file or put another one in its place.
    void LetGo() { m_held.Reset(); }

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
    // An existing file of the draft's name is not this object's, even if it looks like a leftover: it may be a link.
    void Make()
    {
        constexpr int mostNames = 100;
        OwnerAccess access;
        for (int i = 0; i < mostNames; ++i) {
            m_path = DraftPath(m_target);
            m_held = FileHandle(CreateFileW(m_path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            access.Attributes(), CREATE_NEW,
                                            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
            if (m_held)
                return;
            if (GetLastError() != ERROR_FILE_EXISTS)
                break;
        }
        CString text;
        text.Format(L"the file cannot be made (error %u)", GetLastError());
        throw IndexError{CIndexDB::Error::Failed, text};
    }

    CString m_target;
    CString m_path;
    FileHandle m_held;
};

// Returns true when an empty file has the name.
bool IsReserved(const CString& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(path, GetFileExInfoStandard, &data))
        return false;
    constexpr DWORD noFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((data.dwFileAttributes & noFile) || data.nFileSizeLow != 0 || data.nFileSizeHigh != 0)
        throw IndexError{CIndexDB::Error::Failed, L"the file exists already"};
    return true;
}

void Write(const CString& path, const SettingsDatum& job, const std::vector<DeleteDatum>& deletes)
{
    IndexConnection file;
    file.Open(path, IndexConnection::Access::Write, 0);
    // A journal beside the file could be a link, too. A draft that fails is not kept anyway.
    file.Execute("PRAGMA journal_mode=MEMORY");
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
        Draft draft(path);
        Write(draft.Path(), job, deletes);
        draft.LetGo();
        draft.Publish(reserved);
    } catch (...) {
        // Otherwise the file that was reserved for this transaction would count as one.
        if (reserved)
            DeleteFileW(path);
        throw;
    }
}
