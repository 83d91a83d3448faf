// The sources and tests that the pages name are there.
#include "tests/documents/Page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace
{

constexpr const char* PagesThatNameSources[] = {"architecture.md", "guarantees.md", "wine.md"};

struct Sources {
    std::vector<std::string> files; // from the root on, each with a slash before it
    std::set<std::string> tests;    // "Suite.Test", and "Test" alone

    Sources()
    {
        const std::filesystem::path root = Pages::Folder().parent_path();
        for (const char* folder : {"bench", "companions", "directory_changes", "docs", "examples", "fuzz", "host",
                                   "mfc", "OrbFileMonitorService", "orbwatcher4", "support", "tests", "tools", "xml"})
            for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
                files.push_back("/" + std::filesystem::relative(entry.path(), root).generic_string());
                if (files.back().starts_with("/tests/") && files.back().ends_with("Test.cpp"))
                    CollectTests(entry.path());
            }
    }
    bool HasFile(const std::string& name) const
    {
        return std::any_of(files.begin(), files.end(),
                           [&](const std::string& file) { return file.ends_with("/" + name); });
    }

private:
    void CollectTests(const std::filesystem::path& file)
    {
        static const std::regex head(R"(TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\))");
        std::ifstream stream(file);
        const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        for (std::sregex_iterator found(text.begin(), text.end(), head), end; found != end; ++found) {
            tests.insert(found->str(1) + "." + found->str(2));
            tests.insert(found->str(2));
        }
    }
};

// Returns the words in backticks that look like a source, a file of tests or a test.
bool IsThere(const Sources& sources, const std::string& word)
{
    static const std::regex source(R"([\w/]+\.(?:cpp|h|sh|py))"), testFile(R"([A-Z]\w*Test)"),
        test(R"([A-Z]\w+\.[A-Z]\w+)"), sentence(R"((?:[A-Z][a-z0-9]*){6,})");
    if (std::regex_match(word, source))
        return sources.HasFile(word);
    if (std::regex_match(word, testFile))
        return sources.HasFile(word + ".cpp");
    if (std::regex_match(word, test))
        return sources.tests.contains(word);
    return !std::regex_match(word, sentence) || sources.tests.contains(word);
}

TEST(NamesInPages, SourcesAndTestsAreThere)
{
    static const std::regex ticked("`([^`\n]+)`");
    const Sources sources;
    ASSERT_GT(sources.tests.size(), 500u);
    for (const char* page : PagesThatNameSources) {
        const std::string text = Pages::Read(page);
        for (std::sregex_iterator found(text.begin(), text.end(), ticked), end; found != end; ++found)
            EXPECT_TRUE(IsThere(sources, found->str(1))) << page << " names " << found->str(1);
    }
}

} // namespace
