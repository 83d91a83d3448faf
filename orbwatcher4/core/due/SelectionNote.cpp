#include "orbwatcher4/core/due/SelectionNote.h"

#include "companions/settings/OrbSettings.h"
#include "support/FileDigest.h"
#include "support/Handle.h"
#include "support/WithoutThreadToken.h"

#include <array>
#include <optional>

namespace
{

constexpr DWORD ForAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr std::size_t LongestNote = 256; // units: each file needs 40 at most

std::optional<CString> TextOf(const CString& path)
{
    const FileHandle file(path.IsEmpty() ? INVALID_HANDLE_VALUE
                                         : CreateFileW(path, GENERIC_READ, ForAll, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file)
        return std::nullopt;
    FileDigest digest;
    std::array<char, 65536> block;
    DWORD bytes = 0;
    do {
        if (!ReadFile(file.Get(), block.data(), static_cast<DWORD>(block.size()), &bytes, nullptr))
            return std::nullopt;
        digest.Add(block.data(), bytes);
    } while (bytes > 0);
    return digest.Text();
}

} // namespace

CString SelectionNote::Of(const std::vector<CString>& files)
{
    const WithoutThreadToken asProcess; // the service has named the files
    CString text;
    for (const CString& path : files) {
        const std::optional<CString> one = TextOf(path);
        if (!one && text.IsEmpty())
            return {};
        text += (text.IsEmpty() ? L"" : L", ") + one.value_or(L"none");
    }
    return text;
}

CString SelectionNote::Read()
{
    wchar_t note[LongestNote] = L"";
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    return settings.GetValue(SelectionNoteKey, note, LongestNote) ? CString(note) : CString();
}

bool SelectionNote::Write(const CString& text)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.SetValue(SelectionNoteKey, text);
    return settings.Save();
}
