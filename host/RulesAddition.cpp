#include "host/RulesAddition.h"

#include "host/Console.h"
#include "host/LibraryMessages.h"
#include "host/WatchPipe.h"

namespace
{

using Json = nlohmann::json;

constexpr DWORD AnswerLimit = 600000; // milliseconds

RulesAdded Unanswered(std::wstring why, ExitCode code = ExitFailure)
{
    RulesAdded none;
    none.unanswered = std::move(why);
    none.unansweredCode = code;
    return none;
}

RulesAdded FromJson(const WatchAnswer& given)
try {
    if (!given.failure.empty())
        return Unanswered(given.failure, given.code);
    const Json& answer = given.json;
    RulesAdded added;
    added.result = static_cast<AddQueueItemResult>(answer.at("result").get<int>());
    for (const Json& excluded : answer.at("excluded"))
        added.excluded.push_back(
            {excluded.at("kind").get<int>(), CString(FromUtf8(excluded.at("path").get<std::string>()))});
    for (const Json& failure : answer.at("failures"))
        added.failures.push_back(FromUtf8(failure.get<std::string>()));
    return added;
} catch (const Json::exception&) {
    return Unanswered(L"the answer of the running watch is none; end it first, or try again");
}

bool IsFlag(const Json& request, const char* name) { return request.contains(name) && request[name].is_boolean(); }

} // namespace

RulesAdded AddRules(COrbWatcher& watcher, const RulesAddition& wanted)
{
    LibraryMessages failures(LibraryMessages::Keep::Failures);
    RulesAdded added;
    added.result =
        watcher.AddNewQueueItem(wanted.rules.c_str(), wanted.deleteWhenDone, &added.excluded, wanted.mergeOnly);
    for (LibraryMessages::Line& line : failures.Take())
        if (!line.finding)
            added.failures.push_back(std::move(line.text));
    return added;
}

std::optional<RulesAdded> AskToAdd(const RulesAddition& wanted, const FolderUse& use, RecordWriter& writer)
{
    const Json request{{"ask", "add"},
                       {"rules", ToUtf8(wanted.rules)},
                       {"delete", wanted.deleteWhenDone},
                       {"mergeOnly", wanted.mergeOnly}};
    const auto busy = [&] {
        writer.Note(L"the running watch is busy; waiting for its answer, ten minutes at most (Ctrl-C gives up)");
    };
    const std::optional<WatchAnswer> answer = AskWatch(request, use, {AnswerLimit, busy});
    return answer ? std::optional(FromJson(*answer)) : std::nullopt;
}

std::optional<RulesAddition> AdditionOf(const Json& request)
{
    const bool whole = request.is_object() && request.value("ask", Json()) == "add" && request.contains("rules") &&
                       request["rules"].is_string() && IsFlag(request, "delete") && IsFlag(request, "mergeOnly");
    if (!whole)
        return std::nullopt;
    return RulesAddition{FromUtf8(request["rules"].get<std::string>()), request["delete"].get<bool>(),
                         request["mergeOnly"].get<bool>()};
}

Json AnswerOf(const RulesAdded& added)
{
    Json answer{{"result", static_cast<int>(added.result)}, {"excluded", Json::array()}, {"failures", Json::array()}};
    for (const ExcludedInfo& excluded : added.excluded)
        answer["excluded"].push_back({{"kind", excluded.kind}, {"path", ToUtf8(excluded.path.View())}});
    for (const std::wstring& failure : added.failures)
        answer["failures"].push_back(ToUtf8(failure));
    return answer;
}
