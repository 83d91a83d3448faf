/// @file
/// The compiled regular expression of a rule.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/Export.h"

#include <memory>
#include <optional>
#include <string>

/// A compiled pattern, or none yet. Copies share it. Matching may run on several threads at once; compiling must not
/// overlap anything.
class ORBWATCHER4_API FilterRegex
{
public:
    /// The result of the last compilation.
    enum Status : int { NoError = 0, EmptyPattern = 1, CompilationFailed = 2 };

    /// Makes an object without a pattern.
    FilterRegex();
    /// Shares the pattern.
    FilterRegex(const FilterRegex&);
    /// Shares the pattern.
    FilterRegex& operator=(const FilterRegex&);
    /// Releases the pattern.
    ~FilterRegex();

    /// A text in the form in which it is matched, for many patterns on one text.
    class Text
    {
    public:
        /// Copies the text.
        explicit Text(const wchar_t* text);

    private:
        friend FilterRegex;
        std::optional<std::string> m_bytes; // nothing for a text that is no UTF-16
    };

    /// Compiles the pattern. Returns true exactly when the status is NoError afterwards.
    bool Compile(const wchar_t* pattern);
    /// Matches anywhere in the text. Returns false without a good pattern, and for a text that is no UTF-16. Returns
    /// nothing when the matcher ran out of steps, or is not asked for a while because that happened repeatedly: for one
    /// second after three times, then for twice as long each time, up to five minutes. A thousand answers in a row
    /// reset this. `switchedOff`, which may be null, receives the number of seconds for which the matcher is not asked
    /// from now on; otherwise 0.
    std::optional<bool> TryMatch(const Text& text, int* switchedOff = nullptr) const;
    /// Does the same for a text that is matched once.
    std::optional<bool> TryMatch(const wchar_t* text) const { return TryMatch(Text(text)); }
    /// Returns true while the matcher is not asked.
    bool IsSwitchedOff() const;
    /// The same as TryMatch; returns false also when the matcher gave up.
    bool Match(const wchar_t* text) const { return TryMatch(text).value_or(false); }
    /// Returns the status; NoError before the first Compile, too.
    Status GetStatus() const { return m_status; }
    /// Returns true after a pattern that is not empty was compiled, with success or without.
    bool Attempted() const { return m_attempted; }
    /// Returns why the pattern was refused; empty when it was not.
    const CString& GetError() const { return m_error; }
    /// Makes the object as it was when it was new.
    void Reset();

private:
    struct Compiled;

    std::shared_ptr<const Compiled> m_compiled;
    bool m_attempted = false;
    Status m_status = NoError;
    CString m_error;
};
