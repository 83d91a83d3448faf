#include "host/help/CommandTree.h"

#include <sstream>

namespace
{

CommandNode NodeOf(const CLI::App& app, const std::string& name)
{
    CommandNode node{name, app.get_description(), {}};
    for (const CLI::Option* option : app.get_options())
        if (!option->get_group().empty())
            node.options.push_back({option->get_positional() ? option->get_name() : "--" + option->get_lnames().front(),
                                    option->get_type_size() == 0 ? "" : option->get_type_name(),
                                    option->get_description(), option->get_positional(), option->get_required(),
                                    option->get_expected_max() > 1});
    return node;
}

} // namespace

std::vector<std::string> OptionNode::Choices() const
{
    std::vector<std::string> choices;
    std::istringstream words(value);
    if (value.find('|') != std::string::npos)
        for (std::string word; std::getline(words, word, '|');)
            choices.push_back(word);
    return choices;
}

OptionNode::Kind OptionNode::WantedKind() const
{
    if (value.empty())
        return Kind::Flag;
    if (value == "FILE" || value == "PATH")
        return Kind::Path;
    if (value == "FOLDER")
        return Kind::Folder;
    if (value == "PROFILE")
        return Kind::Profile;
    return Choices().empty() ? Kind::Text : Kind::Choice;
}

std::vector<CommandNode> CommandTree(const CLI::App& app)
{
    std::vector<CommandNode> tree{NodeOf(app, "")};
    for (const CLI::App* command : app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
        tree.push_back(NodeOf(*command, command->get_name()));
    return tree;
}
