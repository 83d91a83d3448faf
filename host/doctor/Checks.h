// The doctor's looks at the machine. Each changes nothing. The library's own log goes
// to a folder of the doctor's meanwhile (ScratchFolder), so that the data folder is
// named by whoever asks. One thread.
#pragma once

#include "host/Selection.h"
#include "host/doctor/Check.h"

#include <cstdint>

// The settings files: whether they can be read and written, and what they are.
Checks CheckSettings(const std::wstring& dataFolder);
// The log of the product: where, and whether it can be written.
Checks CheckLog(const std::wstring& dataFolder);
// Runs on the data folder: those that go on, and those that did not end in an orderly way.
Checks CheckRuns(const std::wstring& dataFolder);

// The files of a selection, its rules, and the drives that it speaks of.
Checks CheckSelection(const SelectionFiles& files);
Checks CheckDrives(const SelectionFiles& files);

// `folders`: how many folders the index knows; 0 when that is not known.
Checks CheckIndex(const std::wstring& index, std::int64_t& folders);

// Limits of the system underneath.
Checks CheckLimits(std::int64_t folders);
// The room on the drive that the file or folder lies on, or will lie on.
Checks CheckRoom(const std::wstring& path);
// Whether a change in this folder, which is the doctor's own, is told.
Checks CheckNotifications(const std::wstring& scratch);
