// Random changes by several processes, while a watch hands out and records. Once it
// is quiet, a full look at the disk must find nothing that was missed.
//
// ORB_STORM_ROUNDS makes the storm longer, ORB_STORM_SEED another one.
#include "tests/host/HostTest.h"

#include <random>

namespace
{

unsigned FromEnvironment(const wchar_t* name, unsigned otherwise)
{
    wchar_t text[32] = {};
    GetEnvironmentVariableW(name, text, 32);
    const unsigned value = static_cast<unsigned>(_wtoi(text));
    return value != 0 ? value : otherwise;
}

// A process that changes things, waited for.
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

class Storm : public HostTest
{
protected:
    Storm()
    {
        for (const wchar_t* name : {L"tree\\out", L"elsewhere"})
            std::filesystem::create_directories(Path(name));
        WriteSelection(TreeItem() +
                       Item(L"path=\"" + InTree(L"out") + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"") +
                       Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".tmp\""));
    }

    // Some hundred changes of each of three processes, at once.
    void Rage(unsigned seed, int changes)
    {
        Changers changers;
        for (unsigned i = 0; i < 3; ++i)
            changers.Start(std::to_wstring(seed * 3 + i) + L" " + std::to_wstring(changes) + L" \"" + tree + L"\" \"" +
                           InTree(L"out") + L"\" \"" + Path(L"elsewhere") + L"\"");
        changers.Wait();
    }
    // All that was changed before has been noticed when this has: changes come in order.
    void WaitUntilNoticed(HostProcess& host, unsigned round)
    {
        const std::wstring last = Write(L"round " + std::to_wstring(round), "x");
        EXPECT_FALSE(host.WaitForPath(last).empty());
    }
    std::vector<Json> Enumerate() const
    {
        HostProcess host({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index});
        EXPECT_EQ(host.Finish(), 0);
        return host.Records();
    }
};

TEST_F(Storm, NothingIsMissedAndNothingIsStuck)
{
    const unsigned rounds = FromEnvironment(L"ORB_STORM_ROUNDS", 4), seed = FromEnvironment(L"ORB_STORM_SEED", 1);
    std::mt19937 random(seed);
    // What was there before is none of the storm.
    auto host = StartWatch({L"--record", L"--enumerate"});
    for (unsigned round = 0; round < rounds; ++round) {
        Rage(seed * 1000 + round, 150);
        WaitUntilNoticed(*host, round);
        if (random() % 2 == 0) {
            // The rest waits in the dump.
            host->Interrupt();
            ASSERT_EQ(host->Finish(), 130);
            host = StartWatch(random() % 2 == 0 ? Arguments{L"--record"} : Arguments{L"--record", L"--enumerate"});
        }
    }
    host->Interrupt();
    ASSERT_EQ(host->Finish(), 130);
    // What is pending comes, and deletions after their quiet time.
    HostProcess rest(Watch({L"--record", L"--until-quiet", L"8"}));
    ASSERT_EQ(rest.Finish(std::chrono::seconds(120)), 0);
    const std::vector<Json> records = Enumerate();
    for (const char* type : {"pending", "deleted"})
        for (const Json& record : OfType(records, type))
            ADD_FAILURE() << "seed " << seed << " missed: " << record;
    EXPECT_GT(records.back().at("unchanged"), 0);
}

} // namespace
