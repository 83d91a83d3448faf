// A folder inside the one for temporary files. It receives the log that the library writes meanwhile, so that the data
// folder stays as it is. The destructor removes it with its contents. One thread.
#pragma once

#include <string>

class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::wstring& Path() const { return m_path; }

private:
    std::wstring m_path;
    std::wstring m_dataFolder; // as the environment variable named it
};
