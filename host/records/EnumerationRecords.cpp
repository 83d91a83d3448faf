#include "host/records/EnumerationRecords.h"

#include <utility>

namespace
{

struct Reason {
    PathOutcome outcome;
    const char* key;
    const char* words;
    const char* wordsOfOne = words;
};
constexpr Reason Reasons[] = {
    {PathOutcome::Hidden, "hidden", "hidden"},
    {PathOutcome::Excluded, "excluded", "excluded by the user"},
    {PathOutcome::AutoExcluded, "autoExcluded", "excluded automatically"},
    {PathOutcome::Advanced, "advanced", "excluded by an advanced rule"},
    {PathOutcome::NotApplicable, "notApplicable", "folders of which only the files are judged",
     "folder of which only the files are judged"},
    {PathOutcome::NotSelected, "notSelected", "not selected"},
    {PathOutcome::BackupFolder, "backupFolder", "in the backup destination"},
    {PathOutcome::OwnFile, "ownFile", "the product's own"},
    {PathOutcome::TooLong, "tooLong", "with too long a path"},
    {PathOutcome::Delayed, "delayed", "delayed"},
    {PathOutcome::Uploaded, "uploaded", "uploaded a moment ago"},
    {PathOutcome::SystemLink, "systemLink", "the system's own links", "the system's own link"},
    {PathOutcome::BrokenLink, "brokenLink", "links to nothing", "link to nothing"},
    {PathOutcome::WalkedAlready, "walkedAlready", "walked already under another name"},
};
static_assert(std::size(Reasons) == PathOutcomes - static_cast<std::size_t>(FirstSkipped));

std::string SkippedLine(const EnumerationProgress& progress)
{
    std::uint64_t all = 0;
    std::string list;
    for (const Reason& reason : Reasons) {
        const std::uint64_t count = progress.Of(reason.outcome);
        all += count;
        if (count != 0)
            list += (list.empty() ? ": " : ", ") + std::to_string(count) + " " +
                    (count == 1 ? reason.wordsOfOne : reason.words);
    }
    return "  skipped " + std::to_string(all) + list + "\n";
}

} // namespace

RecordFields EnumerationSummaryRecord::Fields() const
{
    RecordFields skipped = RecordFields::object();
    for (const Reason& reason : Reasons)
        skipped[reason.key] = progress.Of(reason.outcome);
    return {{"found", progress.files + progress.folders},
            {"files", progress.files},
            {"folders", progress.folders},
            {"new", progress.Of(PathOutcome::Queued)},
            {"waiting", progress.Of(PathOutcome::Waiting)},
            {"unchanged", progress.Of(PathOutcome::Unchanged)},
            {"skipped", std::move(skipped)},
            {"missing", progress.Of(PathOutcome::Missing)},
            {"unreadable", unreadable},
            {"deleted", deleted},
            {"handedOut", handedOut},
            {"pending", pending},
            {"exit", exitCode}};
}

std::string EnumerationSummaryRecord::Line() const
{
    const auto count = [](std::uint64_t number, const char* words) { return std::to_string(number) + words; };
    return count(progress.files + progress.folders, " found: ") + RecordText::Counted(progress.files, "file", "files") +
           ", " + RecordText::Counted(progress.folders, "folder", "folders") + "\n  " +
           count(progress.Of(PathOutcome::Queued), " new, ") +
           count(progress.Of(PathOutcome::Unchanged), " unchanged, ") +
           count(progress.Of(PathOutcome::Waiting), " waiting already\n") + SkippedLine(progress) + "  " +
           count(unreadable, " unreadable, ") + count(progress.Of(PathOutcome::Missing), " missing, ") +
           count(deleted, " deleted\n") + count(handedOut, " handed out, ") + std::to_string(pending) +
           " still pending";
}
