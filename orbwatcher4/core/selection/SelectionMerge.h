// Merges new rules into a selection file. Any thread, but one at a time for a list of rules.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

class CMarkup;

namespace SelectionMerge
{

// Keeps the text of only the first rule among rules with the same text, without regard to case.
void KeepFirstTexts(const FilterList& rules);
// Replaces the first item with the path of a rule by the rule's text, or appends the text after the last item. An item
// that is protected by its flags stays, and the rule's text is dropped. The texts are consumed, unless the document has
// no "Data".
void Merge(CMarkup& document, const FilterList& rules);
// Does the same with a file, which is complete at any moment. Returns false when the rules were not merged: the log
// gives the reason, and they keep their texts. A file that cannot be read is renamed with the ending ".bad", and an
// empty document takes its place; a file that is malformed is not changed.
bool MergeIntoFile(const CString& path, const FilterList& rules);

} // namespace SelectionMerge
