// The files that this program's own output goes to. Each record changes such a file: when the file lies in the
// selection, handing it out would cause the next record, for ever. One thread.
#pragma once

#include "orbwatcher4/QueueDatum.h"

#include <windows.h>

#include <string>
#include <vector>

class OwnOutput
{
public:
    // Looks at standard output and standard error, as the program was given them.
    OwnOutput();

    // Returns the paths of those that are files and whose paths the system knows.
    std::vector<std::wstring> Paths() const;
    // Returns true when the path names one of them, also by another name. `identity`: of the file, as it was handed
    // out.
    bool Contains(const std::wstring& path, const FileIdentity& identity) const;

private:
    struct Stream {
        HANDLE handle;     // not owned
        std::wstring path; // empty when the system does not know it
        std::uint64_t file;
    };
    std::vector<Stream> m_streams;
};
