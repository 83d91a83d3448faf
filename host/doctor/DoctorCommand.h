// orbwatch doctor: examines this machine and reports what is wrong. It changes nothing.
#pragma once

#include "host/ExitCode.h"
#include "host/Selection.h"
#include "host/records/RecordWriter.h"

struct DoctorOptions {
    SelectionFiles files;     // all may be empty
    std::wstring index;       // may be empty
    std::wstring destination; // as it was written; may be empty
};

ExitCode RunDoctor(const DoctorOptions& options, RecordWriter& writer);
