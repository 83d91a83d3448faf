// A text file as a string of units, with the mark that says how it is encoded.
//
// Every call says what it did in a result text for people, also when all went
// well. Any thread may call these functions; they keep nothing. Nothing throws,
// except on lack of memory.
#pragma once

#include "mfc/CString.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

// The bits of the flags word; others are passed through. Without either a file
// is UTF-8 without a mark.
constexpr std::uint32_t kTextUtf16Mark = 1;
constexpr std::uint32_t kTextUtf8Mark = 4;

// More than a CString holds is refused.
constexpr std::size_t kLongestText = INT_MAX / sizeof(wchar_t) - 64;

// What moves the bytes, so that tests can let a disk fail.
class FileBytes
{
public:
    virtual ~FileBytes() = default;
    // Both return how many bytes were moved, and leave the reason in errno.
    virtual std::size_t Read(void* bytes, std::size_t count, std::FILE* file);
    virtual std::size_t Write(const void* bytes, std::size_t count, std::FILE* file);
};

struct TextFileOptions {
    std::size_t longest = kLongestText;
    FileBytes* bytes = nullptr; // null: the real one
};

// False only when the file cannot be opened. One that cannot be read whole, or is
// too long, gives an empty text, and the result says so.
bool ReadTextFile(const wchar_t* path, CString& text, CString* result, std::uint32_t* flags,
                  const TextFileOptions& options = {});
// The bytes that WriteTextFile writes for the text. False for a text that would be another one when it is read again:
// in UTF-8, half of a surrogate pair, a zero, and a byte order mark at its beginning where none is wanted.
bool EncodeText(const CString& text, std::uint32_t flags, std::string& bytes);

// Truncates the file and writes it in place. False when it cannot be opened or
// the text cannot be written.
bool WriteTextFile(const wchar_t* path, const CString& text, CString* result, std::uint32_t* flags,
                   const TextFileOptions& options = {});
