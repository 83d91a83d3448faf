#include "host/UsageSentence.h"

#include "host/help/CommandTree.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <vector>

namespace
{

// Returns how many letters must be changed, added or left out to make one word of the other.
std::size_t Distance(std::string_view left, std::string_view right)
{
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t changed = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, changed});
        }
    }
    return row.back();
}

// Returns a question with the nearest word; empty when none is near.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& known)
{
    const std::string* nearest = nullptr;
    std::size_t least = 2 + word.size() / 4;
    for (const std::string& candidate : known)
        if (const std::size_t distance = Distance(word, candidate); distance < least) {
            least = distance;
            nearest = &candidate;
        }
    return nearest ? "; did you mean " + *nearest + "?" : "";
}

const CommandNode& NodeOf(const std::vector<CommandNode>& tree, const std::string& name)
{
    const auto found =
        std::find_if(tree.begin(), tree.end(), [&](const CommandNode& node) { return node.name == name; });
    return found == tree.end() ? tree.front() : *found;
}

std::string UnknownCommand(const std::vector<CommandNode>& tree, const std::string& word)
{
    std::vector<std::string> names;
    for (const CommandNode& node : tree)
        if (!node.name.empty())
            names.push_back(node.name);
    return "there is no command \"" + word + "\"" + DidYouMean(word, names);
}

std::string UnknownOption(const CommandNode& node, const std::string& given)
{
    const std::string option = given.substr(0, given.find('='));
    std::vector<std::string> names;
    for (const OptionNode& known : node.options)
        if (!known.alone)
            names.push_back(known.name);
    return "orbwatch" + (node.name.empty() ? "" : " " + node.name) + " has no option " + option +
           DidYouMean(option, names);
}

bool IsRepeated(const CLI::App& app, const std::string& name)
{
    const auto chosen = app.get_subcommands();
    const CLI::App& command = chosen.empty() ? app : *chosen.front();
    const CLI::Option* option = command.get_option_no_throw(name);
    return option && option->count() > 1;
}

} // namespace

std::string UsageSentence(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<CommandNode> tree = CommandTree(app);
    const auto chosen = app.get_subcommands();
    const std::string command = chosen.empty() ? "" : chosen.front()->get_name();
    const CommandNode& node = NodeOf(tree, command);
    // A wrong value says most: an option that was taken for a value leaves words behind.
    if (dynamic_cast<const CLI::ValidationError*>(&error))
        return error.what();
    // An unknown word is reported next: a missing option is often the one that was mistyped.
    for (const std::string& word : app.remaining(true)) {
        if (word.starts_with("-") && word != "-" && word != "--")
            return UnknownOption(node, word);
        return chosen.empty() ? UnknownCommand(tree, word)
                              : "\"" + word + "\" is not expected; an option must come before it";
    }
    std::string text = error.what();
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
        const std::string option = text.substr(0, text.find(':'));
        return option + (IsRepeated(app, option) ? " is given twice; give it once" : " needs a value behind it");
    }
    if (chosen.empty() && dynamic_cast<const CLI::RequiredError*>(&error))
        return "a command must be named, such as watch";
    return text;
}
