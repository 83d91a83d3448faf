#include "orbwatcher4/capi/LoadedFiles.h"

#include "companions/logging/OrbLogging.h"
#include "support/SystemPath.h"

#include <windows.h>

namespace
{

// Collects the failures that the calling thread logs while the object lives.
class LoggedFailures
{
public:
    LoggedFailures()
        : m_token(g_OrbLog.AddSink(
              [this, thread = GetCurrentThreadId()](const LogLine& line) {
                  if (GetCurrentThreadId() == thread)
                      m_text += (m_text.empty() ? L"" : L"; ") + std::wstring(line.text);
              },
              LogLevel::Error))
    {
    }
    ~LoggedFailures() { g_OrbLog.RemoveSink(m_token); }
    LoggedFailures(const LoggedFailures&) = delete;
    LoggedFailures& operator=(const LoggedFailures&) = delete;

    const std::wstring& Text() const { return m_text; }

private:
    std::wstring m_text; // only that thread changes it
    const std::uint64_t m_token;
};

bool IsFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(SystemPath(path.c_str()));
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

} // namespace

void RequireFiles(std::initializer_list<const std::wstring*> files)
{
    for (const std::wstring* file : files)
        if (!file->empty() && !IsFile(*file))
            throw Refused{ORB_SELECTION_UNREADABLE, L"the file is not there or cannot be reached: " + *file};
}

void RequireLoaded(const std::function<bool()>& load)
{
    const LoggedFailures failures;
    if (!load())
        throw Refused{ORB_SELECTION_UNREADABLE, failures.Text()};
}
