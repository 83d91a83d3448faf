#include "support/DigestOfFiles.h"

#include "support/FileDigest.h"
#include "support/Handle.h"
#include "support/WithoutThreadToken.h"

#include <array>

std::optional<CString> DigestOfFile(const CString& path)
{
    constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const WithoutThreadToken asProcess;
    const FileHandle file(path.IsEmpty() ? INVALID_HANDLE_VALUE
                                         : CreateFileW(path, GENERIC_READ, forAll, nullptr, OPEN_EXISTING, 0, nullptr));
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

CString DigestOfFiles(const std::vector<CString>& files)
{
    CString text;
    for (const CString& path : files) {
        const std::optional<CString> one = DigestOfFile(path);
        if (!one && text.IsEmpty())
            return {};
        text += (text.IsEmpty() ? L"" : L", ") + one.value_or(L"none");
    }
    return text;
}
