// Loading and parsing a large selection, and reading all attributes of its items.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/MemoryUse.h"
#include "bench/SelectionFile.h"
#include "xml/Markup.h"

#include <pugixml.hpp>
#include <tinyxml2.h>

#include <cstdio>
#include <stdexcept>
#include <string>

static_assert(sizeof(pugi::char_t) == sizeof(wchar_t), "the rival reads wide characters, as we do");

namespace
{

// The result of a contender. Equal results show that all have read the same.
struct Sum {
    std::size_t items = 0;
    std::size_t units = 0;
    bool operator==(const Sum&) const = default;
};

Sum ReadOurs(const SelectionFile& file)
{
    CMarkup document;
    Sum sum;
    if (!document.Load(file.path) || !document.FindElement(L"Data") || !document.EnterElement())
        throw std::runtime_error("the selection cannot be loaded");
    while (document.FindElement(L"Item")) {
        ++sum.items;
        for (const wchar_t* name : ItemAttributes)
            sum.units += document.GetAttributeView(name).size();
    }
    return sum;
}

Sum ReadWithPugi(const SelectionFile& file)
{
    pugi::xml_document document;
    Sum sum;
    if (!document.load_file(file.path.GetString()))
        throw std::runtime_error("pugixml cannot load the selection");
    const auto root = document.child(L"Data");
    for (auto item = root.child(L"Item"); item; item = item.next_sibling(L"Item")) {
        ++sum.items;
        for (const wchar_t* name : ItemAttributes)
            sum.units += std::wstring_view(item.attribute(name).value()).size();
    }
    return sum;
}

std::string Narrow(const wchar_t* text) { return std::string(text, text + std::wcslen(text)); }

Sum ReadWithTiny(const SelectionFile& file)
{
    struct Close {
        void operator()(std::FILE* opened) const { std::fclose(opened); }
    };
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const wchar_t* name : ItemAttributes)
            all.push_back(Narrow(name));
        return all;
    }();
    const std::unique_ptr<std::FILE, Close> opened(_wfopen(file.path, L"rb"));
    tinyxml2::XMLDocument document;
    Sum sum;
    if (!opened || document.LoadFile(opened.get()) != tinyxml2::XML_SUCCESS)
        throw std::runtime_error("tinyxml2 cannot load the selection");
    const auto* root = document.FirstChildElement("Data");
    for (const auto* item = root->FirstChildElement("Item"); item; item = item->NextSiblingElement("Item")) {
        ++sum.items;
        for (const std::string& name : names)
            sum.units += std::string_view(item->Attribute(name.c_str())).size();
    }
    return sum;
}

Contest::Work Reading(Sum (*read)(const SelectionFile&), const SelectionFile& file, const Sum& expected)
{
    return [=](benchmark::State& state) {
        for (auto _ : state)
            if (read(file) != expected)
                state.SkipWithError("not all was read");
    };
}

Sizes SizesOf(const SelectionFile& file)
{
    return {{"items", file.items}, {"attributes", std::size(ItemAttributes)}, {"megabytes", file.megabytes}};
}

void ReadAttributes()
{
    const SelectionFile file = LargeSelection();
    const Sum expected = ReadOurs(file);
    if (expected.items != static_cast<std::size_t>(file.items))
        throw std::runtime_error("not all items were read");
    Contest("xml-read", SizesOf(file))
        .Ours(Reading(ReadOurs, file, expected))
        .Against("pugixml, wide characters", 1, Reading(ReadWithPugi, file, expected))
        .Against("tinyxml2", 1.0 / 3, Reading(ReadWithTiny, file, expected))
        .Run();
}

// The most memory that a load ever needs, by the text that it leaves in memory.
void LoadInLittleMemory()
{
    const SelectionFile file = LargeSelection();
    const std::uint64_t before = MemoryInUse();
    CMarkup document;
    if (!document.Load(file.path))
        throw std::runtime_error("the selection cannot be loaded");
    const auto needed = static_cast<double>(PeakOfMemory() - before);
    const double text = document.GetDoc().GetLength() * double(sizeof(wchar_t));
    Print({"xml-memory", needed / 1e6, "MB", "the text in memory", text / 1e6, 3, SizesOf(file)});
}

const Case readAttributes("xml-read", ReadAttributes);
const Case loadInLittleMemory("xml-memory", LoadInLittleMemory);

} // namespace
