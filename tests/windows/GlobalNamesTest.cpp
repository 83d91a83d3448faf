// Named objects that a service and a user's programs share, although each runs in a session of its own.
//
// Documentation of Windows: "Kernel object namespaces": each session has a namespace of its own; names with the prefix
// Global\ are in the one of the machine. Services run in session 0 ("Service Changes for Windows Vista": Session 0
// isolation). "ProcessIdToSessionId". The other session is reached as an administrator through the Task Scheduler
// ("schtasks"): a task of the system account runs in session 0.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/environment/SharedEvent.h"
#include "tests/support/EnvironmentText.h"
#include "tests/windows/Commands.h"

#include <gtest/gtest.h>

namespace
{

constexpr const wchar_t* Task = L"orbwatcher4-selftest";

CString EventName() { return GetMainSettings().GetMainSettingsMutex(L"mutexs::orb-selftest-sessions"); }

// A task of the system account that signals the event: this program again, with the test below.
class TaskOfTheSystem
{
public:
    TaskOfTheSystem()
    {
        wchar_t program[1024] = L"";
        GetModuleFileNameW(nullptr, program, 1024);
        m_made = RunCommand(L"schtasks.exe /create /f /ru SYSTEM /sc once /st 00:00 /tn " + std::wstring(Task) +
                            L" /tr \"\\\"" + program + L"\\\" --gtest_also_run_disabled_tests " +
                            L"--gtest_filter=GlobalNames.DISABLED_SignalsTheEvent\"") == 0;
    }
    ~TaskOfTheSystem()
    {
        if (m_made)
            RunCommand(L"schtasks.exe /delete /f /tn " + std::wstring(Task));
    }
    bool Run() const { return m_made && RunCommand(L"schtasks.exe /run /tn " + std::wstring(Task)) == 0; }

private:
    bool m_made = false;
};

// The task runs this test, in its own session.
TEST(GlobalNames, DISABLED_SignalsTheEvent)
{
    const KernelHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, EventName()));
    ASSERT_TRUE(static_cast<bool>(event)) << GetLastError();
    EXPECT_TRUE(SetEvent(event.Get()));
}

TEST(GlobalNames, LieInTheNamespaceOfTheMachine) { EXPECT_TRUE(std::wstring(EventName()).starts_with(L"Global\\")); }

TEST(GlobalNames, AnEventIsSignalledFromAnotherSession)
{
    DWORD session = 0;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &session));
    if (session == 0)
        GTEST_SKIP() << "there is no other session: this program itself runs in session 0";
    const KernelHandle event = CreateSharedEvent(EventName(), true, false);
    ASSERT_TRUE(static_cast<bool>(event)) << GetLastError();
    const TaskOfTheSystem task;
    if (!task.Run())
        GTEST_SKIP() << "needs an administrator, and the Task Scheduler: no task of the system account can be run";
    EXPECT_EQ(WaitForSingleObject(event.Get(), 60000), WAIT_OBJECT_0);
}

} // namespace
