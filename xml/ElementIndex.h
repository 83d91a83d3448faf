// The elements of a document: one record each, found by number.
//
// Records are in pages of 65,536, so that growth never moves one. Number 0 is the document itself, the parent of the
// root element; as a link it means "none". One object belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Places are addresses of a PieceText. The head is the start tag without its closing ">" or "/>": it stays in one
// piece, whatever edits are made.
struct ElementRecord {
    static constexpr std::uint32_t Empty = 1;    // <name/>
    static constexpr std::uint32_t NotEnded = 2; // an error in the text came before the end tag

    std::uint32_t start;
    std::uint32_t headLength;
    std::uint32_t end; // behind the last unit
    std::uint32_t flags;
    std::uint32_t parent;
    std::uint32_t firstChild;
    std::uint32_t next;
    std::uint32_t previous; // of a first child: the last sibling, so that appending need not walk
};

static_assert(sizeof(ElementRecord) == 32);

class ElementIndex
{
public:
    // Forgets all elements; `textLength` tells how many elements to expect.
    void Reset(std::size_t textLength);
    // Adds a record without links; returns its number.
    std::uint32_t Add(const ElementRecord& record);
    // Forgets the records from this number on; no link may lead to them.
    void Truncate(std::uint32_t count) { m_count = count; }
    std::uint32_t Count() const { return m_count; }

    ElementRecord& operator[](std::uint32_t number) { return m_pages[number >> 16][number & 0xFFFF]; }
    const ElementRecord& operator[](std::uint32_t number) const { return m_pages[number >> 16][number & 0xFFFF]; }

    std::uint32_t LastChild(std::uint32_t parent) const;
    // Returns the sibling before this one; 0 for a first child.
    std::uint32_t Previous(std::uint32_t number) const;
    // Links a new element behind the siblings that begin with `first`; without siblings, sets `first`.
    void LinkLast(std::uint32_t& first, std::uint32_t number);
    void LinkAfter(std::uint32_t sibling, std::uint32_t number);
    // Takes the element, with everything below it, out of the tree.
    void Unlink(std::uint32_t number);

private:
    void AddPage();

    std::vector<std::unique_ptr<ElementRecord[]>> m_pages;
    std::uint32_t m_count = 0;
};
