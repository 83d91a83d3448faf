#include "host/AddCommand.h"

namespace
{

class Addition
{
public:
    Addition(const AddOptions& options, RecordWriter& writer)
        : m_options(options),
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
        if (code == ExitDone && m_failed)
            code = ExitFailure;
        m_writer.Added(m_queued, m_excluded.size(), code);
        return code;
    }

private:
    ExitCode Add()
    {
        const AddQueueItemResult result = m_service.Watcher().AddNewQueueItem(
            m_options.rules.c_str(), m_options.deleteWhenDone, &m_excluded, m_options.mergeOnly);
        if (result == RulesNotLoaded) {
            m_writer.Error(L"the rules are missing or cannot be read as such", m_options.rules);
            return ExitUsage;
        }
        for (const ExcludedInfo& excluded : m_excluded)
            m_writer.ExclusionMet(excluded);
        TellQueued();
        return ExitDone;
    }

    // A look at the queue takes from it; what was seen goes back.
    void TellQueued()
    {
        std::vector<CString> queued;
        for (QueueDatum datum; m_service.Watcher().GetSingleNotification(nullptr, datum);) {
            m_writer.Queued(datum);
            queued.push_back(datum.path);
        }
        for (const CString& path : queued)
            m_service.Watcher().AddSingleNotification(path);
        m_queued = queued.size();
    }

    const AddOptions& m_options;
    RecordWriter& m_writer;
    BackupService m_service;
    std::vector<ExcludedInfo> m_excluded;
    std::uint64_t m_queued = 0;
    bool m_failed = false;
};

} // namespace

ExitCode RunAdd(const AddOptions& options, RecordWriter& writer) { return Addition(options, writer).Run(); }
