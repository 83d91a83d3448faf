// A folder below the one for temporary files, which takes the log that the library
// writes meanwhile: the data folder stays as it is. Gone, with all that is in it, at
// the end. One thread.
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
    std::wstring m_dataFolder; // as the environment named it
};
