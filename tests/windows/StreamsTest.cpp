// Alternate data streams.
//
// Documentation of Windows: "File Streams (Local File Systems)": a stream is named file:stream:$DATA and is no file of
// its own. "FILE_NOTIFY_INFORMATION": stream changes have the actions 6 to 8, which ReadDirectoryChangesW does not ask
// for.
#include "tests/orbwatcher4/RunningWatch.h"
#include "tests/windows/EnumeratedTree.h"
#include "tests/windows/Reasons.h"

namespace
{

// Returns why there are no streams; empty when it is written.
std::string WriteStream(const CString& path)
{
    const CString stream = path + L":note";
    const FileHandle file(
        CreateFileW(stream, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return WhyNot("CreateFile of a stream");
    DWORD written = 0;
    const std::string bytes(5000, 's');
    EXPECT_TRUE(WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    // A system without streams makes a file of this name instead.
    WIN32_FIND_DATAW found;
    const FindHandle search(FindFirstFileW(path + L"*", &found));
    return search && FindNextFileW(search.Get(), &found) ? "no streams: the system makes a file with this name" : "";
}

using Streams = EnumeratedTree;
using StreamEvents = RunningWatch;

TEST_F(Streams, AnEnumerationMeetsTheFileOnceUnderItsOwnName)
{
    SelectTree();
    const CString path = Write(L"a.txt", "12345");
    const std::string why = WriteStream(path);
    if (!why.empty()) {
        DeleteFileW(path + L":note");
        GTEST_SKIP() << why;
    }
    EXPECT_EQ(Enumerate().files, 1u);
    EXPECT_TRUE(Pending(path));
}

TEST_F(StreamEvents, AFileThatGetsAStreamIsNeverHandedOutUnderTheNameOfTheStream)
{
    const CString path = Write(L"a.txt");
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    StartAndWait();
    if (const std::string why = WriteStream(path); !why.empty()) {
        DeleteFileW(path + L":note");
        GTEST_SKIP() << why;
    }
    ASSERT_TRUE(Receives(Write(L"later.txt")));
    EXPECT_FALSE(Pending(path + L":note"));
    EXPECT_FALSE(Pending(path + L":note:$DATA"));
}

} // namespace
