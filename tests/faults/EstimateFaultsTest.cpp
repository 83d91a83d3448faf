// An estimate that is refused what it needs counts less and says so, and the next one counts everything.
#include "orbwatcher4/Scanner.h"
#include "tests/faults/FaultyWatcher.h"

#include <optional>

namespace
{

class FaultyEstimate : public FaultyWatcher
{
protected:
    static constexpr double Whole = 600;

    FaultyEstimate()
    {
        Write(L"a.txt", std::string(100, 'x'));
        Write(L"deep\\b.txt", std::string(200, 'x'));
        Write(L"deep\\deeper\\c.txt", std::string(300, 'x'));
    }

    void Prepare()
    {
        scanner.emplace();
        scanner->SetBasicInfo(WriteRules(L"data.xml", TreeItem()), nullptr, nullptr);
    }
    double Scan()
    {
        scanner->Start();
        scanner->WaitForScans();
        scanner->AddProfile(0);
        scanner->UpdateTotals();
        return scanner->GetTotalSize();
    }
    void Check()
    {
        EXPECT_LE(size, Whole);
        // Without any memory there is none for the log either.
        const bool told =
            !scanner->GetPassedOver().empty() || HasErrorInLog() || GetParam().threads != FaultKind::Threads::All;
        EXPECT_TRUE(size == Whole || told) << size;
        Prepare();
        EXPECT_EQ(Scan(), Whole);
    }

    std::optional<Scanner> scanner;
    double size = 0;
};

TEST_P(FaultyEstimate, SaysWhatItCouldNotCount)
{
    TryFaults({"estimate", [this] { Prepare(); }, [this] { size = Scan(); }, [this] { Check(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyEstimate,
                         testing::Values(Faults::Opening(), Faults::Reading(), Faults::ThreadStart(),
                                         Faults::MemoryElsewhere()),
                         [](const auto& info) { return info.param.name; });

} // namespace
