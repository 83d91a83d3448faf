// New rules get into the selection file, or their own file stays; and the pending list is the old or the new one.
#include "tests/faults/FaultyWatcher.h"
#include "xml/Markup.h"

namespace
{

class FaultySelection : public FaultyWatcher
{
protected:
    FaultySelection() { file = Write(L"added\\file.txt"); }

    void Prepare()
    {
        DeleteFileW(DumpFilePath());
        DeleteFileW(folder.Path(L"data.xml.bad"));
        NoteEnumerationDone();
        InitAgain();
        watcher.SetDataXmlPath(WriteRules(L"data.xml", Item(L"path=\"C:\\elsewhere\" type=\"1\" includeSub=\"1\"")));
        ASSERT_TRUE(watcher.LoadSelection());
        rules = WriteRules(L"new.xml", TreeItem());
        DeleteFileW(list);
    }
    static bool IsWhole(const CString& path)
    {
        CMarkup document;
        return document.Load(path) && document.GetParseError().IsEmpty();
    }
    void Check()
    {
        ASSERT_NE(GetFileAttributesW(folder.Path(L"data.xml")), INVALID_FILE_ATTRIBUTES);
        const bool merged = folder.ReadBytes(L"data.xml").find("tree") != std::string::npos;
        // Rules that cannot be read are removed all the same; the log tells of it.
        EXPECT_TRUE(merged || GetFileAttributesW(rules) != INVALID_FILE_ATTRIBUTES || HasErrorInLog());
        // A file that cannot be opened is kept beside.
        EXPECT_TRUE(IsWhole(folder.Path(L"data.xml")) || IsWhole(folder.Path(L"data.xml.bad")));
        watcher.DeInit();
        EXPECT_TRUE(IsKeptForNextRun(file) || !merged);
    }
    void PrepareExport()
    {
        Prepare();
        watcher.AddNewQueueItem(rules, false, nullptr, 0);
        folder.WriteBytes(L"list.xml", "<root><item>C:\\earlier.txt</item><count>1</count></root>");
        count = 10;
    }
    void CheckExport()
    {
        const std::string bytes = folder.ReadBytes(L"list.xml");
        EXPECT_TRUE(IsWhole(list));
        EXPECT_NE(bytes.find("earlier.txt"), std::string::npos);
        // Without any memory there is none for the log either.
        EXPECT_TRUE(bytes.find("file.txt") != std::string::npos || HasErrorInLog() || GetParam().name == "Memory");
        EXPECT_TRUE(Pending(file));
        watcher.DeInit();
    }

    CString file, rules;
    const CString list = folder.Path(L"list.xml");
    int count = 0;
};

TEST_P(FaultySelection, NewRulesAreTakenInOrStay)
{
    TryFaults({"new rules", [this] { Prepare(); }, [this] { watcher.AddNewQueueItem(rules, true, nullptr, 0); },
               [this] { Check(); }});
}

TEST_P(FaultySelection, TheExportedListIsWhole)
{
    TryFaults({"export of the pending list", [this] { PrepareExport(); },
               [this] { watcher.ExportFilesToXML(list, count); }, [this] { CheckExport(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultySelection,
                         testing::Values(Faults::Opening(), Faults::Writing(), Faults::FullDisk(), Faults::Denied(),
                                         Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
