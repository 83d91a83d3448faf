// The files that a command writes. The watcher keeps them out of the selection: handing one out would cause the next
// record, for ever. One thread.
#pragma once

#include "host/OwnOutput.h"
#include "host/records/RecordWriter.h"
#include "orbwatcher4/OrbWatcher.h"

#include <string>
#include <vector>

class WrittenFiles
{
public:
    // Both must outlive the object.
    WrittenFiles(COrbWatcher& watcher, RecordWriter& writer) : m_watcher(watcher), m_writer(writer) {}

    // Keeps a file out, and says so if the selection includes it. `what`: what goes to the file.
    void KeepOut(const std::wstring& path, const std::wstring& what);
    // Keeps out the files that the output of the program goes to.
    void KeepOutputOut();
    // Returns true for a file that the output goes to, and keeps it out: the system does not always know its path at
    // first.
    bool IsOutput(const QueueDatum& datum, const FileIdentity& identity);
    const std::vector<std::wstring>& Paths() const { return m_paths; }

private:
    COrbWatcher& m_watcher;
    RecordWriter& m_writer;
    OwnOutput m_output;
    std::vector<std::wstring> m_paths;
};
