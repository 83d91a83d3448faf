// Rewrites expressions that PCRE accepted and PCRE2 refuses: the expressions of a selection stay valid.
#pragma once

#include <string>

namespace pcrecpp
{

// `(*UTF8)` at the beginning is called `(*UTF)` now.
void UseCurrentNames(std::string& pattern);

// Rewrites the place in a class of characters at which PCRE2 refused the pattern, with its error and its offset.
// Returns false when the pattern was refused for something that PCRE refused as well. Each rewriting changes one place,
// so that repeating it ends.
//
//     [\w-.]  a hyphen behind a kind of characters was the hyphen itself: [\w\-.]
//     [\A-Z]  the name of a position was its letter: [A-Z]
bool RewriteRefusedClass(std::string& pattern, int error, std::size_t offset);

} // namespace pcrecpp
