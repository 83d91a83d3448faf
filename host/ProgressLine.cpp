#include "host/ProgressLine.h"

#include "host/Console.h"
#include "support/HarmlessText.h"

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

void ProgressLine::Show(const EnumerationProgress& progress, double now) { ShowAny(progress, now); }
void ProgressLine::Show(const ScanProgress& progress, double now) { ShowAny(progress, now); }

template <typename Progress>
void ProgressLine::ShowAny(const Progress& progress, double now)
{
    if (!m_terminal || (m_shown >= 0 && now - m_shown < ShortestPause))
        return;
    if (m_begun < 0)
        m_begun = now;
    // A line that fills the last column would begin the next line.
    const std::string text = ProgressText(progress, now - m_begun, ColumnsOf(m_stream) - 1);
    Erase();
    const std::string line = m_colours.Dim(text);
    std::fwrite(line.data(), 1, line.size(), m_stream);
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

namespace
{

std::wstring Numbers(std::uint64_t files, std::uint64_t folders, double elapsed)
{
    const double rate = elapsed > 0 ? static_cast<double>(files + folders) / elapsed : 0;
    return std::to_wstring(files) + L" files, " + std::to_wstring(folders) + L" folders, " +
           std::to_wstring(static_cast<unsigned __int64>(rate)) + L"/s  ";
}

std::string WithFolder(const std::wstring& numbers, std::wstring folder, std::size_t columns)
{
    const std::wstring cut = L"...";
    if (numbers.size() + folder.size() > columns) {
        const std::size_t room = columns > numbers.size() + cut.size() ? columns - numbers.size() - cut.size() : 0;
        folder = cut + folder.substr(folder.size() - std::min(room, folder.size()));
    }
    return ToUtf8((numbers + folder).substr(0, columns));
}

} // namespace

std::string ProgressText(const EnumerationProgress& progress, double elapsed, std::size_t columns)
{
    return WithFolder(Numbers(progress.files, progress.folders, elapsed), HarmlessText(progress.folder.View()),
                      columns);
}

std::string ProgressText(const ScanProgress& progress, double elapsed, std::size_t columns)
{
    const std::wstring drives = L"drives " + std::to_wstring(progress.drivesDone) + L"/" +
                                std::to_wstring(progress.drives) + L", " +
                                std::to_wstring(static_cast<unsigned __int64>(elapsed)) + L" s, ";
    return WithFolder(drives + Numbers(progress.files, progress.folders, elapsed), HarmlessText(progress.folder.View()),
                      columns);
}
