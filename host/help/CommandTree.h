// The program's commands and options, as the parser knows them, for the reference and the completions. One thread.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

struct OptionNode {
    std::string name;  // "--data"; for a word without an option, its own name
    std::string value; // the kind of its value ("FILE"); empty: a flag without a value
    std::string text;
    bool alone; // a word without an option before it
    bool required;
    bool many; // takes all words up to the next option

    // Returns the words that it can be; none when they are not known beforehand.
    std::vector<std::string> Choices() const;
    enum class Kind { Flag, Path, Folder, Choice, Profile, Text };
    Kind WantedKind() const;
};

struct CommandNode {
    std::string name; // empty: the program
    std::string text;
    std::vector<OptionNode> options;
};

// Returns the commands, the program itself first. Commands and options that the help hides are left out.
std::vector<CommandNode> CommandTree(const CLI::App& app);
