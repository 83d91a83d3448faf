// What an Item element of a selection file says, as rules. Portable.
//
// Nothing is refused as a whole: a value that is too long is dropped and the rule
// stays; an item without a path is no rule of the selection. One document
// belongs to one thread.
#pragma once

#include "orbwatcher4/filter/Filter.h"

#include <cstddef>
#include <memory>
#include <string_view>

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
    virtual void Relocate(Filter& rule, std::wstring_view vid) = 0;

protected:
    ~RuleDrives() = default;
};

struct RuleReading {
    bool autoExclude = false;  // exclusions are the product's, not the user's
    bool markFlag = false;     // the rules also cover hidden files
    bool readItemText = false; // the rules keep the item's markup
};

// Reads one item after the other. The texts that items share are kept once.
class RuleReader
{
public:
    // `log` must outlive it.
    explicit RuleReader(RuleLog& log) : m_log(log) {}

    // Appends the rules of the document's current element: none, one, or one after its include halves.
    void Read(const CMarkup& item, const RuleReading& reading, RuleDrives& drives, FilterList& rules);
    void ReadAdvanced(const CMarkup& item, FilterList& rules);

private:
    // Rules come in blocks: a large selection has very many of them, and they go together, too. Each block is larger
    // than the one before, so that a rule that is added alone keeps no memory for others.
    static constexpr std::size_t MostInBlock = 64;

    FilterPtr NewRule();
    CString ReadInfo(const CMarkup& item);
    CString ReadMask(const CMarkup& item);

    RuleLog& m_log;
    std::shared_ptr<Filter[]> m_block;
    std::size_t m_rulesInBlock = 0;
    std::size_t m_usedOfBlock = 0;
    // Of the last item that had one.
    CString m_info;
    CString m_mask;
    CString m_pluginName;
};
