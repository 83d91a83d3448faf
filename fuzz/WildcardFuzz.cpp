// The first line is the pattern, the rest the text: the matcher says what the plain
// recursive definition says, and a list of patterns matches when one of them does.
#include "fuzz/FuzzInput.h"

#include "support/CaseFold.h"
#include "support/Wildcard.h"

#include <algorithm>
#include <map>
#include <utility>

namespace
{

class Reference
{
public:
    Reference(std::wstring_view pattern, std::wstring_view text) : m_pattern(pattern), m_text(text) {}

    bool Matches(std::size_t p = 0, std::size_t t = 0)
    {
        const auto known = m_known.find({p, t});
        if (known != m_known.end())
            return known->second;
        return m_known[{p, t}] = Decide(p, t);
    }

private:
    bool Decide(std::size_t p, std::size_t t)
    {
        if (p == m_pattern.size())
            return t == m_text.size();
        if (m_pattern[p] == L'*')
            return Matches(p + 1, t) || (t < m_text.size() && Matches(p, t + 1));
        return t < m_text.size() &&
               (m_pattern[p] == L'?' || EqualNoCase(m_pattern.substr(p, 1), m_text.substr(t, 1))) &&
               Matches(p + 1, t + 1);
    }

    std::wstring_view m_pattern;
    std::wstring_view m_text;
    std::map<std::pair<std::size_t, std::size_t>, bool> m_known;
};

bool ReferenceMatchesAny(std::wstring_view patterns, std::wstring_view text)
{
    for (std::size_t begin = 0; begin <= patterns.size();) {
        const std::size_t end = std::min(patterns.find(L';', begin), patterns.size());
        if (end > begin && Reference(patterns.substr(begin, end - begin), text).Matches())
            return true;
        begin = end + 1;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // The reference costs the product of both.
    std::string_view bytes = AsBytes(data, std::min<std::size_t>(size, 200));
    const std::wstring pattern = TakeLine(bytes);
    const std::wstring text = AsUnits(bytes);
    Require(MatchWildcard(pattern, text) == Reference(pattern, text).Matches());
    Require(MatchAnyWildcard(pattern, text) == ReferenceMatchesAny(pattern, text));
    return 0;
}
