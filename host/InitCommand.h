// orbwatch init: a sample selection to start from.
#pragma once

#include "host/ExitCode.h"
#include "host/records/RecordWriter.h"

// Existing files are never overwritten: if one exists, nothing is written.
ExitCode RunInit(const std::wstring& given, RecordWriter& writer);
