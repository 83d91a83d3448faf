#include "orbwatcher4/core/selection/SelectionMerge.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/DiskNames.h"
#include "orbwatcher4/filter/DocumentFile.h"
#include "support/Backslash.h"
#include "support/FileReplacement.h"
#include "support/NoCaseKeys.h"
#include "support/Numbers.h"
#include "xml/Markup.h"

#include <unordered_map>
#include <unordered_set>

namespace
{

void LogFailure(const wchar_t* what, const CString& path)
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s: %s", what, path.GetString());
}

// A path of the selection, with the rules for it.
class Place
{
public:
    void Add(CString text) { m_texts.push_back(std::move(text)); }
    bool IsSettled() const { return m_texts.empty(); }

    // Returns the markup that replaces the item at this path; empty when the item stays.
    CString Replacing(const CMarkup& item) { return Settle(true, IsProtected(item)); }
    // Returns the markup for a path without an item.
    CString New() { return Settle(false, false); }

private:
    static bool IsProtected(const CMarkup& item)
    {
        const std::int32_t flags = ToInt32(item.GetAttribute(L"flags").View());
        return (static_cast<std::uint32_t>(flags) & (RuleFlags::Protected | RuleFlags::Internal)) != 0;
    }
    static bool IsProtected(const CString& text)
    {
        CMarkup item;
        return item.SetDoc(text) && item.FindElement(L"Item") && IsProtected(item);
    }

    // Applies one rule after the other, each to the result of the one before.
    CString Settle(bool occupied, bool isProtected)
    {
        CString last;
        for (CString& text : m_texts) {
            if (occupied && isProtected)
                break;
            occupied = true;
            isProtected = IsProtected(text);
            last = std::move(text);
        }
        m_texts.clear();
        return last;
    }

    std::vector<CString> m_texts; // of the rules with this path, in order
};

// Merges all rules in one pass over the items of the file, however many there are of both.
class Merging
{
public:
    explicit Merging(const FilterList& rules)
    {
        for (const FilterPtr& rule : rules) {
            if (rule->itemText.IsEmpty())
                continue;
            const auto [place, isNew] = m_places.try_emplace(KeyOf(rule->path));
            if (isNew)
                m_order.push_back(&*place);
            place->second.Add(rule->itemText);
            rule->itemText.Empty();
        }
    }

    // Merges with the cursor in "Data". Returns false when the document refuses a rule; the other rules are merged
    // then.
    bool Into(CMarkup& document)
    {
        bool all = true;
        while (document.FindElement(L"Item")) {
            const auto place = m_places.find(KeyOf(document.GetAttribute(L"path")));
            if (place == m_places.end() || place->second.IsSettled())
                continue;
            const CString text = place->second.Replacing(document);
            all = (text.IsEmpty() || Said(document.ReplaceElement(text), place->first)) && all;
        }
        for (Places::value_type* place : m_order) {
            const CString text = place->second.IsSettled() ? CString() : place->second.New();
            all = (text.IsEmpty() || Said(document.InsertMarkup(text), place->first)) && all;
        }
        return all;
    }

private:
    static bool Said(bool merged, const CString& path)
    {
        if (!merged)
            LogFailure(L"A rule could not be merged", path);
        return merged;
    }

    // The file may spell a path in another way than the rule, and may write a folder's path without the trailing
    // backslash.
    CString KeyOf(const CString& path) { return WithoutBackslash(ComparableRulePath(path, &m_names)); }

    using Places = std::unordered_map<CString, Place, NoCase::Hash, NoCase::Equal>;

    DiskNames m_names;
    Places m_places; // by KeyOf
    std::vector<Places::value_type*> m_order;
};

bool EnterData(CMarkup& document)
{
    document.ResetPosition();
    return document.FindElement(L"Data") && document.EnterElement();
}

} // namespace

void SelectionMerge::KeepFirstTexts(const FilterList& rules)
{
    std::unordered_set<CString, NoCase::Hash, NoCase::Equal> texts;
    for (const FilterPtr& rule : rules)
        if (!rule->itemText.IsEmpty() && !texts.insert(rule->itemText).second)
            rule->itemText.Empty();
}

void SelectionMerge::Merge(CMarkup& document, const FilterList& rules)
{
    if (EnterData(document))
        Merging(rules).Into(document);
}

bool SelectionMerge::MergeIntoFile(const CString& path, const FilterList& rules)
{
    if (rules.size() > 1)
        KeepFirstTexts(rules);
    CMarkup document;
    const bool opened = document.Load(path);
    if (!opened && !SetAside(path)) {
        LogFailure(L"Rules could not be merged, the selection can neither be read nor kept beside", path);
        return false;
    }
    if (!document.GetParseError().IsEmpty()) {
        LogFailure(L"Rules could not be merged, the selection is malformed", path);
        return false;
    }
    std::vector<CString> texts;
    for (const FilterPtr& rule : rules)
        texts.push_back(rule->itemText);
    const bool found = opened && EnterData(document);
    const bool merged = found && Merging(rules).Into(document);
    const bool saved = SaveDocument(document, path);
    if (saved && merged)
        return true;
    if (!saved && !opened)
        TakeBack(path);
    if (!found)
        LogFailure(L"Rules could not be merged, there is no selection to merge them into", path);
    else if (!saved)
        LogFailure(L"Rules could not be merged, the selection cannot be written", path);
    for (std::size_t i = 0; i < rules.size(); ++i)
        rules[i]->itemText = texts[i];
    return false;
}
