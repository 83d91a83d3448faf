// A selected tree and an index of the test's own, and the C functions on them.
#pragma once

#include "support/Handle.h"
#include "tests/capi/OwnedHandles.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <string>

// Long enough for any machine; no test waits for its end.
constexpr uint32_t Longest = 20000; // milliseconds

// A struct with its size set and everything else zero.
template <typename Struct>
Struct Sized(std::size_t size = sizeof(Struct))
{
    Struct made = {};
    made.size = static_cast<uint32_t>(size);
    return made;
}

inline std::wstring LastFailure()
{
    wchar_t text[512] = {};
    EXPECT_EQ(OrbLastFailure(text, 512, nullptr), ORB_OK);
    return text;
}

class CapiTest : public testing::Test
{
protected:
    CapiTest()
    {
        std::filesystem::create_directories(tree);
        WriteSelection(TreeItem());
        wchar_t before[1024] = {};
        GetEnvironmentVariableW(L"ORB_DATA_FOLDER", before, 1024);
        m_dataFolderBefore = before;
        EXPECT_EQ(OrbSetDataFolder(Path(L"data").c_str()), ORB_OK);
    }
    ~CapiTest() override
    {
        watcher.reset();
        index.reset();
        EXPECT_EQ(OrbSetDataFolder(m_dataFolderBefore.empty() ? nullptr : m_dataFolderBefore.c_str()), ORB_OK);
    }

    static std::string Item(const std::wstring& attributes) { return "<Item " + Narrow(attributes) + "/>"; }
    std::string TreeItem() const
    {
        return Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" pluginName=\"Tree\" pluginId=\"7\"");
    }
    std::wstring WriteXml(const wchar_t* name, const std::string& items) const
    {
        folder.WriteBytes(name, "<Data>" + items + "</Data>");
        return Path(name);
    }
    void WriteSelection(const std::string& items) const { WriteXml(L"selection.xml", items); }
    std::wstring Path(const wchar_t* name) const { return folder.Path(name).GetString(); }
    std::wstring InTree(const std::wstring& name) const { return tree + L"\\" + name; }
    // A file in the selected tree; its full path.
    std::wstring Write(const std::wstring& name, const std::string& bytes = "x") const
    {
        folder.WriteBytes((L"tree\\" + name).c_str(), bytes);
        return InTree(name);
    }

    static std::wstring DumpPath()
    {
        wchar_t data[1024] = {};
        GetEnvironmentVariableW(L"ORB_DATA_FOLDER", data, 1024);
        return std::wstring(data) + L"\\watcher_dump.bin";
    }

    OrbWatcherOptions Options() const
    {
        auto options = Sized<OrbWatcherOptions>();
        options.selection = selection.c_str();
        options.indexDatabase = indexPath.c_str();
        options.keepEvents = 1;
        return options;
    }
    OrbResult Create(const OrbWatcherOptions& options)
    {
        OrbWatcherHandle made = nullptr;
        const OrbResult result = OrbWatcherCreate(&options, &made);
        watcher.reset(made);
        return result;
    }
    void OpenIndex()
    {
        OrbIndexHandle opened = nullptr;
        ASSERT_EQ(OrbIndexOpen(indexPath.c_str(), nullptr, &opened), ORB_OK);
        index.reset(opened);
    }
    // Watches the tree, with an index.
    void Watch()
    {
        OpenIndex();
        ASSERT_EQ(Create(Options()), ORB_OK);
        Start();
    }
    void Start()
    {
        ASSERT_EQ(OrbWatcherStart(watcher.get(), Longest), ORB_OK);
        OpenDown();
    }
    // Wine reports changes in a folder that was there before only once the folder has been opened.
    void OpenDown() const
    {
        for (std::size_t slash = tree.find(L'\\'); slash != std::wstring::npos; slash = tree.find(L'\\', slash + 1))
            Open(tree.substr(0, slash + 1));
        Open(tree + L"\\");
    }

    static void Open(const std::wstring& opened)
    {
        WIN32_FIND_DATAW data;
        const FindHandle found(FindFirstFileW((opened + L"*").c_str(), &data));
    }

    // Takes until the path comes, which is then in *file; false after the time.
    bool Receives(const std::wstring& path, OrbPendingFile* file)
    {
        const ULONGLONG end = GetTickCount64() + Longest;
        while (GetTickCount64() < end) {
            const OrbResult result = OrbPendingTake(watcher.get(), file);
            if (result == ORB_OK && _wcsicmp(file->path, path.c_str()) == 0)
                return true;
            if (result != ORB_OK && result != ORB_NOTHING)
                return false;
            if (result == ORB_NOTHING)
                Sleep(20); // between two looks at a queue that another thread fills
        }
        return false;
    }
    bool Receives(const std::wstring& path)
    {
        auto file = Sized<OrbPendingFile>();
        return Receives(path, &file);
    }

    const TempFolder folder;
    const std::wstring tree = folder.Path(L"tree").GetString();
    const std::wstring selection = folder.Path(L"selection.xml").GetString();
    const std::wstring indexPath = folder.Path(L"index.db").GetString();
    OwnedIndex index;
    OwnedWatcher watcher;

private:
    std::wstring m_dataFolderBefore;
};
