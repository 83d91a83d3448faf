// A settings file in memory: JSON objects, arrays and single values, at any depth.
//
// The library parses and writes single values. This tree replaces the library's own, which needs memory for its
// destruction and ends the process when there is none. One thread at a time.
#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class SettingsTree
{
public:
    static constexpr int Deepest = 100; // levels; a file of the product has two

    SettingsTree() = default; // null

    // Makes an empty object.
    static SettingsTree Object();
    // Parses a text. Nothing for a damaged text, a root that is no object, or more than Deepest levels.
    static std::optional<SettingsTree> Parse(const std::string& text);
    // Writes the tree with four blanks a level. Bytes that are no UTF-8 are replaced.
    std::string Text() const;

    bool IsObject() const { return m_kind == Kind::Object; }
    // Returns the member; null when this is no object or has no such member.
    const SettingsTree* Find(const std::string& name) const;
    // Returns the member, and makes it when it is missing. This becomes an object if it was none.
    SettingsTree& Member(const std::string& name);
    // Returns the value of a leaf; null for objects and arrays.
    const nlohmann::json& Value() const { return m_value; }
    void SetValue(nlohmann::json value);

private:
    class Builder;
    enum class Kind { Leaf, Object, Array };

    void Write(std::string& text, int level) const;

    Kind m_kind = Kind::Leaf;
    nlohmann::json m_value; // a single value: never an object or an array
    std::map<std::string, std::unique_ptr<SettingsTree>> m_members;
    std::vector<std::unique_ptr<SettingsTree>> m_items;
};
