// A look at an index that changes nothing, not even the files that the database keeps
// beside it. Any thread.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

struct IndexExamination {
    CIndexDB::Error error = CIndexDB::Error::None;
    CString text; // of the failure, or of the first damage that was found
    std::int64_t items = 0;
    std::int64_t folders = 0; // of the items
};

ORBINDEXDB_API IndexExamination ExamineIndex(const wchar_t* path);
