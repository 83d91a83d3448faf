#include "host/PendingExport.h"

#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/FirstTimeRuns.h"
#include "host/LibraryMessages.h"
#include "host/Selection.h"
#include "host/WatchPipe.h"
#include "support/BarList.h"

#include <algorithm>
#include <set>

namespace
{

using Json = nlohmann::json;

constexpr std::size_t LongestList = 4096; // units of the list of roots
constexpr DWORD AnswerLimit = 60000;      // milliseconds

// An answer in another form counts as a missing one.
PendingExported FromJson(const WatchAnswer& given)
{
    if (!given.failure.empty())
        return {false, 0, given.failure, given.code, 0, {}};
    const Json& answer = given.json;
    const bool whole = answer.is_object() && answer.contains("any") && answer["any"].is_boolean() &&
                       answer.contains("count") && answer["count"].is_number_integer() && answer.contains("failure") &&
                       answer["failure"].is_string();
    if (!whole)
        return {false, 0, L"the answer of the running watch is none; end it first, or try again", ExitFailure, 0, {}};
    const Json gap = answer.value("gap", Json());
    const Json more = answer.value("more", Json());
    return {answer.value("any", false),
            answer.value("count", 0),
            FromUtf8(answer.value("failure", "")),
            ExitFailure,
            more.is_number_integer() ? more.get<std::int64_t>() : 0,
            gap.is_string() ? FromUtf8(gap.get<std::string>()) : std::wstring()};
}

} // namespace

PendingExported ExportPending(COrbWatcher& watcher, const PendingExport& wanted)
{
    // The watcher reports a list that cannot be written only in the log.
    LibraryMessages failures(LibraryMessages::Keep::Failures);
    PendingExported exported;
    exported.count = wanted.most;
    exported.anyPending = watcher.ExportFilesToXML(wanted.file.c_str(), exported.count);
    if (exported.count >= wanted.most)
        exported.more = std::max<std::int64_t>(watcher.GetTotalFilesInMem() - exported.count, 0);
    for (const LibraryMessages::Line& line : failures.Take())
        if (line.text.starts_with(L"The pending list cannot be "))
            exported.failure = line.text + L"; name another --to, or make room";
    exported.gap = GapOf(watcher, wanted.roots);
    return exported;
}

std::wstring GapOf(COrbWatcher& watcher, const std::optional<std::vector<CString>>& selected)
{
    if (watcher.GetEnumerationProgress().running > 0)
        return L"an enumeration is running: more may be pending when it has ended";
    if (FirstTimeRuns::IsDue())
        return L"a full enumeration is due: until a watch has made it, more may be pending than is known";
    std::vector<wchar_t> list(LongestList);
    GetServiceRunSettings().GetValue(RescansDueKey, list.data(), list.size());
    std::set<CString> roots = SplitAtBars(list.data());
    if (selected)
        std::erase_if(roots, [&](const CString& root) { return !IsAmong(*selected, root); });
    if (roots.empty())
        return L"";
    return L"an enumeration is due: until a watch has made it, more may be pending than is known on " +
           std::wstring(JoinWithBars(roots).View());
}

std::optional<PendingExported> AskForExport(const PendingExport& wanted, const FolderUse& use, RecordWriter& writer)
{
    const Json request{
        {"ask", "export"}, {"to", ToUtf8(wanted.file)}, {"place", ToUtf8(wanted.place)}, {"max", wanted.most}};
    const auto busy = [&] {
        writer.Note(L"the running watch is busy; waiting for its answer, a minute at most (Ctrl-C gives up)");
    };
    const std::optional<WatchAnswer> answer = AskWatch(request, use, {AnswerLimit, busy});
    return answer ? std::optional(FromJson(*answer)) : std::nullopt;
}

std::optional<Json> AnswerExport(COrbWatcher& watcher, const Json& request)
{
    const bool whole = request.is_object() && request.value("ask", Json()) == "export" && request.contains("to") &&
                       request["to"].is_string() && request.contains("max") && request["max"].is_number_integer();
    if (!whole)
        return std::nullopt;
    const PendingExported exported =
        ExportPending(watcher, {FromUtf8(request["to"].get<std::string>()), request["max"].get<int>(), {}});
    return Json{{"any", exported.anyPending},
                {"count", exported.count},
                {"more", exported.more},
                {"failure", ToUtf8(exported.failure)},
                {"gap", ToUtf8(exported.gap)}};
}
