// orbwatch watch and orbwatch overlay beside each other, as a service and its
// shell extension run.
#include "tests/host/HostTest.h"

#include <cctype>

namespace
{

class WatchWithOverlays : public HostTest
{
protected:
    WatchWithOverlays()
    {
        WriteSelection(TreeItem() + Item(L"path=\"" + tree + L"\\out\" type=\"1\" includeSub=\"1\" exclude=\"1\""));
    }
    std::unique_ptr<HostProcess> StartService()
    {
        auto service = std::make_unique<HostProcess>(Arguments{L"overlay", L"--json"});
        EXPECT_EQ(service->WaitForType("ready").value("type", ""), "ready");
        return service;
    }
    // A watched root begins with a small letter, and so do the paths below it.
    static std::string Watched(std::wstring path)
    {
        path[0] = static_cast<wchar_t>(std::tolower(path[0]));
        return Utf8(path);
    }
};

TEST_F(WatchWithOverlays, TheServiceHearsWhatBecomesOfAFile)
{
    const auto service = StartService();
    const auto watch = StartWatch({L"--overlay"});
    const std::wstring file = Write(L"a.txt", "one"), kept = Write(L"out\\b.txt", "x");
    const auto becomes = [&](const std::wstring& path, int bits) {
        return service->WaitFor([&](const Json& record) {
            return record.value("path", "") == Watched(path) && (record.value("status", -1) & bits) != 0;
        });
    };
    EXPECT_FALSE(becomes(file, 4).empty());
    EXPECT_FALSE(becomes(kept, 8).empty());
    watch->WaitForPath(file);
    Write(L"a.txt", "one and more");
    EXPECT_FALSE(becomes(file, 1).empty());
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    service->Interrupt();
}

TEST_F(WatchWithOverlays, NothingIsMissedWithoutAServiceAndThatIsSaidOnce)
{
    const auto watch = StartWatch({L"--overlay"});
    for (const wchar_t* name : {L"a.txt", L"b.txt"}) {
        const std::wstring file = Write(name, "x");
        EXPECT_FALSE(watch->WaitForPath(file).empty());
    }
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    const std::vector<Json> notes = OfType(watch->Errors(), "note");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0]["message"], "Request failed to enter processing queue due to overlay deinitialized");
}

TEST_F(WatchWithOverlays, TheServiceSpeaksToPeopleToo)
{
    HostProcess service({L"overlay"});
    EXPECT_TRUE(service.WaitForText("keeping overlay statuses"));
    const auto watch = StartWatch({L"--overlay"});
    const std::wstring file = Write(L"out\\b.txt", "x");
    EXPECT_TRUE(service.WaitForText("excluded " + Watched(file)));
    watch->Interrupt();
    service.Interrupt();
}

TEST_F(WatchWithOverlays, AnUnknownFaultIsWrongUsage)
{
    HostProcess service({L"overlay", L"--json", L"--fault", L"lazy"});
    EXPECT_EQ(service.Finish(), 2);
}

} // namespace
