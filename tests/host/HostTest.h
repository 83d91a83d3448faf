// A data folder, a selected tree and an index of the test's own, and the commands
// that use them. Both have been in use: a watch hands out what changes from now on.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "tests/host/HostProcess.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

class HostTest : public testing::Test
{
protected:
    using Json = HostProcess::Json;
    using Arguments = std::vector<std::wstring>;

    HostTest()
    {
        std::filesystem::create_directories(data);
        std::filesystem::create_directories(tree);
        wchar_t before[1024] = {};
        GetEnvironmentVariableW(L"ORB_DATA_FOLDER", before, 1024);
        m_dataFolderBefore = before;
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", data.c_str());
        WriteSelection(TreeItem());
        BeInUse();
    }
    ~HostTest() override { SetEnvironmentVariableW(L"ORB_DATA_FOLDER", m_dataFolderBefore.c_str()); }

    void BeInUse() const
    {
        folder.WriteBytes(L"data\\ServiceRunSettings.json",
                          "{\"Backup\": {\"FirstTimeRunTime\": " + std::to_string(std::time(nullptr)) + "}}");
        CIndexDB made;
        made.SetDBFilePath(index.c_str());
        EXPECT_TRUE(made.Open(1, 0, 0));
    }
    // From here on, both are new.
    void ForgetUse() const
    {
        std::filesystem::remove(data + L"\\ServiceRunSettings.json");
        std::filesystem::remove(index);
    }

    static std::string Item(const std::wstring& attributes) { return "<Item " + Utf8(attributes) + "/>"; }
    std::string TreeItem() const
    {
        return Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" pluginName=\"Tree\" pluginId=\"7\"");
    }
    void WriteSelection(const std::string& items) { WriteSelection(L"selection.xml", items); }
    std::wstring WriteSelection(const wchar_t* name, const std::string& items)
    {
        folder.WriteBytes(name, "<Data>" + items + "</Data>");
        return Path(name);
    }

    std::wstring Path(const wchar_t* name) const { return folder.Path(name).GetString(); }
    std::wstring InTree(const std::wstring& name) const { return tree + L"\\" + name; }
    // Creates or replaces a file below the tree; its path.
    std::wstring Write(const std::wstring& name, const std::string& text) const
    {
        const std::filesystem::path path = InTree(name);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path.wstring();
    }

    static Arguments Joined(Arguments first, const Arguments& more)
    {
        first.insert(first.end(), more.begin(), more.end());
        return first;
    }
    Arguments Watch(const Arguments& more) const
    {
        return Joined({L"watch", L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    Arguments Explain(const Arguments& more) const
    {
        return Joined({L"explain", L"--json", L"--data", Path(L"selection.xml")}, more);
    }
    // A running watch that is ready.
    std::unique_ptr<HostProcess> StartWatch(const Arguments& more) const
    {
        auto host = std::make_unique<HostProcess>(Watch(more));
        EXPECT_EQ(host->WaitForType("ready").value("type", ""), "ready");
        return host;
    }

    static std::vector<Json> OfType(const std::vector<Json>& records, const std::string& type)
    {
        std::vector<Json> found;
        for (const Json& record : records)
            if (record.at("type") == type)
                found.push_back(record);
        return found;
    }
    // Returns whether the program said this on standard error.
    static bool IsSaid(const HostProcess& host, const std::string& part)
    {
        for (const Json& record : host.Errors())
            if (record.value("message", "").find(part) != std::string::npos)
                return true;
        return false;
    }
    // The one failure that the program told: its message, and the path when there is one.
    static Json OnlyError(const HostProcess& host)
    {
        const std::vector<Json> errors = OfType(host.Errors(), "error");
        EXPECT_EQ(errors.size(), 1u);
        return errors.empty() ? Json::object() : errors.front();
    }

    TempFolder folder;
    const std::wstring data = Path(L"data");
    const std::wstring tree = Path(L"tree");
    const std::wstring index = Path(L"index.db");

private:
    std::wstring m_dataFolderBefore;
};
