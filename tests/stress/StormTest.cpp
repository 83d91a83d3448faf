// Random changes by several processes, while a watch hands out and records, is stopped,
// killed and started again, a drive goes and comes, and rules are added. Once it is
// quiet, what was handed out and recorded must be what is on the disk.
//
// ORB_STORM_ROUNDS makes the storm longer, ORB_STORM_SEED another one.
#include "tests/host/HostTest.h"
#include "tests/stress/StormModel.h"
#include "tests/stress/Turns.h"
#include "tests/support/FromEnvironment.h"

#include <algorithm>
#include <random>

namespace
{

const std::wstring SerialOfG = std::to_wstring(SerialOfDrive('g'));

// Processes that change things, waited for.
class Changers
{
public:
    void Start(const std::wstring& arguments)
    {
        std::wstring program(MAX_PATH, L'\0');
        program.resize(GetModuleFileNameW(nullptr, program.data(), MAX_PATH));
        program.resize(program.rfind(L'\\') + 1);
        std::wstring line = L"\"" + program + L"storm_changer.exe\" " + arguments;
        STARTUPINFOW start = {};
        start.cb = sizeof start;
        PROCESS_INFORMATION process = {};
        ASSERT_TRUE(
            CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process));
        CloseHandle(process.hThread);
        m_processes.emplace_back(process.hProcess);
    }
    void Wait()
    {
        for (const KernelHandle& process : m_processes) {
            ASSERT_EQ(WaitForSingleObject(process.Get(), 300000), WAIT_OBJECT_0);
            DWORD code = 1;
            GetExitCodeProcess(process.Get(), &code);
            EXPECT_EQ(code, 0u);
        }
        m_processes.clear();
    }

private:
    std::vector<KernelHandle> m_processes;
};

// The disturbances of the watch while things change.
enum class Event { StoppedAndStarted, StartedWithAnEnumeration, Killed, DriveGoesAndComes, RulesAdded };

class Storm : public HostTest
{
protected:
    Storm()
    {
        for (const std::wstring& name :
             {InTree(L"out"), Path(L"elsewhere"), Path(L"added0"), Path(L"added1"), Path(L"masked"), onG})
            std::filesystem::create_directories(name);
        for (const std::wstring& folder : {tree, Path(L"masked")})
            MakeLink(folder + L"\\up", folder);
        WriteSelection(TreeItem() +
                       Item(L"path=\"" + InTree(L"out") + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"") +
                       Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".tmp\"") +
                       Item(L"path=\"" + Path(L"masked") + L"\" type=\"1\" includeSub=\"1\" mask=\".doc\"") +
                       Item(L"path=\"" + onG + L"\" type=\"1\" includeSub=\"1\" vid=\"" + SerialOfG + L"\""));
        model.Include(tree);
        model.Include(onG);
        model.IncludeEnding(Path(L"masked"), L".doc");
        model.Exclude(InTree(L"out"));
    }
    ~Storm() override
    {
        if (m_gIsAway)
            AttachDrive('g', FolderOfDrive('g').c_str());
        for (const std::wstring& folder : {tree, Path(L"masked")})
            RemoveLink(folder + L"\\up");
        std::error_code ignored;
        std::filesystem::remove_all(onG, ignored);
    }

    // Some hundred changes of each of three processes, at once. The drive's folder is also changed where it lies, like
    // a drive that was used on another machine.
    void StartChanging(unsigned seed)
    {
        for (unsigned i = 0; i < 3; ++i) {
            const std::wstring id = std::to_wstring(seed * 3 + i);
            m_counts.push_back(Path((L"count" + id).c_str()));
            std::wstring arguments = L"\"" + turnName + L"\" " + id + L" 300 \"" + m_counts.back() + L"\"";
            for (const std::wstring& folder :
                 {tree, InTree(L"out"), Path(L"elsewhere"), Path(L"masked"), Path(L"added0"), Path(L"added1"),
                  i == 0 ? FolderOfDrive('g') + L"\\storm" : onG})
                arguments += L" \"" + folder + L"\"";
            m_changers.Start(arguments);
        }
    }
    unsigned Changes() const
    {
        unsigned changes = 0, count = 0;
        for (const std::wstring& file : m_counts)
            if (std::ifstream(std::filesystem::path(file)) >> count)
                changes += count;
        return changes;
    }

    void Start(const Arguments& more) { m_host = StartWatch(Joined({L"--record"}, more)); }
    void Stop()
    {
        m_host->Interrupt();
        ASSERT_EQ(m_host->Finish(), 130);
        Collect();
    }
    void Collect()
    {
        // The last line of a killed one may be half a line.
        model.Take(m_host->WholeRecords());
        m_host.reset();
    }
    // All that was changed before has been noticed when this has: changes come in order.
    void WaitUntilNoticed()
    {
        const std::wstring last = Write(L"mark " + std::to_wstring(m_marks++), "x");
        EXPECT_FALSE(m_host->WaitForPath(last).empty());
    }
    // Something of what the changers do has been handed out since.
    void WaitForSomething()
    {
        const int handedOut = m_seen;
        const Json record = m_host->WaitFor([&](const Json& each) {
            return each.at("type") == "pending" && each.at("seq") > handedOut &&
                   each.at("path").get<std::string>().find("mark") == std::string::npos;
        });
        m_seen = record.value("seq", handedOut);
    }

    void Happen(Event event)
    {
        WaitForSomething();
        switch (event) {
        case Event::StoppedAndStarted:
            return Restart({});
        case Event::StartedWithAnEnumeration:
            return Restart({L"--enumerate"});
        case Event::Killed:
            return KillAndStart();
        case Event::DriveGoesAndComes:
            return TakeDriveAwayAndBack();
        case Event::RulesAdded:
            return AddRules();
        }
    }
    // Nothing is promised of changes that are made while no watch runs.
    void Restart(const Arguments& more)
    {
        const Turns::Whole turn(turns);
        WaitUntilNoticed();
        Stop();
        ++m_restarts;
        m_seen = 0;
        Start(more);
    }
    // The next watch finds out by itself that a full enumeration is due.
    void KillAndStart()
    {
        m_host->KillAfter(std::chrono::milliseconds(0));
        Collect();
        const Turns::Whole turn(turns);
        ++m_kills;
        m_seen = 0;
        Start({});
    }
    void TakeDriveAwayAndBack()
    {
        ChangeDrive(true);
        WaitForSomething();
        ChangeDrive(false);
        ++m_absences;
    }
    void ChangeDrive(bool away)
    {
        const Turns::Whole turn(turns);
        const int before = LastSeq();
        EXPECT_TRUE(away ? DetachDrive('g') : AttachDrive('g', FolderOfDrive('g').c_str()));
        m_gIsAway = away;
        const auto told = [&](const Json& record) {
            if (record.at("type") != "roots" || record.at("seq") <= before)
                return false;
            const auto& roots = record.at("roots");
            return (std::find(roots.begin(), roots.end(), "g:\\") == roots.end()) == away;
        };
        EXPECT_FALSE(m_host->WaitFor(told).empty());
    }
    int LastSeq() const
    {
        int last = 0;
        for (const Json& record : m_host->WholeRecords())
            last = std::max(last, record.value("seq", 0));
        return last;
    }
    void AddRules()
    {
        if (m_added == 2)
            return;
        const std::wstring mask = m_added == 0 ? L"" : L" mask=\".doc\"";
        const std::wstring added = Path(m_added++ == 0 ? L"added0" : L"added1");
        const std::wstring rules =
            WriteSelection(L"new.xml", Item(L"path=\"" + added + L"\" type=\"1\" includeSub=\"1\"" + mask));
        HostProcess host({L"add", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", rules});
        EXPECT_EQ(host.Finish(), 0);
        if (mask.empty())
            model.Include(added);
        else
            model.IncludeEnding(added, L".doc");
    }

    void EndChanging() { m_changers.Wait(); }
    // Pending files come, and deletions after their quiet time.
    void Drain()
    {
        m_host = std::make_unique<HostProcess>(Watch({L"--record", L"--until-quiet", L"8"}));
        EXPECT_EQ(m_host->Finish(std::chrono::seconds(180)), 0);
        Collect();
    }
    std::vector<Json> Enumerate() const
    {
        HostProcess host({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index});
        EXPECT_EQ(host.Finish(), 0);
        return host.Records();
    }
    void Report(unsigned seed, unsigned rounds, std::size_t lost) const
    {
        std::printf("storm of seed %u: %u rounds, %u changes, %llu handed out, %llu deleted, %d restarts, %d kills, "
                    "%d absences of a drive, %d added rules, %zu lost\n",
                    seed, rounds, Changes(), static_cast<unsigned long long>(model.HandedOut()),
                    static_cast<unsigned long long>(model.Deleted()), m_restarts, m_kills, m_absences, m_added, lost);
    }

    const std::wstring onG = L"G:\\storm";
    const std::wstring turnName = L"Local\\orb-storm-" + std::to_wstring(GetCurrentProcessId());
    const Turns turns{turnName};
    StormModel model;

private:
    Changers m_changers;
    std::unique_ptr<HostProcess> m_host;
    std::vector<std::wstring> m_counts;
    bool m_gIsAway = false;
    int m_seen = 0; // the last record of the running watch that was waited for
    int m_marks = 0;
    int m_restarts = 0, m_kills = 0, m_absences = 0, m_added = 0;
};

TEST_F(Storm, NothingIsMissedAndNothingIsStuck)
{
    const unsigned rounds = FromEnvironment("ORB_STORM_ROUNDS", 5), seed = FromEnvironment("ORB_STORM_SEED", 1);
    std::mt19937 random(seed);
    std::vector<Event> events{Event::StoppedAndStarted, Event::StartedWithAnEnumeration, Event::Killed,
                              Event::DriveGoesAndComes, Event::RulesAdded};
    // Files that were there before do not belong to the storm.
    Start({L"--enumerate"});
    for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
        // Each event once before any comes again.
        if (round % events.size() == 0)
            std::shuffle(events.begin(), events.end(), random);
        StartChanging(seed * 1000 + round);
        Happen(events[round % events.size()]);
        EndChanging();
        WaitUntilNoticed();
    }
    Stop();
    Drain();
    std::vector<std::string> lost = model.Lost(index);
    const std::vector<Json> records = Enumerate();
    for (const char* type : {"pending", "deleted"})
        for (const Json& record : OfType(records, type))
            lost.push_back("a full look at the disk finds: " + record.dump());
    for (const std::string& one : lost)
        ADD_FAILURE() << one;
    EXPECT_GT(records.back().at("unchanged"), 0);
    Report(seed, rounds, lost.size());
}

} // namespace
