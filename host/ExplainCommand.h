// orbwatch explain: why paths are selected or not.
#pragma once

#include "host/ExitCode.h"
#include "host/Selection.h"

struct ExplainOptions {
    SelectionFiles files;
    KeptOutside outside;
    std::vector<std::wstring> paths; // "-": reads standard input, one path a line
};

ExitCode RunExplain(const ExplainOptions& options, RecordWriter& writer);
