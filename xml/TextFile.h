// A text file as a string of units, with the mark that says how it is encoded.
//
// Every call describes what it did in a result text for people, also when it succeeded. Any thread may call these
// functions; they keep no state. Nothing throws, except when memory runs out.
#pragma once

#include "mfc/CString.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

// The bits of the flags word; other bits are passed through. A file with neither bit is UTF-8 without a mark.
constexpr std::uint32_t TextUtf16Mark = 1;
constexpr std::uint32_t TextUtf8Mark = 4;

// A text that is longer than a CString can hold is refused.
constexpr std::size_t LongestText = INT_MAX / sizeof(wchar_t) - 64;

// Moves the bytes. Tests replace it by a disk that fails.
class FileBytes
{
public:
    virtual ~FileBytes() = default;
    // Both functions return how many bytes were moved, and leave the reason of a failure in errno.
    virtual std::size_t Read(void* bytes, std::size_t count, std::FILE* file);
    virtual std::size_t Write(const void* bytes, std::size_t count, std::FILE* file);
};

struct TextFileOptions {
    std::size_t longest = LongestText;
    FileBytes* bytes = nullptr; // null: the real one
};

// Returns false only when the file cannot be opened. A file that cannot be read whole, or is too long, gives an empty
// text, and the result says so.
bool ReadTextFile(const wchar_t* path, CString& text, CString* result, std::uint32_t* flags,
                  const TextFileOptions& options = {});
// Makes the bytes that WriteTextFile writes for the text. Returns false for a text that would be another one when it is
// read again: in UTF-8, a text with half of a surrogate pair, with a zero, or with a byte order mark at its beginning
// where none is wanted.
bool EncodeText(const CString& text, std::uint32_t flags, std::string& bytes);

// Truncates the file and writes it in place. Returns false when it cannot be opened or the text cannot be written.
bool WriteTextFile(const wchar_t* path, const CString& text, CString* result, std::uint32_t* flags,
                   const TextFileOptions& options = {});
