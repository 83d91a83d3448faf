#include "host/TextEncoding.h"

#include "host/Console.h"

#include <filesystem>
#include <fstream>
#include <string_view>

namespace
{

constexpr const wchar_t* Advice =
    L"; only UTF-8, and UTF-16 with the byte-order mark FF FE, are read: save it as UTF-8";

std::string BytesOf(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    std::string bytes(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    file.seekg(0).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

// Returns the encoding that the XML declaration names; empty when it names none.
std::wstring Declared(std::string_view bytes)
{
    const std::string_view head = bytes.substr(0, bytes.find("?>"));
    const std::size_t name = head.starts_with("<?xml") ? head.find("encoding=") : std::string_view::npos;
    if (name == std::string_view::npos || name + 10 >= head.size())
        return {};
    const std::size_t begin = name + 10;
    const std::size_t end = head.find(head[begin - 1], begin);
    return end == std::string_view::npos ? std::wstring() : FromUtf8(head.substr(begin, end - begin));
}

std::uint32_t FirstBadLine(std::string_view bytes)
{
    std::uint32_t line = 1;
    for (std::size_t end; (end = bytes.find('\n')) != std::string_view::npos; bytes.remove_prefix(end + 1), ++line)
        if (!IsUtf8(bytes.substr(0, end)))
            break;
    return line;
}

} // namespace

EncodingProblem EncodingProblemOf(const std::wstring& path)
{
    using namespace std::string_view_literals;
    const std::string bytes = BytesOf(path);
    // Before UTF-16, whose mark begins in the same way.
    for (const std::string_view begin : {"\xFF\xFE\0\0"sv, "\0\0\xFE\xFF"sv, "<\0\0\0"sv, "\0\0\0<"sv})
        if (bytes.starts_with(begin))
            return {L"UTF-32 is not supported; save it as UTF-8"};
    if (bytes.starts_with("\xFF\xFE"))
        return {};
    if (bytes.starts_with("\xFE\xFF"))
        return {std::wstring(L"its encoding is big-endian UTF-16") + Advice};
    if (bytes.starts_with("<\0"sv) || bytes.starts_with("\0<"sv))
        return {std::wstring(L"its encoding seems to be UTF-16 without a byte-order mark") + Advice};
    if (IsUtf8(bytes))
        return {};
    const std::wstring declared = Declared(bytes);
    return {L"the encoding is wrong: the line holds bytes that are no UTF-8" +
                (declared.empty() ? L"" : L", and the file declares " + declared) + Advice,
            FirstBadLine(bytes)};
}
