// Records about files and folders that several commands print.
#pragma once

#include "host/records/Record.h"
#include "orbwatcher4/OrbWatcher.h"

struct PendingRecord {
    static constexpr RecordKind Kind{"pending",
                                     "a file or folder that waits for backup: path, size, times, the rule's text"};
    const QueueDatum& datum;
    RecordFields Fields() const;
    std::string Line() const;
};

// The index must not have forgotten the item yet.
struct DeletedRecord {
    static constexpr RecordKind Kind{"deleted", "a path that the index holds and the disk does not"};
    const DeletionRecord& deletion;
    RecordFields Fields() const;
    std::string Line() const;
};

struct RescanRecord {
    static constexpr RecordKind Kind{"rescan", "a root that is looked at again, and why"};
    CString root;
    std::string reason;
    RecordFields Fields() const { return {{"root", ToUtf8(root.View())}, {"reason", reason}}; }
    std::string Line() const { return "looking at " + RecordText::Path(root.View()) + " again (" + reason + ")"; }
};

// A path of the selection that could not be looked at, or that no backup holds.
struct SkippedRecord {
    static constexpr RecordKind Kind{"skipped",
                                     "a drive, folder or file of the selection that could not be looked at, and why"};
    const PassedOverPath& skipped;
    // Returns why, in words.
    const char* Words() const;
    RecordFields Fields() const;
    std::string Line() const { return "skipped " + RecordText::Path(skipped.path.View()) + ": " + Words(); }
};

struct CreatedRecord {
    static constexpr RecordKind Kind{"created", "a file that was written"};
    std::wstring path;
    RecordFields Fields() const { return {{"path", ToUtf8(path)}}; }
    std::string Line() const { return "created " + RecordText::Path(path); }
};
