#include "host/records/EstimateRecords.h"

#include "host/EstimateReport.h"
#include "host/ShownPath.h"
#include "support/HarmlessText.h"

namespace
{

constexpr std::size_t RowsForPeople = 15;

std::string ShownEdit(const std::wstring& edit)
{
    for (const std::wstring_view word : {L"include ", L"exclude "})
        if (edit.starts_with(word))
            return ToUtf8(word) + RecordText::Path(std::wstring_view(edit).substr(word.size()));
    return ToUtf8(HarmlessText(edit));
}

RecordFields Row(const std::wstring_view name, const SizeTotal& total)
{
    return {{"name", ToUtf8(name)}, {"files", total.files}, {"size", total.bytes}};
}

std::string RowLine(const char* label, const std::wstring_view name, const SizeTotal& total)
{
    return RecordText::Size(total, label + (name.empty() ? "(none)" : RecordText::Path(name)));
}

} // namespace

RecordFields TotalRecord::Fields() const
{
    return {{"step", step}, {"edit", ToUtf8(edit)}, {"files", total.files}, {"size", total.bytes}};
}

std::string TotalRecord::Line() const { return RecordText::Size(total, ShownEdit(edit)); }

RecordFields FolderRecord::Fields() const { return Row(spelling.Of(folder.path.GetString()), folder.total); }

std::string FolderRecord::Line() const
{
    return row < RowsForPeople ? RowLine("folder ", spelling.Of(folder.path.GetString()), folder.total) : "";
}

RecordFields ExtensionRecord::Fields() const { return Row(extension.extension.View(), extension.total); }

std::string ExtensionRecord::Line() const
{
    return row < RowsForPeople ? RowLine("kind ", extension.extension.View(), extension.total) : "";
}

RecordFields LeftOutRecord::Fields() const
{
    return {{"files", leftOut.total.files},
            {"size", leftOut.total.bytes},
            {"rule", ToUtf8(RuleText(leftOut.rule, PathForm::AsItIs))}};
}

std::string LeftOutRecord::Line() const
{
    return RecordText::Size(leftOut.total,
                            "left out: " + ToUtf8(HarmlessText(RuleText(leftOut.rule, PathForm::ToBePasted))));
}

RecordFields EstimateSummaryRecord::Fields() const
{
    return {{"files", total.files}, {"size", total.bytes}, {"unreadable", unreadable}, {"exit", exitCode}};
}
