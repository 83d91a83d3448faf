// The block of the overlay service under its name, made by a program of another user: it would learn the name of each
// file that changes, of all users.
#include "OrbFileMonitorService/OverlayCache.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/overlay/ScriptedWaiter.h"
#include "tests/security/AnotherAccount.h"

#include <gtest/gtest.h>

namespace
{

class OverlayBlockOfAnotherAccount : public testing::Test
{
protected:
    OverlayBlockOfAnotherAccount()
    {
        waiter.whileWaitingForTheAnswer = [](HANDLE) { return DWORD(WAIT_OBJECT_0); };
    }
    bool Send(const wchar_t* path)
    {
        std::int32_t status = OverlayStatus::Pending;
        return overlay.Request(OverlayRequest::SetStatus, path, status);
    }
    static std::wstring WithoutNamespace(const CString& name)
    {
        const std::wstring text(name);
        return text.substr(text.rfind(L'\\') + 1);
    }

    OverlayObjects objects;
    ScriptedWaiter waiter;
    OverlayCache overlay{waiter};
    LogCapture log;
};

TEST_F(OverlayBlockOfAnotherAccount, LearnsNoPath)
{
    const AnotherAccount owner(nullptr, WithoutNamespace(objects.names.block));
    EXPECT_FALSE(Send(L"C:\\Users\\Anna\\secret.txt"));
    EXPECT_EQ(objects.Path(), L"");
    EXPECT_FALSE(objects.TakeRequest());
    EXPECT_EQ(log.Count(L"The overlay block belongs to an account that is not trusted. No path is written into it"), 1);
}

TEST_F(OverlayBlockOfAnotherAccount, IsAskedForLessAndLess)
{
    const AnotherAccount owner(nullptr, WithoutNamespace(objects.names.block));
    for (int i = 0; i < 20; ++i)
        EXPECT_FALSE(Send(L"C:\\Users\\Anna\\secret.txt"));
    EXPECT_EQ(log.Count(L"The overlay block belongs to an account that is not trusted. No path is written into it"),
              OverlayCache::MostTimeouts);
}

TEST_F(OverlayBlockOfAnotherAccount, IsUsedWhenItIsTheOwnAccount)
{
    EXPECT_TRUE(Send(L"C:\\Users\\Anna\\secret.txt"));
    EXPECT_EQ(objects.Path(), L"C:\\Users\\Anna\\secret.txt");
}

} // namespace
