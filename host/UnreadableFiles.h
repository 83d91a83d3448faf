// Files that could not be read when they were handed out, until they are read or gone. The system reports no change
// when a program closes a file that it had open for itself alone, so that each is tried again, after pauses that grow.
// One thread.
#pragma once

#include "support/GrowingPause.h"

#include <map>
#include <string>
#include <vector>

class UnreadableFiles
{
public:
    using Time = GrowingPause::Time;

    // The first pause of a file begins when it was not among them.
    void Note(const std::wstring& path, Time now);
    // The file was read.
    void Forget(const std::wstring& path) { m_pauses.erase(path); }
    std::size_t Count() const { return m_pauses.size(); }
    // Returns the files that it is time to try again, and begins their next pauses. Forgets a file that is gone, but
    // not one whose drive is away: it may return with it. `atOnce`: all files, also during their pauses, which go on.
    std::vector<std::wstring> TakeDue(Time now, bool atOnce);

private:
    std::map<std::wstring, GrowingPause> m_pauses; // by path
};
