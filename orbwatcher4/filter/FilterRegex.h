/// @file
/// The compiled regular expression of a rule.
///
/// Copies share the compiled pattern. Matching may happen on several threads at
/// once; compiling may not overlap anything.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/Export.h"

#include <memory>
#include <optional>
#include <string>

/// A pattern, or none yet.
class ORBWATCHER4_API FilterRegex
{
public:
    /// What became of the last pattern.
    enum Status : int { NoError = 0, EmptyPattern = 1, CompilationFailed = 2 };

    /// No pattern.
    FilterRegex();
    /// Shares the pattern.
    FilterRegex(const FilterRegex&);
    /// Shares the pattern.
    FilterRegex& operator=(const FilterRegex&);
    /// Lets go of the pattern.
    ~FilterRegex();

    /// A text in the form in which it is matched, for those who try many patterns on it.
    class Text
    {
    public:
        /// Copies it.
        explicit Text(const wchar_t* text);

    private:
        friend FilterRegex;
        std::optional<std::string> m_bytes; // nothing for a text that is no UTF-16
    };

    /// True exactly when the status is NoError afterwards.
    bool Compile(const wchar_t* pattern);
    /// Unanchored. False without a good pattern, and for a text that is no UTF-16. Nothing when the matcher ran
    /// out of steps before it knew, or is not asked for a while because it did so again and again: for one second
    /// after three times, then for twice as long each time, up to five minutes. A thousand answers in a row make up
    /// for that.
    /// `switchedOff`, when given, receives how many seconds the matcher is not asked from now on; 0 at all other times.
    std::optional<bool> TryMatch(const Text& text, int* switchedOff = nullptr) const;
    /// The same for a text that is matched once.
    std::optional<bool> TryMatch(const wchar_t* text) const { return TryMatch(Text(text)); }
    /// True while the matcher is not asked.
    bool IsSwitchedOff() const;
    /// The same; false also when the matcher gave up.
    bool Match(const wchar_t* text) const { return TryMatch(text).value_or(false); }
    /// NoError before the first Compile, too.
    Status GetStatus() const { return m_status; }
    /// True once a pattern that is not empty was compiled, with success or without.
    bool Attempted() const { return m_attempted; }
    /// Why the pattern was refused; empty when it was not.
    const CString& GetError() const { return m_error; }
    /// As newly made.
    void Reset();

private:
    struct Compiled;

    std::shared_ptr<const Compiled> m_compiled;
    bool m_attempted = false;
    Status m_status = NoError;
    CString m_error;
};
