// A settings file in memory: JSON objects, arrays and single values, whatever depth others have given them.
//
// The library parses and writes single values. The tree is our own because the library's needs memory to be
// destroyed, and ends the process without it. One thread at a time.
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
    static constexpr int Deepest = 100; // levels; a file of ours has two

    SettingsTree() = default; // null

    // An empty object.
    static SettingsTree Object();
    // Nothing for damaged text, a root that is no object, or more than Deepest levels.
    static std::optional<SettingsTree> Parse(const std::string& text);
    // With four blanks a level. Bytes that are no UTF-8 are replaced.
    std::string Text() const;

    bool IsObject() const { return m_kind == Kind::Object; }
    // Null when this is no object or has no such member.
    const SettingsTree* Find(const std::string& name) const;
    // The member, made when it is missing. Whatever this was, it is an object afterwards.
    SettingsTree& Member(const std::string& name);
    // The value of a leaf; null for objects and arrays.
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
