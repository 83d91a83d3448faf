// The options of the commands, as the parser and the help know them. The type of an option names its value: the shell
// completes FILE, FOLDER and PATH as paths, PROFILE as one of the selection's profiles, and a|b|c as one of these
// words. The values must outlive the parser. One thread.
#pragma once

#include "host/ServiceOptions.h"

#include <CLI/CLI.hpp>

#include <limits>
#include <map>
#include <string>
#include <vector>

// Options of one value. The text is kept as it is written; a file gets its full path. An empty path is a wrong command
// line.
CLI::Option* AddText(CLI::App& app, const char* name, std::wstring& text, const char* type, const char* meaning);
CLI::Option* AddFile(CLI::App& app, const char* name, std::wstring& path, const char* meaning);
CLI::Option* AddFolder(CLI::App& app, const char* name, std::wstring& folder, const char* meaning);
// Paths as they are written, up to the next option.
CLI::Option* AddPaths(CLI::App& app, const char* name, std::vector<std::wstring>& paths, const char* meaning);
CLI::Option* AddSeconds(CLI::App& app, const char* name, double& seconds, const char* meaning);

// The option's type says enough in the help, so the checks add no description. Digits alone:
CLI::Validator WholeNumber(std::uint64_t least, std::uint64_t most);

template <typename Number>
CLI::Option* AddCount(CLI::App& app, const char* name, Number& number, const char* meaning, std::uint64_t least = 0,
                      std::uint64_t most = std::numeric_limits<int>::max())
{
    return app.add_option(name, number, meaning)->type_name("COUNT")->check(WholeNumber(least, most));
}

// `type`: the words, as in "a|b".
template <typename Value>
CLI::Option* AddChoice(CLI::App& app, const char* name, Value& value, const char* type, const char* meaning,
                       const std::map<std::string, Value>& values)
{
    // Turns a word into the number from which the parser reads the value.
    const auto translate = [values](std::string& word) -> std::string {
        if (const auto found = values.find(word); found != values.end()) {
            word = std::to_string(static_cast<int>(found->second));
            return "";
        }
        std::string names;
        for (const auto& [known, number] : values)
            names += (names.empty() ? "" : ", ") + known;
        return word + " is none of " + names;
    };
    return app.add_option(name, value, meaning)->type_name(type)->transform(CLI::Validator(translate, ""));
}

// The options that nearly all commands have.
struct GeneralOptions {
    std::wstring dataFolder; // as it was written; may be empty
    std::wstring logLevel;
    bool json = false;

    void AddTo(CLI::App& app);
    void AddJsonTo(CLI::App& app);
    // Makes them those of this process.
    void Apply() const;
};

// Groups of options that several commands share. The first two return the option --data.
CLI::Option* AddSelection(CLI::App& app, SelectionFiles& files);
CLI::Option* AddSelectionAndFilters(CLI::App& app, SelectionFiles& files);
CLI::Option* AddDestination(CLI::App& app, std::wstring& destination);
// The index and the destination, for commands that need them only because no backup holds them.
void AddOutside(CLI::App& app, std::wstring& index, std::wstring& destination);
// For commands that take, or leave, what is pending for the next watch.
void AddWaiting(CLI::App& app, ServiceOptions& options, GeneralOptions& general,
                const char* index = "the index of what is backed up; made when missing");
// For commands that hand out.
void AddService(CLI::App& app, ServiceOptions& options, GeneralOptions& general);
