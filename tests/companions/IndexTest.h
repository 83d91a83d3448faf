// A test with an index database, and a way to look into any database file from
// outside the library, with a copy of SQLite of the test's own.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "tests/companions/CompanionTest.h"

#include <sqlite3.h>

#include <memory>
#include <set>
#include <string>

class RawDatabase
{
public:
    explicit RawDatabase(const CString& path)
    {
        sqlite3* opened = nullptr;
        sqlite3_open16(path.GetString(), &opened);
        m_database.reset(opened);
    }

    sqlite3* Get() const { return m_database.get(); }
    // The first column of the first row, or "error: " and what is wrong.
    std::string Run(const std::string& sql)
    {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_database.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
            return std::string("error: ") + sqlite3_errmsg(m_database.get());
        const int status = sqlite3_step(statement);
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        std::string result = status == SQLITE_ROW && text ? text : "";
        if (status != SQLITE_ROW && status != SQLITE_DONE)
            result = std::string("error: ") + sqlite3_errmsg(m_database.get());
        sqlite3_finalize(statement);
        return result;
    }

private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, CloseDatabase> m_database;
};

class IndexTest : public CompanionTest
{
protected:
    using Error = CIndexDB::Error;
    static constexpr const wchar_t* fileName = L"Index.db";

    IndexTest() { db.SetDBFilePath(temp.Path(fileName)); }
    ~IndexTest() override { CIndexDB::ClearCache(); }

    void Create() { ASSERT_TRUE(db.Open(1, 0, 0)) << static_cast<int>(db.GetLastDbError()); }

    static ItemDatum Item(const wchar_t* path, std::uint32_t kind = 0, std::uint64_t time = 1)
    {
        ItemDatum item;
        item.path = path;
        item.kind = kind;
        item.modificationTime = time;
        return item;
    }

    std::set<std::uint64_t> Below(const wchar_t* folder)
    {
        std::set<std::uint64_t> ids;
        EXPECT_TRUE(db.BeginFolderChildrenRead(folder));
        std::uint64_t id = 0;
        while (db.ReadRow(id))
            EXPECT_TRUE(ids.insert(id).second);
        return ids;
    }
    static std::set<std::uint64_t> Ids(const std::vector<const wchar_t*>& paths)
    {
        std::set<std::uint64_t> ids;
        for (const wchar_t* path : paths)
            ids.insert(CIndexDB::CalculateUuid(path));
        return ids;
    }

    CIndexDB db;
};
