#include "xml/ElementIndex.h"

namespace
{
constexpr std::size_t PageRecords = 65536;
}

void ElementIndex::AddPage() { m_pages.push_back(std::make_unique_for_overwrite<ElementRecord[]>(PageRecords)); }

void ElementIndex::Reset(std::size_t textLength)
{
    const std::size_t expected = textLength / 64 + 8;
    const std::size_t pages = (expected + PageRecords - 1) / PageRecords;
    if (m_pages.size() > pages)
        m_pages.resize(pages);
    while (m_pages.size() < pages)
        AddPage();
    m_pages[0][0] = {};
    m_count = 1;
}

std::uint32_t ElementIndex::Add(const ElementRecord& record)
{
    if (m_count >> 16 == m_pages.size())
        AddPage();
    (*this)[m_count] = record;
    return m_count++;
}

std::uint32_t ElementIndex::LastChild(std::uint32_t parent) const
{
    const std::uint32_t first = (*this)[parent].firstChild;
    return first ? (*this)[first].previous : 0;
}

std::uint32_t ElementIndex::Previous(std::uint32_t number) const
{
    const ElementRecord& record = (*this)[number];
    return (*this)[record.parent].firstChild == number ? 0 : record.previous;
}

void ElementIndex::LinkLast(std::uint32_t& first, std::uint32_t number)
{
    ElementRecord& record = (*this)[number];
    record.next = 0;
    if (first == 0) {
        first = number;
        record.previous = number;
        return;
    }
    ElementRecord& firstRecord = (*this)[first];
    record.previous = firstRecord.previous;
    (*this)[record.previous].next = number;
    firstRecord.previous = number;
}

void ElementIndex::LinkAfter(std::uint32_t sibling, std::uint32_t number)
{
    ElementRecord& before = (*this)[sibling];
    ElementRecord& record = (*this)[number];
    const std::uint32_t first = (*this)[before.parent].firstChild;
    record.previous = sibling;
    record.next = before.next;
    (*this)[before.next ? before.next : first].previous = number;
    before.next = number;
}

void ElementIndex::Unlink(std::uint32_t number)
{
    ElementRecord& record = (*this)[number];
    std::uint32_t& first = (*this)[record.parent].firstChild;
    if (first == number) {
        first = record.next;
        if (first)
            (*this)[first].previous = record.previous;
    } else {
        (*this)[record.previous].next = record.next;
        (*this)[record.next ? record.next : first].previous = record.previous;
    }
    record.next = 0;
    record.previous = 0;
}
