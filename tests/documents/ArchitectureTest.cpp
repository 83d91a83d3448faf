// The page of the architecture: its picture of the folders and its table of locks.
#include "tests/documents/Page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

namespace
{

using Arrow = std::pair<std::string, std::string>;

// "a --> b" in the first diagram below a heading of the page.
std::set<Arrow> ArrowsBelow(const std::string& heading)
{
    std::set<Arrow> arrows;
    const std::string text = Pages::Read("architecture.md");
    const std::size_t begin = text.find("\n## " + heading + "\n");
    EXPECT_NE(begin, std::string::npos) << heading;
    std::istringstream page(text.substr(std::min(begin, text.size())));
    bool inside = false;
    for (std::string line; std::getline(page, line) && (!inside || !line.starts_with("```"));) {
        inside = inside || line.starts_with("```mermaid");
        std::istringstream words(line);
        std::string from, arrow, to;
        if (words >> from >> arrow >> to && arrow == "-->")
            arrows.emplace(from, to);
    }
    return arrows;
}

// The names of folders from the root to the file: "orbwatcher4", "core" for what lies in orbwatcher4/core.
std::vector<std::string> FoldersOf(const std::filesystem::path& file)
{
    std::vector<std::string> folders;
    for (const auto& part : file.parent_path())
        folders.push_back(part.string());
    return folders;
}

// From folder to folder, or between two sub-folders of the library. Nothing within one.
Arrow ArrowOf(const std::vector<std::string>& from, const std::filesystem::path& named)
{
    const std::vector<std::string> to = FoldersOf(named);
    if (to.empty())
        return {};
    if (from[0] != to[0])
        return {from[0], to[0]};
    const bool ofTheLibrary = from[0] == "orbwatcher4" && from.size() > 1 && to.size() > 1 && from[1] != to[1];
    return ofTheLibrary ? Arrow{from[1], to[1]} : Arrow{};
}

// Between two parts of the watcher; "watcher" stands for the files that no part has.
Arrow ArrowOfParts(const std::vector<std::string>& from, const std::filesystem::path& named)
{
    const auto part = [](const std::vector<std::string>& folders) {
        const bool core = folders.size() > 1 && folders[0] == "orbwatcher4" && folders[1] == "core";
        return core ? (folders.size() > 2 ? folders[2] : "watcher") : std::string();
    };
    const Arrow arrow{part(from), part(FoldersOf(named))};
    return arrow.first.empty() || arrow.second.empty() || arrow.first == arrow.second ? Arrow{} : arrow;
}

template <typename ArrowBetween>
void CollectIncludes(const std::filesystem::path& root, const std::filesystem::path& file, ArrowBetween between,
                     std::set<Arrow>& arrows)
{
    constexpr std::string_view Include = "#include \"";
    std::ifstream source(file);
    for (std::string line; std::getline(source, line);)
        if (line.starts_with(Include)) {
            const std::filesystem::path named = line.substr(Include.size(), line.rfind('"') - Include.size());
            const Arrow arrow = between(FoldersOf(std::filesystem::relative(file, root)), named);
            if (!arrow.first.empty())
                arrows.insert(arrow);
        }
}

template <typename ArrowBetween>
std::set<Arrow> IncludesIn(const std::vector<std::string>& folders, ArrowBetween between)
{
    const std::filesystem::path root = Pages::Folder().parent_path();
    std::set<Arrow> included;
    for (const std::string& folder : folders)
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder))
            if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp")
                CollectIncludes(root, entry.path(), between, included);
    return included;
}

TEST(ArchitecturePage, TheArrowsAreTheIncludesOfTheSources)
{
    EXPECT_EQ(ArrowsBelow("The folders"), IncludesIn({"host", "orbwatcher4", "directory_changes",
                                                      "OrbFileMonitorService", "xml", "companions", "support", "mfc"},
                                                     ArrowOf));
}

TEST(ArchitecturePage, TheArrowsBetweenThePartsAreTheIncludesOfTheirSources)
{
    EXPECT_EQ(ArrowsBelow("The parts of a watcher"), IncludesIn({"orbwatcher4/core"}, ArrowOfParts));
}

TEST(ArchitecturePage, NoPartOfTheWatcherIncludesWhatIncludesIt)
{
    std::set<Arrow> left = IncludesIn({"orbwatcher4/core"}, ArrowOfParts);
    // Takes away, again and again, the parts that include none of those that are left.
    for (std::size_t before = left.size() + 1; left.size() != before;) {
        before = left.size();
        std::set<std::string> including;
        for (const Arrow& arrow : left)
            including.insert(arrow.first);
        std::erase_if(left, [&](const Arrow& arrow) { return !including.contains(arrow.second); });
    }
    EXPECT_EQ(left, std::set<Arrow>{});
}

TEST(ArchitecturePage, NoPartOfTheWatcherKnowsTheFacade)
{
    for (const Arrow& arrow : IncludesIn({"orbwatcher4/core"}, ArrowOfParts))
        EXPECT_NE(arrow.second, "watcher") << arrow.first;
    const auto facade = [](const std::vector<std::string>& from, const std::filesystem::path& named) {
        return from.size() > 2 && named == "orbwatcher4/OrbWatcher.h" ? Arrow{from.back(), named.string()} : Arrow{};
    };
    EXPECT_EQ(IncludesIn({"orbwatcher4/core"}, facade), std::set<Arrow>{});
}

TEST(ArchitecturePage, TheLocksAreThoseOfTheirHeaderInTheirOrder)
{
    std::vector<Pages::Row> ranks;
    std::ifstream header(Pages::Folder().parent_path() / "support" / "LockOrder.h");
    std::string name, equals, number;
    for (std::string line; std::getline(header, line);)
        if (std::istringstream words(line); words >> name >> equals >> number && equals == "=" && number != "99,")
            ranks.push_back({number.substr(0, number.find(',')), name});
    ASSERT_GT(ranks.size(), 10u);
    std::vector<Pages::Row> shown;
    for (const Pages::Row& row : Pages::Table("architecture.md", {"Rank", "Name"}))
        shown.push_back({row[0], row[1]});
    EXPECT_EQ(shown, ranks);
}

} // namespace
