// orbwatch estimate: how much a selection holds, and how edits would change that.
#include "host/Console.h"
#include "host/EstimateRun.h"
#include "host/OwnOutput.h"
#include "host/commands/Commands.h"
#include "host/records/EstimateRecords.h"
#include "host/records/FileRecords.h"

namespace
{

class EstimateCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "estimate",
                .summary = "how much a selection holds, and how edits would change that",
                .examples = {"orbwatch estimate --data selection.xml --exclude C:\\Videos --report estimate.html",
                             "orbwatch estimate --data selection.xml --profile 1 --profile 2"},
                .text = R"(
Everything is scanned once; edits are counted one after the other, in their order, without a look at the disk for
what was scanned. An edit of a path that is not there changes nothing: a note names it, and the exit code is 3.
The edits change no file. Advanced filters are not asked; they may leave out more.
A report replaces an older report, and no other file.)",
                .records = {TotalRecord::Kind, FolderRecord::Kind, ExtensionRecord::Kind, LeftOutRecord::Kind,
                            SkippedRecord::Kind, CreatedRecord::Kind, EstimateSummaryRecord::Kind},
                .ends = {EndDone, EndFailed, EndRefused, EndSomeUnread, EndInterrupted}};
    }
    std::optional<Inputs> Named() const override
    {
        return Inputs{m_options.files,
                      {{L"the statistics", m_options.stats, L"--stats"}},
                      m_options.outside.index,
                      m_destination};
    }
    ExitCode Run(RecordWriter& writer) override
    {
        m_options.outside.destination = FullPath(m_destination);
        m_options.outside.written = OwnOutput().Paths();
        if (!m_options.report.empty())
            m_options.outside.written.push_back(m_options.report);
        m_options.edits = Edits();
        return RunEstimate(m_options, writer);
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddSelection(app, m_options.files)->required();
        AddFile(app, "--stats", m_options.stats, "the statistics of file extensions (XML)");
        AddPaths(app, "--include", m_includes, "edit: these folders and files, too");
        AddPaths(app, "--exclude", m_excludes, "edit: without these folders and files");
        app.add_option("--profile", m_profiles, "edit: these profiles of the selection (numbers), not all")
            ->type_name("PROFILE")
            ->check(WholeNumber(0, std::numeric_limits<int>::max()));
        AddText(app, "--mask", m_options.mask, "ENDINGS", "endings that edits leave out (\".tmp;.bak\")");
        AddOutside(app, m_options.outside.index, m_destination);
        m_general.AddTo(app);
        AddFile(app, "--report", m_options.report, "a page that shows it all (HTML)");
        app.add_flag("--force", m_options.force, "replace a file that is no report");
    }

    // Returns the edits in the order of the command line, whatever their options.
    std::vector<EstimateEdit> Edits() const
    {
        std::vector<EstimateEdit> edits;
        std::size_t includes = 0, excludes = 0, profiles = 0;
        for (const CLI::Option* option : Parser().parse_order()) {
            if (option->check_name("--include"))
                edits.push_back({EstimateEdit::Kind::Include, FullPath(m_includes[includes++]), 0});
            else if (option->check_name("--exclude"))
                edits.push_back({EstimateEdit::Kind::Exclude, FullPath(m_excludes[excludes++]), 0});
            else if (option->check_name("--profile"))
                edits.push_back({EstimateEdit::Kind::Profile, L"", m_profiles[profiles++]});
        }
        return edits;
    }

    EstimateOptions m_options;
    std::wstring m_destination;
    std::vector<std::wstring> m_includes, m_excludes;
    std::vector<int> m_profiles;
};

} // namespace

std::unique_ptr<Command> MakeEstimateCommand() { return std::make_unique<EstimateCommand>(); }
