#include "host/RecordWriter.h"

#include "host/Console.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace
{

using Json = nlohmann::ordered_json;

// RFC 3339, UTC, to the millisecond. FILETIME: 100-ns units since 1601.
std::string TimeText(const FILETIME& time)
{
    SYSTEMTIME t;
    FileTimeToSystemTime(&time, &t);
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", t.wYear, t.wMonth, t.wDay, t.wHour,
                  t.wMinute, t.wSecond, t.wMilliseconds);
    return text;
}

std::string Now()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return TimeText(now);
}

Json TimeOrNull(std::int64_t time)
{
    if (time <= 0)
        return nullptr;
    const FILETIME value = {static_cast<DWORD>(time & 0xFFFFFFFF), static_cast<DWORD>(time >> 32)};
    return TimeText(value);
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

const char* NameOf(InclusionType type)
{
    switch (type) {
    case Included:
        return "Included";
    case NotIncluded:
        return "NotIncluded";
    case Excluded:
        return "Excluded";
    case NotApplicable:
        return "NotApplicable";
    }
    return "NotIncluded";
}

const char* NameOf(PathExplanation::Source source)
{
    switch (source) {
    case PathExplanation::Source::Data:
        return "data";
    case PathExplanation::Source::AutoExclude:
        return "autoExclude";
    case PathExplanation::Source::Advanced:
        return "advanced";
    case PathExplanation::Source::Secondary:
        return "secondary";
    }
    return "data";
}

Json RuleObject(const PathExplanation::Rule& entry)
{
    const Filter& rule = *entry.rule;
    return {{"path", ToUtf8(rule.path.View())},
            {"mask", ToUtf8(rule.mask.View())},
            {"kind", rule.incEx == WatcherEnum::Include ? "include" : "exclude"},
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
    line += rule.incEx == WatcherEnum::Include ? "include " : "exclude ";
    line += rule.type ? "folder " : "file ";
    line += ToUtf8(rule.path.View());
    if (!rule.mask.IsEmpty())
        line += (rule.isregex ? "  matching " : "  ending in ") + ToUtf8(rule.mask.View());
    if (rule.includeSub)
        line += "  with sub-folders";
    return line + "  (" + NameOf(entry.source) + ")";
}

} // namespace

void RecordWriter::Print(FILE* to, const std::string& line)
{
    std::fwrite(line.data(), 1, line.size(), to);
    std::fputc('\n', to);
    std::fflush(to);
}

template <typename Object>
void RecordWriter::Write(FILE* to, const char* type, Object fields)
{
    Json object = {{"type", type}, {"seq", ++m_seq}, {"time", Now()}};
    object.update(fields);
    Print(to, object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void RecordWriter::Ready(const std::vector<CString>& roots) { WriteRoots("ready", roots); }
void RecordWriter::Roots(const std::vector<CString>& roots) { WriteRoots("roots", roots); }

void RecordWriter::WriteRoots(const char* type, const std::vector<CString>& roots)
{
    Json names = Json::array();
    std::string list;
    for (const CString& root : roots) {
        names.push_back(ToUtf8(root.View()));
        list += " " + ToUtf8(root.View());
    }
    if (m_json)
        Write(m_data, type, Json{{"roots", names}});
    else
        Print(m_data, "watching" + (list.empty() ? std::string(" nothing") : list));
}

void RecordWriter::Pending(const QueueDatum& datum)
{
    const bool directory = (datum.flags & QueueFlags::Directory) != 0;
    if (!m_json) {
        std::string line = datum.flags & QueueFlags::New ? "new      " : "changed  ";
        line += ToUtf8(datum.path);
        if (!directory)
            line += "  " + std::to_string(datum.size) + " bytes";
        if (datum.firstText[0])
            line += "  [" + ToUtf8(datum.firstText) + "]";
        Print(m_data, line);
        return;
    }
    char id[17];
    std::snprintf(id, sizeof id, "%08lx%08lx", static_cast<unsigned long>(datum.id >> 32),
                  static_cast<unsigned long>(datum.id & 0xFFFFFFFF));
    Write(m_data, "pending",
          Json{{"path", ToUtf8(datum.path)},
               {"kind", directory ? "directory" : "file"},
               {"size", datum.size},
               {"modified", TimeOrNull(datum.modificationTime)},
               {"created", TimeOrNull(datum.creationTime)},
               {"attributes", datum.attributes},
               {"id", id},
               {"flags", FlagNames(datum.flags)},
               {"flagBits", datum.flags},
               {"ruleText", ToUtf8(datum.firstText)},
               {"ruleNumbers", ToUtf8(datum.secondText)},
               {"ruleValue", datum.ruleValue}});
}

void RecordWriter::Explain(const std::wstring& path, const PathExplanation& explanation)
{
    if (!m_json) {
        Print(m_data, ToUtf8(path) + ": " + NameOf(explanation.decision));
        for (std::size_t i = 0; i < explanation.rules.size(); ++i)
            Print(m_data, RuleLine(explanation.rules[i], static_cast<int>(i) == explanation.deciding));
        if (explanation.rules.empty())
            Print(m_data, "    no rule speaks of it");
        if (explanation.advancedAsked)
            Print(m_data, std::string("    advanced filters: ") + NameOf(explanation.advanced));
        return;
    }
    Json rules = Json::array();
    for (const PathExplanation::Rule& rule : explanation.rules)
        rules.push_back(RuleObject(rule));
    Write(m_data, "explain",
          Json{{"path", ToUtf8(path)},
               {"decision", NameOf(explanation.decision)},
               {"ordinary", NameOf(explanation.ordinary)},
               {"advanced", explanation.advancedAsked ? Json(NameOf(explanation.advanced)) : Json(nullptr)},
               {"rules", rules},
               {"deciding", explanation.deciding < 0 ? Json(nullptr) : Json(explanation.deciding)},
               {"checkedPath", ToUtf8(explanation.path.View())}});
}

void RecordWriter::Summary(std::uint64_t handedOut, std::int64_t pending, int exitCode)
{
    if (m_json)
        Write(m_data, "summary", Json{{"handedOut", handedOut}, {"pending", pending}, {"exit", exitCode}});
    else
        Print(m_data, "handed out " + std::to_string(handedOut) + ", still pending " + std::to_string(pending));
}

void RecordWriter::Created(const std::wstring& path)
{
    if (m_json)
        Write(m_data, "created", Json{{"path", ToUtf8(path)}});
    else
        Print(m_data, "created " + ToUtf8(path));
}

void RecordWriter::Error(const std::wstring& message, const std::wstring& path)
{
    if (!m_json) {
        Print(stderr, "orbwatch: " + (path.empty() ? "" : ToUtf8(path) + ": ") + ToUtf8(message));
        return;
    }
    Json fields = {{"message", ToUtf8(message)}};
    if (!path.empty())
        fields["path"] = ToUtf8(path);
    Write(stderr, "error", fields);
}

void RecordWriter::Note(const std::wstring& message)
{
    if (m_json)
        Write(stderr, "note", Json{{"message", ToUtf8(message)}});
    else
        Print(stderr, "orbwatch: " + ToUtf8(message));
}
