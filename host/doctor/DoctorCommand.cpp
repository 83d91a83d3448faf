#include "host/doctor/DoctorCommand.h"

#include "companions/settings/DataFolder.h"
#include "companions/settings/SettingsValue.h"
#include "host/Console.h"
#include "host/Destination.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"
#include "host/doctor/ScratchFolder.h"
#include "support/Backslash.h"

#include <windows.h>

#include <shlwapi.h>

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

// Returns the destinations of the command line and of the settings, each with a backslash at its end.
std::set<CString> DestinationsOf(const std::wstring& dataFolder, const DoctorOptions& options)
{
    const nlohmann::json settings = ReadSettingsFile(dataFolder, SettingsFileNames[2]);
    const std::wstring set = SettingsValue::AsText(SettingOf(settings, DestinationKey)).value_or(std::wstring());
    std::set<CString> folders;
    for (const std::wstring& written : {FullPath(options.destination), set})
        if (const CString folder = OrbFilter::SystemForm(written.c_str()); IsFullPath(folder.GetString()))
            folders.insert(WithBackslash(folder));
    return folders;
}

// The settings of this process are those of the doctor's own folder (ScratchFolder).
KeptOutside OutsideOf(const std::wstring& dataFolder, const DoctorOptions& options,
                      const std::set<CString>& destinations)
{
    KeptOutside outside;
    outside.index = options.index;
    for (const CString& folder : destinations)
        outside.folders.push_back({folder.GetString(), KeptOut::Destination});
    const CString own = WithBackslash(OrbFilter::SystemForm(dataFolder.c_str()));
    if (!PathIsRootW(own)) // a whole drive holds other files, too
        outside.folders.push_back({own.GetString(), KeptOut::OwnFile});
    return outside;
}

} // namespace

ExitCode RunDoctor(const DoctorOptions& options, RecordWriter& writer)
{
    EndWhenInterrupted();
    const std::wstring dataFolder(DataFolder::Path().View());
    const ScratchFolder scratch;
    Examination examination(writer);
    examination.Tell(CheckSettings(dataFolder));
    examination.Tell(CheckSettingsValues(dataFolder));
    examination.Tell(CheckOtherFiles(dataFolder, options.index));
    examination.Tell(CheckLog(dataFolder));
    examination.Tell(CheckRuns(dataFolder));
    examination.Tell(CheckDump(dataFolder));
    examination.Tell(CheckOwner(dataFolder, options.files.data, options.index));
    const std::set<CString> destinations = DestinationsOf(dataFolder, options);
    examination.Tell(CheckDue(dataFolder, options, destinations));
    std::int64_t folders = 0;
    if (!options.index.empty())
        examination.Tell(CheckIndex(options.index, folders));
    if (!options.destination.empty())
        examination.Tell({CheckDestination(options.destination)});
    if (!options.files.data.empty()) {
        examination.Tell(CheckSelection(options.files, OutsideOf(dataFolder, options, destinations)));
        examination.Tell(CheckDrives(options.files));
    }
    examination.Tell(CheckNotifications(scratch.Path()));
    examination.Tell(CheckLimits(folders));
    examination.Tell(CheckRoom(dataFolder));
    if (!options.index.empty())
        examination.Tell(CheckRoom(options.index));
    return examination.End();
}
