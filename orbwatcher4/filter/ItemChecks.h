// Checks whether an item of a selection file probably means something else. Each function returns a sentence for
// people, which names the value, its effect, and what to write instead; empty when nothing is wrong. Portable, any
// thread.
#pragma once

#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/RulePath.h"

#include <string>
#include <string_view>

namespace ItemChecks
{

// The file that the item is in.
enum class In { Selection, AdvancedFilters };

// Returns true for an empty text, and for a number that is read as it stands.
bool IsWholeNumber(std::wstring_view value);
std::wstring OfNumber(std::wstring_view name, std::wstring_view value);
// An attribute without a value, and the effect of that. `quoted`: it has quotation marks.
std::wstring OfNoValue(std::wstring_view name, bool quoted, std::wstring_view effect);
// A value without quotation marks; tells when it is the next attribute.
std::wstring OfUnquoted(std::wstring_view name, std::wstring_view value);
// An attribute with an ampersand that begins nothing known.
std::wstring OfAmpersand(std::wstring_view name);
// The serial number of a volume that no drive has now.
std::wstring OfVolume(std::wstring_view vid);
// `exclude` as a number that is neither 0 nor 1.
std::wstring OfExclude(std::wstring_view value);
// An attribute that is not read in this file.
std::wstring OfAttribute(std::wstring_view name, In file);
bool IsKnownAttribute(std::wstring_view name, In file);
// An element below the root that is not read.
std::wstring OfElement(std::wstring_view name);
// A list of endings.
std::wstring OfMask(std::wstring_view mask, In file);
// A path that was brought to the system's form.
std::wstring OfPath(std::wstring_view written, const RulePath& formed);
// A rule as a whole.
std::wstring OfKind(const Filter& rule);

// Returns the text in quotation marks, cut when it is long.
std::wstring Quoted(std::wstring_view text);

} // namespace ItemChecks
