// The page for programs that embed the library: sizes of structs, and what must lie beside the DLL.
#include "orbwatcher4/OrbWatcherC.h"
#include "tests/documents/Page.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstddef>
#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace
{

constexpr const char* PageName = "embedding.md";

TEST(Embedding, StructsHaveTheSizesOfThePage)
{
    const std::map<std::string, std::string> sizes = {
        {"OrbWatcherOptions", std::to_string(sizeof(OrbWatcherOptions))},
        {"OrbPendingFile", std::to_string(sizeof(OrbPendingFile))},
        {"OrbDeletion", std::to_string(sizeof(OrbDeletion))},
        {"OrbRescan", std::to_string(sizeof(OrbRescan))},
        {"OrbIndexOptions", std::to_string(sizeof(OrbIndexOptions))},
        {"OrbExplanation", std::to_string(sizeof(OrbExplanation))},
        {"OrbRule", std::to_string(sizeof(OrbRule))},
        {"OrbEnumerationProgress", std::to_string(sizeof(OrbEnumerationProgress))},
        {"OrbEstimateOptions", std::to_string(sizeof(OrbEstimateOptions))},
        {"OrbEstimateProgress", std::to_string(sizeof(OrbEstimateProgress))},
        {"OrbEstimateTotals", std::to_string(sizeof(OrbEstimateTotals))}};
    std::map<std::string, std::string> told;
    for (const Pages::Row& row : Pages::Table(PageName, {"Struct", "Bytes"}))
        told[row.at(0)] = row.at(1);
    EXPECT_EQ(told, sizes);
}

TEST(Embedding, EarlierSizesAreThoseBeforeTheFieldsThatWereAdded)
{
    const std::map<std::string, std::string> earlier = {
        {"OrbWatcherOptions", std::to_string(offsetof(OrbWatcherOptions, secondaryRules))},
        {"OrbPendingFile",
         std::to_string(offsetof(OrbPendingFile, ruleTexts)) + ", " + std::to_string(offsetof(OrbPendingFile, fileId))},
        {"OrbIndexOptions", std::to_string(offsetof(OrbIndexOptions, sizeLimit))},
        {"OrbEnumerationProgress", std::to_string(offsetof(OrbEnumerationProgress, folder))},
        {"OrbEstimateOptions", std::to_string(offsetof(OrbEstimateOptions, autoExclusions)) + ", " +
                                   std::to_string(offsetof(OrbEstimateOptions, destination))},
        {"OrbEstimateTotals", std::to_string(offsetof(OrbEstimateTotals, leftOutFiles))}};
    std::map<std::string, std::string> told;
    for (const Pages::Row& row : Pages::Table(PageName, {"Struct", "Bytes"}))
        if (!row.at(2).empty())
            told[row.at(0)] = row.at(2);
    EXPECT_EQ(told, earlier);
}

// The tests' own folder holds every DLL that was built, and those of the compiler.
TEST(Embedding, ThePageNamesEveryDllThatMustLieBesideTheProgram)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::string page = Pages::Read(PageName);
    std::set<std::string> missing;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(program).parent_path()))
        if (const std::string name = entry.path().filename().string();
            entry.path().extension() == ".dll" && page.find("`" + name + "`") == std::string::npos)
            missing.insert(name);
    EXPECT_EQ(missing, std::set<std::string>{});
}

} // namespace
