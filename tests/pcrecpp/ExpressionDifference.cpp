// Asks the matcher and the library that it replaces the same questions: expression_difference COUNT SEED. Ends with 1
// when an answer differs, or an expression is refused that was accepted before.
//
// Not a difference: an answer that one of them does not give, because it has reached its limit; an expression that only
// the newer syntax has; and a match that the former library misses unless its search for the place where a match may
// begin is switched off.
#include "pcrecpp/RE.h"
#include "tests/pcrecpp/RandomExpressions.h"

#include <pcre.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace
{

constexpr int NamesForEach = 8;

// The former matcher, with the limits that it had.
class FormerRE
{
public:
    FormerRE(const std::string& pattern, int options)
    {
        const char* error = nullptr;
        int offset = 0;
        m_code.reset(pcre_compile(pattern.c_str(), options, &error, &offset, nullptr));
        if (!m_code)
            m_error = error;
        m_limits.flags = PCRE_EXTRA_MATCH_LIMIT | PCRE_EXTRA_MATCH_LIMIT_RECURSION;
        m_limits.match_limit = 1'000'000;
        m_limits.match_limit_recursion = 1000;
    }

    const std::string& error() const { return m_error; }
    std::optional<bool> DoMatch(const std::string& text) const
    {
        const int result =
            pcre_exec(m_code.get(), &m_limits, text.data(), static_cast<int>(text.size()), 0, 0, nullptr, 0);
        if (result < 0 && result != PCRE_ERROR_NOMATCH)
            return std::nullopt;
        return result >= 0;
    }

private:
    struct Free {
        void operator()(pcre* code) const { pcre_free(code); }
    };
    std::unique_ptr<pcre, Free> m_code;
    pcre_extra m_limits = {};
    std::string m_error;
};

struct Tally {
    long refused = 0, newSyntax = 0, answers = 0, matches = 0, givenUp = 0, missedBefore = 0, differences = 0;
};

const char* Word(bool yes) { return yes ? "yes" : "no"; }

// One expression, compiled by both.
class Comparison
{
public:
    Comparison(std::string expression, Tally& tally)
        : m_expression(std::move(expression)),
          m_tally(tally),
          m_now(m_expression),
          m_before(m_expression, 0),
          m_beforeWithoutSearch(m_expression, PCRE_NO_START_OPTIMIZE)
    {
    }

    // Returns true when both have accepted the expression.
    bool IsAccepted()
    {
        if (m_now.error().empty() && m_before.error().empty())
            return true;
        if (m_now.error().empty())
            ++m_tally.newSyntax;
        else if (!m_before.error().empty())
            ++m_tally.refused;
        else {
            ++m_tally.differences;
            std::printf("'%s': refused now: %s\n", m_expression.c_str(), m_now.error().c_str());
        }
        return false;
    }

    void Ask(const std::string& name)
    {
        const std::optional<bool> now = m_now.DoMatch(name), before = m_before.DoMatch(name);
        if (!now || !before) {
            ++m_tally.givenUp;
            return;
        }
        ++m_tally.answers;
        m_tally.matches += *now;
        if (*now == *before)
            return;
        if (m_beforeWithoutSearch.DoMatch(name) == now) {
            ++m_tally.missedBefore;
            return;
        }
        ++m_tally.differences;
        std::printf("'%s' in '%s': %s now, %s before\n", m_expression.c_str(), name.c_str(), Word(*now), Word(*before));
    }

private:
    const std::string m_expression;
    Tally& m_tally;
    const pcrecpp::RE m_now;
    const FormerRE m_before, m_beforeWithoutSearch;
};

} // namespace

int main(int argc, char** argv)
{
    const long count = argc > 1 ? std::atol(argv[1]) : 100'000;
    RandomExpressions random(argc > 2 ? static_cast<unsigned>(std::atol(argv[2])) : 1);
    Tally tally;
    for (long i = 0; i < count; ++i) {
        Comparison comparison(random.Expression(), tally);
        if (comparison.IsAccepted())
            for (int name = 0; name < NamesForEach; ++name)
                comparison.Ask(random.Name());
    }
    std::printf(
        "%ld expressions: %ld refused by both, %ld of newer syntax; %ld answers: %ld matches, %ld missed before, "
        "%ld given up; %ld differences\n",
        count, tally.refused, tally.newSyntax, tally.answers, tally.matches, tally.missedBefore, tally.givenUp,
        tally.differences);
    return tally.differences == 0 ? 0 : 1;
}
