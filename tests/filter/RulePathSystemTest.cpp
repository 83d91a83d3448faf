// The form of a rule's path beside what the system makes of the same text.
#include "orbwatcher4/filter/RulePath.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <random>
#include <string>

namespace
{

std::wstring SystemForm(const std::wstring& path)
{
    wchar_t full[1024] = {};
    EXPECT_LT(GetFullPathNameW(path.c_str(), 1024, full, nullptr), 1024u);
    return full;
}

class Spellings
{
public:
    explicit Spellings(unsigned seed) : m_random(seed) {}

    std::wstring Next()
    {
        std::wstring path = Of({L"C:", L"c:", L"\\\\server\\share", L"//server/share"});
        path += Of({L"\\", L"/"});
        for (int pieces = Number(10); pieces > 0; --pieces)
            path += Of({L"docs", L"A b", L".x", L"x.", L"y ", L"z. .", L".", L"..", L"\\", L"/", L"\\\\", L"a~b",
                        L"\xe4", L"letter.odt", L" ", L"..\\", L".\\"});
        return path;
    }

private:
    int Number(int limit) { return std::uniform_int_distribution(0, limit - 1)(m_random); }
    std::wstring Of(const std::vector<std::wstring>& texts)
    {
        return texts[static_cast<std::size_t>(Number(static_cast<int>(texts.size())))];
    }

    std::mt19937 m_random;
};

// Versions of the system differ in the meaning of a name of three dots alone, and of a second separator right behind a
// share.
bool IsUnclear(const std::wstring& path)
{
    const bool share = path[1] != L':';
    return path.find(L"...") != path.npos || (share && (path[15] == L'\\' || path[15] == L'/'));
}

TEST(RulePathAndTheSystem, MakeTheSameOfRandomSpellings)
{
    Spellings spellings(4711);
    int plain = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::wstring written = spellings.Next();
        if (IsUnclear(written))
            continue;
        const RulePath formed = FormRulePath(written, nullptr);
        ASSERT_EQ(formed.refusal, RulePath::Refusal::None) << Narrow(written);
        ASSERT_EQ(std::wstring(formed.text.View()), SystemForm(written)) << Narrow(written);
        if (IsPlainRulePath(written)) {
            ASSERT_EQ(std::wstring(formed.text.View()), written);
            ++plain;
        }
    }
    EXPECT_GT(plain, 100);
}

} // namespace
