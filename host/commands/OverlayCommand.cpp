// orbwatch overlay: a service that keeps the overlay statuses and prints each change. For tests of its clients, it can
// be told to behave badly, as real services sometimes do.
#include "host/Console.h"
#include "host/OverlayService.h"
#include "host/commands/Commands.h"
#include "host/records/OverlayRecords.h"
#include "support/NoCaseKeys.h"

#include <map>

namespace
{

struct OverlayOptions {
    enum class Fault {
        None,
        Silent, // takes requests and does not answer
        Late,   // answers after the client has given up
        Die,    // dies while it handles a request
    };
    Fault fault = Fault::None;
    std::uint64_t after = 0; // requests that are answered before the fault
    std::uint64_t times = 0; // requests with the fault; 0: all that follow
};

using Fault = OverlayOptions::Fault;

const char* MeaningOf(std::int32_t status)
{
    if (status & OverlayStatus::FirstBit)
        return status & OverlayStatus::SecondBit ? "modified again" : "modified";
    switch (status) {
    case OverlayStatus::InSync:
        return "in sync";
    case OverlayStatus::Pending:
        return "pending";
    case OverlayStatus::Excluded:
        return "excluded";
    case OverlayStatus::ExcludedShortcut:
        return "excluded shortcut";
    default:
        return "unknown";
    }
}

class OverlayRun
{
public:
    OverlayRun(const OverlayOptions& options, OverlayService& service, RecordWriter& writer)
        : m_options(options),
          m_service(service),
          m_writer(writer)
    {
    }

    ExitCode Run()
    {
        m_writer.Write(OverlayReadyRecord{});
        while (m_writer.Good() && m_service.WaitForRequest(InterruptEvent()))
            Serve();
        m_writer.Write(OverlaySummaryRecord{m_requests, m_statuses.size(), ExitInterrupted});
        return m_writer.Good() ? ExitInterrupted : ExitFailure;
    }

private:
    void Serve()
    {
        const Fault fault = NextFault();
        if (fault == Fault::Silent)
            return;
        if (fault == Fault::Die)
            TerminateProcess(GetCurrentProcess(), ExitFailure);
        const OverlayService::Message message = m_service.Read();
        if (fault == Fault::None) {
            Answer(message);
        } else if (m_service.TakeTurn(InterruptEvent())) {
            Answer(message);
            m_service.GiveTurnBack();
        }
    }

    Fault NextFault()
    {
        const std::uint64_t number = m_requests++;
        if (number < m_options.after || (m_options.times != 0 && number - m_options.after >= m_options.times))
            return Fault::None;
        return m_options.fault;
    }

    // The client is waiting, so records are printed after the answer.
    void Answer(const OverlayService::Message& message)
    {
        const std::wstring kind = std::to_wstring(message.kind);
        const std::wstring status = std::to_wstring(message.status);
        if (!message.path) {
            m_service.Answer();
            m_writer.Error(L"a request of kind " + kind + L" with status " + status +
                           L" has a path without an end; nothing was kept");
        } else if (message.kind == static_cast<std::int32_t>(OverlayRequest::GetStatus)) {
            const auto known = m_statuses.find(*message.path);
            m_service.Answer(known == m_statuses.end() ? OverlayStatus::InSync : known->second);
        } else if (message.kind == static_cast<std::int32_t>(OverlayRequest::SetStatus)) {
            m_service.Answer();
            Keep(*message.path, message.status);
        } else {
            m_service.Answer();
            m_writer.Error(L"a request has the unknown kind " + kind + L"; nothing was kept", *message.path);
        }
    }

    void Keep(const std::wstring& path, std::int32_t status)
    {
        const auto [known, isNew] = m_statuses.try_emplace(path, status);
        if (!isNew && known->second == status)
            return;
        known->second = status;
        m_writer.Write(OverlayRecord{path, status, MeaningOf(status)});
    }

    const OverlayOptions& m_options;
    OverlayService& m_service;
    RecordWriter& m_writer;
    std::map<std::wstring, std::int32_t, NoCase::Before> m_statuses;
    std::uint64_t m_requests = 0;
};

class OverlayCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "overlay",
                .summary = "keep the overlay statuses of files and print each change",
                .examples = {"orbwatch overlay --json", "orbwatch overlay --fault late --after 10 --times 3"},
                .text = R"(
It stands in for the service that draws status icons, with "orbwatch watch --overlay" beside it on the same data
folder. Ctrl-C ends it.)",
                .records = {OverlayReadyRecord::Kind, OverlayRecord::Kind, OverlaySummaryRecord::Kind},
                .ends = {EndFailed, EndRefused, EndInterrupted}};
    }
    std::optional<Inputs> Named() const override { return Inputs{}; }
    ExitCode Run(RecordWriter& writer) override
    {
        InterruptEvent();
        OverlayService service;
        std::wstring failure;
        if (!service.Open(failure)) {
            writer.Error(failure);
            return ExitFailure;
        }
        return OverlayRun(m_options, service, writer).Run();
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        m_general.AddTo(app);
        AddChoice<Fault>(app, "--fault", m_options.fault, "silent|late|die",
                         "for trying out clients: do not answer, too late, or die",
                         {{"silent", Fault::Silent}, {"late", Fault::Late}, {"die", Fault::Die}});
        AddCount(app, "--after", m_options.after, "so many requests are answered before the fault");
        AddCount(app, "--times", m_options.times, "so many requests meet the fault; 0: all that follow");
    }

    OverlayOptions m_options;
};

} // namespace

std::unique_ptr<Command> MakeOverlayCommand() { return std::make_unique<OverlayCommand>(); }
