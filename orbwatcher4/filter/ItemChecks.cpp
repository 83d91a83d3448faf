#include "orbwatcher4/filter/ItemChecks.h"

#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/Numbers.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

using namespace std::string_view_literals;

namespace
{

constexpr std::size_t LongestQuoted = 120;
constexpr std::size_t MostEdits = 2; // between a name and the one that is meant

constexpr std::array InBoth = {L"exclude"sv,        L"type"sv, L"includeSub"sv, L"flags"sv,
                               L"additionalInfo"sv, L"path"sv, L"mask"sv,       L"masktype"sv};
// The advanced filters may carry these along; they have no meaning there.
constexpr std::array Carried = {L"pluginId"sv, L"pluginName"sv, L"jobid"sv};
constexpr std::array InSelection = {L"vid"sv, L"PRMask"sv};
constexpr std::array InAdvancedFilters = {L"isregex"sv};
constexpr std::array Elements = {L"Item"sv, L"GlobalExclude"sv, L"Plugin"sv};

template <typename Names>
bool Holds(const Names& names, std::wstring_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Levenshtein's distance without regard to case.
std::size_t EditsBetween(std::wstring_view left, std::wstring_view right)
{
    std::vector<std::size_t> row(right.size() + 1);
    for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = i;
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < right.size(); ++j) {
            const bool same = EqualNoCase(left.substr(i, 1), right.substr(j, 1));
            const std::size_t replaced = diagonal + (same ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

template <typename Names>
void FindNearest(const Names& names, std::wstring_view name, std::wstring_view& nearest, std::size_t& edits)
{
    for (const std::wstring_view one : names)
        if (const std::size_t distance = EditsBetween(name, one); distance < edits) {
            nearest = one;
            edits = distance;
        }
}

std::wstring Meant(std::wstring_view nearest)
{
    return nearest.empty() ? std::wstring() : L"; is " + std::wstring(nearest) + L" meant?";
}

// A long name is not compared, because no known name is long.
std::size_t EditsAllowed(std::wstring_view name)
{
    return name.size() > 30 ? 0 : std::min(MostEdits, name.size() / 2) + 1;
}

std::wstring Assigned(std::wstring_view name, std::wstring_view value)
{
    return std::wstring(name) + L"=" + ItemChecks::Quoted(value);
}

bool MeansYes(std::wstring_view value)
{
    constexpr std::array words = {L"true"sv, L"yes"sv, L"on"sv, L"y"sv, L"t"sv};
    return std::any_of(words.begin(), words.end(), [&](std::wstring_view word) { return EqualNoCase(value, word); });
}

bool MeansNo(std::wstring_view value)
{
    constexpr std::array words = {L"false"sv, L"no"sv, L"off"sv, L"n"sv, L"f"sv};
    return std::any_of(words.begin(), words.end(), [&](std::wstring_view word) { return EqualNoCase(value, word); });
}

bool IsSpace(wchar_t unit) { return unit == L' ' || (unit >= L'\t' && unit <= L'\r'); }
bool IsDigit(wchar_t unit) { return unit >= L'0' && unit <= L'9'; }

// Returns a sign with digits, and the rest of the text in `rest`.
std::wstring_view DigitsOf(std::wstring_view value, std::wstring_view& rest)
{
    const auto begin = std::find_if_not(value.begin(), value.end(), IsSpace);
    const auto digits = begin != value.end() && (*begin == L'-' || *begin == L'+') ? begin + 1 : begin;
    const auto end = std::find_if_not(digits, value.end(), IsDigit);
    rest = std::wstring_view(end, value.end());
    return {digits, end};
}

bool FitsIn32Bits(std::wstring_view digits, bool negative)
{
    std::uint64_t number = 0;
    for (const wchar_t digit : digits) {
        number = number * 10 + static_cast<std::uint64_t>(digit - L'0');
        if (number > (negative ? 0x80000000u : 0xFFFFFFFFu))
            return false;
    }
    return true;
}

std::wstring OfEnding(std::wstring_view ending, bool asterisksGo)
{
    if (ending.find_first_not_of(L' ') == ending.npos)
        return L"an ending of spaces alone matches no name";
    if (ending.front() == L' ' || ending.back() == L' ')
        return L"the ending " + ItemChecks::Quoted(ending) + L" begins or ends with a space, which counts";
    // In the advanced filters an asterisk at the beginning has no effect.
    const std::size_t wildcard =
        asterisksGo && ending.front() == L'*' ? ending.find_first_of(L"*?", 1) : ending.find_first_of(L"*?");
    if (wildcard != ending.npos) {
        const std::size_t plain = ending.find_last_of(L"*?") + 1;
        return L"the ending " + ItemChecks::Quoted(ending) + L" holds a wildcard, and there are none: " +
               (asterisksGo ? L"asterisks are removed, and a question mark is itself" : L"it matches no name") +
               (plain < ending.size() ? L"; is " + ItemChecks::Quoted(ending.substr(plain)) + L" meant?" : L"");
    }
    return ending.find_first_of(L",|") == ending.npos
               ? L""
               : L"the ending " + ItemChecks::Quoted(ending) + L" is one ending; several are separated by ;";
}

// Returns true when the text contains an entity that XML does not know.
bool HoldsEntity(std::wstring_view path)
{
    const std::size_t begin = path.find(L'&');
    if (begin == path.npos)
        return false;
    const std::size_t end =
        path.find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789#", begin + 1);
    return end != path.npos && end > begin + 1 && path[end] == L';';
}

} // namespace

std::wstring ItemChecks::Quoted(std::wstring_view text)
{
    const bool cut = text.size() > LongestQuoted;
    return L"\"" + std::wstring(text.substr(0, LongestQuoted)) + (cut ? L"...\"" : L"\"");
}

bool ItemChecks::IsWholeNumber(std::wstring_view value)
{
    if (value.empty() || (value.size() == 1 && IsDigit(value[0])))
        return true;
    std::wstring_view rest;
    const std::wstring_view digits = DigitsOf(value, rest);
    return !digits.empty() && std::all_of(rest.begin(), rest.end(), IsSpace) &&
           (digits.size() < 10 || FitsIn32Bits(digits, value.find(L'-') != value.npos));
}

std::wstring ItemChecks::OfNumber(std::wstring_view name, std::wstring_view value)
{
    if (IsWholeNumber(value))
        return {};
    std::wstring_view rest;
    const std::wstring_view digits = DigitsOf(value, rest);
    const std::wstring counts = L" and counts as " + std::to_wstring(ToInt32(value));
    if (digits.empty())
        return Assigned(name, value) + L" is no number" + counts +
               (MeansYes(value)  ? L"; write " + Assigned(name, L"1")
                : MeansNo(value) ? L"; write " + Assigned(name, L"0")
                                 : L"");
    if (std::all_of(rest.begin(), rest.end(), IsSpace))
        return Assigned(name, value) + L" does not fit into 32 bits" + counts;
    return Assigned(name, value) + L" has text behind its number" + counts;
}

std::wstring ItemChecks::OfExclude(std::wstring_view value)
{
    return Assigned(L"exclude", value) + L" makes a rule that includes; only exclude=\"1\" excludes";
}

bool ItemChecks::IsKnownAttribute(std::wstring_view name, In file)
{
    return Holds(InBoth, name) || Holds(Carried, name) ||
           (file == In::Selection ? Holds(InSelection, name) : Holds(InAdvancedFilters, name));
}

std::wstring ItemChecks::OfAttribute(std::wstring_view name, In file)
{
    if (IsKnownAttribute(name, file))
        return {};
    const std::wstring what = L"the attribute " + Quoted(name);
    if (file == In::Selection && Holds(InAdvancedFilters, name))
        return what + L" is read in the advanced filters only; the mask stays a list of endings";
    if (file == In::AdvancedFilters && Holds(InSelection, name))
        return what + L" is read in a selection only and has no effect here";
    std::wstring_view nearest;
    std::size_t edits = EditsAllowed(name);
    FindNearest(InBoth, name, nearest, edits);
    FindNearest(Carried, name, nearest, edits);
    file == In::Selection ? FindNearest(InSelection, name, nearest, edits)
                          : FindNearest(InAdvancedFilters, name, nearest, edits);
    return what + L" is not known and has no effect" + Meant(nearest);
}

std::wstring ItemChecks::OfElement(std::wstring_view name)
{
    std::wstring_view nearest;
    std::size_t edits = EditsAllowed(name);
    FindNearest(Elements, name, nearest, edits);
    return L"the element " + Quoted(name) + L" is not known and gives no rule" + Meant(nearest);
}

std::wstring ItemChecks::OfMask(std::wstring_view mask, In file)
{
    // Nearly every mask is like this, and a large selection has very many.
    if (mask.find_first_of(L"*?,| ") == mask.npos && mask.find_first_not_of(L';') != mask.npos)
        return {};
    bool any = false;
    for (std::wstring_view rest = mask; !rest.empty();) {
        const std::wstring_view ending = rest.substr(0, rest.find(L';'));
        rest.remove_prefix(std::min(ending.size() + 1, rest.size()));
        if (ending.empty())
            continue;
        any = true;
        if (std::wstring text = OfEnding(ending, file == In::AdvancedFilters); !text.empty())
            return text;
    }
    return any || mask.empty() ? L""
                               : Assigned(L"mask", mask) + L" names no ending, so that the rule applies to nothing";
}

std::wstring ItemChecks::OfPath(std::wstring_view written, const RulePath& formed)
{
    const std::wstring path = Assigned(L"path", written);
    if (formed.impossibleName)
        return path + L" holds a character that no name has, so that the rule applies to nothing; a path has no "
                      L"wildcards, endings belong into the mask";
    if (HoldsEntity(written))
        return path + L" holds a name for a character that XML does not know; it stays as it is written";
    if (formed.unknownShortName)
        return path + L" holds what looks like a short name, and the disk does not know it; write the long one";
    if (formed.doubtfulEnd)
        return path + L" holds a name that ends in a dot or a space, and the disk has none";
    return {};
}

std::wstring ItemChecks::OfKind(const Filter& rule)
{
    if (!rule.type && EndsInBackslash(rule.path))
        return L"a rule for a single file ends in a backslash, so that it applies to nothing in that folder; is "
               L"type=\"1\" meant?";
    if (!rule.type && rule.includeSub)
        return L"includeSub has no effect on a rule for a single file; is type=\"1\" meant?";
    if (rule.type && !rule.includeSub)
        return L"the rule applies to the folder itself and to nothing in it; is includeSub=\"1\" meant?";
    return {};
}
