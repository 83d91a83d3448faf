#include "tests/pcrecpp/RandomExpressions.h"

namespace
{

constexpr int DeepestGroup = 3;

constexpr const char* Literals[] = {"a", "b",   "c",    "A",   "1",  "2",        "-",
                                    "_", "\\.", "\\\\", "tmp", "ab", "\xC3\xA9", " "};
constexpr const char* Escapes[] = {"\\d", "\\D", "\\w", "\\W",   "\\s",   "\\S",   "\\h",       "\\H", "\\v", "\\V",
                                   "\\N", "\\R", ".",   "\\x61", "\\x2E", "\\141", "\\Qa.b\\E", "\\e", "\\t"};
constexpr const char* Positions[] = {"^", "$", "\\b", "\\B", "\\A", "\\z", "\\Z", "\\G", "\\K"};
constexpr const char* Members[] = {"a",    "b",  "a-c",       "0-9",        "A-Z",       "\\d", "\\w", ".",
                                   "\\\\", "_-", "[:alpha:]", "[:^digit:]", "[:punct:]", "^",   "\xC3"};
constexpr const char* Openings[] = {
    "(", "(?:", "(?>", "(?i)(", "(?i:", "(?s:", "(?m:", "(?x:", "(?=", "(?!", "(?<n>", "(?|", "(?-i:", "(?#x)(?:"};
constexpr const char* Quantifiers[] = {"*", "+", "?", "*?", "+?", "??", "*+", "++", "{2}", "{1,2}", "{0,3}?", "{2,}"};
constexpr const char* NameParts[] = {"a", "b", "c",  "A",   "1",  "2",        "12", "-",
                                     "_", ".", "\\", "tmp", "ab", "\xC3\xA9", " ",  "a.b"};

} // namespace

std::string RandomExpressions::Expression()
{
    std::string expression = Alternatives(0);
    // Now and then something is torn out, and most of what remains is refused.
    if (!expression.empty() && Pick(12) == 0)
        expression.erase(static_cast<std::size_t>(Pick(static_cast<int>(expression.size()))), 1);
    return expression;
}

std::string RandomExpressions::Alternatives(int depth)
{
    std::string alternatives = Sequence(depth);
    while (Pick(4) == 0)
        alternatives += "|" + Sequence(depth);
    return alternatives;
}

std::string RandomExpressions::Sequence(int depth)
{
    std::string sequence;
    for (int parts = Pick(5); parts >= 0; --parts)
        sequence += Atom(depth) + (Pick(3) == 0 ? Quantifier() : std::string());
    return sequence;
}

std::string RandomExpressions::Atom(int depth)
{
    switch (Pick(10)) {
    case 0:
    case 1:
        return OneOf(Escapes);
    case 2:
        return Class();
    case 3:
    case 4:
        return depth < DeepestGroup ? Group(depth) : "b";
    case 5:
        return OneOf(Positions);
    default:
        return OneOf(Literals);
    }
}

std::string RandomExpressions::Group(int depth)
{
    switch (Pick(8)) {
    case 0:
        return "(?<=" + std::string(OneOf(Literals)) + ")";
    case 1:
        return "(?<!" + std::string(OneOf(Literals)) + "|a)";
    case 2:
        return "(" + Sequence(depth + 1) + ")\\g{-1}"; // never itself: see docs/advanced-filters.md
    default:
        return OneOf(Openings) + Alternatives(depth + 1) + ")";
    }
}

std::string RandomExpressions::Class()
{
    std::string members = Pick(4) == 0 ? "[^" : "[";
    for (int count = Pick(3); count >= 0; --count)
        members += OneOf(Members);
    return members + "]";
}

std::string RandomExpressions::Quantifier() { return OneOf(Quantifiers); }

std::string RandomExpressions::Name()
{
    std::string name;
    for (int parts = Pick(10); parts > 0; --parts)
        name += OneOf(NameParts);
    return name;
}
