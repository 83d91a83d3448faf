// Expressions and names by chance, of so few letters that many of the expressions match many of the names. Seeded.
#pragma once

#include <random>
#include <string>

class RandomExpressions
{
public:
    explicit RandomExpressions(unsigned seed) : m_random(seed) {}

    // Most are well formed.
    std::string Expression();
    std::string Name();

private:
    // Below `count`.
    int Pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }
    template <std::size_t Count>
    const char* OneOf(const char* const (&choices)[Count])
    {
        return choices[static_cast<std::size_t>(Pick(static_cast<int>(Count)))];
    }
    std::string Alternatives(int depth);
    std::string Sequence(int depth);
    std::string Atom(int depth);
    std::string Group(int depth);
    std::string Class();
    std::string Quantifier();

    std::mt19937 m_random;
};
