// SQLite as the index library uses it: a connection and its statements, which close themselves and throw IndexError.
//
// One thread at a time.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

#include <sqlite3.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <string_view>

// The exception inside the library; the exported operations turn it into their result.
struct IndexError {
    CIndexDB::Error error = CIndexDB::Error::Failed;
    CString text;
};

// Returns the error of the connection's last call.
IndexError LastErrorOf(sqlite3* connection);

class IndexStatement
{
public:
    IndexStatement() = default;
    template <typename... Values>
    IndexStatement(sqlite3* connection, const char* sql, const Values&... values)
    {
        Prepare(connection, sql);
        BindAll(values...);
    }

    explicit operator bool() const { return m_statement != nullptr; }
    sqlite3_stmt* Get() const { return m_statement.get(); }
    void Close() { m_statement.reset(); }

    // Binds new values to the same statement, from the first parameter on.
    template <typename... Values>
    void BindAll(const Values&... values)
    {
        Rewind();
        int index = 0; // NOLINT(misc-const-correctness): each value below counts it up
        (Bind(++index, values), ...);
    }

    // Moves to the next row. Returns false at the end.
    bool Step();
    // Ends the reading: between two rows, a statement keeps its view of the database.
    void Rewind();

    // These functions return the columns of the row.
    std::int64_t Integer(int column) const;
    CString Text(int column) const;

    // QueryCount returns how many queries for rows the process has begun, PreparedCount how many statements it has
    // prepared.
    static std::uint64_t QueryCount();
    static std::uint64_t PreparedCount();

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };

    void Prepare(sqlite3* connection, const char* sql);
    // 64-bit keys and times keep their bits, because the database has only signed numbers.
    void Bind(int index, std::integral auto value) { BindInteger(index, static_cast<std::int64_t>(value)); }
    void Bind(int index, const CString& text) { BindText(index, text.View()); }
    void Bind(int index, std::wstring_view text) { BindText(index, text); }
    void BindInteger(int index, std::int64_t value);
    void BindText(int index, std::wstring_view text);
    void Check(int status) const;

    std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
    bool m_begun = false;
};

class IndexConnection
{
public:
    // Immutable: reads without locks; the file must not change.
    enum class Access { Read, Write, Create, Immutable };

    // Opens the database; does not read from the file yet. Throws; the connection is then closed.
    void Open(const CString& path, Access access, int busyTimeoutMs);
    void Close() { m_connection.reset(); }
    bool IsOpen() const { return m_connection != nullptr; }
    sqlite3* Get() const { return m_connection.get(); }

    template <typename... Values>
    void Execute(const char* sql, const Values&... values)
    {
        IndexStatement statement(Get(), sql, values...);
        while (statement.Step()) {
        }
    }
    // Prepares a statement that is kept for the next call, and binds the values of this one.
    template <typename... Values>
    void Prepare(IndexStatement& kept, const char* sql, const Values&... values)
    {
        if (!kept)
            kept = IndexStatement(Get(), sql);
        kept.BindAll(values...);
    }
    template <typename... Values>
    void ExecutePrepared(IndexStatement& kept, const char* sql, const Values&... values)
    {
        Prepare(kept, sql, values...);
        while (kept.Step()) {
        }
        kept.Rewind();
    }
    // Returns the first column of the first row; 0 without a row.
    template <typename... Values>
    std::int64_t Number(const char* sql, const Values&... values)
    {
        IndexStatement statement(Get(), sql, values...);
        return statement.Step() ? statement.Integer(0) : 0;
    }
    // Returns how many rows the last statement changed.
    int Changed() const { return sqlite3_changes(Get()); }
    bool InTransaction() const { return sqlite3_get_autocommit(Get()) == 0; }
    // Throws inside a transaction, for operations whose effects could not be undone with it.
    void RequireNoBatch() const;
    bool HasTable(std::wstring_view name);

private:
    struct CloseConnection {
        void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
    };
    std::unique_ptr<sqlite3, CloseConnection> m_connection;
};

// A transaction. Its destructor undoes what was not committed.
class IndexTransaction
{
public:
    explicit IndexTransaction(IndexConnection& connection) : m_connection(connection)
    {
        m_connection.Execute("BEGIN IMMEDIATE");
    }
    ~IndexTransaction();
    IndexTransaction(const IndexTransaction&) = delete;
    IndexTransaction& operator=(const IndexTransaction&) = delete;

    void Commit() { m_connection.Execute("COMMIT"); }

private:
    IndexConnection& m_connection;
};
