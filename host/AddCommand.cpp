#include "host/AddCommand.h"

#include "host/Console.h"
#include "host/OutputFiles.h"
#include "host/RulesAddition.h"
#include "host/Selection.h"
#include "orbwatcher4/OrbFilter.h"

namespace
{

// A file of which something was not understood stays, whatever the command line says: nothing else has that rule.
RulesAddition WantedOf(const AddOptions& options, const RuleFindings& findings)
{
    return {options.rules, options.deleteWhenDone && findings.Kept().empty(), options.mergeOnly};
}

// The rules may be deleted when they are taken; a file of the selection must not be.
bool AreRulesAFileOfTheirOwn(const AddOptions& options, RecordWriter& writer)
{
    std::vector<NamedFile> others = FilesOf(options.files);
    for (const std::vector<NamedFile>& more : {FilesOfIndex(options.index), FilesOfDataFolder()})
        others.insert(others.end(), more.begin(), more.end());
    const std::wstring other = NameAmong(options.rules, others);
    if (other.empty())
        return true;
    writer.Error(L"this is " + other + L"; name a file that holds new rules alone", options.rules);
    return false;
}

bool IsDone(ExitCode code) { return code == ExitDone || code == ExitSomeUnreadable; }

RuleFindings FindingsOfRules(const std::wstring& rules)
{
    OrbFilter reader;
    FilterList read;
    reader.LoadXmlFilter(rules.c_str(), false, &read, false, false);
    return reader.Findings();
}

// Why the file could not be read; empty when it could.
std::wstring WhyUnread(const RuleFindings& findings)
{
    for (const RuleFinding& finding : findings.Kept())
        if (finding.kind == RuleFinding::Kind::FileUnread)
            return std::wstring(finding.Message().View());
    return {};
}

// Reports the result, except what the library wrote to the log.
ExitCode Tell(const RulesAdded& added, const RuleFindings& findings, const AddOptions& options, RecordWriter& writer)
{
    const std::wstring unread = WhyUnread(findings);
    if (added.result == RulesNotLoaded && unread.empty()) {
        writer.Error(L"the rules could not be merged into the selection, and none of them was taken", options.rules);
        return ExitFailure;
    }
    if (added.result == RulesNotLoaded) {
        writer.Error(L"the rules cannot be read: " + unread + L"; orbwatch init FOLDER writes a sample", options.rules);
        return ExitUsage;
    }
    TellFindings(findings, UnreadFiles::AreNotes, writer);
    for (const ExcludedInfo& excluded : added.excluded)
        writer.ExclusionMet(excluded);
    return findings.ChangeTheSelection() ? ExitSomeUnreadable : ExitDone;
}

// Reports the result of a running watch, which hands out what the rules select.
ExitCode TellAnswer(const RulesAdded& added, const RuleFindings& findings, const AddOptions& options,
                    RecordWriter& writer)
{
    if (!added.unanswered.empty()) {
        writer.Error(added.unanswered, options.rules);
        return added.unansweredCode;
    }
    ExitCode code = Tell(added, findings, options, writer);
    for (const std::wstring& failure : added.failures)
        writer.Note(failure);
    if (IsDone(code) && !added.failures.empty())
        code = ExitFailure;
    writer.Added(std::nullopt, added.excluded.size(), code);
    return code;
}

// An addition by this process; the files that the rules select are pending for the next watch.
class Addition
{
public:
    Addition(const AddOptions& options, const RuleFindings& findings, RecordWriter& writer)
        : m_options(options),
          m_findings(findings),
          m_writer(writer),
          m_service(options, writer)
    {
    }

    ExitCode Run()
    {
        if (const std::optional<ExitCode> end = m_service.Open(BackupService::LeftPending::StaysForTheNextRun))
            return *end;
        ExitCode code = Add();
        if (code == ExitUsage)
            m_service.DropMessages(); // why the rules cannot be read was reported
        m_failed = m_service.TellMessages() || m_failed;
        code = m_service.End(code);
        if (IsDone(code) && m_failed)
            code = ExitFailure;
        m_writer.Added(m_queued, m_exclusions, code);
        return code;
    }

private:
    ExitCode Add()
    {
        const RulesAdded added = AddRules(m_service.Watcher(), WantedOf(m_options, m_findings));
        m_exclusions = added.excluded.size();
        const ExitCode code = Tell(added, m_findings, m_options, m_writer);
        if (IsDone(code))
            TellQueued();
        return code;
    }

    // To list the queue, files are taken from it; they are put back afterwards.
    void TellQueued()
    {
        std::vector<CString> queued;
        for (QueueDatum datum; m_service.Watcher().GetSingleNotification(nullptr, datum);) {
            m_writer.Queued(datum);
            queued.emplace_back(datum.path);
        }
        for (const CString& path : queued)
            m_service.Watcher().AddSingleNotification(path);
        m_queued = queued.size();
    }

    const AddOptions& m_options;
    const RuleFindings& m_findings;
    RecordWriter& m_writer;
    BackupService m_service;
    std::size_t m_exclusions = 0;
    std::uint64_t m_queued = 0;
    bool m_failed = false;
};

} // namespace

ExitCode RunAdd(const AddOptions& options, RecordWriter& writer)
{
    if (FileIsThere(options.files.data) && TellForeignFolder(options.Use(), false, writer))
        return ExitUsage;
    if (!AreRulesAFileOfTheirOwn(options, writer))
        return ExitUsage;
    // Read first: the file may be deleted when its rules are taken.
    const RuleFindings findings = FindingsOfRules(options.rules);
    if (const std::optional<RulesAdded> added = AskToAdd(WantedOf(options, findings), options.Use(), writer))
        return TellAnswer(*added, findings, options, writer);
    return Addition(options, findings, writer).Run();
}
