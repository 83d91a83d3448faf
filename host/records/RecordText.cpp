#include "host/records/RecordText.h"

#include "host/Console.h"
#include "host/ShownPath.h"

std::string RecordText::Time(std::uint64_t fileTime)
{
    const FILETIME time = {static_cast<DWORD>(fileTime), static_cast<DWORD>(fileTime >> 32)};
    SYSTEMTIME t = {};
    FileTimeToSystemTime(&time, &t);
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", t.wYear, t.wMonth, t.wDay, t.wHour,
                  t.wMinute, t.wSecond, t.wMilliseconds);
    return text;
}

std::string RecordText::Now()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return Time(now.dwLowDateTime | std::uint64_t(now.dwHighDateTime) << 32);
}

std::string RecordText::Counted(std::uint64_t number, const char* one, const char* many)
{
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

std::string RecordText::Path(std::wstring_view path) { return ToUtf8(ShownPath(path)); }

std::string RecordText::Size(const SizeTotal& total, const std::string& what)
{
    static constexpr const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    auto size = static_cast<double>(total.bytes);
    std::size_t unit = 0;
    for (; size >= 1024 && unit + 1 < std::size(units); ++unit)
        size /= 1024;
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "%9.*f %-3s %12llu %-5s  ", unit == 0 ? 0 : 1, size, units[unit],
                  static_cast<unsigned long long>(total.files), total.files == 1 ? "file" : "files");
    return numbers + what;
}
