// Makes changes on real files, one command a line from standard input:
//
//   create PATH TEXT | append PATH TEXT | hidden PATH TEXT
//   replace PATH TEXT | move FROM TO | delete PATH | remove FOLDER | folders PATH | deep PATH
//
// Fields are separated by "|". Paths are UTF-8. A line that fails ends the
// program with code 1.
#include <windows.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace
{

std::wstring Wide(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

// Supports paths of any length.
std::wstring Long(const std::wstring& path) { return L"\\\\?\\" + path; }

bool WriteFileText(const std::wstring& path, const std::string& text, DWORD disposition, DWORD attributes = 0)
{
    const HANDLE file = CreateFileW(Long(path).c_str(), FILE_APPEND_DATA, 0, nullptr, disposition, attributes, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    const bool good = WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE;
    CloseHandle(file);
    return good;
}

bool MakeFolders(const std::wstring& path)
{
    for (std::size_t slash = path.find(L'\\', 3); slash != std::wstring::npos; slash = path.find(L'\\', slash + 1))
        CreateDirectoryW(Long(path.substr(0, slash)).c_str(), nullptr);
    CreateDirectoryW(Long(path).c_str(), nullptr);
    return GetFileAttributesW(Long(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Saves as editors do: a new file beside the old one takes its place.
bool Replace(const std::wstring& path, const std::string& text)
{
    const std::wstring fresh = path + L".saving";
    return WriteFileText(fresh, text, CREATE_ALWAYS) && DeleteFileW(path.c_str()) &&
           MoveFileW(fresh.c_str(), path.c_str());
}

// Makes a file with a path that is longer than any that is backed up.
bool MakeDeepFile(std::wstring path)
{
    while (path.size() < 270)
        path += L"\\a folder with a long name";
    return MakeFolders(path) && WriteFileText(path + L"\\file.txt", "too deep", CREATE_ALWAYS);
}

// Removes a folder with its contents.
bool RemoveTree(const std::wstring& folder)
{
    std::error_code error;
    std::filesystem::remove_all(folder, error);
    SetLastError(static_cast<DWORD>(error.value()));
    return !error;
}

bool Run(const std::vector<std::string>& fields)
{
    const std::string& command = fields[0];
    const std::wstring path = Wide(fields.at(1));
    const std::string text = fields.size() > 2 ? fields[2] : "";
    if (command == "create")
        return WriteFileText(path, text, CREATE_ALWAYS);
    if (command == "append")
        return WriteFileText(path, text, OPEN_EXISTING);
    if (command == "hidden")
        return WriteFileText(path, text, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN);
    if (command == "replace")
        return Replace(path, text);
    if (command == "move")
        return MoveFileW(path.c_str(), Wide(text).c_str()) != FALSE;
    if (command == "delete")
        return DeleteFileW(path.c_str()) != FALSE;
    if (command == "remove")
        return RemoveTree(path);
    if (command == "folders")
        return MakeFolders(path);
    if (command == "deep")
        return MakeDeepFile(path);
    return false;
}

std::vector<std::string> Split(const std::string& line)
{
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t bar; (bar = line.find('|', start)) != std::string::npos; start = bar + 1)
        fields.push_back(line.substr(start, bar - start));
    fields.push_back(line.substr(start));
    return fields;
}

} // namespace

int main()
{
    for (std::string line; std::getline(std::cin, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const std::vector<std::string> fields = Split(line);
        SetLastError(ERROR_INVALID_PARAMETER);
        if (line.empty() || (fields.size() > 1 && Run(fields)))
            continue;
        const DWORD error = GetLastError();
        std::cerr << "changer: failed: " << line << " (error " << error << ")\n";
        return 1;
    }
    return 0;
}
