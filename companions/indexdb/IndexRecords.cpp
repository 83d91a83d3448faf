#include "companions/indexdb/IndexSchema.h"
#include "companions/indexdb/IndexState.h"
#include "companions/indexdb/TransactionExport.h"

#include <limits>

namespace
{

constexpr int MaxTextLength = 259;

// Returns the job of the first row; a zero record without one.
SettingsDatum JobOf(IndexStatement query)
{
    SettingsDatum job;
    if (query.Step()) {
        const std::int64_t id = query.Integer(0);
        // There must always be a next number.
        if (id < 0 || id >= std::numeric_limits<std::int32_t>::max())
            throw IndexError{CIndexDB::Error::Corrupt, L"it holds a job that no library has written"};
        job.jobId = static_cast<std::int32_t>(id);
        job.startTime = query.Integer(1);
        job.endTime = query.Integer(2);
        job.itemCount = query.Integer(3);
        job.flags = static_cast<std::uint32_t>(query.Integer(4));
    }
    return job;
}

SettingsDatum LastJob(const IndexConnection& connection)
{
    return JobOf({connection.Get(), "SELECT id, started, ended, items, flags FROM jobs ORDER BY id DESC LIMIT 1"});
}

} // namespace

bool CIndexDB::GetLastJobData(SettingsDatum& job)
{
    job = {};
    return m_state->Run([&] { job = LastJob(m_state->connection); });
}

bool CIndexDB::Insert(const SettingsDatum& job)
{
    return m_state->Run([&] {
        m_state->connection.Execute("INSERT INTO jobs(id, started, ended, items, flags) VALUES(?, ?, ?, ?, ?)",
                                    job.jobId, job.startTime, job.endTime, job.itemCount, job.flags);
    });
}

bool CIndexDB::Update(const SettingsDatum& job)
{
    return m_state->Run([&] {
        m_state->connection.Execute("UPDATE jobs SET started=?, ended=?, items=?, flags=? WHERE id=?", job.startTime,
                                    job.endTime, job.itemCount, job.flags, job.jobId);
        if (m_state->connection.Changed() == 0)
            throw IndexError{Error::NotFound, L"no such job"};
    });
}

bool CIndexDB::DropPluginTable()
{
    return m_state->Run([&] { m_state->connection.Execute("DROP TABLE IF EXISTS plugins"); });
}

bool CIndexDB::CreatePluginTable()
{
    return m_state->Run([&] { m_state->connection.Execute(IndexSchema::CreatePlugins); });
}

bool CIndexDB::Insert(const ProfileDatum& plugin)
{
    return m_state->Run([&] {
        for (const CString* text : {&plugin.name, &plugin.virtualPath, &plugin.rootPath, &plugin.guiName})
            if (text->GetLength() > MaxTextLength)
                throw IndexError{Error::Failed, L"a text of the plugin is too long"};
        m_state->connection.Execute(
            "INSERT INTO plugins(id, name, virtualPath, rootPath, guiName) VALUES(?, ?, ?, ?, ?)", plugin.id,
            plugin.name, plugin.virtualPath, plugin.rootPath, plugin.guiName);
    });
}

std::vector<ProfileDatum> CIndexDB::GetPlugins()
{
    std::vector<ProfileDatum> plugins;
    m_state->Run([&] {
        if (!m_state->connection.HasTable(L"plugins"))
            return;
        IndexStatement query(m_state->connection.Get(),
                             "SELECT id, name, virtualPath, rootPath, guiName FROM plugins ORDER BY position");
        while (query.Step())
            plugins.push_back({static_cast<std::int32_t>(query.Integer(0)), query.Text(1), query.Text(2), query.Text(3),
                               query.Text(4)});
    });
    return plugins;
}

bool CIndexDB::InsertEx(const DeleteDatum& record, int, void*, bool replace)
{
    const bool inserted = m_state->Run([&] { m_state->deletes.Write({record, replace}); });
    if (!m_state->deletes.InBatch())
        m_state->deletes.Finish(inserted);
    return inserted;
}

std::vector<DeleteDatum> CIndexDB::GetDeletes(std::int32_t jobId)
{
    std::vector<DeleteDatum> deletes;
    m_state->Run([&] { deletes = m_state->deletes.Read(jobId); });
    return deletes;
}

bool CIndexDB::BeginBatch()
{
    return m_state->Run([&] { m_state->deletes.BeginBatch(); });
}

bool CIndexDB::CommitBatch()
{
    const bool committed = m_state->Run([&] { m_state->deletes.CommitBatch(); });
    m_state->deletes.Finish(committed);
    return committed;
}

void CIndexDB::State::Export(const wchar_t* file, const SettingsDatum& job)
{
    connection.RequireNoBatch();
    if (job.jobId == 0)
        throw IndexError{Error::NotFound, L"no job to export"};
    ExportTransaction(file, job, deletes.Read(job.jobId));
}

bool CIndexDB::ExportToTransaction(const wchar_t* path, int kind)
{
    return m_state->Run([&] {
        if (kind != 1)
            throw IndexError{Error::Failed, L"an unknown kind of transaction"};
        m_state->Export(path, LastJob(m_state->connection));
    });
}

bool CIndexDB::ExportJob(const wchar_t* path, std::int32_t jobId)
{
    return m_state->Run([&] {
        m_state->Export(path, JobOf({m_state->connection.Get(),
                                     "SELECT id, started, ended, items, flags FROM jobs WHERE id = ?", jobId}));
    });
}

bool CIndexDB::MakeExportDue(std::int32_t jobId)
{
    return m_state->Run([&] {
        m_state->connection.Execute(IndexSchema::CreateUnexported);
        m_state->connection.Execute("INSERT OR IGNORE INTO unexported(job) VALUES(?)", jobId);
    });
}

bool CIndexDB::NoteExported(std::int32_t jobId)
{
    return m_state->Run([&] {
        if (m_state->connection.HasTable(L"unexported"))
            m_state->connection.Execute("DELETE FROM unexported WHERE job = ?", jobId);
    });
}

bool CIndexDB::GetDueExports(std::vector<std::int32_t>& jobs)
{
    jobs.clear();
    return m_state->Run([&] {
        if (!m_state->connection.HasTable(L"unexported"))
            return;
        // A mark without its job has no use any more.
        IndexStatement query(m_state->connection.Get(),
                             "SELECT job FROM unexported WHERE job IN (SELECT id FROM jobs) ORDER BY job");
        while (query.Step())
            jobs.push_back(static_cast<std::int32_t>(query.Integer(0)));
    });
}
