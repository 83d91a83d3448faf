#include "orbwatcher4/filter/FilterRegex.h"

#include "orbwatcher4/filter/MatchPatience.h"
#include "pcrecpp/RE.h"

#include <codecvt>
#include <locale>
#include <optional>
#include <string>

namespace
{

// Converts to the UTF-8 of the matcher. Returns nothing for a text with a lone surrogate.
std::optional<std::string> ToUtf8(const wchar_t* text)
{
    std::u16string units;
    for (; *text; ++text)
        units.push_back(static_cast<char16_t>(*text));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // The conversion drops half of a surrogate pair at the end without an error.
    if (!units.empty() && units.back() >= 0xD800 && units.back() <= 0xDBFF)
        return std::nullopt;
    std::wstring_convert<std::codecvt_utf8_utf16<char16_t, 0x10FFFF>, char16_t> convert;
#pragma GCC diagnostic pop
    try {
        return convert.to_bytes(units);
    } catch (const std::range_error&) {
        return std::nullopt;
    }
}

} // namespace

struct FilterRegex::Compiled {
    explicit Compiled(const std::string& pattern) : expression(pattern) {}

    const pcrecpp::RE expression;
    mutable MatchPatience patience; // copies of a rule share it
};

FilterRegex::FilterRegex() = default;
FilterRegex::FilterRegex(const FilterRegex&) = default;
FilterRegex& FilterRegex::operator=(const FilterRegex&) = default;
FilterRegex::~FilterRegex() = default;

bool FilterRegex::Compile(const wchar_t* pattern)
{
    if (!pattern || !*pattern) {
        m_status = EmptyPattern;
        m_error = L"Specified RE pattern is empty";
        return false;
    }
    Reset();
    m_attempted = true;
    const std::optional<std::string> bytes = ToUtf8(pattern);
    if (!bytes) {
        m_status = CompilationFailed;
        m_error = L"bad conversion";
        return false;
    }
    const auto compiled = std::make_shared<const Compiled>(*bytes);
    if (const std::string& error = compiled->expression.error(); !error.empty()) {
        m_status = CompilationFailed;
        m_error = std::wstring(error.begin(), error.end()).c_str(); // ASCII
    }
    m_compiled = compiled;
    return m_status == NoError;
}

FilterRegex::Text::Text(const wchar_t* text) : m_bytes(ToUtf8(text)) {}

bool FilterRegex::IsSwitchedOff() const
{
    return m_compiled && m_compiled->patience.HasGivenUp() &&
           m_compiled->patience.IsOff(std::chrono::steady_clock::now());
}

std::optional<bool> FilterRegex::TryMatch(const Text& text, int* switchedOff) const
{
    if (switchedOff)
        *switchedOff = 0;
    const std::optional<std::string>& bytes = text.m_bytes;
    if (!m_compiled || m_status != NoError || !bytes)
        return false;
    if (IsSwitchedOff())
        return std::nullopt;
    const std::optional<bool> result = m_compiled->expression.DoMatch(*bytes);
    if (!result) {
        const std::chrono::seconds pause = m_compiled->patience.NoteGivenUp(std::chrono::steady_clock::now());
        if (switchedOff)
            *switchedOff = static_cast<int>(pause.count());
        return std::nullopt;
    }
    m_compiled->patience.NoteAnswer();
    return result;
}

void FilterRegex::Reset()
{
    m_compiled.reset();
    m_attempted = false;
    m_status = NoError;
    m_error.Empty();
}
