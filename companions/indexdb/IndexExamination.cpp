#include "companions/indexdb/IndexExamination.h"

#include "companions/indexdb/IndexSchema.h"
#include "support/WithoutThreadToken.h"

#include <windows.h>

namespace
{

constexpr int BusyTimeoutMs = 2000;

std::uint64_t SizeOf(const CString& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(path, GetFileExInfoStandard, &data))
        return 0;
    return data.nFileSizeLow | std::uint64_t(data.nFileSizeHigh) << 32;
}

bool HasLog(const CString& path) { return SizeOf(path + L"-wal") != 0; }
bool LacksMemory(const CString& path)
{
    return HasLog(path) && GetFileAttributesW(path + L"-shm") == INVALID_FILE_ATTRIBUTES;
}

// A connection makes the shared memory of a write-ahead log when it is missing, and the last connection removes both.
// Without a log, the file alone is the database, and can be read as one that does not change.
void Open(IndexConnection& connection, const CString& path)
{
    using Access = IndexConnection::Access;
    if (LacksMemory(path))
        throw IndexError{CIndexDB::Error::Failed, L"its write-ahead log has lost its shared memory"};
    connection.Open(path, HasLog(path) ? Access::Read : Access::Immutable, BusyTimeoutMs);
    sqlite3_db_config(connection.Get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

// Damage is described in several lines.
CString InOneLine(CString text)
{
    text.Replace(L"\r", L"");
    text.Replace(L"\n", L" ");
    return text;
}

void Examine(const CString& path, IndexExamination& result)
{
    result.lacksMemory = LacksMemory(path);
    if (result.lacksMemory)
        return;
    IndexConnection connection;
    Open(connection, path);
    IndexSchema::RegisterCollation(connection);
    if (!IndexSchema::IsIndex(connection))
        throw IndexError{CIndexDB::Error::Corrupt, L"an empty file"};
    result.isIndex = true;
    IndexStatement check(connection.Get(), "PRAGMA quick_check(1)");
    if (const CString found = check.Step() ? check.Text(0) : CString(); found != L"ok")
        throw IndexError{CIndexDB::Error::Corrupt, InOneLine(found)};
    result.items = connection.Number("SELECT count(*) FROM items");
    result.folders = connection.Number("SELECT count(*) FROM items WHERE kind=1");
}

} // namespace

IndexExamination ExamineIndex(const wchar_t* path)
{
    IndexExamination result;
    try {
        Examine(path, result);
    } catch (const IndexError& error) {
        result.error = error.error;
        result.text = error.text;
    }
    return result;
}

CString IndexIdentity(const wchar_t* path)
{
    const WithoutThreadToken asProcess;
    try {
        IndexConnection connection;
        Open(connection, path);
        return IndexSchema::IdentityOf(connection);
    } catch (const IndexError&) {
        return {};
    }
}
