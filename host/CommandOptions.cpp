#include "host/CommandOptions.h"

#include "host/help/CommandHelp.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>

namespace
{

CLI::App* AddCommand(CLI::App& app, const char* name, const char* text)
{
    CLI::App* command = app.add_subcommand(name, text);
    command->footer(FooterOf(HelpOf(name)));
    return command;
}

// The option's type says enough in the help, so the checks add no description.
CLI::Validator SecondsAboveZero()
{
    return {[](const std::string& text) -> std::string {
                char* end = nullptr;
                const double seconds = std::strtod(text.c_str(), &end);
                const bool whole = !text.empty() && end == text.c_str() + text.size();
                return whole && std::isfinite(seconds) && seconds > 0
                           ? ""
                           : "\"" + text + "\" is no number of seconds above 0, such as 30";
            },
            ""};
}

// Digits alone, and not more than the option can hold.
CLI::Validator WholeNumber(std::uint64_t largest, std::uint64_t least = 0)
{
    return {[largest, least](const std::string& text) -> std::string {
                std::uint64_t number = 0;
                const char* end = text.data() + text.size();
                const auto [stop, error] = std::from_chars(text.data(), end, number);
                return !text.empty() && error == std::errc() && stop == end && number >= least && number <= largest
                           ? ""
                           : "\"" + text + "\" is no whole number from " + std::to_string(least) + " to " +
                                 std::to_string(largest);
            },
            ""};
}

CLI::Validator Word(const std::vector<std::string>& words)
{
    return {[words](const std::string& text) -> std::string {
                std::string names;
                for (const std::string& word : words) {
                    if (word == text)
                        return "";
                    names += (names.empty() ? "" : ", ") + word;
                }
                return "\"" + text + "\" is none of " + names;
            },
            ""};
}

CLI::Validator NotEmpty(const std::string& type)
{
    return {[type](const std::string& text) -> std::string {
                return text.empty() ? "the " + std::string(type == "FOLDER" ? "folder" : "path") + " is empty" : "";
            },
            ""};
}

// Turns a word into the number from which the parser reads the value.
template <typename Value>
CLI::Validator OneOf(const std::map<std::string, Value>& values)
{
    const auto translate = [values](std::string& word) -> std::string {
        if (const auto found = values.find(word); found != values.end()) {
            word = std::to_string(static_cast<int>(found->second));
            return "";
        }
        std::string names;
        for (const auto& [name, value] : values)
            names += (names.empty() ? "" : ", ") + name;
        return word + " is none of " + names;
    };
    return {translate, ""};
}

void AddJson(CLI::App& command, Arguments& arguments)
{
    command.add_flag("--json", arguments.json, "one JSON object a line");
}

void AddDataFolder(CLI::App& command, Arguments& arguments)
{
    command.add_option("--data-folder", arguments.dataFolder, "the product's data folder; otherwise ORB_DATA_FOLDER")
        ->type_name("FOLDER");
    command.add_option("--log-level", arguments.logLevel, "what the log gets; otherwise ORB_LOG_LEVEL or the settings")
        ->type_name("errors|all")
        ->check(Word({"errors", "all"}));
}

void AddSelection(CLI::App& command, Arguments& arguments)
{
    command.add_option("--data", arguments.data, "the selection (XML)")->type_name("FILE");
    command.add_option("--auto-exclude", arguments.autoExclude, "the product's automatic exclusions (XML)")
        ->type_name("FILE");
}

void AddSelectionOptions(CLI::App& command, Arguments& arguments)
{
    AddSelection(command, arguments);
    command.add_option("--advanced", arguments.advanced, "the advanced filters (XML)")->type_name("FILE");
    command.add_option("--secondary", arguments.secondary, "a second selection whose rules go along (XML)")
        ->type_name("FILE");
    AddDataFolder(command, arguments);
    AddJson(command, arguments);
}

void AddDestination(CLI::App& command, Arguments& arguments)
{
    command.add_option("--destination", arguments.destination, "the folder that backups go to; never backed up")
        ->type_name("FOLDER");
}

// Adds the options that name what no backup holds, for commands that need them for nothing else.
void AddOutside(CLI::App& command, Arguments& arguments)
{
    command.add_option("--index", arguments.index, "the index of what is backed up, which is never backed up itself")
        ->type_name("FILE");
    AddDestination(command, arguments);
}

// Adds the options of commands that take, or leave, what is pending for the next watch.
void AddWaitingOptions(CLI::App& command, Arguments& arguments)
{
    AddSelectionOptions(command, arguments);
    command.get_option("--data")->required();
    command.add_option("--index", arguments.index, "the index of what is backed up; made when missing")
        ->type_name("FILE")
        ->required();
}

void AddServiceOptions(CLI::App& command, Arguments& arguments)
{
    AddWaitingOptions(command, arguments);
    AddDestination(command, arguments);
    command.add_flag("--hidden", arguments.hidden, "hidden files, too");
    command.add_flag("--record", arguments.record, "mark what is handed out as backed up");
    command.add_flag("--take-over", arguments.takeOver,
                     "use a data folder of another selection or index; everything is looked at again");
    command.add_option("--timeout", arguments.timeout, "end with code 4 after so many seconds")
        ->type_name("SECONDS")
        ->check(SecondsAboveZero());
}

} // namespace

void RefuseEmptyPaths(CLI::App& app)
{
    for (CLI::App* command : app.get_subcommands(nullptr))
        for (CLI::Option* option : command->get_options())
            if (const std::string type = option->get_type_name(); type == "FILE" || type == "FOLDER" || type == "PATH")
                option->check(NotEmpty(type));
}

CLI::App* AddWatch(CLI::App& app, Arguments& arguments)
{
    CLI::App* watch = AddCommand(app, "watch", "watch a selection and print each file that waits for backup");
    AddServiceOptions(*watch, arguments);
    watch->add_flag("--enumerate", arguments.enumerate, "begin with everything that is there already");
    watch->add_flag("--collect", arguments.collect, "hand out nothing; what changes waits for the next start")
        ->excludes("--record");
    watch->add_flag("--overlay", arguments.overlay, "tell the overlay service (orbwatch overlay) of each status");
    watch->add_option("--max-events", arguments.maxEvents, "end after so many pending records; 0: no limit")
        ->type_name("COUNT")
        ->check(WholeNumber(std::numeric_limits<std::uint64_t>::max()));
    watch->add_option("--until-quiet", arguments.untilQuiet, "end when nothing came for so many seconds")
        ->type_name("SECONDS")
        ->check(SecondsAboveZero());
    return watch;
}

CLI::App* AddEnumerate(CLI::App& app, Arguments& arguments)
{
    CLI::App* enumerate =
        AddCommand(app, "enumerate", "look at the whole selection once and print each file that waits for backup");
    AddServiceOptions(*enumerate, arguments);
    return enumerate;
}

CLI::App* AddExplain(CLI::App& app, Arguments& arguments)
{
    CLI::App* explain = AddCommand(app, "explain", "say why paths are selected or not");
    AddSelectionOptions(*explain, arguments);
    explain->get_option("--data")->required();
    AddOutside(*explain, arguments);
    explain->add_option("paths", arguments.paths, "paths; - reads them from standard input, UTF-8, one a line")
        ->type_name("PATH")
        ->required();
    return explain;
}

CLI::App* AddInit(CLI::App& app, Arguments& arguments)
{
    CLI::App* init = AddCommand(app, "init", "write a small, commented sample selection");
    init->add_option("folder", arguments.folder, "where; made when missing")->type_name("FOLDER")->required();
    AddJson(*init, arguments);
    return init;
}

CLI::App* AddOverlay(CLI::App& app, Arguments& arguments)
{
    using Fault = OverlayOptions::Fault;
    CLI::App* overlay = AddCommand(app, "overlay", "keep the overlay statuses of files and print each change");
    AddDataFolder(*overlay, arguments);
    AddJson(*overlay, arguments);
    overlay->add_option("--fault", arguments.service.fault, "for trying out clients: do not answer, too late, or die")
        ->type_name("silent|late|die")
        ->transform(OneOf<Fault>({{"silent", Fault::Silent}, {"late", Fault::Late}, {"die", Fault::Die}}));
    overlay->add_option("--after", arguments.service.after, "so many requests are answered before the fault")
        ->type_name("COUNT")
        ->check(WholeNumber(std::numeric_limits<int>::max()));
    overlay->add_option("--times", arguments.service.times, "so many requests meet the fault; 0: all that follow")
        ->type_name("COUNT")
        ->check(WholeNumber(std::numeric_limits<int>::max()));
    return overlay;
}

CLI::App* AddExport(CLI::App& app, Arguments& arguments)
{
    CLI::App* command = AddCommand(app, "export", "write what is pending as a list");
    AddWaitingOptions(*command, arguments);
    command->get_option("--index")->description("the index of what is backed up");
    command->add_option("--to", arguments.to, "the list (XML); an older list is replaced")
        ->type_name("FILE")
        ->required();
    command->add_flag("--force", arguments.force, "replace a file that is no list; it is kept with the ending .bad");
    command->add_option("--max", arguments.most, "at most so many files, 1 or more; otherwise all")
        ->type_name("COUNT")
        ->check(WholeNumber(std::numeric_limits<int>::max(), 1));
    return command;
}

CLI::App* AddAdd(CLI::App& app, Arguments& arguments)
{
    CLI::App* command = AddCommand(app, "add", "merge new rules into a selection and queue what they select");
    AddWaitingOptions(*command, arguments);
    command->add_option("--rules", arguments.rules, "the new rules (XML)")->type_name("FILE")->required();
    command->add_flag("--merge-only", arguments.mergeOnly, "queue nothing");
    command->add_flag("--delete", arguments.deleteWhenDone, "delete the rules' file unless it holds exclusions");
    return command;
}

CLI::App* AddEstimate(CLI::App& app, Arguments& arguments)
{
    CLI::App* command = AddCommand(app, "estimate", "how much a selection holds, and how edits would change that");
    AddSelection(*command, arguments);
    command->get_option("--data")->required();
    command->add_option("--stats", arguments.stats, "the statistics of file extensions (XML)")->type_name("FILE");
    command->add_option("--include", arguments.includes, "edit: these folders and files, too")->type_name("PATH");
    command->add_option("--exclude", arguments.excludes, "edit: without these folders and files")->type_name("PATH");
    command->add_option("--profile", arguments.profiles, "edit: these profiles of the selection (numbers), not all")
        ->type_name("PROFILE")
        ->check(WholeNumber(std::numeric_limits<int>::max()));
    command->add_option("--mask", arguments.mask, "endings that edits leave out (\".tmp;.bak\")")->type_name("ENDINGS");
    AddOutside(*command, arguments);
    AddDataFolder(*command, arguments);
    AddJson(*command, arguments);
    command->add_option("--report", arguments.report, "a page that shows it all (HTML)")->type_name("FILE");
    command->add_flag("--force", arguments.force, "replace a file that is no report");
    return command;
}

CLI::App* AddCompletion(CLI::App& app, Arguments& arguments)
{
    CLI::App* completion = AddCommand(app, "completion", "print the script by which a shell completes command lines");
    completion->add_option("shell", arguments.shell, "the shell that is to complete them")
        ->type_name("bash|powershell")
        ->transform(OneOf<Shell>({{"bash", Shell::Bash}, {"powershell", Shell::PowerShell}}))
        ->required();
    return completion;
}

CLI::App* AddDoctor(CLI::App& app, Arguments& arguments)
{
    CLI::App* doctor = AddCommand(app, "doctor", "look at this machine and say what is wrong; change nothing");
    AddSelectionOptions(*doctor, arguments);
    for (const char* option : {"--auto-exclude", "--advanced", "--secondary"})
        doctor->get_option(option)->needs("--data");
    doctor->add_option("--index", arguments.index, "the index of what is backed up")->type_name("FILE");
    AddDestination(*doctor, arguments);
    return doctor;
}
