#include "host/WrittenFiles.h"

#include <algorithm>

void WrittenFiles::KeepOut(const std::wstring& path, const std::wstring& what)
{
    if (std::ranges::find(m_paths, path) != m_paths.end())
        return;
    const PathExplanation explained = m_watcher.Explain(OrbFilter::SystemForm(path.c_str()));
    if (explained.decision == Included)
        m_writer.Note(L"this command's " + what +
                          L" goes to a file of the selection; the file is never backed up while the command runs",
                      explained.path.GetString());
    m_paths.push_back(path);
    m_watcher.SetOwnFiles({m_paths.begin(), m_paths.end()});
}

void WrittenFiles::KeepOutputOut()
{
    for (const std::wstring& path : m_output.Paths())
        KeepOut(path, L"output");
}

bool WrittenFiles::IsOutput(const QueueDatum& datum, const FileIdentity& identity)
{
    if (!m_output.Contains(datum.path, identity))
        return false;
    KeepOut(datum.path, L"output");
    return true;
}
