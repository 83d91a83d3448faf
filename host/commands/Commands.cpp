#include "host/commands/Commands.h"

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
    for (const auto make : {MakeWatchCommand, MakeEnumerateCommand, MakeExplainCommand, MakeEstimateCommand,
                            MakeAddCommand, MakeExportCommand, MakeOverlayCommand, MakeInitCommand, MakeDoctorCommand,
                            MakeCompletionCommand, MakeReferenceCommand})
        commands.push_back(make());
    return commands;
}
