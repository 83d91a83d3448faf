// The program's streams, texts and interruption. The main thread calls these functions; the interruption itself may
// come at any time.
#pragma once

#include "support/Utf8Text.h"

#include <windows.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

bool IsUtf8(std::string_view text);

// Reserves standard output for data: everything that the libraries print there goes to standard error. Call it once,
// before anything is printed. Returns the stream for data.
FILE* TakeStandardOutput();
// Returns the streams that the program was given for data and for errors. They stay open until the program ends.
std::vector<HANDLE> StandardStreams();

// Returns an event that Ctrl-C, Ctrl-Break and the closing of the console set; the program then ends by itself.
// Programs that share no console with this one set the event by its name: "Local\orbwatch-interrupt-" and the process
// id in decimal. The first call starts to handle the interruption.
HANDLE InterruptEvent();
// Lets Ctrl-C and Ctrl-Break end the program at once, with the exit code for an interruption: for work that leaves
// nothing behind.
void EndWhenInterrupted();

// Returns the seconds since the system's start.
double Seconds();
// Returns true for a path with its drive or share, which depends on no current folder.
bool IsFullPath(const std::wstring& path);
// Returns the absolute form of a path; an empty path stays empty.
std::wstring FullPath(const std::wstring& path);
// These functions return true when the path names a file, or a folder, that is there.
bool FileIsThere(const std::wstring& path);
bool FolderIsThere(const std::wstring& path);
// Returns true when the file is there and holds no byte.
bool IsEmptyFile(const std::wstring& path);
// Returns the system's text for an error.
std::wstring SystemText(DWORD error);
