#include "host/Colours.h"

#include "host/Wine.h"

#include <io.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace
{

bool Is(const wchar_t* variable, std::wstring_view value)
{
    wchar_t text[8] = {};
    const DWORD length = GetEnvironmentVariableW(variable, text, 8);
    return length < 8 && std::wstring_view(text, length) == value;
}

bool EnvironmentWantsColours() { return Is(L"NO_COLOR", L"") && !Is(L"TERM", L"dumb"); }

struct KindColour {
    std::string_view word;
    const char* colour;
};
constexpr KindColour kinds[] = {{"new", "32"},     {"changed", "36"}, {"deleted", "35"}, {"queued", "36"},
                                {"excluded", "2"}, {"created", "32"}, {"ok", "32"},      {"warning", "33"},
                                {"failed", "31"},  {"skipped", "33"}, {"looking", "33"}, {"watching", "1"}};

// A console of Windows interprets colour sequences only when it is told to. Wine's console can be told, too, but shows
// them as text.
bool TakesColours(FILE* stream)
{
    if (RunsUnderWine())
        return false;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) && SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

} // namespace

OutputStream OutputStream::Of(FILE* file)
{
    const bool terminal = _isatty(_fileno(file)) != 0;
    return {file, terminal, terminal && TakesColours(file)};
}

Colours::Colours(const OutputStream& stream) : m_on(stream.terminal && stream.knowsColours && EnvironmentWantsColours())
{
}

std::string Colours::Painted(const char* colour, const std::string& text) const
{
    return m_on && !text.empty() ? std::string("\x1b[") + colour + "m" + text + "\x1b[0m" : text;
}

std::string Colours::Line(const std::string& line) const
{
    const std::string word = line.substr(0, line.find(' '));
    const auto kind =
        std::find_if(std::begin(kinds), std::end(kinds), [&](const KindColour& one) { return one.word == word; });
    return kind == std::end(kinds) ? line : Painted(kind->colour, word) + line.substr(word.size());
}
