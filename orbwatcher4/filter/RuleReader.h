// What an Item element of a selection file says, as rules. Portable.
//
// A value that is too long is dropped and the rule stays. An item without a path, or with one that names neither drive
// nor share, is no rule. A path comes into the form in which the system reports changes (RulePath.h). What is probably
// not meant is read as it stands, and said. One document belongs to one thread.
#pragma once

#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/RuleFinding.h"
#include "orbwatcher4/filter/RulePath.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

class CMarkup;

// Receives what is worth a line in the log.
class RuleLog
{
public:
    // Something about the document's current element.
    virtual void Found(RuleFinding::Kind kind, const std::wstring& text) = 0;
    virtual void InfoTooLong(const CString& info) = 0;
    virtual void MaskTooLong() = 0;
    virtual void PatternRefused(const CString& error) = 0;

protected:
    ~RuleLog() = default;
};

// What reading asks about the drives of the machine.
class RuleDrives : public RulePathDisk
{
public:
    // Takes notice of a path from which something is included.
    virtual void Includes(const CString& path) = 0;
    // Changes the rule's path to where the volume with this serial number is now, and notes in the rule whether it is
    // there.
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
    void ReadAdvanced(const CMarkup& item, RuleDrives& drives, FilterList& rules);

private:
    // Rules come in blocks: a large selection has very many of them, and they go together, too. Each block is larger
    // than the one before, so that a rule that is added alone keeps no memory for others.
    static constexpr std::size_t MostInBlock = 64;

    enum class File { Selection, AdvancedFilters };

    FilterPtr NewRule();
    // Both count the attributes that the item has.
    std::wstring_view Attribute(const CMarkup& item, std::wstring_view name);
    std::int32_t Number(const CMarkup& item, std::wstring_view name);
    void Say(RuleFinding::Kind kind, const std::wstring& text);
    void ReadKind(const CMarkup& item, Filter& rule);
    // Returns false when the item is no rule.
    bool ReadPath(const CMarkup& item, RuleDrives& drives, CString& path);
    bool ReadAdvancedPath(const CMarkup& item, RuleDrives& drives, Filter& rule);
    void ReadPattern(const CMarkup& item, Filter& rule);
    bool IsSplit(const CMarkup& item, const Filter& rule);
    void ReadProfileMask(const CMarkup& item, Filter& rule, FilterList& rules);
    // Says which attributes were not read. To be called when all others were.
    void CheckAttributes(const CMarkup& item, File file);
    void CheckKind(const Filter& rule);
    CString ReadInfo(const CMarkup& item);
    CString ReadMask(const CMarkup& item);

    RuleLog& m_log;
    std::size_t m_attributes = 0; // of the item, as far as they were read
    bool m_doubted = false;       // something was said of the item
    std::shared_ptr<Filter[]> m_block;
    std::size_t m_rulesInBlock = 0;
    std::size_t m_usedOfBlock = 0;
    // Of the last item that had one.
    CString m_info;
    CString m_mask;
    CString m_pluginName;
};
