// Files whose owner makes other programs wait that open them, and folders that are replaced by links.
#include "support/Handle.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <functional>
#include <thread>

namespace
{

// Runs once, in the middle of the open call of a hand-out. Returns the status that the system then reports; 0: the real
// one.
std::function<LONG()> g_atOpen;

LONG NTAPI OpenedFile(PHANDLE file, ACCESS_MASK access, void* attributes, void* status, PLARGE_INTEGER size,
                      ULONG fileAttributes, ULONG share, ULONG disposition, ULONG options, void* extended,
                      ULONG extendedLength)
{
    constexpr ULONG CompleteIfOplocked = 0x100;
    static const auto system = reinterpret_cast<decltype(&OpenedFile)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtCreateFile")));
    const LONG result = system(file, access, attributes, status, size, fileAttributes, share, disposition, options,
                               extended, extendedLength);
    const auto once = std::exchange(g_atOpen, nullptr);
    const LONG instead = once && result >= 0 ? once() : 0;
    EXPECT_TRUE(options & CompleteIfOplocked) << "the call may wait for the holder of an oplock";
    return instead ? instead : result;
}

class HostileHandOut : public WatcherFixture
{
protected:
    HostileHandOut() { SelectTree(); }

    bool Take()
    {
        const ImportedCall open(nullptr, "NtCreateFile", &OpenedFile);
        return watcher.GetSingleNotification(nullptr, datum, &identity);
    }
    QueueDatum datum;
    FileIdentity identity;
};

TEST_F(HostileHandOut, AFileWithAnOplockStaysPendingAndNobodyWaitsForIt)
{
    constexpr LONG OplockBreakInProgress = 0x108;
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    g_atOpen = [] { return OplockBreakInProgress; };
    EXPECT_FALSE(Take());
    EXPECT_TRUE(Pending(path));
    EXPECT_TRUE(log.Has(L"Delaying backup of file " + std::wstring(path) + L", another program holds it."));
    EXPECT_TRUE(Take()) << "it has been given back";
}

TEST_F(HostileHandOut, ChangesAreTakenInWhileAFileIsSlowToOpen)
{
    const CString slow = Write(L"slow.txt"), other = Write(L"other.txt");
    Handler().OnFileAdded(slow);
    CEvent takenIn(false, true);
    std::thread notifier;
    bool inTime = false;
    g_atOpen = [&] {
        notifier = std::thread([&] {
            Handler().OnFileAdded(other);
            takenIn.SetEvent();
        });
        inTime = takenIn.Lock(5000);
        return 0;
    };
    EXPECT_TRUE(Take());
    ASSERT_TRUE(notifier.joinable());
    notifier.join();
    EXPECT_TRUE(inTime);
    EXPECT_TRUE(Pending(other));
}

TEST_F(HostileHandOut, AChangeThatIsReportedWhileTheFileIsOpenStaysPending)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    g_atOpen = [&] {
        std::thread([&] { Handler().OnFileModified(path); }).join();
        return 0;
    };
    EXPECT_TRUE(Take());
    EXPECT_TRUE(Pending(path));
    EXPECT_TRUE(Take());
    EXPECT_FALSE(Pending(path));
}

TEST_F(HostileHandOut, AFileThatIsTakenOutOfThePendingOnesWhileItIsOpenIsNotGiven)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    g_atOpen = [&] {
        std::thread([&] { watcher.RemoveChildNotificationsEx(tree); }).join();
        return 0;
    };
    EXPECT_FALSE(Take());
}

TEST_F(HostileHandOut, ADeletionThatIsReportedWhileTheFileIsOpenIsTheLastWord)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    g_atOpen = [&] {
        std::thread([&] {
            const auto deletion = std::make_shared<Notification>();
            deletion->kind = NotificationKind::Deleted;
            Parts().pending.Put(path, deletion);
        }).join();
        return 0;
    };
    EXPECT_FALSE(Take());
    ASSERT_TRUE(Pending(path));
    EXPECT_EQ(Pending(path)->kind, NotificationKind::Deleted);
}

TEST_F(HostileHandOut, TellsWhichFileItLookedAt)
{
    const CString path = Write(L"folder\\a.txt", "mine");
    Handler().OnFileAdded(path);
    ASSERT_TRUE(Take());
    // The folder becomes a link to another one before the file is copied.
    const CString secret = folder.Path(L"secret");
    folder.WriteBytes(L"secret\\a.txt", "somebody else's");
    const auto identityOf = [](const wchar_t* file) {
        const FileHandle handle(CreateFileW(file, GENERIC_READ, 7, nullptr, OPEN_EXISTING, 0, nullptr));
        BY_HANDLE_FILE_INFORMATION information = {};
        EXPECT_TRUE(GetFileInformationByHandle(handle.Get(), &information));
        return std::pair(information.dwVolumeSerialNumber,
                         information.nFileIndexLow | std::uint64_t(information.nFileIndexHigh) << 32);
    };
    EXPECT_EQ(std::pair(DWORD(identity.volumeSerial), identity.fileId), identityOf(path));
    ASSERT_TRUE(MoveFileW(InTree(L"folder"), InTree(L"before")));
    ASSERT_TRUE(MoveFileW(secret, InTree(L"folder")));
    EXPECT_NE(std::pair(DWORD(identity.volumeSerial), identity.fileId), identityOf(path));
}

TEST_F(HostileHandOut, SaysOfAFileThatCannotBeOpenedThatItIsNoneItKnows)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    const FileHandle alone(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(alone);
    identity = {1, 1};
    ASSERT_TRUE(Take());
    EXPECT_EQ(identity.volumeSerial, 0u);
    EXPECT_EQ(identity.fileId, 0u);
}

} // namespace
