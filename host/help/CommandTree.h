// The program's commands and options, as the parser knows them, for who tells of
// them: the reference and the completions. One thread.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

struct OptionNode {
    std::string name;  // "--data"; of what stands alone its own name
    std::string value; // what it wants ("FILE"); empty: nothing, a flag
    std::string text;
    bool alone; // a word without an option before it
    bool required;
    bool many; // takes all words up to the next option

    // The words that it can be; none when they are not known beforehand.
    std::vector<std::string> Choices() const;
    enum class Kind { Flag, Path, Folder, Choice, Profile, Text };
    Kind WantedKind() const;
};

struct CommandNode {
    std::string name; // empty: the program
    std::string text;
    std::vector<OptionNode> options;
};

// The program itself first. What the help hides is left out.
std::vector<CommandNode> CommandTree(const CLI::App& app);
