#include "companions/settings/SettingsTree.h"

#include <utility>

namespace
{

constexpr int BlanksALevel = 4;

void NewLine(std::string& text, int level)
{
    text.append("\n").append(static_cast<std::size_t>(level) * BlanksALevel, ' ');
}

std::string Leaf(const nlohmann::json& value)
{
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

// Receives what the parser reads. A function that returns false ends the reading.
class SettingsTree::Builder final : public nlohmann::json_sax<nlohmann::json>
{
public:
    explicit Builder(SettingsTree& root) : m_root(root) {}

    bool null() override { return Put(nullptr); }
    bool boolean(bool value) override { return Put(value); }
    bool number_integer(number_integer_t value) override { return Put(value); }
    bool number_unsigned(number_unsigned_t value) override { return Put(value); }
    bool number_float(number_float_t value, const string_t&) override { return Put(value); }
    bool string(string_t& value) override { return Put(std::move(value)); }
    bool binary(binary_t&) override { return false; } // never in a text
    bool start_object(std::size_t) override { return Open(Kind::Object); }
    bool key(string_t& name) override
    {
        m_name = std::move(name);
        return true;
    }
    bool end_object() override { return Close(); }
    bool start_array(std::size_t) override { return Open(Kind::Array); }
    bool end_array() override { return Close(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override { return false; }

private:
    SettingsTree& Next()
    {
        if (m_open.empty())
            return m_root;
        SettingsTree& parent = *m_open.back();
        auto child = std::make_unique<SettingsTree>();
        SettingsTree& added = *child;
        // The last one of two equal names counts.
        if (parent.m_kind == Kind::Object)
            parent.m_members[m_name] = std::move(child);
        else
            parent.m_items.push_back(std::move(child));
        return added;
    }
    bool Put(nlohmann::json value)
    {
        Next().m_value = std::move(value);
        return true;
    }
    bool Open(Kind kind)
    {
        if (m_open.size() >= Deepest)
            return false;
        SettingsTree& opened = Next();
        opened.m_kind = kind;
        m_open.push_back(&opened);
        return true;
    }
    bool Close()
    {
        m_open.pop_back();
        return true;
    }

    SettingsTree& m_root;
    std::vector<SettingsTree*> m_open;
    std::string m_name;
};

SettingsTree SettingsTree::Object()
{
    SettingsTree tree;
    tree.m_kind = Kind::Object;
    return tree;
}

std::optional<SettingsTree> SettingsTree::Parse(const std::string& text)
{
    SettingsTree tree;
    Builder builder(tree);
    if (!nlohmann::json::sax_parse(text, &builder) || !tree.IsObject())
        return std::nullopt;
    return tree;
}

std::string SettingsTree::Text() const
{
    std::string text;
    Write(text, 0);
    return text;
}

void SettingsTree::Write(std::string& text, int level) const
{
    if (m_kind == Kind::Leaf) {
        text += Leaf(m_value);
        return;
    }
    const bool object = m_kind == Kind::Object;
    const char* before = "";
    text += object ? '{' : '[';
    const auto begin = [&] {
        text += std::exchange(before, ",");
        NewLine(text, level + 1);
    };
    for (const auto& [name, member] : m_members) {
        begin();
        text += Leaf(name) + ": ";
        member->Write(text, level + 1);
    }
    for (const auto& item : m_items) {
        begin();
        item->Write(text, level + 1);
    }
    if (*before)
        NewLine(text, level);
    text += object ? '}' : ']';
}

const SettingsTree* SettingsTree::Find(const std::string& name) const
{
    const auto found = m_members.find(name);
    return found == m_members.end() ? nullptr : found->second.get();
}

SettingsTree& SettingsTree::Member(const std::string& name)
{
    if (m_kind != Kind::Object)
        *this = Object();
    std::unique_ptr<SettingsTree>& member = m_members[name];
    if (!member)
        member = std::make_unique<SettingsTree>();
    return *member;
}

void SettingsTree::SetValue(nlohmann::json value)
{
    SettingsTree leaf;
    leaf.m_value = std::move(value);
    *this = std::move(leaf);
}
