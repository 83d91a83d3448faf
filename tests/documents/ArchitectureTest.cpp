// The page of the architecture: its picture of the folders and its table of locks.
#include "tests/documents/Page.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

namespace
{

using Arrow = std::pair<std::string, std::string>;

// "a --> b" in the page's first diagram.
std::set<Arrow> ArrowsOfThePage()
{
    std::set<Arrow> arrows;
    std::istringstream page(Pages::Read("architecture.md"));
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
Arrow ArrowOf(const std::vector<std::string>& from, const std::vector<std::string>& to)
{
    if (to.empty())
        return {};
    if (from[0] != to[0])
        return {from[0], to[0]};
    const bool ofTheLibrary = from[0] == "orbwatcher4" && from.size() > 1 && to.size() > 1 && from[1] != to[1];
    return ofTheLibrary ? Arrow{from[1], to[1]} : Arrow{};
}

void CollectIncludes(const std::filesystem::path& root, const std::filesystem::path& file, std::set<Arrow>& arrows)
{
    constexpr std::string_view Include = "#include \"";
    std::ifstream source(file);
    for (std::string line; std::getline(source, line);)
        if (line.starts_with(Include)) {
            const std::filesystem::path named = line.substr(Include.size(), line.rfind('"') - Include.size());
            const Arrow arrow = ArrowOf(FoldersOf(std::filesystem::relative(file, root)), FoldersOf(named));
            if (!arrow.first.empty())
                arrows.insert(arrow);
        }
}

TEST(ArchitecturePage, TheArrowsAreTheIncludesOfTheSources)
{
    const std::filesystem::path root = Pages::Folder().parent_path();
    std::set<Arrow> included;
    for (const char* folder :
         {"host", "orbwatcher4", "directory_changes", "OrbFileMonitorService", "xml", "companions", "support", "mfc"})
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder))
            if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp")
                CollectIncludes(root, entry.path(), included);
    EXPECT_EQ(ArrowsOfThePage(), included);
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
