// The changes that a test program makes to its machine.
#pragma once

#include <string>
#include <string_view>

// Gives the process a data folder of its own (ORB_DATA_FOLDER) and turns error boxes off.
void PrepareTestProcess();
// Removes that folder.
void LeaveTestProcess();

bool HeapsAreWhole();
// The handles that this process holds open. (Wine answers 0 to GetProcessHandleCount.)
int OpenHandles();
// Returns true when only this user, the system and its administrators may read the file.
bool OnlyItsOwnerReads(const std::wstring& path);
std::string Narrow(std::wstring_view text);

// Puts a link of the system below in place, to anything that the shell there can name. Both are Windows paths, unless
// the target begins with a slash.
bool MakeLink(const std::wstring& path, const std::wstring& target);
bool RemoveLink(const std::wstring& path);
// A file with a name that this system refuses, which the system below Wine makes and removes.
bool MakeOddName(const std::wstring& folder, const std::wstring& name);
bool RemoveOddName(const std::wstring& folder, const std::wstring& name);
// Makes another account of the system below the owner of the file or folder. False where the test's own account may
// not.
bool GiveAway(const std::wstring& path);
// Makes a folder in which all accounts may write, as a user's program would.
bool MakeFolderForAll(const std::wstring& path);

// Drives of the Wine prefix can be put in and taken out while a test runs.
// `letter` is lower-case. The folder is a Windows path.
bool AttachDrive(char letter, const wchar_t* folder);
bool DetachDrive(char letter);
// A folder of the prefix (as "drives/e", with slashes) as a Windows path.
std::wstring PrefixFolder(const wchar_t* name);
// A folder below the prefix that can become a drive, with this volume serial. A Windows path.
std::wstring MakeVolume(const wchar_t* name, unsigned serial);
