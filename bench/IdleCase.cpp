// The cost of a watcher of eight drives while nothing changes: the share of a processor, and everything that grows.
//
// ORB_IDLE_SECONDS makes it shorter than a minute.
#include "bench/Case.h"
#include "bench/DataOfItsOwn.h"
#include "bench/MemoryUse.h"
#include "bench/Result.h"
#include "orbwatcher4/OrbWatcher.h"
#include "tests/growth/Holdings.h"
#include "tests/support/FromEnvironment.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace
{

constexpr char firstDrive = 'i';
constexpr int drives = 8;

// Drives of folders, as long as it lives.
class Drives
{
public:
    explicit Drives(const TempFolder& folder)
    {
        for (int i = 0; i < drives; ++i) {
            const CString place = folder.Path(std::to_wstring(i).c_str());
            CreateDirectoryW(place, nullptr);
            if (!AttachDrive(Letter(i), place))
                throw std::runtime_error("a drive cannot be attached");
        }
    }
    ~Drives()
    {
        for (int i = 0; i < drives; ++i)
            DetachDrive(Letter(i));
    }
    Drives(const Drives&) = delete;
    Drives& operator=(const Drives&) = delete;

    std::string Selection() const
    {
        std::string items = "<Data>";
        for (int i = 0; i < drives; ++i)
            items += std::string("<Item path=\"") + static_cast<char>(Letter(i) - 'a' + 'A') +
                     ":\\\" type=\"1\" includeSub=\"1\"/>";
        return items + "</Data>";
    }

private:
    static char Letter(int number) { return static_cast<char>(firstDrive + number); }
};

// Of all threads, in units of 100 ns.
std::uint64_t ProcessorTime()
{
    FILETIME created, ended, kernel, user;
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user))
        throw std::runtime_error("the process's times cannot be read");
    const auto number = [](const FILETIME& time) {
        return std::uint64_t(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    };
    return number(kernel) + number(user);
}

void RequireNoGrowth(const Holdings& before, const Holdings& after)
{
    // A page or two of what the system keeps for its threads comes and goes.
    constexpr std::size_t someBytes = 16384;
    const auto text = [](const Holdings& held) {
        return std::to_string(held.handles) + " handles, " + std::to_string(held.threads) + " threads, " +
               std::to_string(held.bytes) + " bytes";
    };
    if (after.handles > before.handles || after.threads > before.threads || after.bytes > before.bytes + someBytes)
        throw std::runtime_error("something grew: " + text(before) + ", then " + text(after));
}

void Idle()
{
    const unsigned seconds = FromEnvironment("ORB_IDLE_SECONDS", 60);
    const TempFolder folder;
    const DataOfItsOwn data(folder);
    const Drives attached(folder);
    folder.WriteBytes(L"data.xml", attached.Selection());
    COrbWatcher watcher(false);
    watcher.Init();
    watcher.SetDataXmlPath(folder.Path(L"data.xml"));
    watcher.StartWatch();
    if (!watcher.WaitUntilReady(60'000) || watcher.GetWatchedRoots().size() != drives)
        throw std::runtime_error("not all drives are watched");
    // Wait until the first full enumeration is over.
    Sleep(3'000);
    while (watcher.IsFirstTimeEnumRunning())
        Sleep(100);
    Sleep(2'000);

    const Holdings before = Holdings::Now();
    const std::uint64_t began = ProcessorTime();
    const ULONGLONG start = GetTickCount64();
    Sleep(seconds * 1'000);
    const double lasted = static_cast<double>(GetTickCount64() - start) / 1e3;
    const double used = static_cast<double>(ProcessorTime() - began) / 1e7;
    const Holdings after = Holdings::Now();
    watcher.AbortWatching();
    Print({"idle",
           100 * used / lasted,
           "% of one processor",
           "",
           {},
           0.2,
           {{"drives", drives},
            {"seconds", lasted},
            {"handles", after.handles},
            {"threads", after.threads},
            {"megabytes", static_cast<double>(MemoryInUse()) / 1e6}}});
    RequireNoGrowth(before, after);
}

const Case idle("idle", Idle);

} // namespace
