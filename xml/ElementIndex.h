// The elements of a document: one record each, found by number.
//
// Records stand in pages of 65,536, so that growth never moves one. Number 0 is
// the document itself, the parent of the root element, and as a link it means
// "none". One object belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Places are addresses of a PieceText. The head is the start tag without its
// closing ">" or "/>": it stays in one piece whatever is done to the document.
struct ElementRecord {
    static constexpr std::uint32_t kEmpty = 1;    // <name/>
    static constexpr std::uint32_t kNotEnded = 2; // the text was wrong before the end tag came

    std::uint32_t start;
    std::uint32_t headLength;
    std::uint32_t end; // behind the last unit
    std::uint32_t flags;
    std::uint32_t parent;
    std::uint32_t firstChild;
    std::uint32_t next;
    std::uint32_t previous; // of a first child: the last one, so that appending need not walk
};

static_assert(sizeof(ElementRecord) == 32);

class ElementIndex
{
public:
    // Forgets all elements; `textLength` tells how many to expect.
    void Reset(std::size_t textLength);
    // A record without links; returns its number.
    std::uint32_t Add(const ElementRecord& record);
    // Forgets the records from this number on, which nothing may lead to.
    void Truncate(std::uint32_t count) { m_count = count; }
    std::uint32_t Count() const { return m_count; }

    ElementRecord& operator[](std::uint32_t number) { return m_pages[number >> 16][number & 0xFFFF]; }
    const ElementRecord& operator[](std::uint32_t number) const { return m_pages[number >> 16][number & 0xFFFF]; }

    std::uint32_t LastChild(std::uint32_t parent) const;
    // The sibling before this one; 0 for a first child.
    std::uint32_t Previous(std::uint32_t number) const;
    // Links a new element behind the siblings that begin with `first`, which is
    // set when there are none.
    void LinkLast(std::uint32_t& first, std::uint32_t number);
    void LinkAfter(std::uint32_t sibling, std::uint32_t number);
    // Takes the element, and with it all below, out of the tree.
    void Unlink(std::uint32_t number);

private:
    void AddPage();

    std::vector<std::unique_ptr<ElementRecord[]>> m_pages;
    std::uint32_t m_count = 0;
};
