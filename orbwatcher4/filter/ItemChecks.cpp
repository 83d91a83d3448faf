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
bool IsLetter(wchar_t unit) { return (unit >= L'a' && unit <= L'z') || (unit >= L'A' && unit <= L'Z'); }
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

// Returns the list that a mask with wildcards and other separators probably means; empty when there is none.
std::wstring MeantEndings(std::wstring_view mask)
{
    std::wstring meant;
    while (!mask.empty()) {
        std::wstring_view ending = mask.substr(0, mask.find_first_of(L";,|"));
        mask.remove_prefix(std::min(ending.size() + 1, mask.size()));
        ending.remove_prefix(ending.find_last_of(L"*?") + 1); // nothing when there is none
        ending.remove_prefix(std::min(ending.find_first_not_of(L' '), ending.size()));
        ending = ending.substr(0, ending.find_last_not_of(L' ') + 1);
        if (!ending.empty())
            meant += (meant.empty() ? L"" : L";") + std::wstring(ending);
    }
    return meant;
}

std::wstring EndingsMeant(std::wstring_view mask)
{
    const std::wstring meant = MeantEndings(mask);
    return meant.empty() ? std::wstring() : L"; is " + ItemChecks::Quoted(meant) + L" meant?";
}

// `mask`: the list that the ending is in.
std::wstring OfEnding(std::wstring_view ending, std::wstring_view mask, bool asterisksGo)
{
    if (ending.find_first_not_of(L' ') == ending.npos)
        return L"an ending of spaces alone matches no name";
    if (ending.front() == L' ' || ending.back() == L' ')
        return L"the ending " + ItemChecks::Quoted(ending) + L" begins or ends with a space, which counts";
    // In the advanced filters an asterisk at the beginning has no effect.
    const std::size_t wildcard =
        asterisksGo && ending.front() == L'*' ? ending.find_first_of(L"*?", 1) : ending.find_first_of(L"*?");
    const bool separated = ending.find_first_of(L",|") != ending.npos;
    const wchar_t* const separator = separated ? L"; several are separated by \";\"" : L"";
    if (wildcard != ending.npos)
        return L"the ending " + ItemChecks::Quoted(ending) + L" holds a wildcard, and there are none: " +
               (asterisksGo ? L"asterisks are removed, and a question mark is itself" : L"it matches no name") +
               separator + EndingsMeant(mask);
    return separated ? L"the ending " + ItemChecks::Quoted(ending) + L" is one ending" + separator + EndingsMeant(mask)
                     : L"";
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

std::wstring ItemChecks::OfNoValue(std::wstring_view name, bool quoted, std::wstring_view effect)
{
    return std::wstring(name) + (quoted ? L"=\"\"" : L"=") + L" has no value" + std::wstring(effect);
}

std::wstring ItemChecks::OfUnquoted(std::wstring_view name, std::wstring_view value)
{
    const std::size_t equals = value.find(L'=');
    const bool isNext = equals != value.npos && equals != 0 &&
                        std::all_of(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(equals), IsLetter);
    return isNext ? std::wstring(name) + L"= has no value: what stands behind it, " +
                        std::wstring(value.substr(0, LongestQuoted)) + L", was taken for it"
                  : L"";
}

std::wstring ItemChecks::OfAmpersand(std::wstring_view name)
{
    return L"the value of " + Quoted(name) +
           L" holds an ampersand, and behind it what XML does not know; it stays as it is written. An ampersand is "
           L"written as &amp;";
}

std::wstring ItemChecks::OfVolume(std::wstring_view vid)
{
    return Assigned(L"vid", vid) + L" is the number of no drive that is there; the path stays as it is written";
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
        if (std::wstring text = OfEnding(ending, mask, file == In::AdvancedFilters); !text.empty())
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
