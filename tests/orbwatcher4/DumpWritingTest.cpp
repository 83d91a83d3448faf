// The dump is written in blocks, and ends with a whole line whatever fails.
#include "tests/orbwatcher4/DumpFixture.h"

namespace
{

class DumpWriting : public DumpFixture
{
};

class WriterThatCannotFlush : public FileWriter
{
public:
    bool Flush(HANDLE) override
    {
        ++flushed;
        return false;
    }
    int flushed = 0;
};

TEST_F(DumpWriting, ADumpThatIsNotOnTheDiskItselfMakesAFullEnumerationDue)
{
    Handler().OnFileAdded(Write(L"a.txt"));
    WriterThatCannotFlush writer;
    Parts().config.writer = &writer;
    Parts().due.BeginRun();
    watcher.DeInit();
    EXPECT_EQ(writer.flushed, 1);
    EXPECT_FALSE(watcher.IsPendingKept());
    EXPECT_EQ(CompletionTime(), 0);
}

class WriterThatFailsAt : public FileWriter
{
public:
    explicit WriterThatFailsAt(int call) : m_left(call) {}
    bool Write(HANDLE file, const void* bytes, DWORD count, DWORD* written) override
    {
        return FileWriter::Write(file, bytes, --m_left == 0 ? count / 2 : count, written);
    }

private:
    int m_left;
};

TEST_F(DumpWriting, AShortWriteIsCutBackToTheLastWholeLineAndMakesAFullEnumerationDue)
{
    GetServiceRunSettings().Load();
    GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", 12345);
    GetServiceRunSettings().Save();
    for (const wchar_t* name : {L"a.txt", L"b.txt", L"c.txt"})
        Handler().OnFileAdded(Write(name));
    WriterThatFailsAt writer(1); // in the middle of the second line
    Parts().config.writer = &writer;
    watcher.DeInit();
    const std::string bytes = DumpBytes();
    ASSERT_GE(bytes.size(), 2u);
    EXPECT_EQ(bytes.size(), (static_cast<std::size_t>(InTree(L"a.txt").GetLength()) + 1) * 2);
    EXPECT_EQ(bytes.substr(bytes.size() - 2), Bytes(L"\n"));
    EXPECT_EQ(CompletionTime(), 0);
}

TEST_F(DumpWriting, ABlockThatIsCutKeepsTheWholeLinesBeforeIt)
{
    constexpr int count = 2000;
    const std::wstring name(100, L'n');
    for (int i = 0; i < count; ++i)
        Parts().pending.Put(InTree((name + std::to_wstring(10000 + i)).c_str()), std::make_shared<Notification>());
    WriterThatFailsAt writer(3);
    Parts().config.writer = &writer;
    watcher.DeInit();
    int lines = 0;
    EXPECT_EQ(ReadDump(DumpFilePath(), [] { return false; }, [&](const CString&) { ++lines; }), DumpRead::Whole);
    EXPECT_GT(lines, 0);
    EXPECT_LT(lines, count);
    const std::size_t lineBytes = (static_cast<std::size_t>(InTree(name.c_str()).GetLength()) + 6) * 2;
    EXPECT_EQ(DumpBytes().size(), static_cast<std::size_t>(lines) * lineBytes);
    EXPECT_GT(DumpBytes().size(), 2u * 64 * 1024) << "the whole blocks, and the lines of the half one";
    EXPECT_EQ(CompletionTime(), 0);
}

class CountingWriter : public FileWriter
{
public:
    bool Write(HANDLE file, const void* bytes, DWORD count, DWORD* written) override
    {
        ++writes;
        return FileWriter::Write(file, bytes, count, written);
    }
    int writes = 0;
};

TEST_F(DumpWriting, ADumpIsWrittenInBlocks)
{
    for (int i = 0; i < 1000; ++i)
        Parts().pending.Put(InTree(std::to_wstring(i).c_str()), std::make_shared<Notification>());
    CountingWriter writer;
    Parts().config.writer = &writer;
    watcher.DeInit();
    EXPECT_TRUE(watcher.IsPendingKept());
    EXPECT_LE(writer.writes, static_cast<int>(DumpBytes().size() / (64 * 1024)) + 1);
}

} // namespace
