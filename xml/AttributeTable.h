// The attributes of one start tag, cut once and then looked up by name.
//
// A tag is read once however many attributes are asked for and in whatever
// order. The texts stay where they are: the table holds views, which end with
// the text. One object belongs to one thread and is used again for the next tag.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

class AttributeTable
{
public:
    // `head` is a start tag without its closing ">" or "/>".
    void Read(std::wstring_view head);
    void Clear();

    // The value as it stands in the text; null data when there is none. Of twins
    // the first one counts.
    std::wstring_view Find(std::wstring_view name) const;

    // Every attribute has a quoted value, white space before it and no twin.
    bool IsWellFormed() const { return m_wellFormed && !HasTwins(); }

private:
    struct Attribute {
        std::wstring_view name;
        std::wstring_view value;
    };

    void ReadOne(std::wstring_view head, std::size_t& at);
    std::wstring_view ReadValue(std::wstring_view head, std::size_t& at);
    void SortWhenMany();
    bool HasTwins() const;

    std::vector<Attribute> m_attributes;
    bool m_sorted = false;
    bool m_wellFormed = true;
};
