#include "companions/settings/SettingsDamage.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace
{

// Accepts everything, and keeps the first error.
class ErrorFinder final : public nlohmann::json_sax<nlohmann::json>
{
public:
    std::size_t position = 0; // in bytes; 0: no error
    bool badEscape = false;

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override { return true; }
    bool key(string_t&) override { return true; }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return true; }
    bool end_array() override { return true; }
    bool parse_error(std::size_t at, const std::string& token, const nlohmann::json::exception&) override
    {
        position = std::max<std::size_t>(at, 1);
        // The token ends where the parser stopped: behind "\q", or in the middle of "\u12x4".
        constexpr std::size_t longestEscape = 6;
        const std::size_t slash = token.rfind('\\');
        std::size_t run = 0; // of backslashes; each pair of them is one that is meant
        while (slash != std::string::npos && run <= slash && token[slash - run] == '\\')
            ++run;
        badEscape = token.starts_with('"') && run % 2 == 1 && token.size() - slash <= longestEscape;
        return false;
    }
};

} // namespace

std::wstring SettingsDamage::PlaceIn(const std::string& text)
{
    ErrorFinder finder;
    if (nlohmann::json::sax_parse(text, &finder) || finder.position == 0)
        return L"";
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(finder.position, text.size()));
    return L"line " + std::to_wstring(std::count(text.begin(), end, '\n') + 1) +
           (finder.badEscape ? L": a backslash is written twice, as in \"D:\\\\Backup\"" : L"");
}

std::wstring SettingsDamage::LossOf(std::wstring_view file)
{
    return file == L"UserConfigurations.json" ? L"The backup destination that it named is not known now, and would be "
                                                L"backed up: write Backup::path again, or name it with --destination"
                                              : L"";
}
