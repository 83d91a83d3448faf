// What an Item element of a selection file says, as rules. Portable.
//
// Nothing is refused as a whole: a value that is too long is dropped and the rule
// stays; an item without a path is no rule of the selection. One document
// belongs to one thread.
#pragma once

#include "orbwatcher4/filter/Filter.h"

class CMarkup;

// What is worth a line in the log.
class RuleLog
{
public:
    virtual void InfoTooLong(const CString& info) = 0;
    virtual void MaskTooLong() = 0;
    virtual void PatternRefused(const CString& error) = 0;

protected:
    ~RuleLog() = default;
};

// What reading asks about the drives of the machine.
class RuleDrives
{
public:
    // A path, as it is written, from which something is included.
    virtual void Includes(const CString& path) = 0;
    // Leads the rule's path to where the volume with this serial number is now, and says whether it is there.
    virtual void Relocate(Filter& rule, const CString& vid) = 0;

protected:
    ~RuleDrives() = default;
};

struct RuleReading {
    bool autoExclude = false;  // exclusions are the product's, not the user's
    bool markFlag = false;     // the rules also cover hidden files
    bool readItemText = false; // the rules keep the item's markup
};

// The rules of the document's current element: none, one, or one after its include halves.
FilterList ReadRules(const CMarkup& item, const RuleReading& reading, RuleDrives& drives, RuleLog& log);
FilterList ReadAdvancedRules(const CMarkup& item, RuleLog& log);
