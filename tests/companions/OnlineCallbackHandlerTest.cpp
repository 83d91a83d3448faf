#include "companions/online/OnlineCallbackHandler.h"
#include "companions/settings/OrbSettings.h"
#include "support/Handle.h"
#include "tests/companions/CompanionTest.h"
#include "tests/support/TestMachine.h"

#include <aclapi.h>

namespace
{

class OnlineHandler : public CompanionTest
{
protected:
    CString Outbox(const wchar_t* name) const { return temp.Path(L"data\\outbox\\") + name; }
    OnlineCallbackHandler handler;
    int number = -1;
};

TEST_F(OnlineHandler, KnowsTheUploadedFilesAndTheirTimes)
{
    std::uint64_t time = 0;
    handler.AddUploaded(L"C:\\a", 10);
    handler.AddUploaded(L"C:\\\u00e4", 20);
    handler.AddUploaded(L"C:\\\u00c4", 30);
    EXPECT_TRUE(handler.FindUploaded(L"c:\\A", time));
    EXPECT_EQ(time, 10u);
    EXPECT_TRUE(handler.FindUploaded(L"C:\\\u00e4", time));
    EXPECT_EQ(time, 30u);
    handler.RemoveUploaded(L"C:\\A");
    EXPECT_FALSE(handler.FindUploaded(L"C:\\a", time));
    handler.ClearUploaded();
    EXPECT_FALSE(handler.FindUploaded(L"C:\\\u00c4", time));
}

TEST_F(OnlineHandler, CountsUpAndReserves)
{
    EXPECT_EQ(handler.GetTransactionXml(number, false, true), Outbox(L"Transaction1.tdb"));
    EXPECT_EQ(number, 1);
    EXPECT_EQ(temp.ReadBytes(L"data\\outbox\\Transaction1.tdb"), "");
    EXPECT_TRUE(OnlyItsOwnerReads(Outbox(L"Transaction1.tdb").GetString()));
    EXPECT_TRUE(OnlyItsOwnerReads(Outbox(L"next").GetString()));
    EXPECT_EQ(handler.GetTransactionXml(number, false, false), Outbox(L"Transaction2.tdb"));
    EXPECT_EQ(number, 2);
    EXPECT_FALSE(Exists(L"data\\outbox\\Transaction2.tdb"));
    EXPECT_EQ(handler.GetTransactionXml(number, false, true), Outbox(L"Transaction3.tdb"));
}

TEST_F(OnlineHandler, PeekingLeavesTheCount)
{
    EXPECT_EQ(handler.GetTransactionXml(number, true, false), Outbox(L"Transaction1.tdb"));
    EXPECT_EQ(handler.GetTransactionXml(number, true, false), Outbox(L"Transaction1.tdb"));
    EXPECT_EQ(handler.GetTransactionXml(number, false, false), Outbox(L"Transaction1.tdb"));
    EXPECT_EQ(handler.GetTransactionXml(number, true, false), Outbox(L"Transaction2.tdb"));
}

TEST_F(OnlineHandler, NumbersGoOnAfterARestartThoughTheFilesWereUploaded)
{
    handler.GetTransactionXml(number, false, true);
    handler.GetTransactionXml(number, false, true);
    ASSERT_TRUE(DeleteFileW(Outbox(L"Transaction1.tdb")) && DeleteFileW(Outbox(L"Transaction2.tdb")));
    OnlineCallbackHandler restarted;
    restarted.GetTransactionXml(number, false, true);
    EXPECT_EQ(number, 3);
}

TEST_F(OnlineHandler, ALostCountIsTakenFromWhatWaits)
{
    temp.WriteBytes(L"data\\outbox\\Transaction41.tdb", "waits");
    temp.WriteBytes(L"data\\outbox\\TransactionX.tdb", "");
    handler.GetTransactionXml(number, false, true);
    EXPECT_EQ(number, 42);
}

TEST_F(OnlineHandler, ADamagedCountIsALostOne)
{
    for (const char* damaged :
         {"99999999999", "99999999999999999999", "2147483648", "-7", "0", "", "5x", " 5", "five", "\xff\xfe"}) {
        temp.WriteBytes(L"data\\outbox\\Transaction41.tdb", "waits");
        temp.WriteBytes(L"data\\outbox\\next", damaged);
        EXPECT_EQ(handler.GetTransactionXml(number, false, false), Outbox(L"Transaction42.tdb")) << damaged;
        EXPECT_EQ(temp.ReadBytes(L"data\\outbox\\next"), "43") << damaged;
    }
}

TEST_F(OnlineHandler, FilesThatOnlyLookLikeTransactionsUseUpNoNumber)
{
    for (const wchar_t* name : {L"data\\outbox\\Transaction99999999999.tdb", L"data\\outbox\\Transaction77x.tdb",
                                L"data\\outbox\\Transaction.tdb"})
        temp.WriteBytes(name, "foreign");
    handler.GetTransactionXml(number, false, true);
    EXPECT_EQ(number, 1);
}

// The handler holds the mutex while it logs that the count cannot be kept.
TEST_F(OnlineHandler, TheOutboxMayBeLockedByEveryAccount)
{
    temp.WriteBytes(L"data\\outbox\\next", "5");
    const FileHandle others(CreateFileW(Outbox(L"next"), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    const CString name = GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_ONLINE_OUTBOX");
    DWORD result = ERROR_NOT_FOUND;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine&) {
        const KernelHandle mutex(OpenMutexW(READ_CONTROL, FALSE, name));
        result = GetSecurityInfo(mutex.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                 nullptr, &descriptor);
        DWORD revision = 0;
        GetSecurityDescriptorControl(descriptor, &control, &revision);
    });
    EXPECT_TRUE(handler.GetTransactionXml(number, false, true).IsEmpty());
    g_OrbLog.RemoveSink(sink);
    EXPECT_EQ(result, static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(list, nullptr);
    EXPECT_TRUE(control & SE_DACL_PRESENT);
    LocalFree(descriptor);
}

TEST_F(OnlineHandler, ANameThatIsTakenIsSkipped)
{
    temp.WriteBytes(L"data\\outbox\\next", "5");
    temp.WriteBytes(L"data\\outbox\\Transaction5.tdb", "waits");
    handler.GetTransactionXml(number, false, true);
    EXPECT_EQ(number, 6);
    EXPECT_EQ(temp.ReadBytes(L"data\\outbox\\Transaction5.tdb"), "waits");
}

TEST_F(OnlineHandler, AnOutboxThatCannotBeWrittenYieldsNoPathAndALine)
{
    temp.WriteBytes(L"data\\outbox", "a file where the folder should be");
    const LogCapture capture;
    EXPECT_TRUE(handler.GetTransactionXml(number, false, true).IsEmpty());
    EXPECT_TRUE(capture.Has(L"outbox"));
}

TEST_F(OnlineHandler, ACountThatCannotBeKeptYieldsNoPath)
{
    temp.WriteBytes(L"data\\outbox\\next", "5");
    const FileHandle others(CreateFileW(Outbox(L"next"), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_TRUE(handler.GetTransactionXml(number, false, true).IsEmpty());
    EXPECT_FALSE(Exists(L"data\\outbox\\Transaction5.tdb"));
}

TEST_F(OnlineHandler, WithoutANumberLeftThereIsNoPathAndALine)
{
    temp.WriteBytes(L"data\\outbox\\next", "2147483647");
    const LogCapture capture;
    EXPECT_TRUE(handler.GetTransactionXml(number, false, true).IsEmpty());
    EXPECT_EQ(number, 0);
    EXPECT_TRUE(capture.Has(L"no number left"));
}

} // namespace
