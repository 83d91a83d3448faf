// The doctor's checks of the data folder, the selection, the index and the machine. A check changes nothing but folders
// of the doctor's own. The library's own log goes to a folder of the doctor
// meanwhile (ScratchFolder), so that callers pass the data folder as an argument. One thread.
#pragma once

#include "host/Selection.h"
#include "host/doctor/Check.h"

#include <cstdint>
#include <set>

// Checks whether the settings files can be read and written, and reports what they are.
Checks CheckSettings(const std::wstring& dataFolder);
// Reports files in the data folder that are not the product's: no backup holds them. `index` may be empty.
Checks CheckOtherFiles(const std::wstring& dataFolder, const std::wstring& index);
// Reports values of the settings that mean something else than they probably should.
Checks CheckSettingsValues(const std::wstring& dataFolder);
// Checks whether what the last run left pending is still as it left it.
Checks CheckDump(const std::wstring& dataFolder);
// Checks to which selection and index the data folder belongs, and whether the index is still that of the last run. The
// selection and the index that are named may be empty.
Checks CheckOwner(const std::wstring& dataFolder, const std::wstring& selection, const std::wstring& index);
// Checks where the product's log is, and whether it can be written.
Checks CheckLog(const std::wstring& dataFolder);
// Checks the runs on the data folder: those that are running, and those that did not end in an orderly way.
Checks CheckRuns(const std::wstring& dataFolder);

// Reports enumerations that are due, and why: a warning when something was lost before. `destinations`: the present
// ones, each with a backslash at its end.
Checks CheckDue(const std::wstring& dataFolder, const SelectionFiles& selection, const std::set<CString>& destinations);

// These two functions check the files of a selection, its rules, and the drives that it names. `outside`: what no
// backup holds, whatever the rules say.
Checks CheckSelection(const SelectionFiles& files, const KeptOutside& outside);
Checks CheckDrives(const SelectionFiles& files);

// `folders` receives how many folders the index knows; 0 when that is not known.
Checks CheckIndex(const std::wstring& index, std::int64_t& folders);

// Checks limits of the underlying system.
Checks CheckLimits(std::int64_t folders);
// Checks the room on the drive of the file or folder, which need not exist yet.
Checks CheckRoom(const std::wstring& path);
// Checks whether a change in this folder, which is the doctor's own, is reported.
Checks CheckNotifications(const std::wstring& scratch);
