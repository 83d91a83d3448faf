#include "host/commands/Options.h"

#include "companions/logging/OrbLogging.h"
#include "host/Console.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace
{

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

// The next option is taken for the value of one that has none.
CLI::Validator NotEmpty(const std::string& what)
{
    return {[what](const std::string& text) {
                return text.empty() ? "the " + what + " is empty"
                       : text.starts_with("--")
                           ? "\"" + text + "\" is an option, and no " + what + ": the option before it has no value"
                           : "";
            },
            ""};
}

} // namespace

CLI::Validator WholeNumber(std::uint64_t least, std::uint64_t most)
{
    return {[least, most](const std::string& text) -> std::string {
                std::uint64_t number = 0;
                const char* end = text.data() + text.size();
                const auto [stop, error] = std::from_chars(text.data(), end, number);
                return !text.empty() && error == std::errc() && stop == end && number >= least && number <= most
                           ? ""
                           : "\"" + text + "\" is no whole number from " + std::to_string(least) + " to " +
                                 std::to_string(most);
            },
            ""};
}

CLI::Option* AddText(CLI::App& app, const char* name, std::wstring& text, const char* type, const char* meaning)
{
    const auto keep = [&text](const std::string& given) { text = FromUtf8(given); };
    return app.add_option_function<std::string>(name, keep, meaning)->type_name(type);
}

CLI::Option* AddFile(CLI::App& app, const char* name, std::wstring& path, const char* meaning)
{
    const auto keep = [&path](const std::string& given) { path = FullPath(FromUtf8(given)); };
    return app.add_option_function<std::string>(name, keep, meaning)->type_name("FILE")->check(NotEmpty("path"));
}

CLI::Option* AddFolder(CLI::App& app, const char* name, std::wstring& folder, const char* meaning)
{
    return AddText(app, name, folder, "FOLDER", meaning)->check(NotEmpty("folder"));
}

CLI::Option* AddPaths(CLI::App& app, const char* name, std::vector<std::wstring>& paths, const char* meaning)
{
    const auto keep = [&paths](const std::vector<std::string>& given) {
        for (const std::string& path : given)
            paths.push_back(FromUtf8(path));
    };
    return app.add_option_function<std::vector<std::string>>(name, keep, meaning)
        ->type_name("PATH")
        ->check(NotEmpty("path"));
}

CLI::Option* AddSeconds(CLI::App& app, const char* name, double& seconds, const char* meaning)
{
    return app.add_option(name, seconds, meaning)->type_name("SECONDS")->check(SecondsAboveZero());
}

void GeneralOptions::AddTo(CLI::App& app)
{
    AddFolder(app, "--data-folder", dataFolder, "the product's data folder; otherwise ORB_DATA_FOLDER");
    const auto isLevel = [](const std::string& text) {
        return text == "errors" || text == "all" ? "" : "\"" + text + "\" is none of errors, all";
    };
    AddText(app, "--log-level", logLevel, "errors|all", "what the log gets; otherwise ORB_LOG_LEVEL or the settings")
        ->check(CLI::Validator(isLevel, ""));
    AddJsonTo(app);
}

void GeneralOptions::AddJsonTo(CLI::App& app) { app.add_flag("--json", json, "one JSON object a line"); }

void GeneralOptions::Apply() const
{
    if (!dataFolder.empty())
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", FullPath(dataFolder).c_str());
    if (!logLevel.empty())
        SetEnvironmentVariableW(L"ORB_LOG_LEVEL", logLevel.c_str());
    g_OrbLog.SetLevel(logLevel == L"all" ? LogLevel::Info : LogLevel::Abort);
}

CLI::Option* AddSelection(CLI::App& app, SelectionFiles& files)
{
    CLI::Option* data = AddFile(app, "--data", files.data, "the selection (XML)");
    AddFile(app, "--auto-exclude", files.autoExclude, "the product's automatic exclusions (XML)");
    return data;
}

CLI::Option* AddSelectionAndFilters(CLI::App& app, SelectionFiles& files)
{
    CLI::Option* data = AddSelection(app, files);
    AddFile(app, "--advanced", files.advanced, "the advanced filters (XML)");
    AddFile(app, "--secondary", files.secondary, "a second selection whose rules go along (XML)");
    return data;
}

CLI::Option* AddDestination(CLI::App& app, std::wstring& destination)
{
    return AddFolder(app, "--destination", destination, "the folder that backups go to; never backed up");
}

void AddOutside(CLI::App& app, std::wstring& index, std::wstring& destination)
{
    AddFile(app, "--index", index, "the index of what is backed up, which is never backed up itself");
    AddDestination(app, destination);
}

void AddWaiting(CLI::App& app, ServiceOptions& options, GeneralOptions& general, const char* index)
{
    AddSelectionAndFilters(app, options.files)->required();
    general.AddTo(app);
    AddFile(app, "--index", options.index, index)->required();
}

void AddService(CLI::App& app, ServiceOptions& options, GeneralOptions& general)
{
    AddWaiting(app, options, general);
    AddDestination(app, options.destination);
    app.add_flag("--hidden", options.hidden, "hidden files, too");
    app.add_flag("--record", options.record, "mark what is handed out as backed up");
    app.add_flag("--take-over", options.takeOver,
                 "use a data folder of another selection or index; everything is looked at again");
    options.mayTakeOver = true;
    AddSeconds(app, "--timeout", options.timeout, "end with code 4 after so many seconds");
}
