// Runs the tests of one program and looks after each of them whether the heap
// is whole and the lock order was kept.
#include <gtest/gtest.h>

#ifdef _WIN32
#include "support/LockOrder.h"
#include "tests/support/TestMachine.h"

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

} // namespace
#endif

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
#ifdef _WIN32
    PrepareTestProcess();
    testing::UnitTest::GetInstance()->listeners().Append(new AfterEach);
#endif
    const int result = RUN_ALL_TESTS();
#ifdef _WIN32
    LeaveTestProcess();
#endif
    return result;
}
