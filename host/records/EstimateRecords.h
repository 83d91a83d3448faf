// Records of orbwatch estimate.
#pragma once

#include "host/EstimateReport.h"
#include "host/PathSpelling.h"
#include "host/records/Record.h"
#include "support/HarmlessText.h"

// The total after a step.
struct TotalRecord {
    static constexpr RecordKind Kind{
        "total",
        "files and bytes of the selection (step 0; with --profile of none of its profiles), and after each edit"};
    std::size_t step;
    std::wstring edit; // a word and, for some words, a path
    SizeTotal total;
    RecordFields Fields() const
    {
        return {{"step", step}, {"edit", ToUtf8(edit)}, {"files", total.files}, {"size", total.bytes}};
    }
    std::string Line() const
    {
        for (const std::wstring_view word : {L"include ", L"exclude "})
            if (edit.starts_with(word))
                return RecordText::Size(total, ToUtf8(word) + RecordText::Path(edit.substr(word.size())));
        return RecordText::Size(total, ToUtf8(HarmlessText(edit)));
    }
};

// A row of a table, of which people see only the first rows.
struct EstimateRow {
    std::size_t number;
    bool IsForPeople() const { return number < 15; }
    RecordFields Fields(std::wstring_view name, const SizeTotal& total) const
    {
        return {{"name", ToUtf8(name)}, {"files", total.files}, {"size", total.bytes}};
    }
    std::string Line(const char* label, std::wstring_view name, const SizeTotal& total) const
    {
        return RecordText::Size(total, label + (name.empty() ? "(none)" : RecordText::Path(name)));
    }
};

struct FolderRecord {
    static constexpr RecordKind Kind{"folder", "files and bytes of a folder, the largest first"};
    EstimateRow row;
    const Estimate::Folder& folder;
    PathSpelling& spelling; // gives the folders their names on the disk
    RecordFields Fields() const { return row.Fields(spelling.Of(folder.path.GetString()), folder.total); }
    std::string Line() const
    {
        return row.IsForPeople() ? row.Line("folder ", spelling.Of(folder.path.GetString()), folder.total) : "";
    }
};

struct ExtensionRecord {
    static constexpr RecordKind Kind{"extension", "files and bytes of an ending, the largest first"};
    EstimateRow row;
    const Estimate::Extension& extension;
    RecordFields Fields() const { return row.Fields(extension.extension.View(), extension.total); }
    std::string Line() const
    {
        return row.IsForPeople() ? row.Line("kind ", extension.extension.View(), extension.total) : "";
    }
};

struct LeftOutRecord {
    static constexpr RecordKind Kind{"leftOut", "files and bytes that a rule leaves out"};
    const Estimate::LeftOut& leftOut;
    RecordFields Fields() const
    {
        const std::string rule = ToUtf8(RuleText(leftOut.rule, PathForm::AsItIs));
        return {{"files", leftOut.total.files}, {"size", leftOut.total.bytes}, {"rule", rule}};
    }
    std::string Line() const
    {
        const std::wstring rule = HarmlessText(RuleText(leftOut.rule, PathForm::ToBePasted));
        return RecordText::Size(leftOut.total, "left out: " + ToUtf8(rule));
    }
};

struct EstimateSummaryRecord {
    static constexpr RecordKind Kind{"summary", "at the end: files, bytes, how much could not be read"};
    SizeTotal total;
    std::uint64_t unreadable;
    int exitCode;
    RecordFields Fields() const
    {
        return {{"files", total.files}, {"size", total.bytes}, {"unreadable", unreadable}, {"exit", exitCode}};
    }
    std::string Line() const { return unreadable == 0 ? "" : "could not be read: " + std::to_string(unreadable); }
};
