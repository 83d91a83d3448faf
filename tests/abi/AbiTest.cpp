// docs/abi.json is the C interface of this build, and nothing of the header is missing there.
#include "tests/abi/AbiTable.h"
#include "tests/support/SourceTree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace
{

std::string TextOf(const wchar_t* name)
{
    std::ifstream file(SourceTree() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Without comments.
std::string Header()
{
    return std::regex_replace(TextOf(L"orbwatcher4/OrbWatcherC.h"), std::regex(R"(/\*[^*]*\*+([^/*][^*]*\*+)*/)"), "");
}

std::set<std::string> Found(const std::string& text, const char* pattern)
{
    std::set<std::string> names;
    const std::regex expression(pattern);
    for (std::sregex_iterator found(text.begin(), text.end(), expression), end; found != end; ++found)
        names.insert(found->str(1));
    return names;
}

std::set<std::string> NamesIn(const nlohmann::ordered_json& rows)
{
    std::set<std::string> names;
    for (const auto& row : rows)
        names.insert(row.at("name").get<std::string>());
    return names;
}

TEST(Abi, ThePageIsTheInterfaceOfThisBuild)
{
    EXPECT_EQ(TextOf(L"docs/abi.json"), AbiTable().dump(1) + "\n") << "tools/abi writes it anew";
}

TEST(Abi, EachFunctionOfTheHeaderIsThere)
{
    EXPECT_EQ(NamesIn(AbiTable().at("functions")), Found(Header(), R"(ORB_CALL (Orb\w+)\()"));
}

TEST(Abi, EachStructOfTheHeaderIsThere)
{
    EXPECT_EQ(NamesIn(AbiTable().at("structs")), Found(Header(), R"(typedef struct (Orb\w+) \{)"));
}

TEST(Abi, EachConstantOfTheHeaderIsThere)
{
    const nlohmann::ordered_json table = AbiTable();
    std::set<std::string> names;
    for (const auto& [name, value] : table.at("constants").items())
        names.insert(name);
    std::set<std::string> inHeader = Found(Header(), R"(\b(ORB_[A-Z_]+) = )");
    inHeader.merge(Found(Header(), R"(#define (ORB_\w+) +\d)"));
    EXPECT_EQ(names, inHeader);
}

// A field that is not listed would leave a hole that is larger than what alignment leaves.
TEST(Abi, TheFieldsOfAStructFollowEachOther)
{
    const nlohmann::ordered_json table = AbiTable();
    for (const auto& row : table.at("structs")) {
        std::size_t end = 0;
        for (const auto& field : row.at("fields")) {
            EXPECT_LT(field.at("offset").get<std::size_t>() - end, 8u) << row.at("name") << ": " << field.at("name");
            end = field.at("offset").get<std::size_t>() + field.at("size").get<std::size_t>();
        }
        EXPECT_LT(row.at("size").get<std::size_t>() - end, 8u) << row.at("name");
    }
}

} // namespace
