// A watch that is killed at random moments of everything it does, and started again:
// nothing that was pending is lost. Which moment is hit does not matter for the
// result; a seed names one sequence of attempts.
//
// ORB_KILL_ROUNDS makes it longer, ORB_STORM_SEED another one.
#include "tests/host/HostTest.h"
#include "tests/stress/FolderMove.h"
#include "tests/stress/StormModel.h"
#include "tests/support/FromEnvironment.h"

#include <algorithm>
#include <random>

namespace
{

enum class Moment { Start, Enumeration, HandOut, Deletions, Dump, Resume };

class Kills : public HostTest
{
protected:
    Kills()
    {
        model.Include(tree);
        for (int i = 0; i < Folders * FilesInFolder; ++i)
            Write(Name(i), "x");
    }

    static std::wstring Name(int file)
    {
        return L"d" + std::to_wstring(file / FilesInFolder % Folders) + L"\\f" + std::to_wstring(file % FilesInFolder);
    }
    int Number(int below) { return static_cast<int>(m_random() % static_cast<unsigned>(below)); }
    std::wstring Some() { return InTree(Name(Number(Folders * FilesInFolder))); }

    // Some of everything that is noticed: more, less, elsewhere, whole folders.
    void Change()
    {
        for (int i = 0; i < 20; ++i)
            Write(Name(Number(Folders * FilesInFolder)), std::string(1 + static_cast<std::size_t>(Number(500)), 'y'));
        Delete(5);
        for (int i = 0; i < 5; ++i)
            changes += MoveFileW(Some().c_str(), Some().c_str()) ? 1 : 0;
        const std::wstring from = InTree(L"d" + std::to_wstring(Number(Folders)));
        const std::wstring to = InTree(L"moved" + std::to_wstring(Number(3)));
        changes += 20 + (m_move.Move(from, to) || m_move.Move(to, from) ? 1 : 0);
    }
    void Delete(int count)
    {
        for (int i = 0; i < count; ++i)
            changes += DeleteFileW(Some().c_str()) ? 1 : 0;
    }

    void KillAt(Moment moment)
    {
        switch (moment) {
        case Moment::Start:
            return KillWithin(Watch({L"--record"}), 1500);
        case Moment::Enumeration:
            return KillWithin(Watch({L"--record", L"--enumerate"}), 3000);
        case Moment::HandOut:
            return KillAfterRecords();
        case Moment::Deletions:
            return KillAfterDeletion();
        case Moment::Dump:
            return KillAtItsEnd();
        case Moment::Resume:
            LeaveDump();
            return KillWithin(Watch({L"--record"}), 1500);
        }
    }
    void KillWithin(const Arguments& arguments, int milliseconds)
    {
        HostProcess host(arguments);
        Kill(host, Number(milliseconds));
    }
    // A change while it ran is then pending, reported, recorded, or none of these.
    void KillAfterRecords()
    {
        const auto host = StartWatch({L"--record"});
        Change();
        const int records = 1 + Number(15);
        host->WaitFor([&](const Json& record) { return record.at("seq") > records; });
        Kill(*host, 0);
    }
    void KillAfterDeletion()
    {
        const auto host = StartWatch({L"--record"});
        Change();
        Delete(60);
        int left = 1 + Number(4);
        host->WaitFor([&](const Json& record) { return record.at("type") == "deleted" && --left == 0; });
        Kill(*host, 0);
    }
    void KillAtItsEnd()
    {
        const auto host = StartWatch({L"--collect"});
        Change();
        host->WaitFor([](const Json& record) { return record.value("pending", 0) > 10; });
        host->Interrupt();
        Kill(*host, Number(400));
    }
    void LeaveDump()
    {
        const auto host = StartWatch({L"--collect"});
        Change();
        host->WaitFor([](const Json& record) { return record.value("pending", 0) > 10; });
        host->Interrupt();
        EXPECT_EQ(host->Finish(), 130);
    }
    void Kill(HostProcess& host, int milliseconds)
    {
        host.KillAfter(std::chrono::milliseconds(milliseconds));
        // The last line may be half a line.
        model.Take(host.WholeRecords());
    }

    void RunToTheEnd()
    {
        HostProcess host(Watch({L"--record", L"--until-quiet", L"8"}));
        EXPECT_EQ(host.Finish(std::chrono::seconds(180)), 0);
        model.Take(host.Records());
    }

    const unsigned seed = FromEnvironment("ORB_STORM_SEED", 1);
    StormModel model;
    int changes = 0;

private:
    static constexpr int Folders = 10, FilesInFolder = 20;

    std::mt19937 m_random{seed};
    FolderMove m_move;
};

TEST_F(Kills, AtAnyMomentLoseNothing)
{
    const unsigned rounds = FromEnvironment("ORB_KILL_ROUNDS", 2);
    std::mt19937 random(seed);
    std::vector<Moment> moments{Moment::Start,     Moment::Enumeration, Moment::HandOut,
                                Moment::Deletions, Moment::Dump,        Moment::Resume};
    RunToTheEnd(); // what was there before is none of it
    int kills = 0;
    std::size_t lost = 0;
    for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
        std::shuffle(moments.begin(), moments.end(), random);
        // Some of them meet what the one before has left.
        for (const Moment moment : moments) {
            KillAt(moment);
            ++kills;
        }
        RunToTheEnd();
        for (const std::string& one : model.Lost(index)) {
            ADD_FAILURE() << "round " << round << ": " << one;
            ++lost;
        }
    }
    std::printf("kills of seed %u: %d, at 6 kinds of moments, %d changes, %llu handed out, %llu deleted, %zu lost\n",
                seed, kills, changes, static_cast<unsigned long long>(model.HandedOut()),
                static_cast<unsigned long long>(model.Deleted()), lost);
}

} // namespace
