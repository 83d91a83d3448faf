// Rules and paths by chance, so close to each other that many of the rules speak of many of the paths. Seeded.
#pragma once

#include "orbwatcher4/filter/Filter.h"

#include <random>
#include <string>

class RandomRules
{
public:
    explicit RandomRules(unsigned seed) : m_random(seed) {}

    // In the rule order; `most` at most, sometimes none.
    FilterList Rules(int most);
    // Advanced rules for folders of a drive: lists of endings and regular expressions.
    FilterList AdvancedRules(int most);
    std::wstring Path();
    // Below `count`.
    int Pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

private:
    FilterPtr Rule();
    std::wstring Folders();
    std::wstring Ending();
    std::wstring Mask();

    std::mt19937 m_random;
};
