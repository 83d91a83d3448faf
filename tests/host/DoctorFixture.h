// A doctor that looks at the data folder, the selection and the index of the test.
#pragma once

#include "tests/host/HostTest.h"

#include <map>
#include <sstream>

class Doctor : public HostTest
{
protected:
    enum class End { Well, Badly };
    // The records of a doctor that looks at the data folder, and at what else is named. Whether there are warnings
    // depends on the machine, too.
    static std::vector<Json> Examined(const Arguments& more, End end)
    {
        HostProcess host(Joined({L"doctor", L"--json"}, more));
        const int code = host.Finish();
        const std::vector<Json> records = host.Records();
        const Json& summary = records.back();
        EXPECT_EQ(code, summary.at("failed") > 0 ? 1 : summary.at("warnings") > 0 ? 3 : 0);
        EXPECT_EQ(code == 1, end == End::Badly) << Json(records).dump(1);
        EXPECT_EQ(summary.at("exit"), code);
        EXPECT_TRUE(host.Errors().empty());
        return records;
    }
    std::vector<Json> ExaminedWhole(End end) const
    {
        return Examined({L"--data", Path(L"selection.xml"), L"--index", index}, end);
    }

    // The one check with this name and this in its text or path.
    static Json CheckOf(const std::vector<Json>& records, const std::string& name, const std::string& text)
    {
        for (const Json& record : records)
            if (record.value("name", "") == name &&
                (record.at("text").get<std::string>().find(text) != std::string::npos ||
                 record.value("path", "").find(text) != std::string::npos))
                return record;
        ADD_FAILURE() << "no check of " << name << " with " << text << " in " << Json(records).dump(1);
        return Json::object();
    }
    static std::string StateOf(const std::vector<Json>& records, const std::string& name, const std::string& text)
    {
        return CheckOf(records, name, text).value("state", "");
    }

    static bool Record(CIndexDB& database, const std::wstring& path, int kind = 0)
    {
        ItemDatum item;
        item.path = path.c_str();
        item.kind = kind;
        return database.RecordItem(item);
    }
    // Opens the index, whose write-ahead log then holds this item.
    void OpenWithItem(CIndexDB& database, const std::wstring& path) const
    {
        database.SetDBFilePath(index.c_str());
        ASSERT_TRUE(database.Open(1, 0, 0));
        ASSERT_TRUE(Record(database, path));
    }
    void MakeIndex(int items) const
    {
        CIndexDB database;
        database.SetDBFilePath(index.c_str());
        ASSERT_TRUE(database.Open(1, 0, 0));
        for (int number = 0; number < items; ++number)
            ASSERT_TRUE(Record(database, L"C:\\x\\" + std::to_wstring(number), number % 2));
    }

    // Every file below the test's folder: what it holds, and when it was written.
    std::map<std::string, std::string> Everything() const
    {
        std::map<std::string, std::string> all;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(std::filesystem::path(Path(L"")))) {
            std::ostringstream state;
            state << entry.last_write_time().time_since_epoch().count() << " ";
            if (entry.is_regular_file())
                state << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            all[entry.path().string()] = state.str();
        }
        return all;
    }
};
