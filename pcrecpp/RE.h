// A regular expression: the interface of PCRE's C++ wrapper, as far as filters use it, over PCRE2.
//
// Patterns and texts are UTF-8, and are matched byte by byte (`.` is one byte) unless a pattern begins with `(*UTF)`.
// Syntax: pcre2pattern(3).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct pcre2_real_code_8; // the library's compiled pattern for 8-bit texts

namespace pcrecpp
{

// Immutable; any number of threads may match at once.
class RE
{
public:
    // Compiles with the default options. Throws std::bad_alloc.
    explicit RE(const std::string& pattern);
    RE(const RE&) = delete;
    RE& operator=(const RE&) = delete;

    // Returns why the pattern was refused; empty when it was not.
    const std::string& error() const { return m_error; }

    // Returns whether the pattern matches anywhere in the text; false when the pattern was refused. Returns nothing
    // when the matcher gave up: it had no memory, or reached a limit that keeps a hostile pattern to a fraction of a
    // second and a megabyte.
    std::optional<bool> DoMatch(std::string_view text) const;

    // Returns how many patterns the process has compiled. For tests.
    static long CompiledCount();

private:
    struct Free {
        void operator()(pcre2_real_code_8* code) const;
    };

    std::unique_ptr<pcre2_real_code_8, Free> m_code; // null when the pattern was refused
    std::string m_error;
};

} // namespace pcrecpp
