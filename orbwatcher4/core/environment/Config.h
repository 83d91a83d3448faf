// The configuration of a watcher: plain values that its parts read.
//
// A service sets them between Init and Resume. They are constant while the watcher runs, so they need no lock.
#pragma once

#include "companions/online/OnlineCallbackHandler.h"
#include "companions/settings/FolderUse.h"
#include "orbwatcher4/core/environment/DedupKeys.h"
#include "support/Clock.h"
#include "support/FileWriter.h"

#include <windows.h>

#include <memory>
#include <vector>

// The files that rules are read from. An empty path names none.
struct SelectionFiles {
    CString data, autoExclude, advanced;     // of the primary filter
    CString secondary, secondaryAutoExclude; // of the secondary filter

    // Returns the files that decide which paths are selected.
    std::vector<CString> OfTheSelection() const { return {data, autoExclude, advanced}; }
};

struct Config {
    explicit Config(bool useDr) : useDrDeleteMap(useDr) {}

    SelectionFiles files;
    CString queueDatabase, indexDatabase;
    CString blockLevelNames, instantRunNames; // ";"-separated patterns of file names
    CString completionEvent;                  // name of an event that is set at the end of a full enumeration
    DedupKeys notForDedup;
    HANDLE userToken = nullptr; // not owned; null: the rights of the process
    bool hiddenFiles = false;   // hidden files are backed up
    bool overlay = false;       // the overlay service is told of statuses
    const bool useDrDeleteMap;
    DWORD backupFrequency = 0;
    std::shared_ptr<OnlineCallbackHandler> online = std::make_shared<OnlineCallbackHandler>(); // never null
    const Clock* clock = &SystemClock();
    FileWriter* writer = &SystemFileWriter();

    // Returns the selection and the index to which the data folder must belong.
    FolderUse Use() const { return {files.data, indexDatabase}; }
};
