// The program's streams, texts and interruption. The main thread calls these; the
// interruption itself may come at any time.
#pragma once

#include <windows.h>

#include <cstdio>
#include <string>
#include <string_view>

// UTF-8 and back. What is no UTF-16 (a lone surrogate) or no UTF-8 becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);
bool IsUtf8(std::string_view text);

// Keeps standard output for data alone: whatever the libraries print there goes to standard error. Call
// once, before anything is printed. The result is the stream for data.
FILE* TakeStandardOutput();

// Ctrl-C and Ctrl-Break set this event, and so does the closing of the console; the program then ends by
// itself. Programs that share no console with this one set it by its name, "Local\orbwatch-interrupt-" and
// the process id in decimal. The first call takes the interruption over.
HANDLE InterruptEvent();
// Ctrl-C and Ctrl-Break end the program at once, with the code that says so: for work that leaves nothing
// behind.
void EndWhenInterrupted();

// Since the system's start.
double Seconds();
// A path made absolute; an empty one stays empty.
std::wstring FullPath(const std::wstring& path);
// What the system says about an error.
std::wstring SystemText(DWORD error);
