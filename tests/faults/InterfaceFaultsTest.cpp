// A C function that gets no memory says so and has done nothing, and the next call works.
#include "orbwatcher4/capi/Border.h"
#include "tests/capi/OwnedHandles.h"
#include "tests/faults/FaultyWatcher.h"

#include <filesystem>
#include <stdexcept>

namespace
{

// Compares the text without asking for memory.
bool LastFailureIs(const wchar_t* expected)
{
    wchar_t text[512] = {};
    return OrbLastFailure(text, 512, nullptr) == ORB_OK && std::wcscmp(text, expected) == 0;
}

class FaultyInterface : public FaultyWatcher
{
protected:
    FaultyInterface()
    {
        file = Write(L"file.txt", "12345");
        WriteRules(L"data.xml", TreeItem());
        options.size = sizeof options;
        options.selection = selection;
        options.indexDatabase = database;
    }

    // Memory that is refused where the library can go on without, for the log above all, is no failure.
    void ExpectDoneOrNoMemory() const
    {
        EXPECT_TRUE(result == ORB_OK || result == ORB_NO_MEMORY) << result;
        EXPECT_TRUE(toldWhy);
    }
    void Note(OrbResult given)
    {
        result = given;
        toldWhy = LastFailureIs(given == ORB_OK ? L"" : OrbResultText(ORB_NO_MEMORY));
    }
    void Create()
    {
        OrbWatcherHandle made = nullptr;
        Note(OrbWatcherCreate(&options, &made));
        object.reset(made);
    }
    void CreateInPeace()
    {
        object.reset();
        std::filesystem::remove(DumpFilePath().GetString());
        NoteEnumerationDone();
        Create();
        ASSERT_EQ(result, ORB_OK);
    }
    void WatchInPeace()
    {
        CreateInPeace();
        ASSERT_EQ(OrbWatcherStart(object.get(), Longest), ORB_OK);
        ASSERT_EQ(OrbEnumerationWait(object.get(), Longest), ORB_OK);
    }
    void Explain()
    {
        OrbExplanationHandle made = nullptr;
        Note(OrbExplain(object.get(), file, &made));
        explanation.reset(made);
    }
    void ExpectIncluded()
    {
        Explain();
        ASSERT_EQ(result, ORB_OK);
        OrbExplanation answer = {};
        answer.size = sizeof answer;
        ASSERT_EQ(OrbExplanationGet(explanation.get(), &answer), ORB_OK);
        EXPECT_EQ(answer.decision, ORB_INCLUDED);
    }
    void OpenIndex()
    {
        OrbIndexHandle made = nullptr;
        Note(OrbIndexOpen(database, nullptr, &made));
        index.reset(made);
    }
    void Estimate()
    {
        OrbEstimateOptions wanted = {};
        wanted.size = sizeof wanted;
        wanted.selection = selection;
        totals = {};
        totals.size = sizeof totals;
        Note(OrbEstimate(&wanted, nullptr, nullptr, &totals));
    }

    static constexpr uint32_t Longest = 20000; // milliseconds; no test waits for its end

    const CString selection = folder.Path(L"data.xml");
    const CString database = folder.Path(L"faulty.db");
    CString file;
    OrbWatcherOptions options = {};
    OrbEstimateTotals totals = {};
    OwnedIndex index;
    OwnedWatcher object;
    OwnedExplanation explanation;
    OrbResult result = ORB_OK;
    bool toldWhy = true;
};

TEST_P(FaultyInterface, AWatcherIsMadeWholeOrNotAtAll)
{
    const auto check = [this] {
        ExpectDoneOrNoMemory();
        EXPECT_EQ(object != nullptr, result == ORB_OK);
        if (!object)
            Create();
        ExpectIncluded();
    };
    TryFaults({"creation", [this] { object.reset(); }, [this] { Create(); }, check});
}

TEST_P(FaultyInterface, APathIsExplainedWholeOrNotAtAll)
{
    CreateInPeace();
    const auto check = [this] {
        ExpectDoneOrNoMemory();
        EXPECT_EQ(explanation != nullptr, result == ORB_OK);
        ExpectIncluded();
    };
    TryFaults({"explanation", [this] { explanation.reset(); }, [this] { Explain(); }, check});
}

TEST_P(FaultyInterface, AnIndexIsOpenedWholeOrNotAtAll)
{
    const auto check = [this] {
        // The database has its own way of saying so.
        EXPECT_TRUE(result == ORB_OK || result == ORB_NO_MEMORY || result == ORB_INDEX_FAILED) << result;
        EXPECT_EQ(index != nullptr, result == ORB_OK);
        OpenIndex();
        EXPECT_EQ(result, ORB_OK);
    };
    TryFaults({"opening", [this] { index.reset(); }, [this] { OpenIndex(); }, check});
}

TEST_P(FaultyInterface, AWatcherStartsOrStaysAsItWas)
{
    const auto start = [this] { result = OrbWatcherStart(object.get(), 0); };
    const auto check = [this] {
        EXPECT_TRUE(result == ORB_OK || result == ORB_TIMED_OUT || result == ORB_NO_MEMORY) << result;
        if (result == ORB_NO_MEMORY) {
            EXPECT_EQ(OrbWatcherStart(object.get(), Longest), ORB_OK);
        }
        EXPECT_EQ(OrbWatcherStop(object.get()), ORB_OK);
    };
    TryFaults({"start", [this] { CreateInPeace(); }, start, check});
}

TEST_P(FaultyInterface, AStopStopsAndSaysWhetherAllIsKept)
{
    const auto prepare = [this] {
        WatchInPeace();
        ASSERT_EQ(OrbPendingPutBack(object.get(), file), ORB_OK);
    };
    const auto check = [this] {
        EXPECT_TRUE(result == ORB_OK || result == ORB_PENDING_NOT_KEPT) << result;
        EXPECT_EQ(OrbWatcherStop(object.get()), ORB_WRONG_STATE);
        EXPECT_EQ(result == ORB_OK, Dump().find(std::wstring(file) + L"\n") != std::wstring::npos);
        EXPECT_TRUE(IsKeptForNextRun(file));
        EXPECT_EQ(OrbWatcherStart(object.get(), Longest), ORB_OK);
    };
    TryFaults({"stop", prepare, [this] { result = OrbWatcherStop(object.get()); }, check});
}

TEST_P(FaultyInterface, DestroyingAWatcherThatWatchesKeepsWhatIsPending)
{
    const auto prepare = [this] {
        WatchInPeace();
        ASSERT_EQ(OrbPendingPutBack(object.get(), file), ORB_OK);
    };
    TryFaults({"destruction", prepare, [this] { object.reset(); }, [this] { EXPECT_TRUE(IsKeptForNextRun(file)); }});
}

TEST_P(FaultyInterface, AnEstimateCountsAllOrNothing)
{
    const auto check = [this] {
        ExpectDoneOrNoMemory();
        EXPECT_EQ(totals.files, result == ORB_OK ? 1u : 0u);
        Estimate();
        EXPECT_EQ(result, ORB_OK);
        EXPECT_EQ(totals.bytes, 5u);
    };
    TryFaults({"estimate", [this] { totals = {}; }, [this] { Estimate(); }, check});
}

TEST(Interface, WhatFailsForAnyOtherReasonTellsIt)
{
    const auto fail = []() -> OrbResult { throw std::runtime_error("no more threads"); };
    EXPECT_EQ(Guarded(fail), ORB_FAILED);
    EXPECT_TRUE(LastFailureIs(L"no more threads"));
    EXPECT_EQ(Guarded([]() -> OrbResult { throw 1; }), ORB_FAILED);
    EXPECT_TRUE(LastFailureIs(OrbResultText(ORB_FAILED)));
}

INSTANTIATE_TEST_SUITE_P(, FaultyInterface, testing::Values(Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
