// orbwatch reference: prints docs/orbwatch.md, for tools/reference.
#include "host/commands/Commands.h"
#include "host/help/ReferencePage.h"

namespace
{

class ReferenceCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "reference", .summary = "print docs/orbwatch.md", .hidden = true};
    }
    ExitCode Run(RecordWriter& writer) override
    {
        std::vector<CommandHelp> helps{ProgramHelp()};
        for (const std::unique_ptr<Command>& command : MakeCommands())
            helps.push_back(command->Help());
        return writer.Text(ReferencePage(Program(), helps));
    }

private:
    void DeclareOptions(CLI::App&) override {}
};

} // namespace

std::unique_ptr<Command> MakeReferenceCommand() { return std::make_unique<ReferenceCommand>(); }
