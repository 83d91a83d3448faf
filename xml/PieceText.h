// A text that takes many small edits without being moved for each of them.
//
// The given text stays as it is; added text goes into a second buffer. A list of pieces says which parts of the two
// make up the text, in order. Every unit has an address that edits elsewhere never change: the units of the given text
// count from 0, the added ones follow after a gap of one, so that no piece spans both. An edit cuts at most two pieces,
// which it finds in logarithmic time; text that is added right behind the last addition lengthens its piece. Flatten
// makes one text of all pieces; only Flatten gives new addresses.
//
// One object belongs to one thread.
#pragma once

#include "mfc/CString.h"
#include "xml/TextFile.h"

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Maps the addresses before Flatten to those after it.
class Relocation
{
public:
    void Add(std::uint32_t from, std::uint32_t length, std::uint32_t to) { m_runs.push_back({from, length, to}); }
    // Returns 0 for a unit that was no longer part of the text.
    std::uint32_t operator()(std::uint32_t address);

private:
    struct Run {
        std::uint32_t from;
        std::uint32_t length;
        std::uint32_t to;
        bool Holds(std::uint32_t address) const { return address - from < length; }
    };
    std::vector<Run> m_runs; // by address
    std::size_t m_last = 0;  // callers ask for neighbours one after the other
};

class PieceText
{
public:
    explicit PieceText(std::size_t longest = LongestText) : m_longest(longest) { Reset({}); }

    void Reset(CString text);
    std::size_t Length() const { return m_length; }
    // Returns true when nothing was edited since Reset or Flatten; addresses are then offsets.
    bool IsFlat() const { return m_flat; }
    // Returns the text as given or flattened, without later edits.
    const CString& Base() const { return m_base; }

    // Returns the unit at an address. The units behind it are contiguous as far as they were added, or given, in one
    // call.
    const wchar_t* At(std::uint32_t address) const;
    // Returns the text between two places; `end` is behind the last unit. Uses `scratch` when the range is in several
    // pieces.
    std::wstring_view Range(std::uint32_t start, std::uint32_t end, std::wstring& scratch) const;

    // Returns true when this many more units fit into the longest text allowed.
    bool HasRoomFor(std::size_t units) const { return units <= m_longest - m_length; }
    // Returns true when there are addresses for this many units; Flatten makes new ones.
    bool HasAddressesFor(std::size_t units) const;

    // Takes a text without making it part of the document yet; returns its address. There must be room and addresses
    // for it.
    std::uint32_t Stage(std::wstring_view text);
    // Forgets the staged units from this address on.
    void Unstage(std::uint32_t address);
    // These three functions make staged units part of the text, each of them once.
    void PlaceBehind(std::uint32_t end, std::uint32_t staged, std::uint32_t length);
    void PlaceBefore(std::uint32_t address, std::uint32_t staged, std::uint32_t length);
    void PlaceLast(std::uint32_t staged, std::uint32_t length);
    void Remove(std::uint32_t start, std::uint32_t end);

    Relocation Flatten();

    // Returns the units copied and pieces passed so far: the cost of edits.
    std::uint64_t Work() const { return m_work; }

private:
    struct Piece {
        std::uint32_t start;
        std::uint32_t length;
        std::uint32_t End() const { return start + length; }
    };
    using Pieces = std::list<Piece>;

    std::uint32_t FirstAdded() const { return static_cast<std::uint32_t>(m_base.GetLength()) + 1; }
    Pieces::iterator PieceOf(std::uint32_t address) const;
    // Both functions make sure that a piece begins, or ends, there.
    Pieces::iterator CutBefore(std::uint32_t address);
    Pieces::iterator CutBehind(std::uint32_t end);
    void Place(Pieces::iterator before, std::uint32_t staged, std::uint32_t length);

    const std::size_t m_longest;
    CString m_base;
    std::wstring m_added;
    Pieces m_pieces;
    std::map<std::uint32_t, Pieces::iterator> m_byAddress;
    std::size_t m_length = 0;
    bool m_flat = true;
    mutable std::uint64_t m_work = 0;
};
