// The size of a selection, through the C function.
#include "tests/capi/CapiTest.h"

#include <cstring>

namespace
{

class Estimating : public CapiTest
{
protected:
    Estimating()
    {
        Write(L"a.txt", "123");
        Write(L"sub\\b.doc", "1234");
        Write(L"sub\\c.tmp", "12345");
    }
    OrbEstimateOptions Options() const
    {
        auto options = Sized<OrbEstimateOptions>();
        options.selection = selection.c_str();
        return options;
    }
};

struct Calls {
    int count = 0;
    DWORD thread = 0;
    uint32_t size = 0;
    int32_t answer = 0;
};

int32_t ORB_CALL CountCall(void* context, const OrbEstimateProgress* progress)
{
    auto& calls = *static_cast<Calls*>(context);
    ++calls.count;
    calls.thread = GetCurrentThreadId();
    calls.size = progress->size;
    return calls.answer;
}

TEST_F(Estimating, TheTotalsAreThoseOfTheSelection)
{
    const OrbEstimateOptions options = Options();
    auto totals = Sized<OrbEstimateTotals>();
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK) << Narrow(LastFailure());
    EXPECT_EQ(totals.files, 3u);
    EXPECT_EQ(totals.bytes, 12u);
    EXPECT_EQ(totals.leftOutFiles, 0u);
    EXPECT_EQ(totals.unreadable, 0u);
}

TEST_F(Estimating, RulesOfEveryPluginCount)
{
    WriteSelection(Item(L"path=\"" + InTree(L"sub") + L"\" type=\"1\" includeSub=\"1\" pluginId=\"1\"") +
                   Item(L"path=\"" + InTree(L"a.txt") + L"\" type=\"0\" pluginId=\"2\""));
    const OrbEstimateOptions options = Options();
    auto totals = Sized<OrbEstimateTotals>();
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK);
    EXPECT_EQ(totals.files, 3u);
}

TEST_F(Estimating, WhatTheUserExcludesIsLeftOut)
{
    WriteSelection(TreeItem() +
                   Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".tmp\""));
    const OrbEstimateOptions options = Options();
    auto totals = Sized<OrbEstimateTotals>();
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK);
    EXPECT_EQ(totals.files, 2u);
    EXPECT_EQ(totals.bytes, 7u);
    EXPECT_EQ(totals.leftOutFiles, 1u);
    EXPECT_EQ(totals.leftOutBytes, 5u);
}

TEST_F(Estimating, WhatTheProductExcludesIsLeftOutTooUnlessTheOptionsEndBeforeIt)
{
    const std::wstring automatic =
        WriteXml(L"auto.xml", Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".doc\""));
    OrbEstimateOptions options = Options();
    options.autoExclusions = automatic.c_str();
    auto totals = Sized<OrbEstimateTotals>();
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK);
    EXPECT_EQ(totals.bytes, 8u);
    options.size = offsetof(OrbEstimateOptions, autoExclusions);
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK);
    EXPECT_EQ(totals.bytes, 12u);
}

TEST_F(Estimating, NothingInTheDestinationCountsUnlessTheOptionsEndBeforeIt)
{
    const std::wstring destination = InTree(L"sub");
    OrbEstimateOptions options = Options();
    options.destination = destination.c_str();
    auto totals = Sized<OrbEstimateTotals>();
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK);
    EXPECT_EQ(totals.files, 1u);
    options.size = offsetof(OrbEstimateOptions, destination);
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK);
    EXPECT_EQ(totals.files, 3u);
}

TEST_F(Estimating, TheCallbackHasItsContextAndTheCallersThread)
{
    const OrbEstimateOptions options = Options();
    auto totals = Sized<OrbEstimateTotals>();
    Calls calls;
    ASSERT_EQ(OrbEstimate(&options, CountCall, &calls, &totals), ORB_OK);
    EXPECT_GE(calls.count, 1);
    EXPECT_EQ(calls.thread, GetCurrentThreadId());
    EXPECT_EQ(calls.size, sizeof(OrbEstimateProgress));
    EXPECT_EQ(totals.files, 3u);
}

TEST_F(Estimating, TheCallbackAbortsAndTheTotalsStayAsTheyWere)
{
    const OrbEstimateOptions options = Options();
    auto totals = Sized<OrbEstimateTotals>();
    totals.files = 99;
    Calls calls;
    calls.answer = 1;
    EXPECT_EQ(OrbEstimate(&options, CountCall, &calls, &totals), ORB_ABORTED);
    EXPECT_EQ(calls.count, 1);
    EXPECT_EQ(totals.files, 99u);
}

TEST_F(Estimating, ShorterTotalsAreFilledToTheirEndOnly)
{
    const OrbEstimateOptions options = Options();
    OrbEstimateTotals totals;
    std::memset(&totals, 0x5A, sizeof totals);
    totals.size = offsetof(OrbEstimateTotals, leftOutFiles);
    ASSERT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_OK);
    EXPECT_EQ(totals.bytes, 12u);
    EXPECT_EQ(totals.leftOutFiles, 0x5A5A5A5A5A5A5A5Au);
}

TEST_F(Estimating, BadArgumentsAreRefused)
{
    OrbEstimateOptions options = Options();
    auto totals = Sized<OrbEstimateTotals>();
    EXPECT_EQ(OrbEstimate(nullptr, nullptr, nullptr, &totals), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbEstimate(&options, nullptr, nullptr, nullptr), ORB_BAD_ARGUMENT);
    totals.size = 4;
    EXPECT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_BAD_SIZE);
    totals.size = sizeof totals;
    options.selection = nullptr;
    EXPECT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_BAD_ARGUMENT);
    const std::wstring longer(ORB_LONGEST_TEXT + 1, L'x');
    options.selection = longer.c_str();
    EXPECT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_TEXT_TOO_LONG);
    options.selection = L"C:\\missing.xml";
    EXPECT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_SELECTION_UNREADABLE);
    options = Options();
    options.size = 3;
    EXPECT_EQ(OrbEstimate(&options, nullptr, nullptr, &totals), ORB_BAD_SIZE);
}

} // namespace
