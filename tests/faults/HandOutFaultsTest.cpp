// A pending file that could not be handed out is handed out later.
#include "support/CaseFold.h"
#include "tests/faults/FaultyWatcher.h"

#include <array>

namespace
{

class FaultyHandOut : public FaultyWatcher
{
protected:
    FaultyHandOut()
    {
        InitAgain();
        // Judging a candidate for deduplication is the last thing before a file is given.
        Select(Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" flags=\"67108864\""));
        changed = Write(L"changed.txt");
        plain = Write(L"plain.txt");
        directory = MakeFolder(L"folder") + L"\\";
        // A second change of it during a run would be dropped: it must not be counted as handed out before it was.
        RecordWithTime(changed, 1, CachedDatum::DropSameRunChange);
        backup.Reset(
            CreateMutexW(nullptr, FALSE, GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START")));
    }

    void Prepare()
    {
        watcher.ClearNotifications();
        ids.clear();
        given = 0;
        for (const CString& path : {changed, plain, directory})
            Handler().OnFileAdded(path);
        ASSERT_EQ(watcher.GetTotalFilesInMem(), 3);
    }
    void Take()
    {
        while (given < handedOut.size() && watcher.GetSingleNotification(&ids, handedOut[given]))
            ++given;
    }
    bool WasGiven(const CString& path) const
    {
        return std::any_of(handedOut.begin(), handedOut.begin() + static_cast<std::ptrdiff_t>(given),
                           [&](const QueueDatum& datum) { return EqualNoCase(datum.path, path.View()); });
    }
    void ExpectEverything()
    {
        for (const CString& path : {changed, plain, directory})
            EXPECT_TRUE(WasGiven(path) || Pending(path)) << Narrow(path.View());
        Take();
        EXPECT_EQ(given, 3u); // each once, all in this run
    }

    CString changed, plain, directory;
    KernelHandle backup;
    std::set<unsigned __int64> ids;
    std::array<QueueDatum, 16> handedOut;
    std::size_t given = 0;
};

TEST_P(FaultyHandOut, LosesNothing)
{
    TryFaults({"hand-out", [this] { Prepare(); }, [this] { Take(); }, [this] { ExpectEverything(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyHandOut, testing::Values(Faults::Opening(), Faults::Reading(), Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
