// The program's streams, texts and interruption.
#pragma once

#include <windows.h>

#include <cstdio>
#include <string>
#include <string_view>

// UTF-8 and back. What is no UTF-16 (a lone surrogate) becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

// Keeps standard output for data alone: whatever the libraries print there goes to standard error. Call
// once, before anything is printed. The result is the stream for data.
FILE* TakeStandardOutput();

// An event that Ctrl-C and Ctrl-Break set; the program then ends by itself. Call once for the handler.
HANDLE InterruptEvent();

// A path as it is, made absolute.
std::wstring FullPath(const std::wstring& path);
