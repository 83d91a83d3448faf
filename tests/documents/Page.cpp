#include "tests/documents/Page.h"

#include "tests/support/SourceTree.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace
{

std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("a page or example could not be read: " + path.string());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> NamesIn(const std::filesystem::path& folder, std::string_view ending)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (const std::string name = entry.path().filename().string();
            entry.is_regular_file() && name.ends_with(ending))
            names.push_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> Lines(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

bool IsIndented(std::string_view line) { return line.starts_with("    "); }

std::string Indented(const std::string& text)
{
    std::string shown;
    for (const std::string& line : Lines(text))
        shown += line.empty() ? "\n" : "    " + line + "\n";
    return shown;
}

Pages::Row Cells(const std::string& line)
{
    Pages::Row cells;
    std::istringstream stream(line.substr(1));
    for (std::string cell; std::getline(stream, cell, '|');) {
        std::erase(cell, '`');
        const std::size_t begin = std::min(cell.find_first_not_of(' '), cell.size());
        cells.push_back(cell.substr(begin, cell.find_last_not_of(' ') + 1 - begin));
    }
    return cells;
}

std::string HexLine(std::size_t offset, std::string_view bytes)
{
    char text[16];
    std::snprintf(text, sizeof text, "%08zx  ", offset);
    std::string line = text;
    std::string readable;
    for (std::size_t i = 0; i < 16; ++i) {
        std::snprintf(text, sizeof text, "%02x ", i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u);
        line += i < bytes.size() ? text : "   ";
        line += i == 7 ? " " : "";
        if (i < bytes.size())
            readable += bytes[i] >= ' ' && bytes[i] <= '~' ? bytes[i] : '.';
    }
    return line + " |" + readable + "|\n";
}

} // namespace

namespace Pages
{

std::filesystem::path Folder() { return SourceTree() / "docs"; }
std::vector<std::string> All() { return NamesIn(Folder(), ".md"); }
std::string Read(const std::string& name) { return ReadFile(Folder() / name); }

std::filesystem::path ExampleFile(const std::string& name) { return Folder() / "examples" / name; }
std::vector<std::string> AllExamples() { return NamesIn(Folder() / "examples", ""); }
std::string Example(const std::string& name) { return ReadFile(ExampleFile(name)); }

std::string AsShown(const std::string& name)
{
    const std::string bytes = Example(name);
    return Indented(name.ends_with(".bin") ? HexDump(bytes) : bytes);
}

std::string HexDump(const std::string& bytes)
{
    const std::string_view all = bytes;
    std::string dump;
    bool repeated = false;
    for (std::size_t at = 0; at < all.size(); at += 16) {
        const std::string_view line = all.substr(at, 16);
        const bool same = at >= 16 && line == all.substr(at - 16, 16);
        if (!same)
            dump += HexLine(at, line);
        else if (!repeated)
            dump += "*\n";
        repeated = same;
    }
    char size[16];
    std::snprintf(size, sizeof size, "%08zx\n", all.size());
    return dump + size;
}

std::string Shown(const std::string& page, const std::string& example)
{
    std::string shown;
    bool mentioned = false;
    for (const std::string& line : Lines(Read(page))) {
        if (!mentioned)
            mentioned = line.find("docs/examples/" + example) != std::string::npos;
        else if (IsIndented(line))
            shown += line + "\n";
        else if (!shown.empty())
            break;
    }
    return shown;
}

std::vector<Row> Table(const std::string& page, const Row& head)
{
    std::vector<Row> rows;
    bool found = false;
    for (const std::string& line : Lines(Read(page))) {
        const bool isRow = line.starts_with("|");
        if (found && !isRow)
            break;
        if (!isRow || line.starts_with("|---"))
            continue;
        const Row cells = Cells(line);
        if (found)
            rows.push_back(cells);
        found = found || (cells.size() >= head.size() && std::equal(head.begin(), head.end(), cells.begin()));
    }
    return rows;
}

} // namespace Pages
