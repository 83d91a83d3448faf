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

std::wstring UnreadablePathIn(const std::wstring& message)
{
    struct Form {
        std::wstring_view before, behind;
    };
    constexpr Form forms[] = {{L"The folder ", L" could not be read to its end: "},
                              {L"The selected folder ", L" cannot be walked: "},
                              {L"A file is left out, the system does not take its name: ", L""}};
    for (const auto& [before, behind] : forms)
        if (const std::size_t end = behind.empty() ? message.size() : message.find(behind);
            message.starts_with(before) && end != std::wstring::npos)
            return message.substr(before.size(), end - before.size());
    return {};
}

bool TellsOfLeftOut(const std::wstring& message) { return message.starts_with(L"Two names differ in "); }

LibraryMessages::LibraryMessages(Keep keep)
    : m_token(g_OrbLog.AddSink([this, keep](const LogLine& line) {
          if (keep == Keep::Failures && line.level != LogLevel::Error)
              return;
          const std::scoped_lock lock(m_mutex);
          if (m_lines.size() < MostKept)
              m_lines.push_back({line.level, line.text, IsFinding(line)});
      }))
{
}

LibraryMessages::~LibraryMessages() { g_OrbLog.RemoveSink(m_token); }

std::vector<LibraryMessages::Line> LibraryMessages::Take()
{
    const std::scoped_lock lock(m_mutex);
    return std::exchange(m_lines, {});
}
