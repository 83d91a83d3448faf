#include "xml/TextFile.h"

#include "xml/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr std::string_view Utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view Utf16Mark = "\xFF\xFE";
constexpr const wchar_t* kUtf8Prefix = L"UTF-8 BOM + ";
constexpr const wchar_t* kUtf16Prefix = L"UTF-16LE BOM + ";

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

#ifdef _WIN32
File OpenFile(const wchar_t* path, const wchar_t* mode) { return File(_wfopen(path, mode)); }
std::wstring ErrorText(int error) { return _wcserror(error); }
int Seek(std::FILE* file, long long offset, int origin) { return _fseeki64(file, offset, origin); }
long long Tell(std::FILE* file) { return _ftelli64(file); }
#else
File OpenFile(const wchar_t* path, const wchar_t* mode)
{
    return File(std::fopen(EncodeUtf8(path).c_str(), EncodeUtf8(mode).c_str()));
}
std::wstring ErrorText(int error)
{
    const std::string_view text = std::strerror(error);
    return std::wstring(text.begin(), text.end());
}
int Seek(std::FILE* file, long long offset, int origin) { return fseeko(file, offset, origin); }
long long Tell(std::FILE* file) { return ftello(file); }
#endif

File OpenUnbuffered(const wchar_t* path, const wchar_t* mode)
{
    File file = OpenFile(path ? path : L"", mode);
    // Without a buffer, a full disk shows in the write itself and not after success was reported. Reads and writes are
    // in large blocks anyway.
    if (file)
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

// Returns the size of an open file, and leaves the file at its beginning.
std::optional<std::size_t> SizeOf(std::FILE* file)
{
    if (Seek(file, 0, SEEK_END) != 0)
        return std::nullopt;
    const long long size = Tell(file);
    if (size < 0 || Seek(file, 0, SEEK_SET) != 0)
        return std::nullopt;
    return static_cast<std::size_t>(size);
}

bool ReadAll(FileBytes& disk, std::FILE* file, void* bytes, std::size_t count)
{
    // A file that shrinks meanwhile gives fewer bytes and no error.
    errno = 0;
    if (disk.Read(bytes, count, file) == count)
        return true;
    if (errno == 0)
        errno = EIO;
    return false;
}

std::wstring UnitCount(std::size_t count) { return std::to_wstring(count) + L" wide chars"; }
std::wstring ByteCount(std::size_t count) { return std::to_wstring(count) + L" bytes"; }

// One read: the file and the message about it.
class TextFileReader
{
public:
    TextFileReader(FileBytes& disk, std::FILE* file, std::size_t longest)
        : m_disk(disk),
          m_file(file),
          m_longest(longest)
    {
    }

    // Reads the file. The text stays empty when the message reports a failure.
    std::wstring Read(CString& text, std::uint32_t& flags)
    {
        const auto size = SizeOf(m_file);
        char first[3];
        const std::size_t head = std::min<std::size_t>(size.value_or(0), sizeof first);
        if (!size || !ReadAll(m_disk, m_file, first, head))
            return ErrorText(errno);
        const std::string_view begin(first, head);
        if (begin == Utf8Mark) {
            flags |= TextUtf8Mark;
            return ReadUtf8(text, kUtf8Prefix, Utf8Mark.size(), *size);
        }
        if (begin.starts_with(Utf16Mark)) {
            flags |= TextUtf16Mark;
            return ReadUtf16(text, *size);
        }
        flags &= ~(TextUtf16Mark | TextUtf8Mark);
        return ReadUtf8(text, L"", 0, *size);
    }

private:
    std::wstring ReadUtf8(CString& text, const wchar_t* prefix, std::size_t from, std::size_t size)
    {
        const std::size_t count = size - from;
        if (count > m_longest)
            return TooLong(count);
        const auto bytes = std::make_unique_for_overwrite<char[]>(count);
        if (Seek(m_file, static_cast<long long>(from), SEEK_SET) != 0 || !ReadAll(m_disk, m_file, bytes.get(), count))
            return ErrorText(errno);
        const std::string_view encoded(bytes.get(), count);
        const auto units = static_cast<int>(CountUnits(encoded));
        DecodeUtf8(encoded, text.GetBuffer(units));
        text.ReleaseBuffer(units);
        return prefix + ByteCount(count) + L" to " + UnitCount(static_cast<std::size_t>(units));
    }

    std::wstring ReadUtf16(CString& text, std::size_t size)
    {
        const std::size_t units = (size - Utf16Mark.size()) / 2;
        if (units > m_longest)
            return TooLong(size);
        const auto raw = std::make_unique_for_overwrite<std::uint16_t[]>(units);
        if (Seek(m_file, static_cast<long long>(Utf16Mark.size()), SEEK_SET) != 0 ||
            !ReadAll(m_disk, m_file, raw.get(), units * 2))
            return ErrorText(errno);
        std::copy_n(raw.get(), units, text.GetBuffer(static_cast<int>(units)));
        text.ReleaseBuffer(static_cast<int>(units));
        return kUtf16Prefix + UnitCount(units);
    }

    static std::wstring TooLong(std::size_t count) { return ByteCount(count) + L" are too long for a document"; }

    FileBytes& m_disk;
    std::FILE* m_file;
    std::size_t m_longest;
};

bool WriteAll(FileBytes& disk, std::FILE* file, const void* bytes, std::size_t count)
{
    errno = 0;
    if (disk.Write(bytes, count, file) == count)
        return true;
    if (errno == 0)
        errno = EIO;
    return false;
}

bool WriteUnits(FileBytes& disk, std::FILE* file, std::wstring_view text)
{
    if constexpr (sizeof(wchar_t) == sizeof(std::uint16_t)) {
        return WriteAll(disk, file, text.data(), text.size() * 2);
    } else {
        const std::vector<std::uint16_t> raw(text.begin(), text.end());
        return WriteAll(disk, file, raw.data(), raw.size() * 2);
    }
}

// Returns nothing when the text could not be written; errno says why.
std::optional<std::wstring> WriteUtf16(FileBytes& disk, std::FILE* file, std::wstring_view text)
{
    // Kept for compatibility: if its mark cannot be written, the file stays empty and the call counts as done.
    if (!WriteAll(disk, file, Utf16Mark.data(), Utf16Mark.size()))
        return L"";
    if (!WriteUnits(disk, file, text))
        return std::nullopt;
    return kUtf16Prefix + UnitCount(text.size());
}

std::optional<std::wstring> WriteUtf8(FileBytes& disk, std::FILE* file, std::wstring_view text, bool mark)
{
    const bool marked = mark && WriteAll(disk, file, Utf8Mark.data(), Utf8Mark.size());
    const std::string bytes = EncodeUtf8(text);
    if (!WriteAll(disk, file, bytes.data(), bytes.size()))
        return std::nullopt;
    return UnitCount(text.size()) + L" to " + (marked ? kUtf8Prefix : L"") + ByteCount(bytes.size());
}

std::string Utf16Bytes(std::wstring_view text)
{
    std::string bytes(Utf16Mark);
    bytes.reserve(bytes.size() + 2 * text.size());
    for (const wchar_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8 & 0xFF);
    }
    return bytes;
}

bool DecodesTo(std::string_view bytes, std::wstring_view text)
{
    if (CountUnits(bytes) != text.size())
        return false;
    std::wstring units(text.size(), L'\0');
    return DecodeUtf8(bytes, units.data()) == text.size() && units == text;
}

void Tell(CString* result, const std::wstring& text)
{
    if (result)
        *result = text;
}

FileBytes& DiskOf(const TextFileOptions& options)
{
    static FileBytes real;
    return options.bytes ? *options.bytes : real;
}

} // namespace

std::size_t FileBytes::Read(void* bytes, std::size_t count, std::FILE* file)
{
    return std::fread(bytes, 1, count, file);
}

std::size_t FileBytes::Write(const void* bytes, std::size_t count, std::FILE* file)
{
    return std::fwrite(bytes, 1, count, file);
}

bool ReadTextFile(const wchar_t* path, CString& text, CString* result, std::uint32_t* flags,
                  const TextFileOptions& options)
{
    text.Empty();
    const File file = OpenUnbuffered(path, L"rb");
    if (!file) {
        Tell(result, ErrorText(errno));
        return false;
    }
    std::uint32_t found = flags ? *flags : 0;
    Tell(result, TextFileReader(DiskOf(options), file.get(), options.longest).Read(text, found));
    if (flags)
        *flags = found;
    return true;
}

bool EncodeText(const CString& text, std::uint32_t flags, std::string& bytes)
{
    if (flags & TextUtf16Mark) {
        bytes = Utf16Bytes(text.View());
        return true;
    }
    const std::string encoded = EncodeUtf8(text.View());
    const bool marked = (flags & TextUtf8Mark) != 0;
    bytes = marked ? std::string(Utf8Mark) + encoded : encoded;
    return DecodesTo(encoded, text.View()) && (marked || !encoded.starts_with(Utf8Mark));
}

bool WriteTextFile(const wchar_t* path, const CString& text, CString* result, std::uint32_t* flags,
                   const TextFileOptions& options)
{
    const std::uint32_t wanted = flags ? *flags : 0;
    File file = OpenUnbuffered(path, L"wb");
    if (!file) {
        Tell(result, ErrorText(errno));
        return false;
    }
    FileBytes& disk = DiskOf(options);
    auto said = wanted & TextUtf16Mark ? WriteUtf16(disk, file.get(), text.View())
                                       : WriteUtf8(disk, file.get(), text.View(), (wanted & TextUtf8Mark) != 0);
    // Some network shares report only here that the text did not arrive.
    if (std::fclose(file.release()) != 0)
        said = std::nullopt;
    Tell(result, said ? *said : ErrorText(errno));
    return said.has_value();
}
