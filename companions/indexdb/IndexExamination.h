// Examines an index and changes nothing, not even the files that the database keeps beside it. Any thread.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

struct IndexExamination {
    CIndexDB::Error error = CIndexDB::Error::None;
    CString text;         // the failure, or the first damage that was found
    bool isIndex = false; // its schema is that of an index, whatever is damaged in it
    // The write-ahead log has lost its shared memory, which the next connection makes again. Nothing was read.
    bool lacksMemory = false;
    std::int64_t items = 0;
    std::int64_t folders = 0; // number of folders of the items
};

ORBINDEXDB_API IndexExamination ExamineIndex(const wchar_t* path);

// Returns the identity of an index: a text that an index gets when it is made, and that no other index has. Empty when
// it is not known: the index is not there or cannot be read, or no version that gives identities has written to it.
ORBINDEXDB_API CString IndexIdentity(const wchar_t* path);
