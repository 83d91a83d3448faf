#include "tests/selftest/Kit.h"

#include "support/AccountSids.h"
#include "tests/support/FolderTree.h"

#include <windows.h>

#include <sddl.h>

#include <fstream>

namespace
{

std::filesystem::path OwnFile()
{
    wchar_t path[1024] = L"";
    GetModuleFileNameW(nullptr, path, 1024);
    return path;
}

std::wstring UserText()
{
    AccountSid user;
    wchar_t* text = nullptr;
    if (!CurrentUserSid(user) || !ConvertSidToStringSidW(user.Get(), &text))
        return {};
    const std::wstring copy = text;
    LocalFree(text);
    return copy;
}

// A folder that an administrator makes belongs to the group, and the tests have lost the group.
bool MakeFolderOfUser(const std::filesystem::path& path)
{
    const std::wstring user = UserText();
    const std::wstring access = L"O:" + user + L"D:P(A;OICI;FA;;;" + user + L")(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, FALSE};
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(access.c_str(), SDDL_REVISION_1,
                                                              &attributes.lpSecurityDescriptor, nullptr))
        return false;
    const BOOL made = CreateDirectoryW(path.c_str(), &attributes);
    const DWORD error = GetLastError();
    LocalFree(attributes.lpSecurityDescriptor);
    SetLastError(error);
    return made != FALSE;
}

} // namespace

Kit::Kit() : m_root(OwnFile().parent_path().parent_path()) {}

bool Kit::IsOnDriveC() const
{
    const std::wstring root = m_root.root_name().wstring();
    return root == L"C:" || root == L"c:";
}

std::vector<std::wstring> Kit::Programs() const
{
    std::vector<std::wstring> programs;
    std::ifstream list(m_root / "test-programs.txt");
    for (std::string name; list >> name;)
        programs.emplace_back(name.begin(), name.end());
    return programs;
}

std::filesystem::path Kit::ProgramFile(const std::wstring& program) const
{
    return m_root / "bin" / (program + L".exe");
}

bool Kit::MakeWork() const { return RemoveWork() && MakeFolderOfUser(Work()); }

// A file may stay open for a moment after its program has ended: scanners look at what is new.
bool Kit::RemoveWork() const
{
    const ULONGLONG end = GetTickCount64() + 10000;
    while (!RemoveTree(Work().wstring())) {
        if (GetTickCount64() > end)
            return false;
        Sleep(100);
    }
    return true;
}

bool Kit::WriteReport(const char* name, const std::string& text) const
{
    std::ofstream file(m_root / name, std::ios::binary | std::ios::trunc);
    file << text;
    return static_cast<bool>(file.flush());
}
