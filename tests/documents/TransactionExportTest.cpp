// The page of the transaction export: its example is a database as SQL text.
#include "companions/indexdb/OrbIndexDB.h"
#include "tests/documents/Page.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>

namespace
{

// Definitions over several lines, one column each.
std::string Unfolded(const std::string& definition)
{
    std::string text;
    int depth = 0;
    for (std::size_t i = 0; i < definition.size(); ++i) {
        const char unit = definition[i];
        depth += unit == '(' ? 1 : unit == ')' ? -1 : 0;
        text += unit;
        if (depth == 1 && (unit == '(' || unit == ',')) {
            text += "\n  ";
            i += definition[i + 1] == ' ';
        }
    }
    return text;
}

class Database
{
public:
    explicit Database(const CString& path)
    {
        sqlite3* opened = nullptr;
        sqlite3_open16(path.GetString(), &opened);
        m_database.reset(opened);
        sqlite3_create_collation(opened, "ORB_PATH", SQLITE_UTF8, nullptr,
                                 [](void*, int, const void*, int, const void*) { return 0; });
    }

    // Empty, or what is wrong.
    std::string Run(const std::string& statements)
    {
        char* error = nullptr;
        sqlite3_exec(m_database.get(), statements.c_str(), nullptr, nullptr, &error);
        const std::string text = error ? error : "";
        sqlite3_free(error);
        return text;
    }
    // The rows of a query, each as one text.
    std::vector<std::string> Rows(const std::string& query)
    {
        std::vector<std::string> rows;
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(m_database.get(), query.c_str(), -1, &statement, nullptr), SQLITE_OK) << query;
        while (sqlite3_step(statement) == SQLITE_ROW)
            rows.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
        sqlite3_finalize(statement);
        return rows;
    }

private:
    struct Close {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, Close> m_database;
};

// All that a database holds, as statements that make it.
std::string AsStatements(const CString& path)
{
    Database database(path);
    std::string text;
    for (const char* name : {"encoding", "application_id", "user_version"}) {
        const std::string get = std::string("PRAGMA ") + name;
        text +=
            get + " = " + database.Rows("SELECT quote(" + std::string(name) + ") FROM pragma_" + name).at(0) + ";\n";
    }
    for (const std::string& definition :
         database.Rows("SELECT sql FROM sqlite_master WHERE sql NOT NULL ORDER BY name"))
        text += Unfolded(definition) + ";\n";
    for (const std::string& table :
         database.Rows("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")) {
        std::string values;
        for (const std::string& column : database.Rows("SELECT name FROM pragma_table_info('" + table + "')"))
            values += (values.empty() ? "quote(" : " || ', ' || quote(") + column + ")";
        for (const std::string& row : database.Rows("SELECT " + values + " FROM " + table + " NOT INDEXED"))
            text += "INSERT INTO " + table + " VALUES (" + row + ");\n";
    }
    return text;
}

// The deletions of the page's example.
const std::uint64_t file = CIndexDB::CalculateUuid(L"C:\\Users\\Anna\\Documents\\old.odt");
const std::uint64_t picture = CIndexDB::CalculateUuid(L"C:\\Users\\Anna\\Pictures\\sea.jpg");
constexpr std::uint64_t noticed = 134116992000000000; // 2026-01-01, 00:00 UTC

class TransactionPage : public testing::Test
{
protected:
    TempFolder folder;
    const CString path = folder.Path(L"Index.tdb.0");
};

TEST_F(TransactionPage, TheExampleIsWhatAnExportHolds)
{
    CIndexDB index;
    index.SetDBFilePath(folder.Path(L"index.db"));
    ASSERT_TRUE(index.Open(1, 0, 0));
    ASSERT_TRUE(index.Insert({12, 1767225605, 1767225606, 2, SettingsDatum::Completed}));
    for (const std::uint64_t id : {file, picture})
        ASSERT_TRUE(index.InsertEx({id, noticed, 12}, 0, nullptr, false));
    ASSERT_TRUE(index.ExportToTransaction(path, 1));
    EXPECT_EQ(AsStatements(path), Pages::Example("transaction.sql"));
}

TEST_F(TransactionPage, TheExampleMakesAFileThatTheLibraryReads)
{
    ASSERT_EQ(Database(path).Run(Pages::Example("transaction.sql")), "");
    CIndexDB transaction;
    transaction.SetDBFilePath(path);
    ASSERT_TRUE(transaction.Open(0, 0, 0));
    SettingsDatum job;
    ASSERT_TRUE(transaction.GetLastJobData(job));
    EXPECT_EQ(job.jobId, 12);
    EXPECT_EQ(job.itemCount, 2);
    EXPECT_EQ(job.flags, SettingsDatum::Completed);
    std::vector<DeleteDatum> deletes = transaction.GetDeletes(12);
    ASSERT_EQ(deletes.size(), 2u);
    for (const DeleteDatum& record : deletes) {
        EXPECT_TRUE(record.id == file || record.id == picture);
        EXPECT_EQ(record.deletionTime, noticed);
    }
}

} // namespace
