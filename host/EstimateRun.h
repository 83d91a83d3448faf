// An estimate of orbwatch: scans what a selection holds, counts it after each edit, and reports it. One thread.
#pragma once

#include "host/EstimateReport.h"
#include "host/Selection.h"
#include "host/records/RecordWriter.h"

struct EstimateOptions {
    SelectionFiles files;
    KeptOutside outside;
    std::wstring stats;
    std::wstring mask;               // endings that folders of an including edit leave out
    std::vector<EstimateEdit> edits; // in the order of the command line
    bool force = false;              // replace a file that is no report
    std::wstring report;             // the page to write; empty: none
};

ExitCode RunEstimate(const EstimateOptions& options, RecordWriter& writer);
