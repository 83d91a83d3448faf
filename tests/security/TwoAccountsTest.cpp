// Attacks by a real second account. The other tests of this folder make the same attacks with stand-ins, because Wine
// has one account only; these run on Windows, as an administrator.
#include "OrbFileMonitorService/OverlayCache.h"
#include "companions/settings/OrbSettings.h"
#include "host/WatchPipe.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "support/TrustedFile.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/security/SecondAccount.h"

#include <optional>

namespace
{

class TwoAccounts : public WithSecondAccount<WatcherFixture>
{
protected:
    void WriteAsTheOther(const CString& path) const
    {
        const SecondAccount::Acting acting(other);
        const FileHandle file(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        ASSERT_TRUE(static_cast<bool>(file));
    }
    DWORD ErrorOfReadingAsTheOther(const CString& path) const
    {
        const SecondAccount::Acting acting(other);
        constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
        const FileHandle file(CreateFileW(path, GENERIC_READ, forAll, nullptr, OPEN_EXISTING, 0, nullptr));
        return file ? ERROR_SUCCESS : GetLastError();
    }
};

TEST_F(TwoAccounts, ADataFolderThatTheOtherOneHasMadeIsNotTrusted)
{
    ASSERT_TRUE(MakeFolderForAll(folder.Path(L"open").GetString()));
    const CString planted = folder.Path(L"open\\data");
    {
        const SecondAccount::Acting acting(other);
        ASSERT_TRUE(CreateDirectoryW(planted, nullptr));
    }
    EXPECT_FALSE(IsTrustedFolder(planted));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_OWNER));
}

TEST_F(TwoAccounts, AFileThatTheOtherOneHasLeftInTheDataFolderIsNotTrusted)
{
    ASSERT_TRUE(MakeFolderForAll(folder.Path(L"open").GetString()));
    const CString planted = folder.Path(L"open\\watcher_dump.bin");
    WriteAsTheOther(planted);
    EXPECT_FALSE(OpenTrusted(planted, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_OWNER));
}

TEST_F(TwoAccounts, TheOtherOneReadsNeitherDumpNorLogNorIndex)
{
    SelectTree();
    Index();
    watcher.AddSingleNotification(Write(L"a.txt"));
    watcher.DeInit();
    for (const CString& path : {DumpFilePath(), folder.Path(L"data\\OrbWatcher.log"), folder.Path(L"index.db")})
        EXPECT_EQ(ErrorOfReadingAsTheOther(path), DWORD(ERROR_ACCESS_DENIED)) << Narrow(path.View());
}

TEST_F(TwoAccounts, TheOtherOneCannotAskTheWatch)
{
    WatchPipe pipe([](const nlohmann::json& request) { return request; });
    pipe.Answer();
    const SecondAccount::Acting acting(other);
    const FileHandle client(
        CreateFileW(WatchPipeName(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(client);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
}

TEST_F(TwoAccounts, APipeOfTheOtherOneIsToldNothing)
{
    FileHandle squatter;
    {
        const SecondAccount::Acting acting(other);
        squatter.Reset(CreateNamedPipeW(WatchPipeName(), PIPE_ACCESS_DUPLEX,
                                        PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_NOWAIT, 1, 4096, 4096, 0,
                                        nullptr));
    }
    ASSERT_TRUE(static_cast<bool>(squatter));
    const std::optional<WatchAnswer> answer = AskWatch({{"command", "export"}}, {}, {1000, {}});
    ASSERT_TRUE(answer.has_value());
    EXPECT_NE(answer->failure, L"");
    char byte = 0;
    DWORD read = 0;
    EXPECT_FALSE(ReadFile(squatter.Get(), &byte, 1, &read, nullptr) && read != 0);
}

TEST_F(TwoAccounts, AnOverlayBlockOfTheOtherOneLearnsNoPath)
{
    GetMainSettings().SetValue(L"Main::ObjectNames", L"Local"); // other names only services may make
    std::optional<OverlayObjects> objects;
    {
        const SecondAccount::Acting acting(other);
        objects.emplace();
    }
    OverlayCache overlay;
    std::int32_t status = OverlayStatus::Pending;
    EXPECT_FALSE(overlay.Request(OverlayRequest::SetStatus, L"C:\\Users\\Anna\\secret.txt", status));
    EXPECT_EQ(objects->Path(), L"");
    GetMainSettings().SetValue(L"Main::ObjectNames", L"");
}

TEST_F(TwoAccounts, AFileThatTheUserMayNotSeeIsNotHandedOut)
{
    SelectTree();
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    watcher.SetUserToken(other.Token());
    EXPECT_TRUE(Drain().empty()) << "the folder of the test is its account's alone";
    watcher.SetUserToken(nullptr);
    EXPECT_EQ(Drain().size(), 1u);
}

} // namespace
