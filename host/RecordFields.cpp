#include "host/RecordFields.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "host/Console.h"
#include "host/ShownPath.h"
#include "support/HarmlessText.h"
#include "support/SystemPath.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace
{

using Json = nlohmann::ordered_json;

// Returns null for a time that could not be read.
Json TimeOrNull(std::int64_t time)
{
    return time > 0 ? Json(RecordFields::TimeText(static_cast<std::uint64_t>(time))) : Json(nullptr);
}

Json FlagNames(std::uint32_t flags)
{
    static constexpr std::pair<std::uint32_t, const char*> names[] = {
        {QueueFlags::New, "new"},
        {QueueFlags::File, "file"},
        {QueueFlags::Directory, "directory"},
        {QueueFlags::BlockLevel, "blockLevel"},
        {QueueFlags::Internal, "internal"},
        {QueueFlags::Rule800, "rule800"},
        {QueueFlags::EvenWhenHidden, "evenWhenHidden"},
        {QueueFlags::RuleWithoutText, "ruleWithoutText"},
        {QueueFlags::Recovery40000, "recovery40000"},
        {QueueFlags::Recovery80000, "recovery80000"},
        {QueueFlags::ShowOverlay, "showOverlay"},
        {QueueFlags::DedupCandidate, "dedupCandidate"},
    };
    Json list = Json::array();
    for (const auto& [bit, name] : names)
        if (flags & bit)
            list.push_back(name);
    return list;
}

std::string HexDigits(std::uint64_t id)
{
    std::string digits(16, '0');
    for (std::size_t i = digits.size(); i-- > 0; id >>= 4)
        digits[i] = "0123456789abcdef"[id & 15];
    return digits;
}

const char* NameOf(InclusionType type)
{
    switch (type) {
    case Included:
        return "Included";
    case Excluded:
        return "Excluded";
    case NotApplicable:
        return "NotApplicable";
    case NotIncluded:
        break;
    }
    return "NotIncluded";
}

const char* NameOf(PathExplanation::Source source)
{
    switch (source) {
    case PathExplanation::Source::AutoExclude:
        return "autoExclude";
    case PathExplanation::Source::Advanced:
        return "advanced";
    case PathExplanation::Source::Secondary:
        return "secondary";
    case PathExplanation::Source::Data:
        break;
    }
    return "data";
}

const char* NameOf(PathExplanation::Reason reason)
{
    switch (reason) {
    case PathExplanation::Reason::TooLong:
        return "tooLong";
    case PathExplanation::Reason::BackupFolder:
        return "backupFolder";
    case PathExplanation::Reason::OwnFile:
        return "ownFile";
    case PathExplanation::Reason::Rules:
        break;
    }
    return "rules";
}

const char* SentenceOf(PathExplanation::Reason reason)
{
    switch (reason) {
    case PathExplanation::Reason::TooLong:
        return "the path is too long to be backed up";
    case PathExplanation::Reason::BackupFolder:
        return "the backup destination is never backed up";
    case PathExplanation::Reason::OwnFile:
        return "the product's own files are never backed up";
    case PathExplanation::Reason::Rules:
        break;
    }
    return "no rule speaks of it";
}

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

bool IsFolder(const DeletionRecord& record)
{
    CachedDatum datum;
    return CIndexDB::GetCachedData(record.id, datum) && CIndexDB::IsItemOf(record.path, datum) && datum.kind == 1;
}

bool Includes(const Filter& rule) { return rule.incEx == WatcherEnum::Include; }

Json RuleObject(const PathExplanation::Rule& entry)
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
    std::string line = deciding ? "  > " : "    ";
    line += Includes(rule) ? "include " : "exclude ";
    line += rule.type ? "folder " : "file ";
    line += ToUtf8(ShownPath(rule.path.View()));
    if (!rule.mask.IsEmpty())
        line += (rule.isregex ? "  matching " : "  ending in ") + ToUtf8(HarmlessText(rule.mask.View()));
    if (rule.includeSub)
        line += "  with sub-folders";
    return line + "  (" + NameOf(entry.source) + ")\n";
}

} // namespace

std::string RecordFields::TimeText(std::uint64_t fileTime)
{
    const FILETIME time = {static_cast<DWORD>(fileTime), static_cast<DWORD>(fileTime >> 32)};
    SYSTEMTIME t = {};
    FileTimeToSystemTime(&time, &t);
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", t.wYear, t.wMonth, t.wDay, t.wHour,
                  t.wMinute, t.wSecond, t.wMilliseconds);
    return text;
}

std::string RecordFields::Now()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return TimeText(now.dwLowDateTime | std::uint64_t(now.dwHighDateTime) << 32);
}

Json RecordFields::OfPending(const QueueDatum& datum)
{
    return {{"path", ToUtf8(datum.path)},
            {"kind", datum.flags & QueueFlags::Directory ? "directory" : "file"},
            {"size", datum.size},
            {"modified", TimeOrNull(datum.modificationTime)},
            {"created", TimeOrNull(datum.creationTime)},
            {"attributes", datum.attributes},
            {"id", HexDigits(datum.id)},
            {"flags", FlagNames(datum.flags)},
            {"flagBits", datum.flags},
            {"ruleText", ToUtf8(datum.firstText)},
            {"ruleNumbers", ToUtf8(datum.secondText)},
            {"ruleValue", datum.ruleValue}};
}

std::string RecordFields::PendingLine(const QueueDatum& datum)
{
    std::string line = datum.flags & QueueFlags::New ? "new      " : "changed  ";
    line += datum.flags & QueueFlags::Directory ? "folder  " : "file    ";
    line += ToUtf8(ShownPath(datum.path));
    if (!(datum.flags & QueueFlags::Directory))
        line += "  " + std::to_string(datum.size) + " bytes";
    if (datum.firstText[0])
        line += "  [" + ToUtf8(HarmlessText(datum.firstText)) + "]";
    return line + "\n";
}

Json RecordFields::OfDeletion(const DeletionRecord& record)
{
    return {{"path", ToUtf8(DeletedPath(record))},
            {"kind", IsFolder(record) ? "directory" : "file"},
            {"id", HexDigits(record.id)},
            {"job", record.job}};
}

std::wstring RecordFields::DeletedPath(const DeletionRecord& record)
{
    return std::wstring(record.path.View()) + (IsFolder(record) && !record.path.View().ends_with(L'\\') ? L"\\" : L"");
}

std::string RecordFields::Counted(std::uint64_t number, const char* one, const char* many)
{
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

Json RecordFields::OfExplanation(const std::wstring& path, const PathExplanation& explanation)
{
    Json rules = Json::array();
    for (const PathExplanation::Rule& rule : explanation.rules)
        rules.push_back(RuleObject(rule));
    const char* const meaning = MeaningOf(explanation);
    return {{"path", ToUtf8(path)},
            {"decision", NameOf(explanation.decision)},
            {"reason", path.empty() ? "empty" : NameOf(explanation.reason)},
            {"ordinary", NameOf(explanation.ordinary)},
            {"advanced", explanation.advancedAsked ? Json(NameOf(explanation.advanced)) : Json(nullptr)},
            {"rules", std::move(rules)},
            {"deciding", explanation.deciding < 0 ? Json(nullptr) : Json(explanation.deciding)},
            {"meaning", meaning ? Json(meaning) : Json(nullptr)},
            {"checkedPath", ToUtf8(explanation.path.View())}};
}

std::string RecordFields::ExplanationLines(const std::wstring& path, const PathExplanation& explanation)
{
    std::string lines = ToUtf8(ShownPath(path)) + ": " + NameOf(explanation.decision) + "\n";
    for (std::size_t i = 0; i < explanation.rules.size(); ++i)
        lines += RuleLine(explanation.rules[i], static_cast<int>(i) == explanation.deciding);
    if (explanation.rules.empty())
        lines += std::string("    ") + (path.empty() ? "the path is empty" : SentenceOf(explanation.reason)) + "\n";
    if (explanation.advancedAsked)
        lines += std::string("    advanced filters: ") + NameOf(explanation.advanced) + "\n";
    if (const char* const meaning = MeaningOf(explanation))
        lines += std::string("    ") + meaning + "\n";
    return lines;
}

std::string RecordFields::SizeLine(const SizeTotal& total, const std::wstring& what)
{
    static constexpr const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    auto size = static_cast<double>(total.bytes);
    std::size_t unit = 0;
    for (; size >= 1024 && unit + 1 < std::size(units); ++unit)
        size /= 1024;
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "%9.*f %-3s %12llu %-5s  ", unit == 0 ? 0 : 1, size, units[unit],
                  static_cast<unsigned long long>(total.files), total.files == 1 ? "file" : "files");
    return numbers + ToUtf8(what) + "\n";
}
