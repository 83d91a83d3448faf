// The compiled regular expression of a rule.
//
// Copies share the compiled pattern. Matching may happen on several threads at
// once; compiling may not overlap anything.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/Export.h"

#include <memory>
#include <optional>
#include <string>

class ORBWATCHER4_API FilterRegex
{
public:
    enum Status : int { NoError = 0, EmptyPattern = 1, CompilationFailed = 2 };

    FilterRegex();
    FilterRegex(const FilterRegex&);
    FilterRegex& operator=(const FilterRegex&);
    ~FilterRegex();

    // A text in the form in which it is matched, for those who try many patterns on it.
    class Text
    {
    public:
        explicit Text(const wchar_t* text);

    private:
        friend FilterRegex;
        std::optional<std::string> m_bytes; // nothing for a text that is no UTF-16
    };

    // True exactly when the status is NoError afterwards.
    bool Compile(const wchar_t* pattern);
    // Unanchored. False without a good pattern, and for a text that is no UTF-16. Nothing when the matcher ran
    // out of steps before it knew.
    std::optional<bool> TryMatch(const Text& text) const;
    std::optional<bool> TryMatch(const wchar_t* text) const { return TryMatch(Text(text)); }
    bool Match(const wchar_t* text) const { return TryMatch(text).value_or(false); }
    Status GetStatus() const { return m_status; }
    bool Attempted() const { return m_attempted; }
    const CString& GetError() const { return m_error; }
    void Reset();

private:
    struct Compiled;

    std::shared_ptr<const Compiled> m_compiled;
    bool m_attempted = false;
    Status m_status = NoError;
    CString m_error;
};
