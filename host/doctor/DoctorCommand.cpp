#include "host/doctor/DoctorCommand.h"

#include "companions/settings/DataFolder.h"
#include "host/Console.h"
#include "host/Destination.h"
#include "host/doctor/Checks.h"
#include "host/doctor/ScratchFolder.h"

#include <algorithm>

namespace
{

class Examination
{
public:
    explicit Examination(RecordWriter& writer) : m_writer(writer) {}

    void Tell(const Checks& checks)
    {
        for (const Check& check : checks) {
            m_writer.Finding(check);
            ++m_counts[static_cast<std::size_t>(check.state)];
        }
    }
    ExitCode End()
    {
        const std::size_t warnings = Of(Check::State::Warning), failures = Of(Check::State::Failed);
        const ExitCode code = failures != 0 ? ExitFailure : warnings != 0 ? ExitSomeUnreadable : ExitDone;
        m_writer.Findings(Of(Check::State::Ok), warnings, failures, code);
        return m_writer.Good() ? code : ExitFailure;
    }

private:
    std::size_t Of(Check::State state) const { return m_counts[static_cast<std::size_t>(state)]; }

    RecordWriter& m_writer;
    std::size_t m_counts[3] = {};
};

} // namespace

ExitCode RunDoctor(const DoctorOptions& options, RecordWriter& writer)
{
    EndWhenInterrupted();
    const std::wstring dataFolder(DataFolder::Path().View());
    const ScratchFolder scratch;
    Examination examination(writer);
    examination.Tell(CheckSettings(dataFolder));
    examination.Tell(CheckLog(dataFolder));
    examination.Tell(CheckRuns(dataFolder));
    examination.Tell(CheckDump(dataFolder));
    examination.Tell(CheckOwner(dataFolder, options.files.data, options.index));
    std::int64_t folders = 0;
    if (!options.index.empty())
        examination.Tell(CheckIndex(options.index, folders));
    if (!options.destination.empty())
        examination.Tell({CheckDestination(options.destination)});
    if (!options.files.data.empty()) {
        examination.Tell(CheckSelection(options.files));
        examination.Tell(CheckDrives(options.files));
    }
    examination.Tell(CheckNotifications(scratch.Path()));
    examination.Tell(CheckLimits(folders));
    examination.Tell(CheckRoom(dataFolder));
    if (!options.index.empty())
        examination.Tell(CheckRoom(options.index));
    return examination.End();
}
