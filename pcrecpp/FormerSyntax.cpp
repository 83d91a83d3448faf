#include "pcrecpp/FormerSyntax.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace pcrecpp
{

namespace
{

constexpr std::size_t None = std::string::npos;

// The error stands behind the hyphen, or before it where the kind is a POSIX one.
std::size_t RefusedHyphen(const std::string& pattern, std::size_t offset)
{
    if (offset > 0 && pattern[offset - 1] == '-')
        return offset - 1;
    return offset < pattern.size() && pattern[offset] == '-' ? offset : None;
}

} // namespace

void UseCurrentNames(std::string& pattern)
{
    const std::string former = "(*UTF8)", current = "(*UTF)";
    for (std::size_t at = 0; pattern.compare(at, 2, "(*") == 0;) {
        if (pattern.compare(at, former.size(), former) == 0)
            pattern.replace(at, former.size(), current);
        const std::size_t end = pattern.find(')', at);
        if (end == None)
            return;
        at = end + 1;
    }
}

bool RewriteRefusedClass(std::string& pattern, int error, std::size_t offset)
{
    // The error stands before the letter.
    if (error == PCRE2_ERROR_ESCAPE_INVALID_IN_CLASS && offset > 0 && pattern[offset - 1] == '\\') {
        pattern.erase(offset - 1, 1);
        return true;
    }
    const std::size_t hyphen = error == PCRE2_ERROR_CLASS_INVALID_RANGE ? RefusedHyphen(pattern, offset) : None;
    if (hyphen == None)
        return false;
    pattern.insert(hyphen, 1, '\\');
    return true;
}

} // namespace pcrecpp
