#include "host/LibraryMessages.h"

#include <utility>

namespace
{

// Further lines between two calls of Take are dropped: they say nothing more.
constexpr std::size_t MostKept = 10000;

} // namespace

LibraryMessages::LibraryMessages(Keep keep)
    : m_token(g_OrbLog.AddSink([this, keep](const LogLine& line) {
          if (keep == Keep::Failures && line.level != LogLevel::Error)
              return;
          const std::scoped_lock lock(m_mutex);
          if (m_lines.size() < MostKept)
              m_lines.push_back({line.level, line.text});
      }))
{
}

LibraryMessages::~LibraryMessages() { g_OrbLog.RemoveSink(m_token); }

std::vector<LibraryMessages::Line> LibraryMessages::Take()
{
    const std::scoped_lock lock(m_mutex);
    return std::exchange(m_lines, {});
}
