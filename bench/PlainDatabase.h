// An index's database without the index's own code: the rival of cases that write to an index.
#pragma once

#include "companions/indexdb/IndexFormat.h"
#include "mfc/CString.h"

#include <sqlite3.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string_view>

// SQLite with the pragmas that the index is opened with.
class PlainDatabase
{
public:
    explicit PlainDatabase(const CString& path)
    {
        sqlite3* opened = nullptr;
        RequireDone(sqlite3_open16(path.GetString(), &opened) == SQLITE_OK);
        m_database.reset(opened);
        RequireDone(IndexFormat::RegisterCollation(opened) == SQLITE_OK);
        Run("PRAGMA cache_size=-65536");
        Run("PRAGMA journal_mode=WAL");
    }
    void Run(const char* sql)
    {
        RequireDone(sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK);
    }

    class Statement
    {
    public:
        Statement(PlainDatabase& plain, const char* sql)
        {
            sqlite3_stmt* statement = nullptr;
            RequireDone(sqlite3_prepare_v2(plain.m_database.get(), sql, -1, &statement, nullptr) == SQLITE_OK);
            m_statement.reset(statement);
        }
        void Run(std::initializer_list<std::int64_t> values)
        {
            Bind(values);
            Step();
        }
        // The text is bound behind the numbers.
        void Run(std::initializer_list<std::int64_t> values, std::wstring_view text)
        {
            sqlite3_bind_text16(m_statement.get(), Bind(values) + 1, text.data(),
                                static_cast<int>(text.size() * sizeof(wchar_t)), SQLITE_STATIC);
            Step();
        }
        // Calls `take` with the statement at each row of its result.
        template <typename Take>
        void Read(Take take)
        {
            int status;
            while ((status = sqlite3_step(m_statement.get())) == SQLITE_ROW)
                take(m_statement.get());
            RequireDone(status == SQLITE_DONE);
            sqlite3_reset(m_statement.get());
        }

    private:
        // Returns the number of values.
        int Bind(std::initializer_list<std::int64_t> values)
        {
            int index = 0;
            for (const std::int64_t value : values)
                sqlite3_bind_int64(m_statement.get(), ++index, value);
            return index;
        }
        void Step()
        {
            RequireDone(sqlite3_step(m_statement.get()) == SQLITE_DONE);
            sqlite3_reset(m_statement.get());
        }

        struct Finalize {
            void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
        };
        std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
    };

private:
    static void RequireDone(bool done)
    {
        if (!done)
            throw std::runtime_error("the plain database cannot be written");
    }

    struct Close {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, Close> m_database;
};
