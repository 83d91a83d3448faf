// The attributes of one start tag, cut once and then found by name.
//
// A tag is read once, however many attributes are asked for, in any order. The texts are not copied: the table holds
// views, which are valid as long as the text. One object belongs to one thread and is used again for the next tag.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

class AttributeTable
{
public:
    // Reads a start tag without its closing ">" or "/>".
    void Read(std::wstring_view head);
    void Clear();

    struct Value {
        std::wstring_view text; // as it is in the tag; null data when there is none
        bool plain = true;      // it has no "&"
        bool quoted = false;    // it has quotation marks
    };

    // Returns the value of the attribute; of two attributes with the same name the first one counts.
    Value Find(std::wstring_view name) const;

    std::size_t Count() const { return m_attributes.size(); }
    std::wstring_view NameAt(std::size_t number) const { return m_attributes[number].name; }
    const Value& ValueAt(std::size_t number) const { return m_attributes[number].value; }
    // Returns true when every attribute has a quoted value and white space before it.
    bool IsQuoted() const { return m_wellFormed; }
    // Returns true when every attribute has a quoted value, white space before it, and a name of its own.
    bool IsWellFormed() const { return m_wellFormed && !HasTwins(); }

private:
    struct Attribute {
        std::uint32_t mark; // tells nearly all names apart without a look at the text
        std::wstring_view name;
        Value value;
    };

    static std::uint32_t MarkOf(std::wstring_view name);

    void ReadOne(std::wstring_view head, std::size_t& at);
    Value ReadValue(std::wstring_view head, std::size_t& at);
    void SortWhenMany();
    bool HasTwins() const;

    std::vector<Attribute> m_attributes;
    bool m_sorted = false;
    bool m_wellFormed = true;
};
