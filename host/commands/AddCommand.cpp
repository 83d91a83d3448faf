// orbwatch add: adds new rules to a selection. They are merged into its file. The files that they select are pending
// for the next watch, or the watch that runs on the same data folder hands them out.
#include "host/BackupService.h"
#include "host/Console.h"
#include "host/NamedFiles.h"
#include "host/RulesAddition.h"
#include "host/commands/Commands.h"
#include "host/records/AddRecords.h"
#include "orbwatcher4/OrbFilter.h"

namespace
{

struct AddOptions : ServiceOptions, RulesAddition {
};

// A file of which something was not understood stays, whatever the command line says: nothing else has that rule.
RulesAddition WantedOf(const AddOptions& options, const RuleFindings& findings)
{
    return {options.rules, options.deleteWhenDone && findings.Kept().empty(), options.mergeOnly};
}

// The rules may be deleted when they are taken; a file of the selection must not be.
bool AreRulesAFileOfTheirOwn(const AddOptions& options, RecordWriter& writer)
{
    const std::wstring other = NameAmong(options.rules, FilesThatStay(options.files, options.index));
    if (other.empty())
        return true;
    writer.Error(L"this is " + other + L"; name a file that holds new rules alone", options.rules);
    return false;
}

bool IsDone(ExitCode code) { return code == ExitDone || code == ExitSomeUnreadable; }

// The new rules, as far as the command reports them.
struct NewRules {
    RuleFindings findings;
    std::vector<PassedOverPath> inVain; // included by name, and not there

    bool AreWhole() const { return inVain.empty() && !findings.ChangeTheSelection(); }
};

NewRules ExamineRules(const std::wstring& rules)
{
    NewRules examined{FindingsOf({rules, {}, {}, {}}).inFiles, {}};
    if (examined.findings.Count(RuleFinding::Kind::FileUnread) != 0)
        return examined;
    // Rules that contradict each other are reported by the addition.
    OrbFilter reader;
    FilterList read;
    reader.LoadXmlFilter(rules.c_str(), false, &read, false, false);
    examined.findings = reader.Findings();
    examined.inVain = SelectionView({rules, {}, {}, {}}).IncludedInVain(SelectionView::AbsentRoots::AreNamed);
    return examined;
}

// Why the file could not be read; empty when it could.
std::wstring WhyUnread(const RuleFindings& findings)
{
    for (const RuleFinding& finding : findings.Kept())
        if (finding.kind == RuleFinding::Kind::FileUnread)
            return std::wstring(finding.Message().View());
    return {};
}

// A file that cannot be read adds nothing, whoever is asked. Returns false, and reports it, for such a file.
bool AreRulesReadable(const NewRules& rules, const AddOptions& options, RecordWriter& writer)
{
    const std::wstring unread = WhyUnread(rules.findings);
    if (unread.empty())
        return true;
    writer.Error(L"the rules cannot be read: " + unread + L"; orbwatch init FOLDER writes a sample", options.rules);
    writer.Write(AddSummaryRecord{0, 0, ExitUsage, "the rules cannot be read"});
    return false;
}

// Returns why nothing was queued; empty when the rules were taken.
std::string WhyNothingWasQueued(const RulesAdded& added)
{
    return added.result == RulesNotLoaded ? "the rules could not be merged into the selection" : "";
}

// Reports the result, except what the library wrote to the log.
ExitCode Tell(const RulesAdded& added, const NewRules& rules, const AddOptions& options, RecordWriter& writer)
{
    if (added.result == RulesNotLoaded) {
        writer.Error(L"the rules could not be merged into the selection, and none of them was taken", options.rules);
        return ExitFailure;
    }
    TellFindings(rules.findings, {options.rules, {}, {}, {}}, UnreadFiles::AreNotes, writer);
    for (const PassedOverPath& path : rules.inVain)
        writer.Write(SkippedRecord{path});
    for (const ExcludedInfo& excluded : added.excluded)
        writer.Write(ExcludedRecord{excluded});
    return rules.AreWhole() ? ExitDone : ExitSomeUnreadable;
}

// Reports the result of a running watch, which hands out what the rules select.
ExitCode TellAnswer(const RulesAdded& added, const NewRules& rules, const AddOptions& options, RecordWriter& writer)
{
    if (!added.unanswered.empty()) {
        writer.Error(added.unanswered, options.rules);
        return added.unansweredCode;
    }
    ExitCode code = Tell(added, rules, options, writer);
    for (const std::wstring& failure : added.failures)
        writer.Note(failure);
    if (IsDone(code) && !added.failures.empty())
        code = ExitFailure;
    writer.Write(AddSummaryRecord{std::nullopt, added.excluded.size(), code, WhyNothingWasQueued(added)});
    return code;
}

// An addition by this process; the files that the rules select are pending for the next watch.
class Addition
{
public:
    Addition(const AddOptions& options, const NewRules& rules, RecordWriter& writer)
        : m_options(options),
          m_rules(rules),
          m_writer(writer),
          m_service(options, writer)
    {
    }

    ExitCode Run()
    {
        if (const std::optional<ExitCode> end = m_service.Open(BackupService::LeftPending::StaysForTheNextRun))
            return *end;
        ExitCode code = Add();
        m_failed = m_service.TellMessages() || m_failed;
        code = m_service.End(code);
        if (IsDone(code) && m_failed)
            code = ExitFailure;
        m_writer.Write(AddSummaryRecord{m_queued, m_exclusions, code, m_whyNot});
        return code;
    }

private:
    ExitCode Add()
    {
        const RulesAdded added = AddRules(m_service.Watcher(), WantedOf(m_options, m_rules.findings));
        m_exclusions = added.excluded.size();
        m_whyNot = WhyNothingWasQueued(added);
        const ExitCode code = Tell(added, m_rules, m_options, m_writer);
        if (IsDone(code))
            TellQueued();
        return code;
    }

    // To list the queue, files are taken from it; they are put back afterwards.
    void TellQueued()
    {
        std::vector<CString> queued;
        for (QueueDatum datum; m_service.Watcher().GetSingleNotification(nullptr, datum);) {
            m_writer.Write(QueuedRecord{datum});
            queued.emplace_back(datum.path);
        }
        for (const CString& path : queued)
            m_service.Watcher().AddSingleNotification(path);
        m_queued = queued.size();
    }

    const AddOptions& m_options;
    const NewRules& m_rules;
    RecordWriter& m_writer;
    BackupService m_service;
    std::string m_whyNot; // nothing was queued
    std::size_t m_exclusions = 0;
    std::uint64_t m_queued = 0;
    bool m_failed = false;
};

class AddCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "add",
                .summary = "merge new rules into a selection and queue what they select",
                .examples = {"orbwatch add --data selection.xml --index index.db --rules new.xml"},
                .text = R"(
A watch that runs on the same data folder takes the rules at once; otherwise what they select comes first at the
next watch.)",
                .records = {QueuedRecord::Kind, ExcludedRecord::Kind, SkippedRecord::Kind, AddSummaryRecord::Kind},
                .ends = {EndDone, EndFailed, EndRefused, EndSomeUnread, EndInterrupted}};
    }
    std::optional<Inputs> Named() const override
    {
        return Inputs{m_options.files, {{L"the new rules", m_options.rules, L"--rules"}}, m_options.index};
    }
    ExitCode Run(RecordWriter& writer) override
    {
        if (FileIsThere(m_options.files.data) && TellForeignFolder(m_options.Use(), false, writer))
            return ExitUsage;
        if (!AreRulesAFileOfTheirOwn(m_options, writer))
            return ExitUsage;
        // Read first: the file may be deleted when its rules are taken.
        const NewRules rules = ExamineRules(m_options.rules);
        if (!AreRulesReadable(rules, m_options, writer))
            return ExitUsage;
        if (const std::optional<RulesAdded> added =
                AskToAdd(WantedOf(m_options, rules.findings), m_options.Use(), writer))
            return TellAnswer(*added, rules, m_options, writer);
        return Addition(m_options, rules, writer).Run();
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddWaiting(app, m_options, m_general);
        AddFile(app, "--rules", m_options.rules, "the new rules (XML)")->required();
        app.add_flag("--merge-only", m_options.mergeOnly, "queue nothing");
        app.add_flag("--delete", m_options.deleteWhenDone, "delete the rules' file unless it holds exclusions");
    }

    AddOptions m_options{{.command = L"add"}, {}};
};

} // namespace

std::unique_ptr<Command> MakeAddCommand() { return std::make_unique<AddCommand>(); }
