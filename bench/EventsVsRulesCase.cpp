// Events of folders that no rule selects, among very many rules and remembered junctions: beside the same events among
// ten of each. The rules and junctions lie beside the folders, so that their paths begin alike.
//
// The folders are on the disk, and both contenders ask it the same. The junctions are only remembered, because Wine has
// none: the case does not show the cost of finding them.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/DataOfItsOwn.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "tests/orbwatcher4/WatcherAccess.h"
#include "tests/support/TestMachine.h"

#include <filesystem>
#include <stdexcept>
#include <string>

namespace
{

constexpr int groups = 100;
constexpr int folders = 10'000;

std::wstring PathOf(const TempFolder& place, int number, const wchar_t* name)
{
    return place.Path(L"tree").GetString() + (L"\\group " + std::to_wstring(number % groups)) + L"\\" + name +
           std::to_wstring(number / groups);
}

std::vector<std::wstring> MakeFolders(const TempFolder& place)
{
    std::vector<std::wstring> all;
    for (int number = 0; number < folders; ++number) {
        all.push_back(PathOf(place, number, L"folder "));
        std::filesystem::create_directories(all.back());
    }
    return all;
}

// A watcher with so many rules and junctions.
class WatcherAmong
{
public:
    WatcherAmong(const TempFolder& place, int rules, int junctions)
    {
        std::string items = "<Data>";
        for (int number = 0; number < rules; ++number)
            items += "<Item path=\"" + Narrow(PathOf(place, number, L"selected ")) +
                     "\" type=\"1\" includeSub=\"1\" exclude=\"" + (number % 5 == 0 ? "1" : "0") + "\"/>";
        const std::wstring name = std::to_wstring(rules) + L" rules.xml";
        place.WriteBytes(name.c_str(), items + "</Data>");
        m_watcher.Init();
        m_watcher.SetDataXmlPath(place.Path(name.c_str()));
        if (!m_watcher.LoadSelection())
            throw std::runtime_error("the selection cannot be loaded");
        WalkMemory& memory = FilterAccess::MemoryOf(WatcherAccess::Parts(m_watcher).selection.primary);
        for (int number = 0; number < junctions; ++number)
            memory.Remember(PathOf(place, number, L"link ").c_str(), PathOf(place, number, L"target ").c_str());
    }

    void Take(benchmark::State& state, const std::vector<std::wstring>& paths)
    {
        ChangeHandler& handler = WatcherAccess::Handler(m_watcher);
        for (auto _ : state)
            for (const std::wstring& path : paths) {
                handler.OnFileAdded(path.c_str());
                handler.OnFileModified(path.c_str());
                handler.OnFileRemoved(path.c_str());
            }
        if (m_watcher.GetTotalFilesInMem() != 0)
            state.SkipWithError("a folder is selected");
    }

private:
    COrbWatcher m_watcher{false};
};

void TakeEventsOfUnselectedFolders()
{
    constexpr int rules = 100'000, junctions = 50'000, few = 10;
    const TempFolder place;
    const DataOfItsOwn data(place);
    g_OrbLog.SetLevel(LogLevel::Error);
    const std::vector<std::wstring> paths = MakeFolders(place);
    WatcherAmong among(place, rules, junctions), amongFew(place, few, few);
    Contest("events-vs-rules",
            {{"folders", folders}, {"events a folder", 3}, {"rules", rules}, {"junctions", junctions}})
        .Ours([&](benchmark::State& state) { among.Take(state, paths); })
        .Against("its own time among ten of each", 1.5, [&](benchmark::State& state) { amongFew.Take(state, paths); })
        .OnceARound()
        .Run();
}

const Case eventsVsRules("events-vs-rules", TakeEventsOfUnselectedFolders);

} // namespace
