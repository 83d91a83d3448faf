#include "tests/selftest/Options.h"

#include "tests/support/TestMachine.h"

namespace
{

// Returns 0 for what is no number of seconds.
unsigned SecondsOf(const std::wstring& text)
{
    unsigned seconds = 0;
    for (const wchar_t unit : text) {
        if (unit < L'0' || unit > L'9' || seconds > 100000)
            return 0;
        seconds = seconds * 10 + static_cast<unsigned>(unit - L'0');
    }
    return seconds;
}

} // namespace

Options ReadOptions(const std::vector<std::wstring>& arguments)
{
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& word = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (word == L"--keep")
            options.keepsWork = true;
        else if (word == L"--help" || word == L"-h" || word == L"/?")
            options.wantsHelp = true;
        else if (word == L"--filter" && hasValue)
            options.filter = arguments[++i];
        else if (word == L"--limit" && hasValue && SecondsOf(arguments[i + 1]) > 0)
            options.limit = SecondsOf(arguments[++i]);
        else if (word.starts_with(L"-"))
            options.mistake = "\"" + Narrow(word) + "\" is no option, or its value is missing or wrong";
        else
            options.programs.push_back(word);
    }
    return options;
}
