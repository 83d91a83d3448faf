// orbwatch: uses the library as a backup service does.
#include "host/Console.h"
#include "host/OwnLibraries.h"
#include "host/UsageSentence.h"
#include "host/commands/Commands.h"
#include "support/LockOrder.h"

#include <CLI/CLI.hpp>
#include <shellapi.h>

#include <algorithm>
#include <memory>

namespace
{

struct LocalDeleter {
    void operator()(wchar_t** memory) const { LocalFree(static_cast<void*>(memory)); }
};

// Returns the arguments in UTF-8, without the program's name.
std::vector<std::string> CommandLine()
{
    int count = 0;
    const std::unique_ptr<wchar_t*[], LocalDeleter> wide(CommandLineToArgvW(GetCommandLineW(), &count));
    std::vector<std::string> arguments;
    for (int i = 1; wide && i < count; ++i)
        arguments.push_back(ToUtf8(wide[static_cast<std::size_t>(i)]));
    return arguments;
}

// Returns the command's name with a blank behind it; empty when the line names none.
std::wstring ChosenCommand(const CLI::App& app)
{
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? L"" : FromUtf8(chosen.front()->get_name()) + L" ";
}

ExitCode RunCommand(Command& command, FILE* data)
{
    command.General().Apply();
    RecordWriter writer(data, command.General().json);
    const std::optional<Inputs> named = command.Named();
    const std::optional<ExitCode> refused = named ? RefuseInputs(*named, writer) : std::nullopt;
    return refused ? *refused : command.Run(writer);
}

ExitCode Run(FILE* data)
{
    const CommandHelp program = ProgramHelp();
    CLI::App app(program.summary, "orbwatch");
    app.footer(FooterOf(program));
    // Arguments that begin with a slash are paths, not options.
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "this text");
    app.set_version_flag("--version", "orbwatch " ORB_VERSION, "the version of the program");
    std::vector<std::string> given = CommandLine();
    // A wrong command line is reported in the form that the line itself asks for.
    const bool json = std::find(given.begin(), given.end(), "--json") != given.end();
    std::reverse(given.begin(), given.end()); // the parser takes them from the end
    const std::vector<std::unique_ptr<Command>> commands = MakeCommands();
    for (const std::unique_ptr<Command>& command : commands)
        command->AddTo(app);
    try {
        app.parse(std::move(given));
    } catch (const CLI::CallForHelp&) {
        const auto chosen = app.get_subcommands();
        return RecordWriter(data, false).Text(chosen.empty() ? app.help() : chosen.front()->help("orbwatch"));
    } catch (const CLI::CallForVersion& version) {
        return RecordWriter(data, false).Text(std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        const std::wstring sentence = FromUtf8(UsageSentence(app, error));
        const std::wstring help = L"see orbwatch " + ChosenCommand(app) + L"--help";
        RecordWriter(data, json).Error(sentence + (sentence.ends_with(L'?') ? L" (" + help + L")" : L"; " + help));
        return ExitUsage;
    }
    for (const std::unique_ptr<Command>& command : commands)
        if (command->IsChosen())
            return RunCommand(*command, data);
    return ExitUsage;
}

// Locks that are taken in both orders could stop the program one day: builds with the lock check treat that as a
// failure.
ExitCode WithLockOrder(ExitCode code)
{
    for (const std::wstring& report : LockOrder::Reports()) {
        std::fprintf(stderr, "orbwatch: lock order: %s\n", ToUtf8(report).c_str());
        code = ExitFailure;
    }
    return code;
}

} // namespace

int main()
{
    if (!UseOwnLibrariesOnly()) {
        std::fprintf(stderr, "orbwatch: the folders of its libraries cannot be set: error %lu\n", GetLastError());
        return ExitFailure;
    }
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    FILE* data = TakeStandardOutput();
    try {
        return WithLockOrder(Run(data));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orbwatch: %s\n", error.what());
        return ExitFailure;
    }
}
