// Files that another program holds: sharing violations and oplocks.
//
// Documentation of Windows: "Creating and Opening Files" (sharing modes), "Opportunistic Locks",
// "FSCTL_REQUEST_BATCH_OPLOCK": the holder learns of another program's open by the completion of its request, and the
// open waits until the holder has answered, unless it was made with FILE_COMPLETE_IF_OPLOCKED ("NtCreateFile").
#include "support/FileTimes.h"
#include "tests/windows/EnumeratedTree.h"
#include "tests/windows/Reasons.h"

#include <winioctl.h>

namespace
{

FileHandle OpenFor(const CString& path, DWORD share, DWORD flags = 0)
{
    return FileHandle(CreateFileW(path, GENERIC_READ, share, nullptr, OPEN_EXISTING, flags, nullptr));
}

// A batch oplock, as a program or a file server of the network takes it.
class Oplock
{
public:
    explicit Oplock(const CString& path)
        : m_file(OpenFor(path, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, FILE_FLAG_OVERLAPPED)),
          m_event(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        m_overlapped.hEvent = m_event.Get();
        if (DeviceIoControl(m_file.Get(), FSCTL_REQUEST_BATCH_OPLOCK, nullptr, 0, nullptr, 0, nullptr, &m_overlapped))
            m_why = "FSCTL_REQUEST_BATCH_OPLOCK ends at once";
        else if (GetLastError() != ERROR_IO_PENDING)
            m_why = WhyNot("DeviceIoControl(FSCTL_REQUEST_BATCH_OPLOCK)");
    }
    // The holder ends without an answer, like a program that closes the file.
    ~Oplock() { Release(); }
    Oplock(const Oplock&) = delete;
    Oplock& operator=(const Oplock&) = delete;

    const std::string& Why() const { return m_why; }
    void Release()
    {
        const bool isPending = m_file && m_why.empty();
        m_file.Reset();
        if (isPending) // the memory of the request must outlive it
            WaitForSingleObject(m_event.Get(), 20000);
    }

private:
    FileHandle m_file;
    KernelHandle m_event;
    OVERLAPPED m_overlapped = {};
    std::string m_why;
};

using Sharing = EnumeratedTree;

TEST_F(Sharing, AFileThatAProgramHasForItselfIsQueuedAndHandedOut)
{
    SelectTree();
    const CString path = Write(L"held.txt");
    const FileHandle held = OpenFor(path, 0);
    ASSERT_TRUE(static_cast<bool>(held));
    ASSERT_FALSE(OpenFor(path, FILE_SHARE_READ)) << "the system keeps no sharing modes";
    ASSERT_EQ(GetLastError(), DWORD(ERROR_SHARING_VIOLATION));
    Enumerate();
    EXPECT_TRUE(Pending(path));
    const std::vector<std::wstring> given = Drain();
    EXPECT_EQ(std::count(given.begin(), given.end(), std::wstring(path)), 1);
}

TEST_F(Sharing, AFileUnderAnOplockIsToldAsHeldAndNobodyWaits)
{
    const CString path = Write(L"held.txt");
    Oplock oplock(path);
    if (!oplock.Why().empty())
        GTEST_SKIP() << oplock.Why();
    FileTimes times;
    EXPECT_EQ(ReadFileTimes(path, false, times), FileTimesResult::Held); // returns, though the holder does not answer
    oplock.Release();
    EXPECT_EQ(ReadFileTimes(path, false, times), FileTimesResult::Read);
}

TEST_F(Sharing, AFileUnderAnOplockStaysPendingAndComesOnceItIsReleased)
{
    SelectTree();
    const CString path = Write(L"held.txt"), free = Write(L"free.txt");
    Oplock oplock(path);
    if (!oplock.Why().empty())
        GTEST_SKIP() << oplock.Why();
    Enumerate();
    const std::vector<std::wstring> before = Drain();
    EXPECT_EQ(std::count(before.begin(), before.end(), std::wstring(free)), 1);
    EXPECT_EQ(std::count(before.begin(), before.end(), std::wstring(path)), 0);
    oplock.Release();
    const std::vector<std::wstring> after = Drain();
    EXPECT_EQ(std::count(after.begin(), after.end(), std::wstring(path)), 1);
}

} // namespace
