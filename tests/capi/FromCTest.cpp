// The header is C, and a service can be written in it.
#include "tests/capi/FromC.h"

#include "tests/capi/CapiTest.h"

namespace
{

class FromC : public CapiTest
{
};

TEST_F(FromC, AServiceInCReceivesAChangeRecordsItAndEnds)
{
    RoundFromC round = {};
    ASSERT_EQ(BeginFromC(&round, selection.c_str(), indexPath.c_str()), ORB_OK) << Narrow(LastFailure());
    OpenDown();
    const std::wstring written = Write(L"from c.txt");
    wchar_t path[ORB_PATH_CAPACITY] = {};
    const ULONGLONG end = GetTickCount64() + Longest;
    OrbResult result = ORB_NOTHING;
    while (GetTickCount64() < end && (result != ORB_OK || _wcsicmp(path, written.c_str()) != 0)) {
        result = TakeFromC(&round, path, ORB_PATH_CAPACITY);
        if (result == ORB_NOTHING)
            Sleep(20); // between two looks at a queue that another thread fills
    }
    EXPECT_EQ(result, ORB_OK);
    EXPECT_EQ(EndFromC(&round), ORB_OK);
}

} // namespace
