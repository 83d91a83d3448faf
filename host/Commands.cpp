#include "host/Commands.h"

#include "host/AddCommand.h"
#include "host/CommandOptions.h"
#include "host/Console.h"
#include "host/DataFolderTrust.h"
#include "host/Destination.h"
#include "host/EnumerateCommand.h"
#include "host/EstimateCommand.h"
#include "host/ExplainCommand.h"
#include "host/ExportCommand.h"
#include "host/InitCommand.h"
#include "host/InputFiles.h"
#include "host/OwnOutput.h"
#include "host/WatchCommand.h"
#include "host/doctor/DoctorCommand.h"
#include "host/help/CommandHelp.h"
#include "host/help/ReferencePage.h"

namespace
{

ServiceOptions ServiceOptionsOf(const wchar_t* command, const Arguments& arguments)
{
    ServiceOptions options;
    options.command = command;
    options.files = arguments.Files();
    options.index = Arguments::Path(arguments.index);
    options.destination = Arguments::Path(arguments.destination);
    options.hidden = arguments.hidden;
    options.record = arguments.record;
    options.overlay = arguments.overlay;
    options.timeout = arguments.timeout;
    options.takeOver = arguments.takeOver;
    return options;
}

KeptOutside OutsideOf(const Arguments& arguments)
{
    KeptOutside outside;
    outside.destination = Arguments::Path(arguments.destination);
    outside.index = Arguments::Path(arguments.index);
    return outside;
}

// Returns false, and reports it, when a file that the command line names can be none of its kind.
bool AreInputsUsable(const Arguments& arguments, RecordWriter& writer)
{
    const SelectionFiles files = arguments.Files();
    const std::wstring index = Arguments::Path(arguments.index);
    return AreNoFolders({{L"--data", L"the selection", files.data},
                         {L"--auto-exclude", L"the automatic exclusions", files.autoExclude},
                         {L"--advanced", L"the advanced filters", files.advanced},
                         {L"--secondary", L"the second selection", files.secondary},
                         {L"--rules", L"the new rules", Arguments::Path(arguments.rules)},
                         {L"--stats", L"the statistics", Arguments::Path(arguments.stats)},
                         {L"--index", L"the index", index}},
                        writer) &&
           MayBeIndex(index, FilesOf(files), writer);
}

// Returns why a command that uses the settings, or writes beside them, does not run; nothing when it may.
std::optional<ExitCode> Refused(const Arguments& arguments, RecordWriter& writer)
{
    if (const std::optional<ExitCode> refused = RefuseDataFolder(writer))
        return refused;
    return AreInputsUsable(arguments, writer) ? std::nullopt : std::optional(ExitUsage);
}

// Returns false, and reports it, when the destination can be none.
bool IsDestinationUsable(const Arguments& arguments, RecordWriter& writer)
{
    return IsUsableDestination(FromUtf8(arguments.destination), writer);
}

ExitCode RunWatchWith(const Arguments& arguments, RecordWriter& writer)
{
    if (!IsDestinationUsable(arguments, writer))
        return ExitUsage;
    WatchOptions options{ServiceOptionsOf(L"watch", arguments)};
    options.mayTakeOver = true;
    options.enumerate = arguments.enumerate;
    options.collect = arguments.collect;
    options.maxEvents = arguments.maxEvents;
    options.untilQuiet = arguments.untilQuiet;
    return RunWatch(options, writer);
}

ExitCode RunExplainWith(const Arguments& arguments, RecordWriter& writer)
{
    if (!IsDestinationUsable(arguments, writer))
        return ExitUsage;
    ExplainOptions options;
    options.files = arguments.Files();
    options.outside = OutsideOf(arguments);
    for (const std::string& path : arguments.paths)
        options.paths.push_back(FromUtf8(path));
    return RunExplain(options, writer);
}

ExitCode RunExportWith(const Arguments& arguments, RecordWriter& writer)
{
    ExportOptions options{ServiceOptionsOf(L"export", arguments), {}, {}, {}};
    options.to = Arguments::Path(arguments.to);
    options.most = arguments.most;
    options.force = arguments.force;
    return RunExport(options, writer);
}

ExitCode RunAddWith(const Arguments& arguments, RecordWriter& writer)
{
    AddOptions options{ServiceOptionsOf(L"add", arguments), {}, {}, {}};
    options.rules = Arguments::Path(arguments.rules);
    options.deleteWhenDone = arguments.deleteWhenDone;
    options.mergeOnly = arguments.mergeOnly;
    return RunAdd(options, writer);
}

// Returns the edits in the order of the command line, whatever their options.
std::vector<EstimateEdit> EditsOf(const CLI::App& command, const Arguments& arguments)
{
    std::vector<EstimateEdit> edits;
    std::size_t includes = 0, excludes = 0, profiles = 0;
    for (const CLI::Option* option : command.parse_order()) {
        if (option->check_name("--include"))
            edits.push_back({EstimateEdit::Kind::Include, Arguments::Path(arguments.includes[includes++]), 0});
        else if (option->check_name("--exclude"))
            edits.push_back({EstimateEdit::Kind::Exclude, Arguments::Path(arguments.excludes[excludes++]), 0});
        else if (option->check_name("--profile"))
            edits.push_back({EstimateEdit::Kind::Profile, L"", arguments.profiles[profiles++]});
    }
    return edits;
}

ExitCode RunEstimateWith(const CLI::App& command, const Arguments& arguments, RecordWriter& writer)
{
    if (!IsDestinationUsable(arguments, writer))
        return ExitUsage;
    EstimateOptions options;
    options.files = arguments.Files();
    options.outside = OutsideOf(arguments);
    options.outside.written = OwnOutput().Paths();
    if (!arguments.report.empty())
        options.outside.written.push_back(Arguments::Path(arguments.report));
    options.stats = Arguments::Path(arguments.stats);
    options.mask = FromUtf8(arguments.mask);
    options.report = Arguments::Path(arguments.report);
    options.force = arguments.force;
    options.edits = EditsOf(command, arguments);
    return RunEstimate(options, writer);
}

} // namespace

SelectionFiles Arguments::Files() const { return {Path(data), Path(autoExclude), Path(advanced), Path(secondary)}; }

std::wstring Arguments::Path(const std::string& text) { return FullPath(FromUtf8(text)); }

std::vector<Command> AddCommands(CLI::App& app, Arguments& arguments)
{
    app.footer(FooterOf(HelpOf("")));
    std::vector<Command> commands;
    const auto add = [&](const CLI::App* command, ExitCode (*run)(const Arguments&, RecordWriter&)) {
        commands.push_back({command, [&arguments, run](RecordWriter& writer) { return run(arguments, writer); }});
    };
    // Adds a command that uses the settings, or writes beside them.
    const auto addTrusting = [&](const CLI::App* command, ExitCode (*run)(const Arguments&, RecordWriter&)) {
        commands.push_back({command, [&arguments, run](RecordWriter& writer) {
                                const std::optional<ExitCode> refused = Refused(arguments, writer);
                                return refused ? *refused : run(arguments, writer);
                            }});
    };
    addTrusting(AddWatch(app, arguments), RunWatchWith);
    addTrusting(AddEnumerate(app, arguments), [](const Arguments& given, RecordWriter& writer) {
        if (!IsDestinationUsable(given, writer))
            return ExitUsage;
        ServiceOptions options = ServiceOptionsOf(L"enumerate", given);
        options.mayTakeOver = true;
        return RunEnumerate(options, writer);
    });
    addTrusting(AddExplain(app, arguments), RunExplainWith);
    const CLI::App* estimate = AddEstimate(app, arguments);
    commands.push_back({estimate, [&arguments, estimate](RecordWriter& writer) {
                            const std::optional<ExitCode> refused = Refused(arguments, writer);
                            return refused ? *refused : RunEstimateWith(*estimate, arguments, writer);
                        }});
    addTrusting(AddAdd(app, arguments), RunAddWith);
    addTrusting(AddExport(app, arguments), RunExportWith);
    addTrusting(AddOverlay(app, arguments),
                [](const Arguments& given, RecordWriter& writer) { return RunOverlay(given.service, writer); });
    add(AddInit(app, arguments),
        [](const Arguments& given, RecordWriter& writer) { return RunInit(FromUtf8(given.folder), writer); });
    add(AddDoctor(app, arguments), [](const Arguments& given, RecordWriter& writer) {
        return RunDoctor({given.Files(), Arguments::Path(given.index), FromUtf8(given.destination)}, writer);
    });
    commands.push_back({AddCompletion(app, arguments), [&app, &arguments](RecordWriter& writer) {
                            return writer.Text(CompletionScript(arguments.shell, CommandTree(app)));
                        }});
    RefuseEmptyPaths(app);
    const CLI::App* reference = app.add_subcommand("reference", "print docs/orbwatch.md")->group("");
    commands.push_back({reference, [&app](RecordWriter& writer) { return writer.Text(ReferencePage(app)); }});
    return commands;
}
