// orbwatch reference: prints docs/orbwatch.md, for tools/reference.
#include "host/commands/Commands.h"
#include "host/help/CommandTree.h"

#include <cctype>

namespace
{

// A bar would end the cell, even inside code.
std::string Cell(const std::string& text)
{
    std::string cell;
    for (const char unit : text)
        cell += unit == '|' ? std::string("\\|") : std::string(1, unit);
    return cell;
}

std::string Row(const std::string& first, const std::string& second)
{
    return "| " + Cell(first) + " | " + Cell(second) + " |\n";
}

std::string Table(const char* what, const std::string& rows)
{
    return rows.empty() ? rows : Row(what, "meaning") + "|---|---|\n" + rows + "\n";
}

std::string Code(const std::string& text) { return "`" + text + "`"; }

std::string OptionRows(const CommandNode& node)
{
    std::string rows;
    for (const OptionNode& option : node.options) {
        if (option.name == "--help" && !node.name.empty())
            continue; // every command has it
        const std::string value = (option.value.empty() ? "" : " " + option.value) + (option.many ? " ..." : "");
        rows += Row(Code(option.name + value), option.text + (option.required ? "; must be given" : ""));
    }
    return rows;
}

std::string RecordRows(const CommandHelp& help)
{
    std::string rows;
    for (const RecordKind& record : help.records)
        rows += Row(Code(record.name), record.meaning);
    return rows;
}

std::string EndRows(const CommandHelp& help)
{
    std::string rows;
    for (const EndCode& end : help.ends)
        rows += Row(std::to_string(end.code), end.meaning);
    return rows;
}

std::string Examples(const CommandHelp& help)
{
    std::string lines;
    for (const char* example : help.examples)
        lines += std::string("    ") + example + "\n";
    return lines + "\n";
}

std::string Sentence(std::string text)
{
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text.ends_with('.') ? text : text + ".";
}

std::string Section(const CommandNode& node, const CommandHelp& help)
{
    const std::string title = node.name.empty() ? "# orbwatch" : "## orbwatch " + node.name;
    return title + "\n\n" + Sentence(node.text) + "\n\n" + Examples(help) + (help.text + 1) + "\n\n" +
           Table("option", OptionRows(node)) + Table("record", RecordRows(help)) + Table("exit code", EndRows(help));
}

class ReferenceCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "reference", .summary = "print docs/orbwatch.md", .hidden = true};
    }
    ExitCode Run(RecordWriter& writer) override
    {
        const std::vector<CommandNode> tree = CommandTree(Program());
        std::string page =
            "<!-- Written by tools/reference from the program's own help, which is the place to change. -->\n\n" +
            Section(tree.front(), ProgramHelp());
        for (const std::unique_ptr<Command>& command : MakeCommands())
            for (const CommandNode& node : tree)
                if (const CommandHelp help = command->Help(); help.name == node.name)
                    page += Section(node, help);
        page.pop_back(); // one newline is enough
        return writer.Text(page);
    }

private:
    void DeclareOptions(CLI::App&) override {}
};

} // namespace

std::unique_ptr<Command> MakeReferenceCommand() { return std::make_unique<ReferenceCommand>(); }
