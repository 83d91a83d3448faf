// Any bytes as a text file: what is read and written again reads the same, in the encoding
// that it had, and entities lead back to the text that they were made of.
#include "fuzz/FuzzInput.h"

#include "xml/MarkupEscape.h"
#include "xml/TextFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace
{

// One file for all runs, where the system keeps what need not last.
class Scratch
{
public:
    Scratch() : m_path(std::filesystem::temp_directory_path() / ("orb-text-fuzz-" + std::to_string(getpid()))) {}
    ~Scratch() { std::filesystem::remove(m_path); }

    void Put(std::string_view bytes) const { std::ofstream(m_path, std::ios::binary) << bytes; }
    CString Read(std::uint32_t& flags) const
    {
        CString text;
        Require(ReadTextFile(m_path.wstring().c_str(), text, nullptr, &flags));
        return text;
    }
    void Write(const CString& text, std::uint32_t flags) const
    {
        Require(WriteTextFile(m_path.wstring().c_str(), text, nullptr, &flags));
    }

private:
    std::filesystem::path m_path;
};

constexpr wchar_t Mark = 0xFEFF;

bool IsSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

// A surrogate that stands where it should not joins with its neighbour when it is written as UTF-8, so that such a
// text is itself only after that.
void TryUtf8(std::string_view bytes)
{
    const std::wstring units = AsUnits(bytes);
    const std::string encoded = EncodeUtf8(units);
    const std::wstring again = AsUnits(encoded);
    Require(encoded.size() <= units.size() * 3);
    if (std::none_of(units.begin(), units.end(), IsSurrogate))
        Require(again == units);
    Require(EncodeUtf8(again) == encoded && AsUnits(EncodeUtf8(again)) == again);
}

void TryFile(std::string_view bytes)
{
    static const Scratch scratch;
    scratch.Put(bytes);
    std::uint32_t flags = 0;
    const CString read = scratch.Read(flags);
    // A text that itself begins with the mark, which a longer form than the shortest can bring, is a marked one once it
    // is written.
    if (flags == 0 && read[0] == Mark)
        return;
    scratch.Write(read, flags);
    std::uint32_t flagsAgain = 0;
    const CString again = scratch.Read(flagsAgain);
    Require(flagsAgain == flags);
    const std::wstring_view units = read.View();
    if ((flags & TextUtf16Mark) || std::none_of(units.begin(), units.end(), IsSurrogate))
        Require(again == read);
    scratch.Write(again, flags);
    Require(scratch.Read(flagsAgain) == again);
}

void TryEntities(std::string_view bytes)
{
    const std::wstring units = AsUnits(bytes);
    std::wstring text, attribute, decoded;
    Unescape(EscapeText(units), text);
    Unescape(EscapeAttribute(units), attribute);
    Require(text == units && attribute == units);
    Unescape(units, decoded);
    Require(decoded.size() <= units.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes = AsBytes(data, size);
    TryUtf8(bytes);
    TryEntities(bytes);
    TryFile(bytes);
    return 0;
}
