// orbwatch doctor: examines this machine and reports what is wrong. It changes nothing.
#include "companions/settings/DataFolder.h"
#include "companions/settings/SettingsValue.h"
#include "host/Console.h"
#include "host/Destination.h"
#include "host/commands/Commands.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"
#include "host/doctor/ScratchFolder.h"
#include "host/records/DoctorRecords.h"
#include "support/Backslash.h"

#include <windows.h>

#include <shlwapi.h>

namespace
{

// Returns the destinations of the command line and of the settings, each with a backslash at its end.
std::set<CString> DestinationsOf(const std::wstring& dataFolder, const std::wstring& written)
{
    const nlohmann::json settings = ReadSettingsFile(dataFolder, SettingsFileNames[2]);
    const std::wstring set = SettingsValue::AsText(SettingOf(settings, DestinationKey)).value_or(std::wstring());
    std::set<CString> folders;
    for (const std::wstring& path : {FullPath(written), set})
        if (const CString folder = OrbFilter::SystemForm(path.c_str()); IsFullPath(folder.GetString()))
            folders.insert(WithBackslash(folder));
    return folders;
}

// The settings of this process are those of the doctor's own folder (ScratchFolder).
KeptOutside OutsideOf(const std::wstring& dataFolder, const std::wstring& index, const std::set<CString>& destinations)
{
    KeptOutside outside;
    outside.index = index;
    for (const CString& folder : destinations)
        outside.folders.push_back({folder.GetString(), KeptOut::Destination});
    const CString own = WithBackslash(OrbFilter::SystemForm(dataFolder.c_str()));
    if (!PathIsRootW(own)) // a whole drive holds other files, too
        outside.folders.push_back({own.GetString(), KeptOut::OwnFile});
    return outside;
}

class DoctorCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "doctor",
                .summary = "look at this machine and say what is wrong; change nothing",
                .examples = {"orbwatch doctor", "orbwatch doctor --data selection.xml --index index.db"},
                .text = R"(
It looks at the settings, the log and the runs of the data folder, at the index and the selection that are named
and the drives of the selection, and at the machine: whether changes are told, limits, free space. It tries
these things in a temporary folder of its own, and with a temporary file in the data folder and in the folder of
the index. An enumeration that is due is told with its reason. It is a warning when it makes up for something
that was lost (a killed watch, the dump, the index), and otherwise ok: the next watch makes it anyway.)",
                .records = {CheckRecord::Kind, DoctorSummaryRecord::Kind},
                .ends = {EndDone,
                         {ExitFailure, "a check failed"},
                         EndRefused,
                         {ExitSomeUnreadable, "no check failed, and there are warnings"},
                         EndInterrupted}};
    }
    ExitCode Run(RecordWriter& writer) override
    {
        EndWhenInterrupted();
        const std::wstring dataFolder(DataFolder::Path().View());
        const ScratchFolder scratch;
        std::size_t counts[3] = {};
        const auto tell = [&](const Checks& checks) {
            for (const Check& check : checks) {
                writer.Write(CheckRecord{check});
                ++counts[static_cast<std::size_t>(check.state)];
            }
        };
        tell(CheckSettings(dataFolder));
        tell(CheckSettingsValues(dataFolder));
        tell(CheckOtherFiles(dataFolder, m_index));
        tell(CheckLog(dataFolder));
        tell(CheckRuns(dataFolder));
        tell(CheckDump(dataFolder));
        tell(CheckOwner(dataFolder, m_files.data, m_index));
        const std::set<CString> destinations = DestinationsOf(dataFolder, m_destination);
        tell(CheckDue(dataFolder, m_files, destinations));
        std::int64_t folders = 0;
        if (!m_index.empty())
            tell(CheckIndex(m_index, folders));
        if (!m_destination.empty())
            tell({CheckDestination(m_destination)});
        if (!m_files.data.empty()) {
            tell(CheckSelection(m_files, OutsideOf(dataFolder, m_index, destinations)));
            tell(CheckDrives(m_files));
        }
        tell(CheckNotifications(scratch.Path()));
        tell(CheckLimits(folders));
        tell(CheckRoom(dataFolder));
        if (!m_index.empty())
            tell(CheckRoom(m_index));
        const auto [good, warnings, failures] = counts;
        const ExitCode code = failures != 0 ? ExitFailure : warnings != 0 ? ExitSomeUnreadable : ExitDone;
        writer.Write(DoctorSummaryRecord{good, warnings, failures, code});
        return writer.Good() ? code : ExitFailure;
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddSelectionAndFilters(app, m_files);
        for (const char* option : {"--auto-exclude", "--advanced", "--secondary"})
            app.get_option(option)->needs("--data");
        m_general.AddTo(app);
        AddFile(app, "--index", m_index, "the index of what is backed up");
        AddDestination(app, m_destination);
    }

    SelectionFiles m_files;
    std::wstring m_index, m_destination;
};

} // namespace

std::unique_ptr<Command> MakeDoctorCommand() { return std::make_unique<DoctorCommand>(); }
