#include "support/CaseFold.h"

#include <algorithm>
#include <memory>

#ifdef _WIN32
#include <windows.h>
extern "C" NTSYSAPI WCHAR NTAPI RtlUpcaseUnicodeChar(WCHAR unit);
#else
#include <clocale>
#include <cwctype>
#endif

namespace
{

class UpperTable
{
public:
    UpperTable()
    {
        for (std::uint32_t unit = 0; unit < Size; ++unit)
            m_upper[unit] = Upper(static_cast<std::uint16_t>(unit));
    }
    std::uint16_t operator[](std::uint16_t unit) const noexcept { return m_upper[unit]; }
    const std::uint16_t* Units() const noexcept { return m_upper; }

private:
    static constexpr std::uint32_t Size = 0x10000;

    static std::uint16_t Upper(std::uint16_t unit)
    {
        if (unit >= 0xD800 && unit <= 0xDFFF)
            return unit;
#ifdef _WIN32
        return RtlUpcaseUnicodeChar(unit);
#else
        static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        const auto upper = static_cast<std::uint32_t>(towupper_l(unit, unicode));
        return upper < Size ? static_cast<std::uint16_t>(upper) : unit;
#endif
    }

    std::uint16_t m_upper[Size];
};

const UpperTable& Table()
{
    static const auto table = std::make_unique<UpperTable>();
    return *table;
}

} // namespace

std::uint16_t UpperUnit(std::uint16_t unit) noexcept { return Table()[unit]; }
const std::uint16_t* UpperUnits() noexcept { return Table().Units(); }

int CompareNoCase(std::wstring_view left, std::wstring_view right) noexcept
{
    const UpperTable& table = Table();
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const int difference =
            int(table[static_cast<std::uint16_t>(left[i])]) - int(table[static_cast<std::uint16_t>(right[i])]);
        if (difference != 0)
            return difference;
    }
    return left.size() == right.size() ? 0 : left.size() < right.size() ? -1 : 1;
}

bool EqualNoCase(std::wstring_view left, std::wstring_view right) noexcept
{
    return left.size() == right.size() && CompareNoCase(left, right) == 0;
}

bool BeginsNoCase(std::wstring_view text, std::wstring_view prefix) noexcept
{
    return text.size() >= prefix.size() && CompareNoCase(text.substr(0, prefix.size()), prefix) == 0;
}

bool EndsNoCase(std::wstring_view text, std::wstring_view suffix) noexcept
{
    return text.size() >= suffix.size() && CompareNoCase(text.substr(text.size() - suffix.size()), suffix) == 0;
}

std::size_t HashNoCase(std::wstring_view text) noexcept
{
    // No table that uses this hash keeps it on disk.
    const UpperTable& table = Table();
    std::uint64_t hash = FoldedHashSeed;
    for (const wchar_t unit : text)
        hash = MixFolded(hash, table[static_cast<std::uint16_t>(unit)]);
    return static_cast<std::size_t>(hash ^ (hash >> 32));
}
