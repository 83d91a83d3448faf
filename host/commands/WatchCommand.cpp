// orbwatch watch: starts the watcher as a backup service would, and prints what it hands out.
#include "host/BackupService.h"
#include "host/DirectoryOpener.h"
#include "host/PendingExport.h"
#include "host/RulesAddition.h"
#include "host/WatchPipe.h"
#include "host/commands/Commands.h"
#include "host/records/FileRecords.h"
#include "host/records/WatchRecords.h"
#include "support/SystemPath.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace
{

struct WatchOptions : ServiceOptions {
    bool collect = false;        // hand out nothing
    std::uint64_t maxEvents = 0; // 0: no limit
    double untilQuiet = 0;       // seconds; 0: never
};

constexpr double LongestStart = 120; // seconds
constexpr DWORD PollInterval = 50;   // milliseconds between two looks at the queue

// One run of the watcher, from its start to its end.
class WatchRun
{
public:
    WatchRun(BackupService& service, const WatchOptions& options, RecordWriter& writer)
        : m_service(service),
          m_watcher(service.Watcher()),
          m_options(options),
          m_writer(writer),
          m_selection(std::make_unique<SelectionView>(options.files, service.Outside())),
          m_opener(m_selection->IncludedFolders(), [this] { return m_service.OutsideEnd().has_value(); }),
          m_requests([this](const nlohmann::json& request) { return Answer(request); })
    {
    }

    ExitCode Run()
    {
        const bool due = m_service.TellDueEnumeration();
        m_watcher.StartWatch();
        const std::optional<ExitCode> early = WaitUntilReady();
        if (due)
            m_service.Enumerations().Await();
        ExitCode code = early ? *early : HandOut();
        const bool leftOut = IsSomethingLeftOut();
        m_watcher.AbortWatching();
        m_opener.Close();
        code = m_service.End(code, leftOut);
        m_writer.Write(WatchSummaryRecord{m_service.HandOut().HandedOut(), m_service.StillPending(), code});
        return m_writer.Good() ? code : ExitFailure;
    }

private:
    std::optional<ExitCode> WaitUntilReady()
    {
        while (!m_watcher.WaitUntilReady(PollInterval)) {
            if (const std::optional<ExitCode> end = m_service.OutsideEnd())
                return end;
            if (Seconds() - m_service.StartedAt() > LongestStart) {
                m_writer.Error(L"the watcher did not start in two minutes; what went wrong is in the log (orbwatch "
                               L"doctor says where)");
                return ExitFailure;
            }
        }
        const std::vector<CString> roots = m_watcher.GetWatchedRoots();
        m_opener.Open(roots);
        m_allWatched = m_selection->TellWhatIsNotWatched(roots, m_writer);
        m_writer.Write(WatchReadyRecord{{roots}});
        TellWhatIsIncludedInVain();
        m_last = Seconds();
        return std::nullopt;
    }

    // An enumeration names what is not there itself.
    void TellWhatIsIncludedInVain()
    {
        m_inVain = m_selection->IncludedInVain(SelectionView::AbsentRoots::AreLeftOut);
        for (const PassedOverPath& path : m_inVain)
            if (path.why != PathOutcome::Missing || !m_options.enumerate)
                m_writer.Write(SkippedRecord{path});
    }

    // A path that was not there at first, and has come, was watched.
    bool IsSomethingLeftOut() const
    {
        const auto isStill = [](const PassedOverPath& path) {
            return path.why != PathOutcome::Missing ||
                   GetFileAttributesW(SystemPath(path.path)) == INVALID_FILE_ATTRIBUTES;
        };
        return !m_allWatched || m_service.IsSelectionPartly() || std::any_of(m_inVain.begin(), m_inVain.end(), isStill);
    }

    ExitCode HandOut()
    {
        for (;;) {
            if (const std::optional<ExitCode> end = m_service.OutsideEnd())
                return *end;
            const bool quiet = IsQuiet();
            if (m_options.collect) {
                TellCount();
            } else if (m_service.HandOut().GiveOne(quiet)) {
                m_last = Seconds();
                if (m_options.maxEvents != 0 && m_service.HandOut().HandedOut() >= m_options.maxEvents)
                    return ExitDone;
                // A long queue must not delay drives that come, or requests.
                if (Seconds() - m_followedAt > 1) {
                    FollowRoots();
                    m_requests.Answer();
                }
                TellEvents();
                continue;
            }
            TellEvents();
            m_requests.Answer();
            FollowRoots();
            m_service.TellMessages();
            m_service.HandOut().RetryUnreadable(false);
            if (quiet && IsQuiet() && !LastRetry())
                return ExitDone;
            WaitForSingleObject(InterruptEvent(), PollInterval);
        }
    }

    // Answers a request of another command on the pipe.
    nlohmann::json Answer(const nlohmann::json& request)
    {
        if (const std::optional<nlohmann::json> refused = RefuseOthers(request, m_options.Use()))
            return *refused;
        KeepListOut(request);
        if (const std::optional<nlohmann::json> exported = AnswerExport(m_watcher, request))
            return *exported;
        if (const std::optional<RulesAddition> wanted = AdditionOf(request))
            return AnswerOf(Add(*wanted));
        return {{"failure", "this is no request"}};
    }

    // The list that a request is to write lists what is pending, and must not become pending by it. Its draft goes
    // before anything is handed out.
    void KeepListOut(const nlohmann::json& request)
    {
        if (request.is_object() && request.contains("place") && request["place"].is_string())
            m_service.HandOut().Written().KeepOut(FromUtf8(request["place"].get<std::string>()),
                                                  L"list of pending files");
    }

    RulesAdded Add(const RulesAddition& wanted)
    {
        // Opens the folders of the new rules before they are walked, so that no change is lost in between.
        Follow({m_options.files, SelectionFiles{wanted.rules, {}, {}, {}}});
        const RulesAdded added = AddRules(m_watcher, wanted);
        m_selection = std::make_unique<SelectionView>(m_options.files, m_service.Outside());
        m_last = Seconds();
        return added;
    }

    void Follow(const std::vector<SelectionFiles>& selections)
    {
        std::vector<SelectionView::Folder> folders;
        for (const SelectionFiles& files : selections)
            for (SelectionView::Folder& folder : SelectionView(files).IncludedFolders())
                folders.push_back(std::move(folder));
        m_opener.SetFolders(std::move(folders));
        FollowRoots();
    }

    void TellCount()
    {
        const std::int64_t count = m_watcher.GetTotalFilesInMem();
        if (count == m_toldCount)
            return;
        m_toldCount = count;
        m_writer.Write(CollectedRecord{count});
        m_last = Seconds();
    }

    // Tries unreadable files once more before the end.
    bool LastRetry()
    {
        if (m_options.collect || std::exchange(m_triedLast, true) || !m_service.HandOut().RetryUnreadable(true))
            return false;
        m_last = Seconds();
        return true;
    }

    bool IsQuiet() const { return m_options.untilQuiet > 0 && Seconds() - m_last >= m_options.untilQuiet; }

    void FollowRoots()
    {
        m_followedAt = Seconds();
        const std::vector<CString> roots = m_watcher.GetWatchedRoots();
        if (!m_opener.Open(roots))
            return;
        m_allWatched = m_selection->TellWhatIsNotWatched(roots, m_writer);
        m_writer.Write(RootsRecord{roots});
        m_last = Seconds();
    }

    // During an enumeration, files may still come.
    void TellEvents()
    {
        const bool running = m_service.Enumerations().Follow();
        if (m_service.TellEvents() || running)
            m_last = Seconds();
    }

    BackupService& m_service;
    COrbWatcher& m_watcher;
    const WatchOptions& m_options;
    RecordWriter& m_writer;
    std::unique_ptr<SelectionView> m_selection;
    DirectoryOpener m_opener;
    WatchPipe m_requests;
    std::vector<PassedOverPath> m_inVain; // what the selection included in vain when watching began
    bool m_allWatched = true;
    bool m_triedLast = false;
    std::int64_t m_toldCount = 0;
    double m_last = Seconds();
    double m_followedAt = 0;
};

class WatchCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "watch",
                .summary = "watch a selection and print each file that waits for backup",
                .examples = {"orbwatch watch --data selection.xml --index index.db --record --json",
                             "orbwatch watch --data selection.xml --index index.db --enumerate --until-quiet 5"},
                .text = R"(
With a new data folder or index, everything that the selection includes is looked at first, and what the index
does not hold as it is now is handed out. The same happens after a kill, and when the index is lost or another one,
when the settings are damaged, or when what the last watch left pending is: a note says why.
Ctrl-C ends it, and so does the event Local\orbwatch-interrupt-PID; what is still pending comes first at the
next start. With --record a file gets into the index within half a second after its record; a watch that is
killed before hands it out again.)",
                .records = {WatchReadyRecord::Kind, RootsRecord::Kind, PendingRecord::Kind, DeletedRecord::Kind,
                            RescanRecord::Kind, SkippedRecord::Kind, CollectedRecord::Kind, WatchSummaryRecord::Kind},
                .ends = {EndDone, EndFailed, EndRefused, EndSomeUnread, EndOutOfTime, EndInterrupted}};
    }
    std::optional<Inputs> Named() const override { return NamedBy(m_options); }
    ExitCode Run(RecordWriter& writer) override
    {
        BackupService service(m_options, writer);
        if (const std::optional<ExitCode> end = service.Open())
            return *end;
        return WatchRun(service, m_options, writer).Run();
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddService(app, m_options, m_general);
        app.add_flag("--enumerate", m_options.enumerate, "begin with everything that is there already");
        app.add_flag("--collect", m_options.collect, "hand out nothing; what changes waits for the next start")
            ->excludes("--record");
        app.add_flag("--overlay", m_options.overlay, "tell the overlay service (orbwatch overlay) of each status");
        AddCount(app, "--max-events", m_options.maxEvents, "end after so many pending records; 0: no limit", 0,
                 std::numeric_limits<std::uint64_t>::max());
        AddSeconds(app, "--until-quiet", m_options.untilQuiet, "end when nothing came for so many seconds");
    }

    WatchOptions m_options{{.command = L"watch"}};
};

} // namespace

std::unique_ptr<Command> MakeWatchCommand() { return std::make_unique<WatchCommand>(); }
