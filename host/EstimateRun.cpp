#include "host/EstimateRun.h"

#include "host/Console.h"
#include "host/EstimateScan.h"
#include "host/LibraryMessages.h"
#include "host/NamedFiles.h"
#include "host/PathSpelling.h"
#include "host/records/EstimateRecords.h"
#include "host/records/FileRecords.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/FileReplacement.h"
#include "support/Handle.h"
#include "support/SystemPath.h"

#include <algorithm>
#include <fstream>

namespace
{

class EstimateRun
{
public:
    EstimateRun(const EstimateOptions& options, RecordWriter& writer)
        : m_options(options),
          m_writer(writer),
          m_selection(options.files, options.outside),
          m_scan(options.files, options.outside, options.stats, m_selection, writer)
    {
    }

    ExitCode Run()
    {
        if (const std::optional<ExitCode> end = InputFailure())
            return *end;
        if (!AreProfilesKnown())
            return ExitUsage;
        if (!m_scan.ScanAll())
            return ExitInterrupted;
        if (!TellMessages())
            return ExitUsage;
        if (!CountSelection())
            return ExitInterrupted;
        for (const EstimateEdit& edit : m_options.edits)
            if (!Apply(edit))
                return ExitInterrupted;
        TellRows();
        TellWhatIsNotCounted();
        TellWhatWasNotRead();
        m_writer.Note(L"advanced filters are not asked; they may leave out more");
        const bool whole = m_whole && m_report.unreadable.empty();
        const ExitCode code = WriteReport() ? (whole ? ExitDone : ExitSomeUnreadable) : ExitFailure;
        m_writer.Write(EstimateSummaryRecord{m_report.estimate.included, m_report.unreadable.size(), code});
        return m_writer.Good() ? code : ExitFailure;
    }

private:
    std::optional<ExitCode> InputFailure()
    {
        if (!MayWriteReport())
            return ExitUsage;
        const SelectionState state = Examine(m_options.files, m_writer);
        if (state == SelectionState::Unusable)
            return ExitUsage;
        m_whole = state == SelectionState::Whole;
        if (!m_options.stats.empty() && !FileHandle(CreateFileW(m_options.stats.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                                nullptr, OPEN_EXISTING, 0, nullptr))) {
            m_writer.Error(L"the statistics cannot be read: " + SystemText(GetLastError()) +
                               L" Leave out --stats to do without.",
                           m_options.stats);
            return ExitUsage;
        }
        return std::nullopt;
    }

    // A profile that no rule belongs to would count nothing, without a message.
    bool AreProfilesKnown()
    {
        const std::vector<int> known = m_selection.Profiles();
        std::wstring names;
        for (const int profile : known)
            names += (names.empty() ? L"" : L", ") + std::to_wstring(profile);
        for (const EstimateEdit& edit : m_options.edits)
            if (edit.kind == EstimateEdit::Kind::Profile && std::ranges::find(known, edit.profile) == known.end()) {
                m_writer.Error(L"the selection has no profile " + std::to_wstring(edit.profile) +
                                   (known.empty() ? L"; it has no rules" : L"; its profiles are " + names),
                               m_options.files.data);
                return false;
            }
        return true;
    }

    bool MayWriteReport() const
    {
        if (m_options.report.empty())
            return true;
        std::vector<NamedFile> inputs = FilesThatStay(m_options.files, m_options.outside.index);
        inputs.push_back({L"the file of statistics", m_options.stats});
        const Output output{m_options.report, L"--report", L"a report of orbwatch", IsEstimatePage, m_options.force};
        return MayBeWritten(output, inputs, m_writer);
    }

    // Returns false when the statistics file is not valid.
    bool TellMessages()
    {
        bool good = true;
        for (const LibraryMessages::Line& line : m_messages.Take())
            if (line.text.starts_with(L"There are no statistics of extensions")) {
                m_writer.Error(line.text + L"; leave out --stats to do without", m_options.stats);
                good = false;
            } else if (!line.finding && !IsToldByRecord(line.text)) {
                m_writer.Note(line.text);
                m_whole = m_whole && !TellsOfLeftOut(line.text);
            }
        return good;
    }

    bool HasEdit(EstimateEdit::Kind kind) const
    {
        return std::any_of(m_options.edits.begin(), m_options.edits.end(),
                           [kind](const EstimateEdit& edit) { return edit.kind == kind; });
    }

    // Counts all profiles of the stored selection, unless the command line picks some. Returns false when it was
    // interrupted.
    bool CountSelection()
    {
        m_scan.SetMask(m_options.mask);
        if (!m_options.mask.empty() && !HasEdit(EstimateEdit::Kind::Include))
            m_writer.Note(L"--mask concerns the folders of --include alone; it changes nothing here");
        if (!HasEdit(EstimateEdit::Kind::Profile))
            m_scan.AddProfiles(m_selection.Profiles());
        return Count(L"scan", L"the selection as it is");
    }

    // Returns false when it was interrupted.
    bool Apply(const EstimateEdit& edit)
    {
        if (edit.kind == EstimateEdit::Kind::Profile) {
            m_scan.AddProfiles({edit.profile});
            const std::wstring number = std::to_wstring(edit.profile);
            return Count(L"profile " + number, L"with profile " + number);
        }
        if (GetFileAttributesW(SystemPath(edit.path.c_str())) == INVALID_FILE_ATTRIBUTES) {
            m_writer.Note(L"not there; this edit changes nothing", edit.path);
            m_whole = false;
        }
        const bool folder = FolderIsThere(SystemPath(edit.path.c_str()).GetString()) && !edit.path.ends_with(L'\\');
        const std::wstring path = edit.path + (folder ? L"\\" : L"");
        const bool include = edit.kind == EstimateEdit::Kind::Include;
        return (include ? m_scan.Include(path) : m_scan.Exclude(path)) &&
               Count((include ? L"include " : L"exclude ") + path, (include ? L"with " : L"without ") + path);
    }

    // Returns false when it was interrupted.
    bool Count(const std::wstring& edit, const std::wstring& words)
    {
        if (!m_scan.Count(m_report.estimate))
            return false;
        m_report.steps.push_back({edit, words, m_report.estimate.included});
        m_writer.Write(TotalRecord{m_report.steps.size() - 1, edit, m_report.estimate.included});
        return true;
    }

    void TellRows()
    {
        const Estimate& estimate = m_report.estimate;
        PathSpelling spelling;
        std::size_t row = 0;
        for (const Estimate::Folder& folder : estimate.folders)
            m_writer.Write(FolderRecord{{row++}, folder, spelling});
        row = 0;
        for (const Estimate::Extension& extension : estimate.extensions)
            m_writer.Write(ExtensionRecord{{row++}, extension});
        for (const Estimate::LeftOut& leftOut : estimate.leftOut)
            m_writer.Write(LeftOutRecord{leftOut});
    }

    // Reports what the rules include by name and nothing was counted of.
    void TellWhatIsNotCounted()
    {
        m_whole = m_selection.TellWhatIsNotThere(m_writer) && m_whole;
        m_inVain = m_selection.IncludedInVain(SelectionView::AbsentRoots::AreNamed);
        for (const PassedOverPath& path : m_inVain) {
            m_writer.Write(SkippedRecord{path});
            m_report.notCounted.push_back(path.path.GetString() + std::wstring(L": ") +
                                          FromUtf8(SkippedRecord{path}.Words()));
            m_whole = false;
        }
    }

    bool IsInVain(const CString& path) const
    {
        return std::ranges::any_of(m_inVain, [&](const PassedOverPath& other) {
            return EqualNoCase(WithoutBackslash(other.path).View(), WithoutBackslash(path).View());
        });
    }

    void TellWhatWasNotRead()
    {
        for (const PassedOverPath& passed : m_scan.PassedOver()) {
            const KeptOut keptOut = m_selection.WhyKeptOut(passed.path.GetString());
            if (passed.why == PathOutcome::Excluded && keptOut != KeptOut::No)
                m_writer.Note(keptOut == KeptOut::Destination
                                  ? L"not counted: the backup destination is never backed up"
                                  : L"not counted: the product's own files are never "
                                    L"backed up",
                              passed.path.GetString());
            if (passed.why == PathOutcome::Missing && !IsInVain(passed.path))
                m_writer.Note(L"not there; it counts as empty", passed.path.GetString());
            if (passed.why != PathOutcome::Unreadable)
                continue;
            m_writer.Note(L"cannot be read; it counts as empty", passed.path.GetString());
            m_report.unreadable.emplace_back(passed.path.View());
        }
    }

    bool WriteReport()
    {
        if (m_options.report.empty())
            return true;
        if (!MayWriteReport()) // the scan may have taken long
            return false;
        m_report.selection = m_options.files.data;
        m_report.edits = m_options.edits;
        const std::string page = EstimatePage(m_report);
        const bool written = ReplaceWhole(m_options.report.c_str(), [&](const CString& draft) {
            std::ofstream file(draft.GetString(), std::ios::binary | std::ios::trunc);
            file << page;
            return static_cast<bool>(file.flush());
        });
        if (written)
            m_writer.Write(CreatedRecord{m_options.report});
        else
            m_writer.Error(L"the page cannot be written: " + SystemText(GetLastError()) + L" Name another --report.",
                           m_options.report);
        return written;
    }

    const EstimateOptions& m_options;
    RecordWriter& m_writer;
    LibraryMessages m_messages{LibraryMessages::Keep::Failures};
    SelectionView m_selection;
    EstimateScan m_scan;
    bool m_whole = true; // nothing that the selection includes is left out
    std::vector<PassedOverPath> m_inVain;
    EstimateReport m_report;
};

} // namespace

ExitCode RunEstimate(const EstimateOptions& options, RecordWriter& writer)
{
    return EstimateRun(options, writer).Run();
}
