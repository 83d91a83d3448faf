#include "companions/indexdb/OrbIndexDB.h"

#include "companions/indexdb/IndexSchema.h"
#include "companions/indexdb/IndexState.h"
#include "companions/logging/OrbLogging.h"
#include "support/WithoutThreadToken.h"

#include <algorithm>

namespace
{

constexpr const wchar_t* logSource = L"OrbIndexDB";
constexpr int DefaultBusyTimeoutMs = 2000;

bool IsReadOnlyFile(const CString& path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

// With the log, readers do not wait for the writer. Some network shares do not support it; the database works without.
void UseWriteAheadLog(IndexConnection& connection, const CString& path)
{
    IndexStatement mode(connection.Get(), "PRAGMA journal_mode=WAL");
    const CString got = mode.Step() ? mode.Text(0) : CString();
    if (got != L"wal")
        g_OrbLog.WriteLog(1, logSource, __LINE__, L"The index %s has no write-ahead log (mode %s).", path.GetString(),
                          got.GetString());
    // The first read enters the log. From then on an exclusive connection cannot open, even while this one is idle.
    mode.Close();
    connection.Number("SELECT count(*) FROM sqlite_master");
}

// Without an identity, the watcher does not notice that an index was exchanged. The next opening tries again.
void GiveIdentity(IndexConnection& connection, const CString& path)
{
    try {
        IndexSchema::GiveIdentity(connection);
    } catch (const IndexError& failure) {
        g_OrbLog.WriteLog(1, logSource, __LINE__, L"The index %s gets no identity: %s", path.GetString(),
                          failure.text.GetString());
    }
}

struct Opening {
    bool writable;
    bool exclusive;
    int busyTimeoutMs;
};

// Opens the connection to an index, which is made when it is missing and may be written.
void OpenIndex(IndexConnection& connection, const CString& path, const Opening& how)
{
    using Access = IndexConnection::Access;
    using Error = CIndexDB::Error;
    if (path.IsEmpty())
        throw IndexError{Error::Failed, L"no database file is set"};
    if (how.writable && IsReadOnlyFile(path))
        throw IndexError{Error::ReadOnly, L"the file is read-only"};
    // An exclusive connection needs a lock that only a writing connection can get.
    const Access access = how.writable ? Access::Create : how.exclusive ? Access::Write : Access::Read;
    connection.Open(path, access, how.busyTimeoutMs > 0 ? how.busyTimeoutMs : DefaultBusyTimeoutMs);
    IndexSchema::RegisterCollation(connection);
    if (how.exclusive)
        connection.Execute("PRAGMA locking_mode=EXCLUSIVE");
    // Keys are hashes, so that writing many delete records touches pages in all parts of the file.
    connection.Execute("PRAGMA cache_size=-65536");
    const bool present = IndexSchema::IsIndex(connection);
    if (!present && !how.writable)
        throw IndexError{Error::Corrupt, L"an empty file"};
    if (how.writable && sqlite3_db_readonly(connection.Get(), "main") == 1)
        throw IndexError{Error::ReadOnly, L"the file cannot be written"};
    if (!present)
        IndexSchema::Create(connection);
    if (how.writable) {
        IndexSchema::Upgrade(connection);
        UseWriteAheadLog(connection, path);
        GiveIdentity(connection, path);
    }
    if (how.exclusive) {
        connection.Execute("BEGIN EXCLUSIVE");
        connection.Execute("COMMIT");
    }
    if (!how.writable)
        connection.Execute("PRAGMA query_only=1");
}

// Returns what tells the database of a cache from others: without it, the cache would not follow this one.
FileIdentity RequireIdentity(const CString& path)
{
    const FileIdentity identity = FileIdentity::Of(path);
    if (identity == FileIdentity{})
        throw IndexError{CIndexDB::Error::Failed, L"the file cannot be told from others"};
    return identity;
}

} // namespace

void CIndexDB::State::Close()
{
    deletes.Close();
    children.Close();
    connection.Close();
    identity = {};
}

CIndexDB::CIndexDB() : m_state(new State) {}
CIndexDB::~CIndexDB()
{
    const WithoutThreadToken asProcess;
    delete m_state;
}

void CIndexDB::SetDBFilePath(const wchar_t* path)
{
    const CSingleLock lock(m_state->section);
    m_state->path = path;
}

bool CIndexDB::Open(int writable, int exclusive, int busyTimeoutMs)
{
    const CSingleLock lock(m_state->section);
    // This thread opens or removes all files of the database, which belong to the product, whichever user it acts for.
    const WithoutThreadToken asProcess;
    m_state->Close();
    const bool opened = m_state->Guarded([&] {
        OpenIndex(m_state->connection, m_state->path, {writable != 0, exclusive != 0, busyTimeoutMs});
        m_state->identity = RequireIdentity(m_state->path);
    });
    if (!opened)
        m_state->Close();
    return opened;
}

void CIndexDB::Close()
{
    const CSingleLock lock(m_state->section);
    const WithoutThreadToken asProcess;
    m_state->Close();
}

CIndexDB::Error CIndexDB::GetLastDbError() const
{
    const CSingleLock lock(m_state->section);
    return m_state->last.error;
}

CString CIndexDB::GetLastDbErrorText() const
{
    const CSingleLock lock(m_state->section);
    return m_state->last.text;
}

bool CIndexDB::SetSizeLimit(std::uint64_t bytes)
{
    return m_state->Run([&] {
        const std::int64_t pageSize = std::max<std::int64_t>(m_state->connection.Number("PRAGMA page_size"), 1);
        const auto pages = static_cast<std::int64_t>(bytes) / pageSize;
        m_state->connection.Execute(("PRAGMA max_page_count=" + std::to_string(pages)).c_str());
    });
}
