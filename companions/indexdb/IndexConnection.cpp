#include "companions/indexdb/IndexConnection.h"

#include "companions/indexdb/IndexFiles.h"
#include "companions/indexdb/IndexFormat.h"
#include "support/Utf8Text.h"

#include <windows.h>

#include <atomic>
#include <string>

namespace
{

std::atomic<std::uint64_t> g_queries{0}, g_prepared{0};

CIndexDB::Error ErrorOfFile(int systemError)
{
    switch (systemError) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return CIndexDB::Error::NotFound;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return CIndexDB::Error::Locked;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return CIndexDB::Error::Full;
    case ERROR_WRITE_PROTECT:
        return CIndexDB::Error::ReadOnly;
    default:
        return CIndexDB::Error::Failed;
    }
}

CIndexDB::Error ErrorOf(int status, int systemError)
{
    switch (status & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return CIndexDB::Error::Locked;
    case SQLITE_READONLY:
        return CIndexDB::Error::ReadOnly;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_TOOBIG: // longer than any that the library writes
        return CIndexDB::Error::Corrupt;
    case SQLITE_FULL:
        return CIndexDB::Error::Full;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
        return ErrorOfFile(systemError);
    default:
        return CIndexDB::Error::Failed;
    }
}

// Escapes the characters that have a meaning in a URI.
std::string ImmutableUri(const std::string& path)
{
    std::string uri = path.starts_with('\\') ? "file://" : "file:///"; // a share's path begins with slashes itself
    for (const char unit : path)
        if (unit == '%' || unit == '?' || unit == '#')
            uri += unit == '%' ? "%25" : unit == '?' ? "%3f" : "%23";
        else
            uri += unit == '\\' ? '/' : unit;
    return uri + "?immutable=1";
}

} // namespace

IndexError LastErrorOf(sqlite3* connection)
{
    const auto* text = static_cast<const wchar_t*>(sqlite3_errmsg16(connection));
    return {ErrorOf(sqlite3_extended_errcode(connection), sqlite3_system_errno(connection)), CString(text)};
}

void IndexStatement::Prepare(sqlite3* connection, const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr) != SQLITE_OK)
        throw LastErrorOf(connection);
    m_statement.reset(statement);
    ++g_prepared;
}

void IndexStatement::Rewind()
{
    sqlite3_reset(m_statement.get());
    m_begun = false;
}

bool IndexStatement::Step()
{
    if (!m_begun && sqlite3_stmt_readonly(m_statement.get()) && sqlite3_column_count(m_statement.get()) > 0)
        ++g_queries;
    m_begun = true;
    const int status = sqlite3_step(m_statement.get());
    if (status == SQLITE_ROW)
        return true;
    if (status == SQLITE_DONE)
        return false;
    const IndexError error = LastErrorOf(sqlite3_db_handle(m_statement.get()));
    // A statement that was refused continues to wait otherwise, and the connection then keeps reading its old view.
    Rewind();
    throw error;
}

std::int64_t IndexStatement::Integer(int column) const { return sqlite3_column_int64(m_statement.get(), column); }

CString IndexStatement::Text(int column) const
{
    const auto* text = static_cast<const wchar_t*>(sqlite3_column_text16(m_statement.get(), column));
    const int bytes = sqlite3_column_bytes16(m_statement.get(), column);
    return text ? CString(text, bytes / static_cast<int>(sizeof(wchar_t))) : CString();
}

std::uint64_t IndexStatement::QueryCount() { return g_queries; }
std::uint64_t IndexStatement::PreparedCount() { return g_prepared; }

void IndexStatement::BindInteger(int index, std::int64_t value)
{
    Check(sqlite3_bind_int64(m_statement.get(), index, value));
}

void IndexStatement::BindText(int index, std::wstring_view text)
{
    // A null pointer would bind NULL.
    const wchar_t* units = text.data() ? text.data() : L"";
    Check(sqlite3_bind_text16(m_statement.get(), index, units, static_cast<int>(text.size() * sizeof(wchar_t)),
                              SQLITE_TRANSIENT));
}

void IndexStatement::Check(int status) const
{
    if (status != SQLITE_OK)
        throw LastErrorOf(sqlite3_db_handle(m_statement.get()));
}

void IndexConnection::Open(const CString& path, Access access, int busyTimeoutMs)
{
    const bool reads = access == Access::Read || access == Access::Immutable;
    int flags = reads ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    if (access == Access::Create)
        flags |= SQLITE_OPEN_CREATE;
    if (access == Access::Immutable)
        flags |= SQLITE_OPEN_URI;
    const std::string name = access == Access::Immutable ? ImmutableUri(ToUtf8(path.View())) : ToUtf8(path.View());
    sqlite3* connection = nullptr;
    const int status = sqlite3_open_v2(name.c_str(), &connection, flags, IndexFiles::Name());
    m_connection.reset(connection);
    if (!connection)
        throw IndexError{CIndexDB::Error::Failed, L"out of memory"};
    if (status != SQLITE_OK) {
        const IndexError error = LastErrorOf(connection);
        Close();
        throw error;
    }
    sqlite3_extended_result_codes(connection, 1);
    IndexFormat::Restrict(connection);
    sqlite3_busy_timeout(connection, busyTimeoutMs);
}

void IndexConnection::RequireNoBatch() const
{
    if (InTransaction())
        throw IndexError{CIndexDB::Error::Failed, L"a batch is open"};
}

bool IndexConnection::HasTable(std::wstring_view name)
{
    return Number("SELECT count(*) FROM sqlite_master WHERE type='table' AND name=?", name) != 0;
}

IndexTransaction::~IndexTransaction()
{
    if (m_connection.IsOpen() && m_connection.InTransaction())
        sqlite3_exec(m_connection.Get(), "ROLLBACK", nullptr, nullptr, nullptr);
}
