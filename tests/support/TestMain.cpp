// Runs the tests of one program and looks after each of them whether the heap
// is whole and the lock order was kept. ORB_TEST_RECORDS names a file for the
// records of them (TestRecords.h).
#include <gtest/gtest.h>

#ifdef _WIN32
#include "support/LockOrder.h"
#include "tests/support/EnvironmentText.h"
#include "tests/support/TestMachine.h"
#include "tests/support/TestRecords.h"

namespace
{

class AfterEach : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_TRUE(HeapsAreWhole());
        for (const std::wstring& report : LockOrder::Reports())
            ADD_FAILURE() << "lock order: " << Narrow(report);
        LockOrder::Clear();
    }
};

// Before the checks, so that it learns of their failures: the end of a test goes to the last listener first.
void KeepRecords()
{
    const std::wstring file = EnvironmentText(L"ORB_TEST_RECORDS");
    SetEnvironmentVariableW(L"ORB_TEST_RECORDS", nullptr); // not for the programs that tests start
    if (!file.empty())
        testing::UnitTest::GetInstance()->listeners().Append(new TestRecords(file));
}

} // namespace
#endif

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
#ifdef _WIN32
    PrepareTestProcess();
    KeepRecords();
    testing::UnitTest::GetInstance()->listeners().Append(new AfterEach);
#endif
    const int result = RUN_ALL_TESTS();
#ifdef _WIN32
    LeaveTestProcess();
#endif
    return result;
}
