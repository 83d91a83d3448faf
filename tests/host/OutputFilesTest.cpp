// A command never writes over a file that it reads, nor over one that it did not make.
#include "tests/host/HostTest.h"

namespace
{

class OutputFiles : public HostTest
{
protected:
    OutputFiles() { Write(L"a.txt", "a"); }

    // The exit code of an estimate with this report.
    int Estimate(const std::wstring& report, const Arguments& more = {})
    {
        HostProcess host(
            Joined({L"estimate", L"--json", L"--data", Path(L"selection.xml"), L"--report", report}, more));
        const int code = host.Finish();
        m_errors = OfType(host.Errors(), "error");
        return code;
    }
    int Export(const std::wstring& list, const Arguments& more = {})
    {
        HostProcess host(
            Joined({L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--to", list}, more));
        const int code = host.Finish();
        m_errors = OfType(host.Errors(), "error");
        return code;
    }
    void LeavePending() const
    {
        const auto watch = StartWatch({L"--collect"});
        Write(L"b.txt", "b");
        EXPECT_FALSE(watch->WaitForType("collected").empty());
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
    }
    bool Told(const char* part) const
    {
        return m_errors.size() == 1 && m_errors[0].value("message", "").find(part) != std::string::npos;
    }

private:
    std::vector<Json> m_errors;
};

TEST_F(OutputFiles, AReportDoesNotTakeThePlaceOfWhatTheEstimateReads)
{
    const std::wstring stats = WriteSelection(L"stats.xml", "");
    const std::wstring rules = WriteSelection(L"auto.xml", "");
    const std::string selection = folder.ReadBytes(L"selection.xml");
    EXPECT_EQ(Estimate(tree + L"\\..\\SELECTION.XML", {L"--force"}), 2);
    EXPECT_TRUE(Told("this is the selection"));
    EXPECT_EQ(Estimate(stats, {L"--force", L"--stats", stats}), 2);
    EXPECT_TRUE(Told("this is the file of statistics"));
    EXPECT_EQ(Estimate(rules, {L"--force", L"--auto-exclude", rules}), 2);
    EXPECT_EQ(Estimate(data + L"\\MainSettings.json", {L"--force"}), 2);
    EXPECT_EQ(folder.ReadBytes(L"selection.xml"), selection);
    EXPECT_EQ(folder.ReadBytes(L"stats.xml"), "<Data></Data>");
}

TEST_F(OutputFiles, AnInputUnderAnotherNameIsStillThatInput)
{
    ASSERT_TRUE(CreateHardLinkW(Path(L"second name.html").c_str(), Path(L"selection.xml").c_str(), nullptr));
    const std::string selection = folder.ReadBytes(L"selection.xml");
    EXPECT_EQ(Estimate(Path(L"second name.html"), {L"--force"}), 2);
    EXPECT_TRUE(Told("this is the selection"));
    EXPECT_EQ(folder.ReadBytes(L"selection.xml"), selection);
}

TEST_F(OutputFiles, AReportReplacesOnlyAReportUnlessForced)
{
    folder.WriteBytes(L"mine.html", "<html>my own page</html>");
    EXPECT_EQ(Estimate(Path(L"mine.html")), 2);
    EXPECT_TRUE(Told("--force"));
    EXPECT_EQ(folder.ReadBytes(L"mine.html"), "<html>my own page</html>");
    EXPECT_EQ(Estimate(Path(L"mine.html"), {L"--force"}), 0);
    EXPECT_NE(folder.ReadBytes(L"mine.html").find("selection.xml"), std::string::npos);
    EXPECT_EQ(Estimate(Path(L"mine.html")), 0);
}

TEST_F(OutputFiles, AListDoesNotTakeThePlaceOfWhatTheWatcherUses)
{
    LeavePending();
    const std::string selection = folder.ReadBytes(L"selection.xml");
    EXPECT_EQ(Export(Path(L"selection.xml"), {L"--force"}), 2);
    EXPECT_TRUE(Told("this is the selection"));
    EXPECT_EQ(Export(index, {L"--force"}), 2);
    EXPECT_EQ(Export(data + L"\\watcher_dump.bin", {L"--force"}), 2);
    EXPECT_EQ(folder.ReadBytes(L"selection.xml"), selection);
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(InTree(L"b.txt")).empty());
}

TEST_F(OutputFiles, AListReplacesAListOfTheProductAndNothingElseUnlessForced)
{
    LeavePending();
    folder.WriteBytes(L"list.xml", "<?xml version=\"1.0\"?><root><item>C:\\a.txt</item><count>1</count></root>");
    EXPECT_EQ(Export(Path(L"list.xml")), 0);
    const std::string list = folder.ReadBytes(L"list.xml");
    EXPECT_EQ(list.find("<item>C:\\a.txt</item>"), std::string::npos);
    EXPECT_NE(list.find("b.txt</item>"), std::string::npos);
    for (const char* other : {"my letter", "<root><setting/></root>"}) {
        folder.WriteBytes(L"other.xml", other);
        EXPECT_EQ(Export(Path(L"other.xml")), 2) << other;
        EXPECT_EQ(folder.ReadBytes(L"other.xml"), other);
    }
    folder.WriteBytes(L"empty.xml", "<root/>");
    EXPECT_EQ(Export(Path(L"empty.xml")), 0);
    folder.WriteBytes(L"other.xml", "my letter");
    EXPECT_EQ(Export(Path(L"other.xml"), {L"--force"}), 0);
    EXPECT_EQ(folder.ReadBytes(L"other.xml.bad"), "my letter");
}

} // namespace
