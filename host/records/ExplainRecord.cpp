#include "host/records/ExplainRecord.h"

#include "support/HarmlessText.h"
#include "support/SystemPath.h"

#include <utility>

namespace
{

// Each list is in the order of its enumeration.
constexpr const char* Decisions[] = {"Included", "NotIncluded", "Excluded", "NotApplicable"};
constexpr const char* Sources[] = {"data", "autoExclude", "advanced", "secondary"};
constexpr struct {
    const char* name;
    const char* sentence;
} Reasons[] = {{"rules", "no rule speaks of it"},
               {"tooLong", "the path is too long to be backed up"},
               {"backupFolder", "the backup destination is never backed up"},
               {"ownFile", "the product's own files are never backed up"}};
static_assert(NotApplicable + 1 == std::size(Decisions) &&
              static_cast<std::size_t>(PathExplanation::Source::Secondary) + 1 == std::size(Sources) &&
              static_cast<std::size_t>(PathExplanation::Reason::OwnFile) + 1 == std::size(Reasons));

const char* NameOf(InclusionType decision) { return Decisions[decision]; }
const char* NameOf(PathExplanation::Source source) { return Sources[static_cast<std::size_t>(source)]; }
const auto& WordsOf(PathExplanation::Reason reason) { return Reasons[static_cast<std::size_t>(reason)]; }

// Returns what a decision means that its name does not say; null when there is nothing to add.
const char* MeaningOf(const PathExplanation& explanation)
{
    if (explanation.decision != NotApplicable)
        return nullptr;
    return GetFileAttributesW(SystemPath(explanation.path)) == INVALID_FILE_ATTRIBUTES
               ? "it is not there, and a regular expression judges only files that are there"
               : "a regular expression judges only files: the folder itself is never handed out, not even an empty "
                 "one, "
                 "and each file in it is judged by its own path";
}

bool Includes(const Filter& rule) { return rule.incEx == WatcherEnum::Include; }

RecordFields RuleObject(const PathExplanation::Rule& entry)
{
    const Filter& rule = *entry.rule;
    return {{"path", ToUtf8(rule.path.View())},
            {"mask", ToUtf8(rule.mask.View())},
            {"kind", Includes(rule) ? "include" : "exclude"},
            {"type", rule.type ? "folder" : "file"},
            {"includeSub", rule.includeSub},
            {"exclude", rule.exclude},
            {"isregex", rule.isregex},
            {"flags", rule.flags},
            {"pluginId", rule.pluginId},
            {"pluginName", ToUtf8(rule.pluginName.View())},
            {"jobid", rule.jobid},
            {"vid", rule.vid},
            {"volumeFound", rule.volumeFound},
            {"additionalInfo", ToUtf8(rule.additionalInfo.View())},
            {"source", NameOf(entry.source)}};
}

std::string RuleLine(const PathExplanation::Rule& entry, bool deciding)
{
    const Filter& rule = *entry.rule;
    std::string line = deciding ? "\n  > " : "\n    ";
    line += Includes(rule) ? "include " : "exclude ";
    line += rule.type ? "folder " : "file ";
    line += RecordText::Path(rule.path.View());
    if (!rule.mask.IsEmpty())
        line += (rule.isregex ? "  matching " : "  ending in ") + ToUtf8(HarmlessText(rule.mask.View()));
    if (rule.includeSub)
        line += "  with sub-folders";
    return line + "  (" + NameOf(entry.source) + ")";
}

} // namespace

RecordFields ExplainRecord::Fields() const
{
    RecordFields rules = RecordFields::array();
    for (const PathExplanation::Rule& rule : explanation.rules)
        rules.push_back(RuleObject(rule));
    const char* const meaning = MeaningOf(explanation);
    return {
        {"path", ToUtf8(path)},
        {"decision", NameOf(explanation.decision)},
        {"reason", path.empty() ? "empty" : WordsOf(explanation.reason).name},
        {"ordinary", NameOf(explanation.ordinary)},
        {"advanced", explanation.advancedAsked ? RecordFields(NameOf(explanation.advanced)) : RecordFields(nullptr)},
        {"rules", std::move(rules)},
        {"deciding", explanation.deciding < 0 ? RecordFields(nullptr) : RecordFields(explanation.deciding)},
        {"meaning", meaning ? RecordFields(meaning) : RecordFields(nullptr)},
        {"checkedPath", ToUtf8(explanation.path.View())}};
}

std::string ExplainRecord::Line() const
{
    std::string lines = RecordText::Path(path) + ": " + NameOf(explanation.decision);
    for (std::size_t i = 0; i < explanation.rules.size(); ++i)
        lines += RuleLine(explanation.rules[i], static_cast<int>(i) == explanation.deciding);
    if (explanation.rules.empty())
        lines += std::string("\n    ") + (path.empty() ? "the path is empty" : WordsOf(explanation.reason).sentence);
    if (explanation.advancedAsked)
        lines += std::string("\n    advanced filters: ") + NameOf(explanation.advanced);
    if (const char* const meaning = MeaningOf(explanation))
        lines += std::string("\n    ") + meaning;
    return lines;
}
