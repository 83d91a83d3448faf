/// @file
/// What loading a selection has to say about its files: errors, and items that probably do not mean what they say.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// A finding in a file of the selection.
struct ORBWATCHER4_API RuleFinding {
    /// The consequence for the file, the item or the value.
    enum class Kind {
        FileUnread,   ///< the file was not read: it gave no rule
        ItemRefused,  ///< the item is no rule
        ValueDropped, ///< a value was dropped, and the rule means something else without it
        Suspicious,   ///< it was read as it stands, and probably means something else
    };

    Kind kind = Kind::Suspicious; ///< what became of it
    CString file;                 ///< the file as it was given
    std::uint32_t line = 0;       ///< line in the file, from 1; 0: not known
    std::uint32_t column = 0;     ///< column in the line, from 1; 0: not known
    std::uint32_t item = 0;       ///< number of the `Item` element in the file, from 1; 0: it concerns no item
    CString text;                 ///< what is wrong, what it means, and what is probably meant

    /// Returns the place in the file and the text.
    CString Message() const;
};

/// The findings of a load. Only the first ones of each kind are kept; all are counted. One thread.
class ORBWATCHER4_API RuleFindings
{
public:
    /// The number that is kept of each kind.
    static constexpr std::size_t MostKept = 100;

    /// Counts the finding. Returns true when it is kept.
    bool Add(const RuleFinding& finding);
    /// Adds the findings of another load.
    void Append(const RuleFindings& other);
    /// Forgets all.
    void Clear() { *this = {}; }
    /// Puts the kept ones into the order of their lines, from this one on: they are those of one file.
    void SortByLine(std::size_t first);
    /// Returns the kept ones: one file after the other, each in the order of its lines.
    const std::vector<RuleFinding>& Kept() const { return m_kept; }
    /// Returns the number of all of a kind.
    std::size_t Count(RuleFinding::Kind kind) const { return m_counts[static_cast<std::size_t>(kind)]; }
    /// Returns the number of findings that were not kept.
    std::size_t More() const;
    /// Returns true when rules are missing, or mean something else, because of what could not be read.
    bool ChangeTheSelection() const;

private:
    static constexpr std::size_t Kinds = 4;

    std::vector<RuleFinding> m_kept;
    std::array<std::size_t, Kinds> m_counts{};
};
