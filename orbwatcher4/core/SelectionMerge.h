// Putting new rules into a selection file. Any thread; one at a time for a list of rules.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

class CMarkup;

namespace SelectionMerge
{

// Of rules with the same text, without regard to case, only the first one keeps it.
void KeepFirstTexts(const FilterList& rules);
// Puts the text of each rule that has one in the place of the first item with its path, or behind the last item. An
// item that is protected by its flags stays, and the rule's text is dropped. The texts are used up, unless the
// document has no "Data".
void Merge(CMarkup& document, const FilterList& rules);
// The same with a file, which is whole at any moment. False when the rules did not get in: the log says why, and they
// keep their texts. What is there and cannot be read is kept beside, with the ending ".bad", and an empty document
// takes its place; what can be read and is malformed is left alone.
bool MergeIntoFile(const CString& path, const FilterList& rules);

} // namespace SelectionMerge
