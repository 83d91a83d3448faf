#include "host/commands/Commands.h"

#include "host/commands/AddCommand.h"
#include "host/commands/CompletionCommand.h"
#include "host/commands/DoctorCommand.h"
#include "host/commands/EnumerateCommand.h"
#include "host/commands/EstimateCommand.h"
#include "host/commands/ExplainCommand.h"
#include "host/commands/ExportCommand.h"
#include "host/commands/InitCommand.h"
#include "host/commands/OverlayCommand.h"
#include "host/commands/ReferenceCommand.h"
#include "host/commands/WatchCommand.h"

namespace
{

constexpr std::unique_ptr<Command> (*Makers[])() = {
    MakeWatchCommand,  MakeEnumerateCommand,  MakeExplainCommand,   MakeEstimateCommand,
    MakeAddCommand,    MakeExportCommand,     MakeOverlayCommand,   MakeInitCommand,
    MakeDoctorCommand, MakeCompletionCommand, MakeReferenceCommand,
};

} // namespace

void Command::AddTo(CLI::App& program)
{
    const CommandHelp help = Help();
    m_parser = program.add_subcommand(help.name, help.summary);
    if (help.hidden)
        m_parser->group("");
    else
        m_parser->footer(FooterOf(help));
    DeclareOptions(*m_parser);
}

std::vector<std::unique_ptr<Command>> MakeCommands()
{
    std::vector<std::unique_ptr<Command>> commands;
    for (const auto make : Makers)
        commands.push_back(make());
    return commands;
}
