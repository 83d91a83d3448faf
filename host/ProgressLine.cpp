#include "host/ProgressLine.h"

#include "host/Console.h"

#include <io.h>

#include <algorithm>

namespace
{

constexpr double ShortestPause = 0.1; // seconds between two lines
constexpr std::size_t UsualColumns = 80;

std::size_t ColumnsOf(FILE* terminal)
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(terminal)));
    if (!GetConsoleScreenBufferInfo(handle, &info) || info.srWindow.Right <= info.srWindow.Left)
        return UsualColumns;
    return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left) + 1;
}

} // namespace

void ProgressLine::Show(const EnumerationProgress& progress, double now)
{
    if (!_isatty(_fileno(m_stream)) || (m_shown >= 0 && now - m_shown < ShortestPause))
        return;
    if (m_begun < 0)
        m_begun = now;
    const double elapsed = now - m_begun;
    const auto found = static_cast<double>(progress.files + progress.folders);
    // A line that fills the last column would begin the next one.
    const std::string text = ProgressText(progress, elapsed > 0 ? found / elapsed : 0, ColumnsOf(m_stream) - 1);
    Erase();
    std::fwrite(text.data(), 1, text.size(), m_stream);
    std::fflush(m_stream);
    m_length = FromUtf8(text).size();
    m_shown = now;
}

void ProgressLine::Erase()
{
    if (m_length == 0)
        return;
    const std::string blank = "\r" + std::string(m_length, ' ') + "\r";
    std::fwrite(blank.data(), 1, blank.size(), m_stream);
    std::fflush(m_stream);
    m_length = 0;
}

std::string ProgressText(const EnumerationProgress& progress, double rate, std::size_t columns)
{
    std::wstring text = std::to_wstring(progress.files) + L" files, " + std::to_wstring(progress.folders) +
                        L" folders, " + std::to_wstring(static_cast<unsigned __int64>(rate)) + L"/s  ";
    std::wstring folder(progress.folder.View());
    const std::wstring cut = L"...";
    if (text.size() + folder.size() > columns) {
        const std::size_t room = columns > text.size() + cut.size() ? columns - text.size() - cut.size() : 0;
        folder = cut + folder.substr(folder.size() - std::min(room, folder.size()));
    }
    return ToUtf8((text + folder).substr(0, columns));
}
