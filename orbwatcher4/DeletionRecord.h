/// @file
/// A deletion that was written into the index.
#pragma once

#include "mfc/CString.h"

/// A delete record that was written into the index.
struct DeletionRecord {
    CString path;            ///< path of the item, without a trailing backslash
    unsigned __int64 id = 0; ///< id of the item
    __int32 job = 0;         ///< number of the job
};
