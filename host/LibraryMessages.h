// The lines that the library writes to its log, all or failures only, kept until the main thread prints them: a thread
// that logs must not wait for standard error.
#pragma once

#include "companions/logging/OrbLogging.h"

#include <mutex>
#include <string>
#include <vector>

// Returns the path of a selected file whose name the system does not take, when the message tells of one. An
// enumeration tells the same by a record, and a change does not.
std::wstring RefusedNameIn(const std::wstring& message);
// Returns true for a message about a path that a walk could not read, or about the destination of the settings, which a
// record tells, too.
bool IsToldByRecord(const std::wstring& message);
// Returns true for a message that tells of something that is not backed up.
bool TellsOfLeftOut(const std::wstring& message);
// Returns true for a message about a file of the data folder that could not be written or removed.
bool TellsOfUnkept(const std::wstring& message);

class LibraryMessages
{
public:
    struct Line {
        LogLevel level;
        std::wstring text;
        bool finding; // about a file of the selection; OrbFilter::Findings has the same
    };
    enum class Keep { Everything, Failures };

    explicit LibraryMessages(Keep keep);
    ~LibraryMessages();
    LibraryMessages(const LibraryMessages&) = delete;
    LibraryMessages& operator=(const LibraryMessages&) = delete;

    // Returns the lines since the last call.
    std::vector<Line> Take();

private:
    std::mutex m_mutex;
    std::vector<Line> m_lines; // guarded by m_mutex
    const std::uint64_t m_token;
};
