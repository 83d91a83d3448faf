#include "bench/WatcherBench.h"

#include "companions/logging/OrbLogging.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace
{

const wchar_t* const completedName = L"orb_bench_enumerated";

// The names in the tree's path need no encoding.
CString WriteSelection(const FileTree& tree)
{
    const std::filesystem::path file = std::filesystem::absolute("tree selection.xml");
    std::ofstream(file, std::ios::binary)
        << "<Data><Item path=\"" << std::filesystem::path(tree.root.GetString()).string()
        << "\" type=\"1\" includeSub=\"1\" pluginName=\"My Documents\" pluginId=\"7\"/></Data>";
    return file.c_str();
}

} // namespace

WatcherBench::WatcherBench(const FileTree& tree) : m_completed(CreateEventW(nullptr, FALSE, FALSE, completedName))
{
    watcher.Init();
    watcher.SetDataXmlPath(WriteSelection(tree));
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    watcher.SetFirstTimeCompletionEvent(completedName);
    if (!watcher.LoadSelection())
        throw std::runtime_error("the selection cannot be loaded");
}

void WatcherBench::Enumerate()
{
    if (watcher.StartFirstTimeRun(0) != 1 || WaitForSingleObject(m_completed.Get(), INFINITE) != WAIT_OBJECT_0)
        throw std::runtime_error("the tree cannot be enumerated");
}
