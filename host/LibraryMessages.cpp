#include "host/LibraryMessages.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace
{

// Further lines between two calls of Take are dropped: they say nothing more.
constexpr std::size_t MostKept = 10000;

// The reader of the selection writes a line of its own for each finding, and a general one before some of them.
bool IsFinding(const LogLine& line)
{
    constexpr std::wstring_view general[] = {
        L"Failed to load Additional Info", L"Extensions is bigger than buffer -- SKIP",
        L"Failed to create regex filter", L"Failed to load Data XML File", L"Failed to load Advanced filters XML File"};
    return std::wstring_view(line.source) == L"Selection" || std::ranges::find(general, line.text) != std::end(general);
}

} // namespace

std::wstring RefusedNameIn(const std::wstring& message)
{
    constexpr std::wstring_view before = L"A file is left out, the system does not take its name: ";
    return message.starts_with(before) ? message.substr(before.size()) : std::wstring();
}

bool IsToldByRecord(const std::wstring& message)
{
    const auto isForm = [&](std::wstring_view before, std::wstring_view behind) {
        return message.starts_with(before) && message.find(behind) != std::wstring::npos;
    };
    // Every command tells of a destination that is none when it begins.
    return isForm(L"The setting Backup::path ", L" names no folder") ||
           isForm(L"The folder ", L" could not be read to its end: ") ||
           isForm(L"The selected folder ", L" cannot be walked: ") ||
           isForm(L"Skipping unusable junction point ", L"") || message.ends_with(L" cannot be looked at");
}

bool TellsOfLeftOut(const std::wstring& message) { return message.starts_with(L"Two names differ in "); }

bool TellsOfUnkept(const std::wstring& message)
{
    const auto isForm = [&](std::wstring_view before, std::wstring_view behind) {
        return message.starts_with(before) && message.find(behind) != std::wstring::npos;
    };
    return isForm(L"Settings ", L" cannot be written: ") || isForm(L"The dump ", L" cannot be removed: ");
}

LibraryMessages::LibraryMessages(Keep keep)
    : m_token(g_OrbLog.AddSink(
          [this](const LogLine& line) {
              const std::scoped_lock lock(m_mutex);
              if (m_lines.size() < MostKept)
                  m_lines.push_back({line.level, line.text, IsFinding(line)});
          },
          keep == Keep::Failures ? LogLevel::Error : LogLevel::Info))
{
}

LibraryMessages::~LibraryMessages() { g_OrbLog.RemoveSink(m_token); }

std::vector<LibraryMessages::Line> LibraryMessages::Take()
{
    const std::scoped_lock lock(m_mutex);
    return std::exchange(m_lines, {});
}
