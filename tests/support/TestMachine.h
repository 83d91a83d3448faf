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

// Makes a link to a folder, to a file, or to itself. Windows has junctions for the first and the last; the system below
// Wine makes all of them, to anything that its shell can name. Both are Windows paths, unless the target begins with a
// slash, which only Wine knows.
bool MakeLink(const std::wstring& path, const std::wstring& target);
// Removes the link; its target stays.
bool RemoveLink(const std::wstring& path);
// Returns why no link to a file can be made in the folder; empty when one can.
std::string WhyNoFileLinks(const std::wstring& folder);
// Makes a junction, as every account of Windows may. Wine 8 has none.
bool MakeJunction(const std::wstring& path, const std::wstring& target);
// A file with a name that Windows refuses, which the system below Wine makes and removes.
std::string WhyNoOddNames();
bool MakeOddName(const std::wstring& folder, const std::wstring& name);
bool RemoveOddName(const std::wstring& folder, const std::wstring& name);
// Makes another account the owner of the file or folder. Returns false where the test's own account may not.
bool GiveAway(const std::wstring& path);
// Makes a folder in which all accounts may write, as a user's program would.
bool MakeFolderForAll(const std::wstring& path);

// Drives can be put in and taken out while a test runs: links of the Wine prefix, or letters of Windows that stand for
// a folder, as "subst" makes them. `letter` is lower-case. The folder is a Windows path.
bool AttachDrive(char letter, const wchar_t* folder);
// Returns false when there was no such drive. A drive of the machine itself stays.
bool DetachDrive(char letter);
bool HasDrive(char letter);
// Returns the folder that the drive e, f or g of the tests stands for: below ORB_TEST_DRIVES, or of the Wine prefix.
std::wstring FolderOfDrive(char letter);
// Returns the serial number of the drive's volume; 0 when there is none.
unsigned SerialOfDrive(char letter);
// Returns why the drive has no serial number; empty when it has one.
std::string WhyNoSerial(char letter);
// Returns why the drives E, F and G have no volumes of their own; empty when they have. Letters that stand for folders
// have the serial number of the volume on which these folders are.
std::string WhyDrivesShareAVolume();
// Makes a folder that can become a drive, and returns its path. Under Wine the drive has this serial number.
std::wstring MakeVolume(const wchar_t* name, unsigned serial);
void WriteSerial(const std::wstring& folder, unsigned serial);
// Returns the share that tests may write to; empty when there is none.
std::wstring TestShare();
// Returns a folder in which an ordinary account can make nothing.
std::wstring ForbiddenFolder();
