#include "host/commands/DoctorCommand.h"

#include "companions/settings/DataFolder.h"
#include "companions/settings/SettingsValue.h"
#include "host/Console.h"
#include "host/Destination.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"
#include "host/doctor/ScratchFolder.h"
#include "host/records/DoctorRecords.h"
#include "support/Backslash.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>

namespace
{

struct DoctorOptions {
    SelectionFiles files;     // all may be empty
    std::wstring index;       // may be empty
    std::wstring destination; // as it was written; may be empty
};

class Examination
{
public:
    explicit Examination(RecordWriter& writer) : m_writer(writer) {}

    void Tell(const Checks& checks)
    {
        for (const Check& check : checks) {
            m_writer.Write(CheckRecord{check});
            ++m_counts[static_cast<std::size_t>(check.state)];
        }
    }
    ExitCode End()
    {
        const std::size_t warnings = Of(Check::State::Warning), failures = Of(Check::State::Failed);
        const ExitCode code = failures != 0 ? ExitFailure : warnings != 0 ? ExitSomeUnreadable : ExitDone;
        m_writer.Write(DoctorSummaryRecord{Of(Check::State::Ok), warnings, failures, code});
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
        Examination examination(writer);
        examination.Tell(CheckSettings(dataFolder));
        examination.Tell(CheckSettingsValues(dataFolder));
        examination.Tell(CheckLog(dataFolder));
        examination.Tell(CheckRuns(dataFolder));
        examination.Tell(CheckDump(dataFolder));
        examination.Tell(CheckOwner(dataFolder, m_options.files.data, m_options.index));
        const std::set<CString> destinations = DestinationsOf(dataFolder, m_options);
        examination.Tell(CheckDue(dataFolder, m_options.files, destinations));
        std::int64_t folders = 0;
        if (!m_options.index.empty())
            examination.Tell(CheckIndex(m_options.index, folders));
        if (!m_options.destination.empty())
            examination.Tell({CheckDestination(m_options.destination)});
        if (!m_options.files.data.empty()) {
            examination.Tell(CheckSelection(m_options.files, OutsideOf(dataFolder, m_options, destinations)));
            examination.Tell(CheckDrives(m_options.files));
        }
        examination.Tell(CheckNotifications(scratch.Path()));
        examination.Tell(CheckLimits(folders));
        examination.Tell(CheckRoom(dataFolder));
        if (!m_options.index.empty())
            examination.Tell(CheckRoom(m_options.index));
        return examination.End();
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddSelectionAndFilters(app, m_options.files);
        for (const char* option : {"--auto-exclude", "--advanced", "--secondary"})
            app.get_option(option)->needs("--data");
        m_general.AddTo(app);
        AddFile(app, "--index", m_options.index, "the index of what is backed up");
        AddDestination(app, m_options.destination);
    }

    DoctorOptions m_options;
};

} // namespace

std::unique_ptr<Command> MakeDoctorCommand() { return std::make_unique<DoctorCommand>(); }
