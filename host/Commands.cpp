#include "host/Commands.h"

#include "host/AddCommand.h"
#include "host/Console.h"
#include "host/EnumerateCommand.h"
#include "host/EstimateCommand.h"
#include "host/ExplainCommand.h"
#include "host/ExportCommand.h"
#include "host/InitCommand.h"
#include "host/WatchCommand.h"

#include <map>

namespace
{

void AddSelectionOptions(CLI::App& command, Arguments& arguments)
{
    command.add_option("--data", arguments.data, "the selection (XML)")->required();
    command.add_option("--auto-exclude", arguments.autoExclude, "the product's automatic exclusions (XML)");
    command.add_option("--advanced", arguments.advanced, "the advanced filters (XML)");
    command.add_option("--secondary", arguments.secondary, "a second selection whose rules go along (XML)");
    command.add_flag("--json", arguments.json, "one JSON object a line");
}

// Of commands that take or leave what waits for the next watch.
void AddWaitingOptions(CLI::App& command, Arguments& arguments)
{
    AddSelectionOptions(command, arguments);
    command.add_option("--index", arguments.index, "the index of what is backed up; made when missing")->required();
}

void AddServiceOptions(CLI::App& command, Arguments& arguments)
{
    AddWaitingOptions(command, arguments);
    command.add_option("--destination", arguments.destination, "the folder that backups go to");
    command.add_flag("--hidden", arguments.hidden, "hidden files, too");
    command.add_flag("--record", arguments.record, "mark what is handed out as backed up");
    command.add_option("--timeout", arguments.timeout, "end with code 4 after S seconds")->check(CLI::PositiveNumber);
}

CLI::App* AddWatch(CLI::App& app, Arguments& arguments)
{
    CLI::App* watch = app.add_subcommand("watch", "watch a selection and print each file that waits for backup");
    AddServiceOptions(*watch, arguments);
    watch->add_flag("--enumerate", arguments.enumerate, "begin with everything that is there already");
    watch->add_flag("--collect", arguments.collect, "hand out nothing; what changes waits for the next start")
        ->excludes("--record");
    watch->add_flag("--overlay", arguments.overlay, "tell the overlay service (orbwatch overlay) of each status");
    watch->add_option("--max-events", arguments.maxEvents, "end after N records");
    watch->add_option("--until-quiet", arguments.untilQuiet, "end when nothing came for S seconds")
        ->check(CLI::PositiveNumber);
    watch->footer(
        "Example:\n  orbwatch watch --data selection.xml --index index.db --record --json\n"
        "Ctrl-C ends it, and so does the event Local\\orbwatch-interrupt-PID; what is still pending comes first at\n"
        "the next start.\nCodes: 0 done, 1 failure, 2 "
        "wrong usage or unreadable input, 3 done but something could not be read,\n"
        "4 time limit, 130 interrupted.");
    return watch;
}

CLI::App* AddEnumerate(CLI::App& app, Arguments& arguments)
{
    CLI::App* enumerate =
        app.add_subcommand("enumerate", "look at the whole selection once and print each file that waits for backup");
    AddServiceOptions(*enumerate, arguments);
    enumerate->footer(
        "Example:\n  orbwatch enumerate --data selection.xml --index index.db --record --json\n"
        "What the index holds and the disk does not comes as deleted. The last record sums up what was found. On a\n"
        "terminal, standard error shows how it goes. After Ctrl-C or the time limit, what is still pending comes\n"
        "first at the next start.\nCodes: 0 done, 1 failure, 2 wrong usage or unreadable input, 3 done but something "
        "could not be read,\n4 time limit, 130 interrupted.");
    return enumerate;
}

CLI::App* AddExplain(CLI::App& app, Arguments& arguments)
{
    CLI::App* explain = app.add_subcommand("explain", "say why paths are selected or not");
    AddSelectionOptions(*explain, arguments);
    explain->add_option("paths", arguments.paths, "paths; - reads them from standard input, UTF-8, one a line")
        ->required();
    explain->footer("Example:\n  orbwatch explain --data selection.xml \"C:\\Users\\me\\Documents\\letter.doc\"");
    return explain;
}

CLI::App* AddInit(CLI::App& app, Arguments& arguments)
{
    CLI::App* init = app.add_subcommand("init", "write a small, commented sample selection");
    init->add_option("folder", arguments.folder, "where; existing files are never overwritten")->required();
    init->add_flag("--json", arguments.json, "one JSON object a line");
    init->footer("Example:\n  orbwatch init C:\\selection");
    return init;
}

CLI::App* AddOverlay(CLI::App& app, Arguments& arguments)
{
    using Fault = OverlayOptions::Fault;
    CLI::App* overlay = app.add_subcommand("overlay", "keep the overlay statuses of files and print each change");
    overlay->add_flag("--json", arguments.json, "one JSON object a line");
    overlay->add_option("--fault", arguments.service.fault, "for trying out clients: silent, late or die")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, Fault>{{"silent", Fault::Silent}, {"late", Fault::Late}, {"die", Fault::Die}}));
    overlay->add_option("--after", arguments.service.after, "N requests are answered before the fault");
    overlay->add_option("--times", arguments.service.times, "N requests meet the fault; otherwise all that follow");
    overlay->footer(
        "Example:\n  orbwatch overlay --json\nwith \"orbwatch watch --overlay\" beside it. Ctrl-C ends it.");
    return overlay;
}

CLI::App* AddExport(CLI::App& app, Arguments& arguments)
{
    CLI::App* command = app.add_subcommand("export", "write what is pending as a list");
    AddWaitingOptions(*command, arguments);
    command->add_option("--to", arguments.to, "the list (XML); what it holds already stays")->required();
    command->add_option("--max", arguments.most, "at most N files")->check(CLI::NonNegativeNumber);
    command->footer("Example:\n  orbwatch export --data selection.xml --index index.db --to pending.xml --max 1000\n"
                    "A watch that runs on the same data folder is asked; otherwise it is what the last one has left.");
    return command;
}

CLI::App* AddAdd(CLI::App& app, Arguments& arguments)
{
    CLI::App* command = app.add_subcommand("add", "merge new rules into a selection and queue what they select");
    AddWaitingOptions(*command, arguments);
    command->add_option("--rules", arguments.rules, "the new rules (XML)")->required();
    command->add_flag("--merge-only", arguments.mergeOnly, "queue nothing");
    command->add_flag("--delete", arguments.deleteWhenDone, "delete the rules' file unless it holds exclusions");
    command->footer(
        "Example:\n  orbwatch add --data selection.xml --index index.db --rules new.xml\n"
        "A watch that runs on the same data folder takes the rules at once; otherwise what they select comes first at "
        "the next watch.");
    return command;
}

CLI::App* AddEstimate(CLI::App& app, Arguments& arguments)
{
    CLI::App* command = app.add_subcommand("estimate", "how much a selection holds, and how edits would change that");
    command->add_option("--data", arguments.data, "the selection (XML)")->required();
    command->add_option("--auto-exclude", arguments.autoExclude, "the product's automatic exclusions (XML)");
    command->add_option("--stats", arguments.stats, "the statistics of file extensions (XML)");
    command->add_option("--include", arguments.includes, "edit: these folders and files, too");
    command->add_option("--exclude", arguments.excludes, "edit: without these folders and files");
    command->add_option("--profile", arguments.profiles, "edit: these profiles of the selection, in place of all");
    command->add_option("--mask", arguments.mask, "endings that edits leave out (\".tmp;.bak\")");
    command->add_flag("--json", arguments.json, "one JSON object a line");
    command->add_option("--report", arguments.report, "a page that shows it all (HTML)");
    command->footer(
        "Example:\n  orbwatch estimate --data selection.xml --exclude C:\\Videos --report estimate.html\n"
        "Everything is scanned once; edits are counted one after the other, without a look at the disk for what was "
        "scanned.\nCodes: 0 done, 1 failure, 2 wrong usage or unreadable input, 3 done but something could not be "
        "read, 130 interrupted.");
    return command;
}

ServiceOptions ServiceOptionsOf(const Arguments& arguments)
{
    ServiceOptions options;
    options.files = arguments.Files();
    options.index = Arguments::Path(arguments.index);
    options.destination = Arguments::Path(arguments.destination);
    options.hidden = arguments.hidden;
    options.record = arguments.record;
    options.overlay = arguments.overlay;
    options.timeout = arguments.timeout;
    return options;
}

ExitCode RunWatchWith(const Arguments& arguments, RecordWriter& writer)
{
    WatchOptions options{ServiceOptionsOf(arguments)};
    options.enumerate = arguments.enumerate;
    options.collect = arguments.collect;
    options.maxEvents = arguments.maxEvents;
    options.untilQuiet = arguments.untilQuiet;
    return RunWatch(options, writer);
}

ExitCode RunExplainWith(const Arguments& arguments, RecordWriter& writer)
{
    ExplainOptions options;
    options.files = arguments.Files();
    for (const std::string& path : arguments.paths)
        options.paths.push_back(FromUtf8(path));
    return RunExplain(options, writer);
}

ExitCode RunExportWith(const Arguments& arguments, RecordWriter& writer)
{
    ExportOptions options{ServiceOptionsOf(arguments), {}, {}};
    options.to = Arguments::Path(arguments.to);
    options.most = arguments.most;
    return RunExport(options, writer);
}

ExitCode RunAddWith(const Arguments& arguments, RecordWriter& writer)
{
    AddOptions options{ServiceOptionsOf(arguments), {}, {}, {}};
    options.rules = Arguments::Path(arguments.rules);
    options.deleteWhenDone = arguments.deleteWhenDone;
    options.mergeOnly = arguments.mergeOnly;
    return RunAdd(options, writer);
}

// In the order of the command line, whichever options they came with.
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
    EstimateOptions options;
    options.files = arguments.Files();
    options.stats = Arguments::Path(arguments.stats);
    options.mask = FromUtf8(arguments.mask);
    options.report = Arguments::Path(arguments.report);
    options.edits = EditsOf(command, arguments);
    return RunEstimate(options, writer);
}

} // namespace

SelectionFiles Arguments::Files() const { return {Path(data), Path(autoExclude), Path(advanced), Path(secondary)}; }

std::wstring Arguments::Path(const std::string& text) { return FullPath(FromUtf8(text)); }

std::vector<Command> AddCommands(CLI::App& app, Arguments& arguments)
{
    const auto with = [&](ExitCode (*run)(const Arguments&, RecordWriter&)) {
        return [&arguments, run](RecordWriter& writer) { return run(arguments, writer); };
    };
    const CLI::App* estimate = AddEstimate(app, arguments);
    return {
        {AddWatch(app, arguments), with(RunWatchWith)},
        {AddEnumerate(app, arguments), with([](const Arguments& given, RecordWriter& writer) {
             return RunEnumerate(ServiceOptionsOf(given), writer);
         })},
        {AddExplain(app, arguments), with(RunExplainWith)},
        {AddAdd(app, arguments), with(RunAddWith)},
        {AddExport(app, arguments), with(RunExportWith)},
        {estimate,
         [&arguments, estimate](RecordWriter& writer) { return RunEstimateWith(*estimate, arguments, writer); }},
        {AddOverlay(app, arguments),
         with([](const Arguments& given, RecordWriter& writer) { return RunOverlay(given.service, writer); })},
        {AddInit(app, arguments),
         with([](const Arguments& given, RecordWriter& writer) { return RunInit(FromUtf8(given.folder), writer); })},
    };
}
