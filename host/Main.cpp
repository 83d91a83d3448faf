// orbwatch: does with the library what a backup service does.
#include "host/Console.h"
#include "host/EnumerateCommand.h"
#include "host/ExplainCommand.h"
#include "host/InitCommand.h"
#include "host/OverlayCommand.h"
#include "host/WatchCommand.h"

#include <CLI/CLI.hpp>
#include <shellapi.h>

#include <algorithm>
#include <map>
#include <memory>

namespace
{

// The command line as it was typed: UTF-8 for the parser, paths turned back for the system.
struct Arguments {
    std::string data, autoExclude, advanced, secondary, index, destination, folder;
    std::vector<std::string> paths;
    bool json = false;
    bool hidden = false;
    bool record = false;
    bool enumerate = false;
    bool collect = false;
    std::uint64_t maxEvents = 0;
    double timeout = 0;
    double untilQuiet = 0;
    bool overlay = false;
    OverlayOptions service;

    SelectionFiles Files() const { return {Path(data), Path(autoExclude), Path(advanced), Path(secondary)}; }
    static std::wstring Path(const std::string& text) { return FullPath(FromUtf8(text)); }
};

struct LocalDeleter {
    void operator()(wchar_t** memory) const { LocalFree(memory); }
};

// Without the program's name.
std::vector<std::string> CommandLine()
{
    int count = 0;
    const std::unique_ptr<wchar_t*[], LocalDeleter> wide(CommandLineToArgvW(GetCommandLineW(), &count));
    std::vector<std::string> arguments;
    for (int i = 1; wide && i < count; ++i)
        arguments.push_back(ToUtf8(wide[static_cast<std::size_t>(i)]));
    return arguments;
}

void AddSelectionOptions(CLI::App& command, Arguments& arguments)
{
    command.add_option("--data", arguments.data, "the selection (XML)")->required();
    command.add_option("--auto-exclude", arguments.autoExclude, "the product's automatic exclusions (XML)");
    command.add_option("--advanced", arguments.advanced, "the advanced filters (XML)");
    command.add_option("--secondary", arguments.secondary, "a second selection whose rules go along (XML)");
    command.add_flag("--json", arguments.json, "one JSON object a line");
}

void AddServiceOptions(CLI::App& command, Arguments& arguments)
{
    AddSelectionOptions(command, arguments);
    command.add_option("--index", arguments.index, "the index of what is backed up; made when missing")->required();
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

ExitCode Run(FILE* data)
{
    CLI::App app("Watches a backup selection and hands out what changed.", "orbwatch");
    // Paths that begin with a slash are paths.
    app.allow_windows_style_options(false);
    app.require_subcommand(1);
    Arguments arguments;
    std::vector<std::string> given = CommandLine();
    // A wrong command line is told in the form that it asks for.
    const bool json = std::find(given.begin(), given.end(), "--json") != given.end();
    std::reverse(given.begin(), given.end()); // the parser takes them from the back
    const CLI::App* watch = AddWatch(app, arguments);
    const CLI::App* enumerate = AddEnumerate(app, arguments);
    const CLI::App* explain = AddExplain(app, arguments);
    AddInit(app, arguments);
    const CLI::App* overlay = AddOverlay(app, arguments);
    try {
        app.parse(std::move(given));
    } catch (const CLI::CallForHelp&) {
        const auto chosen = app.get_subcommands();
        const std::string help = chosen.empty() ? app.help() : chosen.front()->help("orbwatch");
        std::fputs(help.c_str(), data);
        std::fflush(data);
        return ExitDone;
    } catch (const CLI::ParseError& error) {
        RecordWriter(data, json).Error(FromUtf8(error.what()) + L" (see orbwatch --help)");
        return ExitUsage;
    }
    RecordWriter writer(data, arguments.json);
    if (watch->parsed())
        return RunWatchWith(arguments, writer);
    if (enumerate->parsed())
        return RunEnumerate(ServiceOptionsOf(arguments), writer);
    if (overlay->parsed())
        return RunOverlay(arguments.service, writer);
    return explain->parsed() ? RunExplainWith(arguments, writer) : RunInit(FromUtf8(arguments.folder), writer);
}

} // namespace

int main()
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    FILE* data = TakeStandardOutput();
    try {
        return Run(data);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orbwatch: %s\n", error.what());
        return ExitFailure;
    }
}
