// The options of commands that use the watcher as a backup service does.
#pragma once

#include "companions/settings/FolderUse.h"
#include "host/Selection.h"

struct ServiceOptions {
    const wchar_t* command; // its name
    SelectionFiles files = {};
    std::wstring index = {};
    std::wstring destination = {}; // as it was written
    bool hidden = false;
    bool record = false;
    bool overlay = false;     // report to the overlay service
    double timeout = 0;       // seconds; 0: none
    bool mayTakeOver = false; // the command has the option
    bool takeOver = false;    // the data folder, from another selection or index
    bool enumerate = false;   // begin with a full enumeration

    FolderUse Use() const { return {files.data.c_str(), index.c_str()}; }
};
