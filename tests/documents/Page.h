// The pages of docs/ and the example files that they show.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Pages
{

std::filesystem::path Folder();
// Names of the pages, with their ending.
std::vector<std::string> All();
std::string Read(const std::string& name);

std::filesystem::path ExampleFile(const std::string& name);
std::vector<std::string> AllExamples();
std::string Example(const std::string& name);

// An example as a page shows it: the text, or what "hexdump -C" makes of a file that ends in .bin; each line
// behind four blanks.
std::string AsShown(const std::string& name);
std::string HexDump(const std::string& bytes);
// The indented lines of the page that follow the first mention of the example.
std::string Shown(const std::string& page, const std::string& example);

using Row = std::vector<std::string>; // cells, without the blanks around them and without backticks
// The rows of the first table whose head begins with these cells.
std::vector<Row> Table(const std::string& page, const Row& head);

} // namespace Pages
