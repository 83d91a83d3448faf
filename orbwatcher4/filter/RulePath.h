// The path of a rule in the form in which the system reports changes: C:\docs\letter.odt or \\server\share\docs\.
//
// People and programs also write C:/docs, C:\\docs, C:\docs\..\docs, "C:\docs." or \\?\C:\docs. Rules compare as text,
// so that a rule in such a spelling would select nothing. The form is what GetFullPathNameW makes of a full path, with
// four differences: a prefix \\?\ goes, with the names behind it as they are; a name that ends in dots or spaces stays
// when the disk has it so; a name that looks like a short one (DOCUME~1) becomes the long one when the disk knows it;
// and a path without a drive or share is refused. Upper and lower case stay. Portable, any thread.
#pragma once

#include "mfc/CString.h"

#include <string_view>

// Answers the questions about the disk.
class RulePathDisk
{
public:
    // Returns the last name of the path as the disk spells it: the long one for a short one. The path is taken letter
    // by letter. Empty when nothing is there.
    virtual CString NameOf(const CString& path) = 0;

protected:
    ~RulePathDisk() = default;
};

struct RulePath {
    enum class Refusal { None, Relative, NoDrive, NoBackslash, NoShare, Device, Volume };

    Refusal refusal = Refusal::None;
    CString text;                  // the form; as written when it is refused
    bool impossibleName = false;   // a name holds a unit that no name can have
    bool unknownShortName = false; // a name looks like a short one, and the disk does not know it
    bool doubtfulEnd = false;      // a name ends in a dot or space, and the disk does not have it
};

// Returns true when the path is in the form and nothing about it is to be asked or said. One pass, no allocation.
bool IsPlainRulePath(std::wstring_view written);

// `disk` may be null: then short names, and names that end in dots and spaces, follow the text alone.
RulePath FormRulePath(std::wstring_view written, RulePathDisk* disk);

// Returns the form, for comparing; the text itself when the path is refused.
CString ComparableRulePath(const CString& written, RulePathDisk* disk);

// Returns why a path is refused, for people.
const wchar_t* WhyRefused(RulePath::Refusal refusal);
