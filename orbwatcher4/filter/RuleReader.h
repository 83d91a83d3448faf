// Reads an Item element of a selection file as rules. Portable.
//
// A value that is too long is dropped, and the rule stays. An item without a path, or with a path that names neither
// drive nor share, is no rule. A path is brought to the form in which the system reports changes (RulePath.h). A value
// that is probably not meant is read as it stands and reported. One document belongs to one thread.
#pragma once

#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/RuleFinding.h"
#include "orbwatcher4/filter/RulePath.h"

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>

class CMarkup;

// Receives findings.
class RuleLog
{
public:
    // Reports a finding about the document's current element.
    virtual void Found(RuleFinding::Kind kind, const std::wstring& text) = 0;
    virtual void InfoTooLong(const CString& info) = 0;
    virtual void MaskTooLong() = 0;
    virtual void PatternRefused(const CString& error) = 0;

protected:
    ~RuleLog() = default;
};

// Answers questions about the drives of the machine.
class RuleDrives : public RulePathDisk
{
public:
    // Notes a path from which something is included.
    virtual void Includes(const CString& path) = 0;
    // Changes the rule's path to the present place of the volume with this serial number, and notes in the rule whether
    // the volume is there.
    virtual void Relocate(Filter& rule, std::wstring_view vid) = 0;

protected:
    ~RuleDrives() = default;
};

struct RuleReading {
    bool autoExclude = false;  // exclusions are the product's, not the user's
    bool markFlag = false;     // the rules also cover hidden files
    bool readItemText = false; // the rules keep the item's markup
};

// Reads one item after the other. Texts that items share are stored once.
class RuleReader
{
public:
    // `log` must outlive it.
    explicit RuleReader(RuleLog& log) : m_log(log) {}

    // Appends the rules of the document's current element: none, one, or one after its include halves.
    void Read(const CMarkup& item, const RuleReading& reading, RuleDrives& drives, FilterList& rules);
    void ReadAdvanced(const CMarkup& item, RuleDrives& drives, FilterList& rules);

private:
    // Rules are allocated in blocks, because a large selection has very many of them. Each block is larger than the one
    // before, so that a rule that is added alone does not hold memory for others.
    static constexpr std::size_t MostInBlock = 64;

    enum class File { Selection, AdvancedFilters };

    FilterPtr NewRule();
    // Both count the attributes of the item that were read.
    std::wstring_view Attribute(const CMarkup& item, std::wstring_view name);
    std::int32_t Number(const CMarkup& item, std::wstring_view name);
    void Say(RuleFinding::Kind kind, const std::wstring& text);
    // Reports that the attribute has no value.
    void SayNoValue(const CMarkup& item, std::wstring_view name, std::wstring_view effect);
    // Reports values that were forgotten, so that the next attribute was taken for them.
    void CheckUnquoted(const CMarkup& item);
    void CheckVolume(const Filter& rule, std::wstring_view vid);
    void ReadKind(const CMarkup& item, Filter& rule);
    // Returns false when the item is no rule.
    bool ReadPath(const CMarkup& item, RuleDrives& drives, CString& path);
    bool ReadAdvancedPath(const CMarkup& item, RuleDrives& drives, Filter& rule);
    void ReadPattern(const CMarkup& item, Filter& rule);
    bool IsSplit(const CMarkup& item, const Filter& rule);
    void ReadProfileMask(const CMarkup& item, Filter& rule, FilterList& rules);
    // Reports attributes that were not read. Call it after all others were.
    void CheckAttributes(const CMarkup& item, File file);
    void CheckKind(const Filter& rule);
    CString ReadInfo(const CMarkup& item);
    CString ReadMask(const CMarkup& item);

    RuleLog& m_log;
    std::size_t m_attributes = 0;           // of the item, as far as they were read
    bool m_doubted = false;                 // something was said of the item
    bool m_forgotten = false;               // it was said that a value is missing
    std::set<std::int32_t> m_absentVolumes; // each is said once
    std::shared_ptr<Filter[]> m_block;
    std::size_t m_rulesInBlock = 0;
    std::size_t m_usedOfBlock = 0;
    // The texts of the last item that had one.
    CString m_info;
    CString m_mask;
    CString m_pluginName;
};
