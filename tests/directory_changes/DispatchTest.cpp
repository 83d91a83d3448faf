// The filter test and both notifiers.
#include "directory_changes/DelayedDirectoryChangeHandler.h"

#include "directory_changes/DelayedNotificationWindow.h"
#include "tests/directory_changes/RecordingHandler.h"
#include "tests/directory_changes/Retire.h"
#include "tests/support/ImportedCall.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace
{

class Dispatch : public testing::Test
{
protected:
    RecordingHandler real;

    // Returns the calls of the real handler when this event is dispatched.
    bool Passes(CDelayedDirectoryChangeHandler& delayed, EventCode code, const wchar_t* first,
                const wchar_t* second = L"", DWORD offset = 0)
    {
        const std::size_t before = real.Events().size();
        DispatchDelayedEvent(MakeDelayedEvent(&delayed, code, first, second, 0, offset));
        return real.Events().size() > before;
    }
    struct Delayed : CDelayedDirectoryChangeHandler {
        Delayed(RecordingHandler& handler, DWORD flags, bool gui = false)
            : CDelayedDirectoryChangeHandler(&handler, gui, flags)
        {
        }
        ~Delayed() override
        {
            Retire(*this);
            Delivery().TakeHandler();
        }
    };
};

TEST_F(Dispatch, WithTheWatchersFlagsTheHandlerAloneDecides)
{
    Delayed delayed(real, 1);
    EXPECT_TRUE(Passes(delayed, EventAdded, L"C:\\a"));
    real.accept = false;
    for (const EventCode code : {EventAdded, EventRemoved, EventModified, EventRenamed})
        EXPECT_FALSE(Passes(delayed, code, L"C:\\a", L"C:\\b"));
    for (const EventCode code : {EventReadError, EventWatchStarted, EventWatchStopped})
        EXPECT_TRUE(Passes(delayed, code, L"C:\\a"));
}

TEST_F(Dispatch, AHandlerThatIsNeverAskedCannotRefuse)
{
    Delayed delayed(real, 1 | 32);
    real.accept = false;
    EXPECT_TRUE(Passes(delayed, EventAdded, L"C:\\a"));
}

TEST_F(Dispatch, PatternsIncludeAndExclude)
{
    Delayed delayed(real, 32);
    delayed.Delivery().Filter().SetPatterns({L"*.doc", L"*.txt"}, {L"*tmp*"});
    EXPECT_TRUE(Passes(delayed, EventAdded, L"C:\\a.TXT"));
    EXPECT_FALSE(Passes(delayed, EventAdded, L"C:\\a.exe"));
    EXPECT_FALSE(Passes(delayed, EventAdded, L"C:\\tmp\\a.txt"));
}

TEST_F(Dispatch, TheSecondPathOfARenameDecidesWhenTheFirstFails)
{
    Delayed delayed(real, 32);
    delayed.Delivery().Filter().SetPatterns({L"*.txt"}, {});
    EXPECT_TRUE(Passes(delayed, EventRenamed, L"C:\\a.tmp", L"C:\\a.txt"));
    EXPECT_TRUE(Passes(delayed, EventRenamed, L"C:\\a.txt", L"C:\\a.tmp"));
    EXPECT_FALSE(Passes(delayed, EventRenamed, L"C:\\a.tmp", L"C:\\b.tmp"));
}

TEST_F(Dispatch, TheTestMayStartBehindTheDirectoryOrTheLastBackslash)
{
    Delayed partial(real, 4 | 32), name(real, 8 | 32);
    partial.Delivery().Filter().SetPatterns({L"sub\\?.txt"}, {});
    name.Delivery().Filter().SetPatterns({L"?.txt"}, {});
    EXPECT_TRUE(Passes(partial, EventAdded, L"C:\\d\\sub\\a.txt", L"", 5));
    EXPECT_FALSE(Passes(partial, EventAdded, L"C:\\d\\other\\a.txt", L"", 5));
    EXPECT_TRUE(Passes(name, EventAdded, L"C:\\d\\sub\\a.txt"));
    EXPECT_FALSE(Passes(name, EventAdded, L"C:\\d\\sub\\ab.txt"));
}

TEST_F(Dispatch, AHandlerThatIsAskedFirstIsNotAskedAgain)
{
    Delayed delayed(real, 16);
    delayed.Delivery().Filter().SetPatterns({L"*.txt"}, {});
    EXPECT_TRUE(Passes(delayed, EventAdded, L"C:\\a.txt"));
    EXPECT_FALSE(Passes(delayed, EventAdded, L"C:\\a.doc"));
    real.accept = false;
    EXPECT_FALSE(Passes(delayed, EventAdded, L"C:\\a.txt"));
}

TEST_F(Dispatch, StartsAreWithheldByBit64AndStopsByFlagsOf128AndMore)
{
    {
        Delayed delayed(real, 1 | 64);
        delayed.OnWatchStarted(0, L"C:\\d");
        delayed.OnWatchStopped(L"C:\\d");
    }
    EXPECT_EQ(real.Events(), std::vector<std::wstring>{L"stopped C:\\d"});
    {
        Delayed delayed(real, 1 | 256);
        delayed.OnWatchStarted(0, L"C:\\d");
        delayed.OnWatchStopped(L"C:\\d");
    }
    EXPECT_EQ(real.Events(), (std::vector<std::wstring>{L"stopped C:\\d", L"started 0 C:\\d"}));
}

bool MatchNothing(std::wstring_view, std::wstring_view) { return false; }

TEST_F(Dispatch, TheMatcherCanBeReplacedForTheProcess)
{
    Delayed delayed(real, 32);
    delayed.Delivery().Filter().SetPatterns({L"*"}, {});
    SetPatternMatcher(MatchNothing);
    EXPECT_FALSE(Passes(delayed, EventAdded, L"C:\\a"));
    SetPatternMatcher(nullptr);
    EXPECT_TRUE(Passes(delayed, EventAdded, L"C:\\a"));
}

TEST_F(Dispatch, EventsArriveInTheOrderOfPosting)
{
    Delayed delayed(real, 1);
    for (int i = 0; i < 100; ++i)
        delayed.OnFileAdded((L"C:\\" + std::to_wstring(i)).c_str());
    delayed.OnWatchStopped(L"C:\\");
    const std::vector<std::wstring> events = real.Events();
    ASSERT_EQ(events.size(), 101u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(events[static_cast<std::size_t>(i)], L"+C:\\" + std::to_wstring(i));
}

TEST_F(Dispatch, ARetiredHandlerHasDispatchedEverythingAndTakesNothingMore)
{
    Delayed delayed(real, 1);
    delayed.OnFileAdded(L"C:\\a");
    Retire(delayed);
    EXPECT_EQ(real.Events(), std::vector<std::wstring>{L"+C:\\a"});
    delayed.OnFileAdded(L"C:\\b");
    EXPECT_EQ(real.Events().size(), 1u);
}

TEST_F(Dispatch, TheHiddenWindowDeliversWhileItsThreadWaits)
{
    {
        Delayed one(real, 1, true), two(real, 1, true);
        const HWND window = CDelayedNotificationWindow::Window();
        ASSERT_TRUE(window);
        wchar_t name[64] = {};
        GetClassNameW(window, name, 64);
        EXPECT_STREQ(name, L"Delayed_Message_Sender");
        GetWindowTextW(window, name, 64);
        EXPECT_STREQ(name, L"DelayedWnd");
        one.OnFileAdded(L"C:\\a");
        two.OnFileModified(L"C:\\b");
        EXPECT_TRUE(real.Events().empty()); // no thread has dispatched messages yet
        one.OnWatchStopped(L"C:\\");
        EXPECT_EQ(real.Events(), (std::vector<std::wstring>{L"+C:\\a", L"*C:\\b", L"stopped C:\\"}));
    }
    EXPECT_FALSE(CDelayedNotificationWindow::Window());
}

std::atomic<int> g_refusedMessages{0};

BOOL WINAPI PostMessageThatRefuses(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    static const auto original = reinterpret_cast<decltype(&PostMessageW)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), "PostMessageW")));
    if (g_refusedMessages.fetch_sub(1) > 0) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
    return original(window, message, wParam, lParam);
}

TEST_F(Dispatch, APostThatTheHiddenWindowsOwnThreadIsRefusedIsNotLost)
{
    const ImportedCall call(nullptr, "PostMessageW", PostMessageThatRefuses);
    Delayed delayed(real, 1, true);
    g_refusedMessages = 0;
    delayed.OnFileAdded(L"C:\\a");
    g_refusedMessages = 1;
    delayed.OnFileAdded(L"C:\\b");
    delayed.OnFileAdded(L"C:\\c");
    delayed.OnWatchStopped(L"C:\\");
    EXPECT_EQ(real.Events(), (std::vector<std::wstring>{L"+C:\\a", L"+C:\\b", L"+C:\\c", L"stopped C:\\"}));
}

TEST_F(Dispatch, TheHiddenWindowOfAThreadThatHasEndedTakesNothingAndHoldsNobodyUp)
{
    std::unique_ptr<Delayed> delayed;
    std::thread([&] { delayed = std::make_unique<Delayed>(real, 1, true); }).join();
    delayed->OnFileAdded(L"C:\\a");
    delayed->OnWatchStopped(L"C:\\");
    EXPECT_TRUE(real.Events().empty());
    delayed.reset();
    EXPECT_FALSE(CDelayedNotificationWindow::Window());
}

} // namespace
