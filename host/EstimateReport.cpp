#include "host/EstimateReport.h"

#include "host/Console.h"
#include "host/PathSpelling.h"
#include "host/ShownPath.h"
#include "host/records/RecordText.h"
#include "host/report/ReportPage.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string_view>

namespace
{

using Json = nlohmann::ordered_json;

// A folder with less than this share of everything is shown with its neighbours as one.
constexpr std::uint64_t SmallestShare = 2000;
// The same holds for a folder that is deeper than this: the page's data is written and read level by level, on a stack.
constexpr std::ptrdiff_t DeepestFolder = 200;

// A page with this line may be replaced by another one.
constexpr std::string_view Mark = "<!-- made by orbwatch estimate -->\n";

const char* NameOf(FileKind kind)
{
    switch (kind) {
    case FileKind::Document:
        return "documents";
    case FileKind::Picture:
        return "pictures";
    case FileKind::Video:
        return "videos";
    case FileKind::Sound:
        return "sound";
    case FileKind::Archive:
        return "archives";
    case FileKind::Data:
        return "mail and data";
    case FileKind::Program:
        return "programs";
    default:
        return "other";
    }
}

struct Node {
    std::wstring path;
    SizeTotal total;
    FileKind mostly = FileKind::Other;
    std::vector<Node*> folders;
};

// The folders of an estimate as a tree, without those that are too small or too deep to be seen.
class Tree
{
public:
    explicit Tree(const Estimate& estimate)
    {
        m_top.total = estimate.included;
        // Each folder comes after the folders that it is in, because the largest come first; or beside them, when it is
        // all that they hold.
        for (const Estimate::Folder& folder : estimate.folders) {
            const std::wstring path(folder.path.View());
            if (folder.total.bytes * SmallestShare < estimate.included.bytes ||
                std::count(path.begin(), path.end(), L'\\') > DeepestFolder)
                continue;
            m_nodes[path] = {path, folder.total, folder.mostly, {}};
        }
        for (auto& [path, node] : m_nodes)
            ParentOf(path).folders.push_back(&node);
    }

    Json ToJson() { return ToJson(m_top, L""); }

private:
    Node& ParentOf(std::wstring path)
    {
        for (std::size_t slash = path.rfind(L'\\'); slash != std::wstring::npos && slash != 0;
             slash = path.rfind(L'\\')) {
            path.resize(slash);
            if (const auto found = m_nodes.find(path); found != m_nodes.end())
                return found->second;
        }
        return m_top;
    }

    Json ToJson(const Node& node, const std::wstring& name)
    {
        Json made = {{"n", ToUtf8(name)}, {"f", node.total.files}, {"s", node.total.bytes}, {"k", NameOf(node.mostly)}};
        if (node.folders.empty())
            return made;
        SizeTotal rest = node.total;
        Json parts = Json::array();
        for (const Node* folder : node.folders) {
            rest.files -= folder->total.files;
            rest.bytes -= folder->total.bytes;
            parts.push_back(ToJson(*folder, m_spelling.NameOf(folder->path, node.path)));
        }
        if (rest.files != 0)
            parts.push_back({{"n", "files and smaller folders"}, {"f", rest.files}, {"s", rest.bytes}, {"r", true}});
        made["c"] = std::move(parts);
        return made;
    }

    Node m_top;
    std::map<std::wstring, Node> m_nodes;
    PathSpelling m_spelling;
};

Json Row(const std::string& name, const std::string& value, const SizeTotal& total)
{
    return {{name, value}, {"files", total.files}, {"size", total.bytes}};
}

Json DataOf(const EstimateReport& report)
{
    const Estimate& estimate = report.estimate;
    Json data = {{"selection", ToUtf8(report.selection)}, {"made", RecordText::Now()}};
    data["total"] = {{"files", estimate.included.files}, {"size", estimate.included.bytes}};
    data["tree"] = Tree(estimate).ToJson();
    data["extensions"] = Json::array();
    for (const Estimate::Extension& row : estimate.extensions) {
        data["extensions"].push_back(Row("name", ToUtf8(row.extension.View()), row.total));
        data["extensions"].back()["kind"] = NameOf(row.kind);
    }
    data["leftOut"] = Json::array();
    for (const Estimate::LeftOut& row : estimate.leftOut) {
        data["leftOut"].push_back(Row("rule", ToUtf8(RuleText(row.rule)), row.total));
        data["leftOut"].back()["edit"] = IsOfAnEdit(row.rule, report.edits);
    }
    data["unreadable"] = Json::array();
    for (const std::wstring& path : report.unreadable)
        data["unreadable"].push_back(ToUtf8(path));
    data["notCounted"] = Json::array();
    for (const std::wstring& path : report.notCounted)
        data["notCounted"].push_back(ToUtf8(path));
    data["edits"] = Json::array();
    for (const EstimateStep& step : report.steps)
        data["edits"].push_back(Row("edit", ToUtf8(step.words), step.total));
    return data;
}

} // namespace

std::wstring RuleText(const FilterPtr& rule, PathForm form)
{
    if (!rule)
        return L"no rule includes it";
    std::wstring text = rule->incEx == WatcherEnum::Exclude ? L"exclude " : L"include ";
    const std::wstring path(rule->path.View());
    text += form == PathForm::ToBePasted ? ShownPath(path) : path;
    if (!rule->mask.IsEmpty())
        text += L" (" + std::wstring(rule->isregex ? L"pattern " : L"mask ") + std::wstring(rule->mask.View()) + L")";
    if (rule->flags & RuleFlags::AutoExclude)
        text += L", automatic";
    return text;
}

bool IsOfAnEdit(const FilterPtr& rule, const std::vector<EstimateEdit>& edits)
{
    return rule && std::any_of(edits.begin(), edits.end(), [&](const EstimateEdit& edit) {
               const bool makes = edit.kind == EstimateEdit::Kind::Exclude || !rule->mask.IsEmpty();
               return makes && EqualNoCase(edit.path, WithoutBackslash(rule->path).View());
           });
}

bool IsEstimatePage(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::string begin(256, '\0');
    file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    return begin.find(Mark) != std::string::npos;
}

std::string EstimatePage(const EstimateReport& report)
{
    std::string data = DataOf(report).dump(-1, ' ', false, Json::error_handler_t::replace);
    // A name must not end the element that contains the data.
    for (std::size_t at = 0; (at = data.find('<', at)) != std::string::npos;)
        data.replace(at, 1, "\\u003c");
    std::string page = ReportPage;
    const std::string place = "/*DATA*/";
    page.replace(page.find(place), place.size(), data);
    return page.insert(page.find('\n') + 1, Mark);
}
