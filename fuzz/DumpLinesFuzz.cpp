// Any units as a dump: the lines that come out are those between the line feeds,
// however the units are handed over, without the ones that no path can be.
#include "fuzz/FuzzInput.h"

#include "orbwatcher4/core/pending/DumpLines.h"

#include <algorithm>
#include <cstring>

namespace
{

std::wstring RawUnits(const std::uint8_t* data, std::size_t size)
{
    std::wstring units(size / 2, L'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::uint16_t unit;
        std::memcpy(&unit, data + i * 2, sizeof unit);
        units[i] = static_cast<wchar_t>(unit);
    }
    return units;
}

struct Lines {
    std::vector<std::wstring> kept;
    bool passedOver = false;
};

Lines Reference(std::wstring_view units)
{
    Lines lines;
    for (std::size_t end; (end = units.find(L'\n')) != units.npos; units.remove_prefix(end + 1)) {
        if (end > DumpLines::LongestLine)
            lines.passedOver = true;
        else if (end > 0)
            lines.kept.emplace_back(units.substr(0, end));
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::wstring units = RawUnits(data, size);
    DumpLines reader;
    std::vector<std::wstring> kept;
    for (const wchar_t unit : units)
        reader.Feed(unit, [&](const CString& line) { kept.emplace_back(line.View()); });
    const Lines expected = Reference(units);
    Require(kept == expected.kept);
    Require(reader.PassedOver() == expected.passedOver);
    return 0;
}
